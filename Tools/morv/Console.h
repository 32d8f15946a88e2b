#pragma once

#include <exception>
#include <string>
#include <string_view>

namespace Keld::Morv
{
/// How a run of the tool ended, for the shell.
enum ExitCode : int
{
    ExitDone = 0,
    ExitNo = 1,     ///< the answer is no: not found, damaged, different
    ExitUsage = 2,  ///< the command line cannot be understood
    ExitTrouble = 2 ///< something hinders the work: no release there, a full disk, no memory
};

/// Puts something harmless on each standard descriptor that the caller of the process has closed. Otherwise the next
/// file to be opened would get its number: the library takes descriptor 0 for a failure, and what is printed could end
/// up in that file. Writing to a standard output that was closed goes on to be an error.
void OccupyStandardDescriptors();

/// Nobody reads standard output any more, as behind "| head". Not an error: the command ends at once, with status 0.
class OutputClosed : public std::exception
{
};

/// Writes to standard error, each line behind the tool's name, after what went to standard output before. On a terminal
/// control characters are shown and not sent.
void PrintError(const std::string &text);

/// The same for what is worth knowing but no failure. Silent after QuietNotes.
void PrintNote(const std::string &text);
void QuietNotes();

/// Sends what the library logs to standard error: warnings and errors in short, or everything as it stands.
void ShowLibraryLog(bool everything);

/// Whether the library has logged a warning or an error since ShowLibraryLog.
bool HasLibraryFailed();

/// Makes a write to a closed pipe fail instead of ending the process, so that it ends as OutputClosed.
void IgnoreClosedPipes();

/// Writes bytes to standard output. Throws as FlushOutput.
void WriteOutput(std::string_view bytes);

/// Pushes everything out to standard output. Throws std::runtime_error when that cannot take it, as a full disk,
/// and OutputClosed.
void FlushOutput();
} // namespace Keld::Morv
