#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Commands.h"
#include "Tools/morv/DiffSide.h"
#include "Tools/morv/DiffText.h"
#include "Tools/morv/TreeChoice.h"

#include "Tools/TreeReader/Census.h"
#include "Tools/TreeReader/TreeError.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace Keld::Morv
{
using TreeReader::ContentComparison;
using TreeReader::ShippingList;
using TreeReader::TreeError;

namespace
{
constexpr const char *DiffFooter = R"(
A and B are releases of the tree, "client/1.0.0.0" or "solution:suite/0.0.1.0"; directories in a release; or plain
folders. A folder inside the working directory whose name looks like a release is written with "./" in front.

Releases are compared by their manifests alone, so that it takes no longer for terabytes. A file is "moved" when a
file of the same content is gone elsewhere, and "version-only" when its content is the same but lies under another
version or in another storage: a program sees no difference, and the exit status is that of equal releases. Of a
folder, files are read whose size occurs on the other side.

With --ship the answer is what somebody lacks who has A and wants B: files of the tree, by paths below its root, in
an order in which they can be brought, manifests last. --have adds releases that are there as well. A plain folder
as A stands for somebody who has nothing.

Exit status: 0 equal, or nothing to ship; 1 different, or something to ship; 2 trouble.

Examples:
  morv diff client/1.0.0.0 client/1.0.0.1
  morv diff client/1.0.0.1 ./build/art         what packing this folder would change
  morv diff client/1.0.0.0 client/1.0.0.1 --ship
  morv diff client/1.0.0.0 client/1.0.0.1 --files-from -0 | rsync -a0 --files-from=- /srv/MORV/ host:/srv/MORV/)";

struct DiffOptions
{
    std::string from;
    std::string to;
    std::string root;
    std::vector<std::string> have;
    bool ship = false;
    bool filesFrom = false;
    bool nul = false;
    bool summary = false;
    bool versions = false;
};

ExitCode Compare(DiffSide &from, DiffSide &to, const DiffOptions &options, const CommonOptions &common)
{
    from.List();
    to.List();
    from.DigestLike(to, common);
    to.DigestLike(from, common);
    const ContentComparison comparison(from.GetList(), to.GetList());
    if (common.json)
    {
        Json document = NewDocument("diff");
        document["from"] = from.GetDocument();
        document["to"] = to.GetDocument();
        document["comparison"] = ComparisonDocument(comparison, from, to);
        document["ship"] = nullptr;
        PrintDocument(document);
    }
    else
    {
        WriteOutput(options.summary ? "" : ChangeLines(comparison, from, to, options.versions));
        WriteOutput(common.quiet ? "" : ComparisonSummary(comparison, from, to));
    }
    return comparison.IsEqual() ? ExitDone : ExitNo;
}

/// What is missing at the source cannot be shipped.
void RequireWhole(const DiffSide &to, unsigned threadCount)
{
    if (const TreeReader::Failure failure = to.GetView().CheckServable())
    {
        throw TreeError(failure->GetMessage());
    }
    const TreeReader::Census census = TreeReader::TakeCensus(to.GetView(), threadCount);
    if (!census.IsWhole())
    {
        throw TreeError(to.GetText() + " is not whole and cannot be shipped: " + census.GetSummary());
    }
}

void RequireInside(const ShippingList &shipping)
{
    if (!shipping.GetDoubts().empty())
    {
        throw TreeError(shipping.GetDoubts().front().GetMessage());
    }
    if (!shipping.GetOutside().empty())
    {
        throw TreeError("the manifest is hostile or damaged: \"" + shipping.GetOutside().front() +
                        "\" leads out of the tree, and nothing is shipped");
    }
}

/// One path a line, or with a NUL behind each.
std::string PathLines(const ShippingList &shipping, bool nul)
{
    std::string text;
    for (const TreeReader::ReleasePart &part : shipping.GetParts())
    {
        if (!nul && part.path.find('\n') != std::string::npos)
        {
            throw TreeError("a file's name holds a line break: use -0, here and for rsync");
        }
        text += part.path;
        text += nul ? '\0' : '\n';
    }
    return text;
}

ExitCode Ship(const DiffSide &from, const DiffSide &to, TreeReader::TreeSet &trees, const DiffOptions &options,
              const CommonOptions &common)
{
    if (to.IsFolder())
    {
        throw UsageError(options.to + " is a plain folder, and only a release can be shipped: pack it first");
    }
    RequireWhole(to, common.GetThreadCount());
    std::vector<std::unique_ptr<DiffSide>> others;
    std::vector<TreeReader::HeldRelease> held;
    if (!from.IsFolder())
    {
        held.push_back({&from.GetView(), from.GetRoot()});
    }
    for (const std::string &text : options.have)
    {
        others.push_back(std::make_unique<DiffSide>(trees, text, common, options.root));
        if (!others.back()->IsFolder())
        {
            held.push_back({&others.back()->GetView(), others.back()->GetRoot()});
        }
    }
    const ShippingList shipping(held, {&to.GetView(), to.GetRoot()}, common.GetThreadCount());
    RequireInside(shipping);
    if (common.json)
    {
        Json document = NewDocument("diff");
        document["from"] = from.GetDocument();
        document["to"] = to.GetDocument();
        document["comparison"] = nullptr;
        document["ship"] = ShippingDocument(shipping);
        PrintDocument(document);
    }
    else if (options.filesFrom)
    {
        WriteOutput(PathLines(shipping, options.nul));
    }
    else
    {
        WriteOutput(options.summary ? "" : ShippingLines(shipping));
        WriteOutput(common.quiet ? "" : ShippingSummary(shipping, from, to));
    }
    return shipping.GetParts().empty() ? ExitDone : ExitNo;
}

ExitCode Diff(const DiffOptions &options, const CommonOptions &common)
{
    const bool ships = options.ship || options.filesFrom;
    if (options.nul && !options.filesFrom)
    {
        throw UsageError("-0 goes with --files-from");
    }
    if (!options.have.empty() && !ships)
    {
        throw UsageError("--have goes with --ship or --files-from");
    }
    TreeReader::TreeSet trees;
    DiffSide from(trees, options.from, common, options.root);
    DiffSide to(trees, options.to, common, options.root);
    return ships ? Ship(from, to, trees, options, common) : Compare(from, to, options, common);
}
} // namespace

void AddDiffCommand(CommandSet &commands)
{
    const auto options = std::make_shared<DiffOptions>();
    CLI::App &command =
        commands.Add({"diff", "Tell what two releases differ in, and what to ship", DiffFooter, true, true},
                     [&commands, options]
                     {
                         return Diff(*options, commands.GetCommon());
                     });
    command.add_option("A", options->from, "A release, a directory in one, or a plain folder")->required();
    command.add_option("B", options->to, "What it is compared with")->required();
    command.add_option("--root", options->root, TreeOptionHelp)->type_name("DIR");
    command.add_flag("--summary", options->summary, "Tell the totals alone");
    command.add_flag("--versions", options->versions, "List version-only differences, too");
    command.add_flag("--ship", options->ship, "List the files that somebody who has A lacks for B");
    command
        .add_option("--have", options->have, "Another release that is there already, for --ship; may be given again")
        ->type_name("REF")
        ->allow_extra_args(false);
    command.add_flag("--files-from", options->filesFrom,
                     "Like --ship, but print paths alone, one a line, as rsync takes them");
    command.add_flag("-0,--null", options->nul, "With --files-from: end each path with a NUL instead of a line break");
}
} // namespace Keld::Morv
