#include "Tools/morv/PackCommand.h"

#include "Tools/morv/Interrupt.h"
#include "Tools/morv/PackReportText.h"
#include "Tools/morv/Progress.h"

#include "Tools/TreeWriter/ReleasePacker.h"

#include <chrono>
#include <optional>

namespace Keld::Morv
{
using TreeWriter::PackPhase;
using TreeWriter::PackReport;
using TreeWriter::PackRequest;

namespace
{
constexpr uint64 ManyArchives = 200;

const char *NameOf(PackPhase phase)
{
    switch (phase)
    {
    case PackPhase::Comparing:
        return "comparing";
    case PackPhase::Packing:
        return "packing";
    case PackPhase::Checking:
        break;
    }
    return "checking";
}

/// An interrupt ends the packing at its next checkpoint, and nothing of it stays.
PackReport PackInterruptibly(const PackRequest &request)
{
    try
    {
        const InterruptGuard guard;
        return TreeWriter::PackRelease(request);
    }
    catch (const Interrupted &interruption)
    {
        throw Interrupted(interruption.GetSignal(), "interrupted: no release was made or changed");
    }
}
} // namespace

ExitCode Pack(const PackOptions &options, const CommonOptions &common)
{
    PackRequest request = MakePackRequest(options);
    std::vector<std::string> notes;
    std::optional<Progress> progress;
    request.threadCount = common.GetThreadCount();
    request.checkpoint = InterruptGuard::Check;
    request.note = [&notes](const std::string &note)
    {
        notes.push_back(note);
        PrintNote(note);
    };
    request.begin = [&](PackPhase phase, uint64 total)
    {
        progress.emplace(NameOf(phase), total, !common.quiet);
    };
    request.advance = [&progress](uint64 bytes)
    {
        progress->Add(bytes);
    };

    const auto begin = std::chrono::steady_clock::now();
    const PackReport report = PackInterruptibly(request);
    progress.reset();
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
    if (report.archives > ManyArchives)
    {
        request.note(std::to_string(report.archives) +
                     " archives: a program that loads this release keeps as many descriptors open");
    }
    if (common.json)
    {
        PrintDocument(PackReportDocument(request, report, seconds, notes));
    }
    else if (!common.quiet)
    {
        WriteOutput(PackReportText(request, report, seconds));
    }
    return ExitDone;
}
} // namespace Keld::Morv
