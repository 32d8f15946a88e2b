#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Commands.h"
#include "Tools/morv/Interrupt.h"
#include "Tools/morv/Json.h"
#include "Tools/morv/KeyOption.h"
#include "Tools/morv/OptionChecks.h"
#include "Tools/morv/PackOptions.h"
#include "Tools/morv/Progress.h"
#include "Tools/morv/Quantity.h"
#include "Tools/morv/Terminal.h"

#include "Tools/Delivery/Fetch/Fetch.h"
#include "Tools/Delivery/Sources/OpenSource.h"
#include "Tools/TreeWriter/TreeNames.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <optional>

namespace Keld::Morv
{
namespace fs = std::filesystem;
using Delivery::FetchPhase;
using Delivery::FetchReport;
using Delivery::FetchRequest;

namespace
{
constexpr const char *FetchFooter = R"(
SOURCE is where a deployment tree can be read: https://HOST/PATH or http://HOST/PATH of any web server that gives out
files as they are, file:///PATH, or a directory. It names the root of the tree, in which "projects" and "solutions"
stand.

The manifest is read first. What the tree here has already, from any release, is not fetched again; the rest comes to
a place in the tree where no program looks, is checked, and is then moved to where it belongs, the manifest last. So
programs see the release when it is whole and not before, and those that read from the tree are not disturbed. A run
that was interrupted leaves what came, and the next run of the same command goes on with it.

Every file that comes is decoded and held against the digest in its manifest, for the most part while others come. With
--trust-transport sizes and archive indexes are checked alone. A release that is here already is checked in the same
way, left alone where it is whole, and mended where it is not. -j tells how many files come at once (8 without it), and
how many threads check them (one for each processor without it).

Where the source has a shiplist ("morv publish" writes it), what comes has to have the sizes and SHA-256 sums that it
tells, too. With --signed, nothing is accepted that a signed shiplist does not tell of; its sums are checked then also
with --trust-transport, which proves every byte and costs less than decoding.

Examples:
  morv fetch https://example.com/MORV --root /srv/MORV --project client --release 1.0.0.7
  morv fetch /media/stick/MORV --root /srv/MORV --solution suite --release 0.0.1.0)";

struct FetchOptions
{
    std::string source;
    std::string root;
    std::string project;
    std::string solution;
    std::string release;
    Delivery::SourceOptions access;
    std::string key;
    bool trustTransport = false;
    bool partial = false;
    bool protect = false;
    bool noSync = false;
};

const char *NameOf(FetchPhase phase)
{
    switch (phase)
    {
    case FetchPhase::Comparing:
        return "comparing";
    case FetchPhase::Downloading:
        return "fetching";
    case FetchPhase::Checking:
        break;
    }
    return "checking";
}

FetchRequest MakeFetchRequest(const FetchOptions &options, const CommonOptions &common)
{
    FetchRequest request;
    if (options.project.empty() == options.solution.empty())
    {
        throw UsageError("what is to be fetched? Name it by --project NAME or by --solution NAME, and --release "
                         "VERSION");
    }
    request.wanted.isSolution = options.project.empty();
    request.wanted.name = request.wanted.isSolution ? options.solution : options.project;
    request.wanted.version = ParseVersionOption(options.release);
    TreeWriter::RequireUsableName(request.wanted.isSolution ? "solution" : "project", request.wanted.name);
    const fs::path root = TreeWriter::RequireUsableRoot(fs::path(common.GetDirectory()) / ChooseRoot(options.root));
    if (request.wanted.isSolution)
    {
        TreeWriter::RequireRootForSolutions(root);
    }
    request.root = root.string();
    request.decode = !options.trustTransport;
    request.sync = !options.noSync;
    request.threadCount = common.GetThreadCount();
    request.checkpoint = InterruptGuard::Check;
    return request;
}

/// An interrupt ends the work at its next checkpoint, and the next run goes on.
FetchReport FetchInterruptibly(const FetchOptions &options, const CommonOptions &common, FetchRequest &request)
{
    std::optional<Progress> progress;
    request.begin = [&](FetchPhase phase, uint64 total)
    {
        progress.emplace(NameOf(phase), total, !common.quiet);
    };
    request.advance = [&progress](uint64 bytes)
    {
        progress->Add(bytes);
    };
    try
    {
        const InterruptGuard guard;
        Delivery::SourceOptions access = options.access;
        access.downloads = common.jobs != 0 ? common.jobs : access.downloads;
        access.checkpoint = InterruptGuard::Check;
        const auto source = Delivery::OpenSource(options.source, common.GetDirectory(), access);
        return Delivery::Fetch(*source, request);
    }
    catch (const Interrupted &interruption)
    {
        throw Interrupted(interruption.GetSignal(), "interrupted: the same command goes on where this one ended");
    }
}

std::string ReportText(const FetchReport &report, const FetchRequest &request, double seconds)
{
    std::string text;
    for (const Delivery::FetchedRelease &release : report.releases)
    {
        text += fmt::format("{}: {}\n", EscapeForTerminal(release.name.GetText()),
                            release.wasThere ? "was here, whole, and was left alone" : "fetched");
    }
    const Delivery::FetchNumbers &numbers = report.numbers;
    if (report.WasThere())
    {
        return text;
    }
    text += fmt::format("  {}: {} here already", CountText(numbers.files, "file"), numbers.heldFiles);
    if (numbers.copiedFiles != 0)
    {
        text += fmt::format(", {} copied from other releases here", numbers.copiedFiles);
    }
    text += fmt::format("\n  {} downloaded in {}, {}\n", ByteText(numbers.downloadedBytes), DurationText(seconds),
                        RateText(numbers.downloadedBytes, seconds));
    if (numbers.partialArchives != 0)
    {
        text += "  " + CountText(numbers.partialArchives, "archive") + " made of parts of the source's\n";
    }
    if (numbers.foundBytes != 0)
    {
        text += fmt::format("  {} had come in an earlier run\n", ByteText(numbers.foundBytes));
    }
    return text + "  " + EscapeForTerminal(request.root) + "\n";
}

Json ReportDocument(const FetchReport &report, const FetchRequest &request, double seconds)
{
    Json document = NewDocument("fetch");
    document["root"] = TextValue(request.root);
    document["releases"] = Json::array();
    for (const Delivery::FetchedRelease &release : report.releases)
    {
        document["releases"].push_back({{"kind", release.name.isSolution ? "solution" : "project"},
                                        {"name", TextValue(release.name.name)},
                                        {"version", FormatVersion(release.name.version)},
                                        {"wasThere", release.wasThere}});
    }
    const Delivery::FetchNumbers &numbers = report.numbers;
    document["decoded"] = request.decode;
    document["files"] = numbers.files;
    document["heldFiles"] = numbers.heldFiles;
    document["copiedFiles"] = numbers.copiedFiles;
    document["copiedBytes"] = numbers.copiedBytes;
    document["downloads"] = numbers.downloads;
    document["downloadedBytes"] = numbers.downloadedBytes;
    document["foundBytes"] = numbers.foundBytes;
    document["partialArchives"] = numbers.partialArchives;
    document["seconds"] = seconds;
    return document;
}

ExitCode RunFetch(const FetchOptions &options, const CommonOptions &common)
{
    FetchRequest request = MakeFetchRequest(options, common);
    if (options.partial && !options.key.empty())
    {
        throw UsageError("--partial and --signed exclude each other: a signature is over whole archives");
    }
    const std::optional<Delivery::PublicKey> key = LoadPublicKey(options.key, common);
    request.key = key ? &*key : nullptr;
    request.allowPartial = options.partial;
    request.protect = options.protect;
    const auto begin = std::chrono::steady_clock::now();
    const FetchReport report = FetchInterruptibly(options, common, request);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    if (common.json)
    {
        PrintDocument(ReportDocument(report, request, seconds));
    }
    else if (!common.quiet)
    {
        WriteOutput(ReportText(report, request, seconds));
    }
    return ExitDone;
}

void AddAccessOptions(CLI::App &command, Delivery::SourceOptions &access)
{
    command
        .add_option("--retries", access.retries,
                    "How often a download is tried again that breaks off or that the server cannot give now, in a row "
                    "and without new bytes")
        ->type_name("N")
        ->transform(WholeNumber())
        ->check(CLI::Range(0, 100))
        ->capture_default_str();
    command
        .add_option("--timeout", access.patienceSeconds,
                    "Seconds without a byte after which a connection is given up and tried again")
        ->type_name("N")
        ->transform(WholeNumber())
        ->check(CLI::Range(1, 3600))
        ->capture_default_str();
    command
        .add_option("--authorities", access.authorities,
                    "Certificates to trust for https://, instead of those of the system: a file in PEM form")
        ->type_name("FILE");
}
} // namespace

void AddFetchCommand(CommandSet &commands)
{
    const auto options = std::make_shared<FetchOptions>();
    CLI::App &command =
        commands.Add({"fetch", "Bring a release from a server or directory into a tree here", FetchFooter, true, true},
                     [options, &commands]
                     {
                         return RunFetch(*options, commands.GetCommon());
                     });
    command.add_option("SOURCE", options->source, "A deployment tree: https://, http://, file:// or a directory")
        ->required();
    command.add_option("--root", options->root, "The deployment tree, a directory named MORV (default: $MORV_ROOT)")
        ->type_name("DIR");
    command.add_option("--project", options->project, "The project to fetch a release of")->type_name("NAME");
    command
        .add_option("--solution", options->solution,
                    "The solution to fetch a release of, with the releases of all projects that it uses")
        ->type_name("NAME");
    command.add_option("--release", options->release, "The release, as in 1.0.0.7")->type_name("VERSION")->required();
    command.add_flag("--trust-transport", options->trustTransport,
                     "Do not decode what comes to hold it against its digests; check sizes and indexes alone, and sums "
                     "where --signed asks for them");
    command.add_flag("--partial", options->partial,
                     "Fetch of an archive of which at most half is needed the parts that are needed, and make a new "
                     "archive of them");
    AddKeyOption(command, options->key);
    command.add_flag("--protect", options->protect,
                     "Let nobody write the directories of its archives, so that no program deletes an index there");
    command.add_flag("--no-sync", options->noSync, "Do not wait for the disk: a loss of power may take the release");
    AddAccessOptions(command, options->access);
}
} // namespace Keld::Morv
