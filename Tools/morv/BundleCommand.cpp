#include "Tools/morv/BundleText.h"
#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Commands.h"
#include "Tools/morv/HelpFormatter.h"
#include "Tools/morv/OutputFile.h"
#include "Tools/morv/Quantity.h"
#include "Tools/morv/Terminal.h"
#include "Tools/morv/TreeChoice.h"
#include "Tools/morv/WorkProgress.h"

#include "Tools/Common/OutputDirectory.h"
#include "Tools/Delivery/Bundles/BundleWriter.h"
#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeWriter/DiskSync.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <memory>

#include <unistd.h>

namespace Keld::Morv
{
namespace fs = std::filesystem;
using Delivery::BundleReport;
using Delivery::BundleRequest;
using TreeReader::TreeError;

namespace
{
constexpr const char *BundleFooter = R"(
Writes one file with everything that leads from BASE to TARGET, for machines without a network: "morv apply" brings it
into a tree there. Without BASE, or with "none" for it, the bundle carries all of TARGET. Both may be solutions, which
bring the releases of their projects. TARGET is checked first, as by "morv verify"; a damaged release is not shipped.

The bundle is a tar file, which begins with a text that tells what it is and with the list of all files that TARGET
needs, with their SHA-256 sums. Where TARGET was published with a signature ("morv publish --sign") and its list is the
same still, the signature goes along, and "morv apply --signed" checks it. The same releases give the same bytes.

Examples:
  morv bundle --root /srv/MORV client/1.0.0.7 -o client-7.bundle
  morv bundle client/1.0.0.6 client/1.0.0.7 -o update.bundle
  morv bundle solution:suite/0.0.1.0 -o - | ssh kiosk morv apply - --root /opt/MORV)";

constexpr const char *NoBase = "none";
constexpr const char *StandardOutput = "-";

struct BundleOptions
{
    std::string base;
    std::string target;
    std::string root;
    std::string output;
    bool noCheck = false;
    bool noSync = false;
};

TreeReader::Reference ResolveBundled(const std::string &text, const BundleOptions &options, const CommonOptions &common)
{
    auto reference = ResolveNamed(text, common, options.root);
    if (!reference)
    {
        throw TreeError(reference.GetFault().GetMessage());
    }
    return std::move(*reference);
}

BundleRequest MakeBundleRequest(const BundleOptions &options, const CommonOptions &common)
{
    if (options.output == StandardOutput && (common.json || IsTerminal(STDOUT_FILENO)))
    {
        throw UsageError(common.json ? "--json and -o - cannot both write to standard output"
                                     : "a bundle is not for a terminal: name a file with -o, or send it to a program");
    }
    const bool hasBase = !options.target.empty(); // one word is the target
    const std::string &target = hasBase ? options.target : options.base;
    if (target.empty())
    {
        throw UsageError("TARGET is required");
    }
    BundleRequest request;
    request.target = ResolveBundled(target, options, common);
    if (hasBase && options.base != NoBase)
    {
        request.base = ResolveBundled(options.base, options, common);
    }
    request.check = !options.noCheck;
    request.threadCount = common.GetThreadCount();
    return request;
}

/// The file appears whole or not at all.
BundleReport WriteBundleFile(const BundleRequest &request, const fs::path &path, bool sync)
{
    const Common::OutputDirectory parent(path.parent_path());
    const Common::Descriptor directory = parent.OpenBelow("");
    Common::NewFile file(directory.Get(), path.filename(), Common::NewFile::Temporary::Known);
    BundleReport report = WriteBundle(request,
                                      [&file](std::string_view bytes)
                                      {
                                          file.Write(bytes);
                                      });
    if (sync)
    {
        TreeWriter::SyncFileSystem(path.parent_path());
    }
    file.Publish();
    if (sync)
    {
        TreeWriter::SyncDirectory(path.parent_path());
    }
    return report;
}

BundleReport WriteBundleOut(BundleRequest request, const BundleOptions &options, const CommonOptions &common)
{
    WorkProgress progress(!common.quiet);
    request.calls = progress.GetCalls();
    if (options.output == StandardOutput)
    {
        return WriteBundle(request, WriteOutput);
    }
    const fs::path path = fs::path(common.GetDirectory()) / options.output;
    const fs::path name = path.filename();
    std::error_code error;
    if (name.empty() || name == "." || name == ".." || fs::is_directory(path, error))
    {
        throw UsageError(options.output + " names a directory: name a file with -o");
    }
    RequireReplaceable(path, "; -o - writes to standard output");
    return WriteBundleFile(request, path, !options.noSync);
}

Json BundleDocument(const BundleReport &report, const BundleOptions &options)
{
    Json document = NewDocument("bundle");
    AddBundleHead(document, report.head);
    document["output"] = TextValue(options.output);
    document["signed"] = report.isSigned;
    document["carried"] = Json::array();
    for (std::size_t index = 0; index < report.sizes.size(); ++index)
    {
        document["carried"].push_back({{"path", TextValue(report.head.files[index])}, {"bytes", report.sizes[index]}});
    }
    return document;
}

ExitCode BundleNamed(const BundleOptions &options, const CommonOptions &common)
{
    const BundleReport report = WriteBundleOut(MakeBundleRequest(options, common), options, common);
    if (common.json)
    {
        PrintDocument(BundleDocument(report, options));
    }
    else if (!common.quiet && options.output != StandardOutput)
    {
        WriteOutput(Shown(BundleRoadText(report.head)) + ": " + CountText(report.head.files.size(), "file") + ", " +
                    ByteText(report.head.bytes) + (report.isSigned ? ", signed" : "") + "\n");
    }
    return ExitDone;
}
} // namespace

void AddBundleCommand(CommandSet &commands)
{
    const auto options = std::make_shared<BundleOptions>();
    CommandWords words{"bundle", "Write one file that leads from one release to another", BundleFooter};
    words.writesJson = true;
    words.usesThreads = true;
    CLI::App &command = commands.Add(words,
                                     [&commands, options]
                                     {
                                         return BundleNamed(*options, commands.GetCommon());
                                     });
    command.add_option("BASE", options->base,
                       "What is there already: PROJECT/VERSION, solution:NAME/VERSION, a directory in one, or none");
    ShowAsRequired(*command.add_option("TARGET", options->target, "The release to lead to, named in the same way"));
    command.add_option("--root", options->root, TreeOptionHelp)->type_name("DIR");
    command.add_option("-o,--output", options->output, "The file to write; \"-\" is standard output")
        ->type_name("FILE")
        ->required();
    command.add_flag("--no-check", options->noCheck,
                     "Do not decode the contents first: only what is missing is noticed then");
    command.add_flag("--no-sync", options->noSync, "Do not wait until the disk has the file");
}
} // namespace Keld::Morv
