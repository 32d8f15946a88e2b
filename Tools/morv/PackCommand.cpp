#include "Tools/morv/Commands.h"
#include "Tools/morv/Interrupt.h"
#include "Tools/morv/PackOptions.h"

#include "Tools/TreeWriter/ReleasePacker.h"

#include <fmt/format.h>

namespace Keld::Morv
{
namespace
{
constexpr uint64 ManyArchives = 200;

void PrintReport(const TreeWriter::PackRequest &request, const TreeWriter::PackReport &report)
{
    fmt::print("{} {}: {} files in {} directories, {} bytes\n", request.project, FormatVersion(request.release),
               report.files, report.directories + 1, report.contentSize);
    fmt::print("  {} naked, {} managed, {} archived ({} stored, {} zlib, {} lzma) in {} archives: {} bytes written\n",
               report.naked, report.managed, report.stored + report.zlib + report.lzma, report.stored, report.zlib,
               report.lzma, report.archives, report.storedSize);
    if (request.base)
    {
        fmt::print("  {} unchanged, served from the files of release {} and before\n", report.kept,
                   FormatVersion(*request.base));
    }
    if (report.archives > ManyArchives)
    {
        PrintError(fmt::format("note: {} archives: a program that loads this release keeps as many descriptors open",
                               report.archives));
    }
}

/// An interrupt ends the packing at its next checkpoint, and nothing of it stays.
TreeWriter::PackReport PackInterruptibly(const TreeWriter::PackRequest &request)
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

ExitCode Pack(const PackOptions &options)
{
    TreeWriter::PackRequest request = MakePackRequest(options);
    request.checkpoint = InterruptGuard::Check;
    request.note = PrintNote;
    PrintReport(request, PackInterruptibly(request));
    return ExitDone;
}
} // namespace Keld::Morv
