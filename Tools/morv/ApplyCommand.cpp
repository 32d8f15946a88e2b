#include "Tools/morv/BundleText.h"
#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Commands.h"
#include "Tools/morv/KeyOption.h"
#include "Tools/morv/Quantity.h"
#include "Tools/morv/ReleaseChoice.h"
#include "Tools/morv/Terminal.h"
#include "Tools/morv/WorkProgress.h"

#include "Tools/Common/OutputDirectory.h"
#include "Tools/Delivery/Bundles/BundleApplication.h"
#include "Tools/TreeReader/TreeError.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <filesystem>
#include <memory>
#include <optional>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace Keld::Morv
{
using Delivery::ApplyReport;
using Delivery::PublicKey;
using TreeReader::TreeError;

namespace
{
constexpr const char *ApplyFooter = R"(
Brings the release that a bundle of "morv bundle" carries into a tree. Everything is checked before anything of it can
be seen: that the tree has the base that the bundle starts from, with the bytes that the new release needs of it, and
that every file of the bundle is the one that was sent. Then the files come to their places, and the manifest last, so
that the release is there whole or not at all, and programs that read other releases notice nothing. Applying a bundle
again does nothing. A file that is there with other bytes is never replaced: that is refused.

With --signed only a bundle is taken whose list of files is signed with this key of minisign.

Examples:
  morv apply update.bundle --root /opt/MORV
  morv apply update.bundle --root /opt/MORV --signed client.pub)";

constexpr const char *StandardInput = "-";

struct ApplyOptions
{
    std::string bundle;
    std::string root;
    std::string key;
    bool protect = false;
    bool noSync = false;
};

std::string PathOfInput(const std::string &path, const CommonOptions &common)
{
    return std::filesystem::path(common.GetDirectory()) / path; // "link/.." is where the system says
}

Common::Descriptor OpenBundle(const std::string &path)
{
    Common::Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.IsOpen())
    {
        throw std::system_error(errno, std::generic_category(), "cannot open " + path);
    }
    return file;
}

ApplyReport ApplyOne(const ApplyOptions &options, const CommonOptions &common, const std::string &root)
{
    const std::optional<PublicKey> key = LoadPublicKey(options.key, common);
    Common::Descriptor file;
    Delivery::ApplyRequest request;
    request.root = root;
    request.bundle = STDIN_FILENO;
    request.bundleName = "standard input";
    if (options.bundle != StandardInput)
    {
        file = OpenBundle(PathOfInput(options.bundle, common));
        request.bundle = file.Get();
        request.bundleName = options.bundle;
    }
    request.key = key ? &*key : nullptr;
    request.protect = options.protect;
    request.sync = !options.noSync;
    request.threadCount = common.GetThreadCount();
    WorkProgress progress(!common.quiet);
    request.calls = progress.GetCalls();
    return ApplyBundle(request);
}

Json ApplyDocument(const ApplyReport &report, const std::string &root)
{
    Json document = NewDocument("apply");
    document["root"] = TextValue(root);
    AddBundleHead(document, report.head);
    document["brought"] = {{"files", report.files}, {"bytes", report.bytes}};
    document["signed"] = report.signedComment ? TextValue(*report.signedComment) : Json();
    return document;
}

ExitCode ApplyNamed(const ApplyOptions &options, const CommonOptions &common)
{
    const std::string root = RequireTree(options.root, common);
    const ApplyReport report = ApplyOne(options, common, root);
    if (common.json)
    {
        PrintDocument(ApplyDocument(report, root));
    }
    else if (!common.quiet)
    {
        const std::string name = Shown(report.head.target.GetText());
        WriteOutput(report.files == 0 ? name + " is here already\n"
                                      : name + ": " + CountText(report.files, "file") + ", " + ByteText(report.bytes) +
                                            " brought to " + Shown(root) + "\n");
        if (report.signedComment)
        {
            WriteOutput("signed: " + EscapeForTerminal(*report.signedComment) + "\n");
        }
    }
    return ExitDone;
}
} // namespace

void AddApplyCommand(CommandSet &commands)
{
    const auto options = std::make_shared<ApplyOptions>();
    CommandWords words{"apply", "Bring the release that a bundle carries into a tree", ApplyFooter};
    words.writesJson = true;
    words.usesThreads = true;
    CLI::App &command = commands.Add(words,
                                     [&commands, options]
                                     {
                                         return ApplyNamed(*options, commands.GetCommon());
                                     });
    command.add_option("FILE", options->bundle, "The bundle; \"-\" is standard input")->type_name("FILE")->required();
    command
        .add_option("--root", options->root,
                    "The tree, a directory named MORV, which is made where it is missing (default: the one around the "
                    "working directory, then $MORV_ROOT)")
        ->type_name("DIR");
    AddKeyOption(command, options->key);
    command.add_flag("--protect", options->protect,
                     "Let nobody write the directories of archives that came, so that no program can remove an index "
                     "there");
    command.add_flag("--no-sync", options->noSync,
                     "Do not wait until the disk has each step; after a loss of power the release may lack files");
}
} // namespace Keld::Morv
