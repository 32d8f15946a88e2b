#pragma once

#include "Tools/TreeReader/ReleaseContents.h"
#include "Tools/TreeWriter/PackPlan.h"

#include <functional>
#include <string>
#include <string_view>

// The content of planned files as it is read from the source. All calls throw TreeError with the path when a file
// cannot be read or changes meanwhile.
namespace Keld::TreeWriter
{
/// The content of a file that is not large.
std::string ReadHeld(const PlannedFile &file);

/// Hands the content of a file on in pieces of PieceSize. `checkpoint` is called before each.
void ReadPieces(const PlannedFile &file, const std::function<void()> &checkpoint,
                const std::function<void(std::string_view)> &sink);

TreeReader::Digest DigestOfFile(const PlannedFile &file, const std::function<void()> &checkpoint);

bool HasContent(const PlannedFile &file, std::string_view content);

/// Whether two files of one size hold the same bytes: a digest that is equal proves it only where nobody made it so.
bool HaveSameContent(const PlannedFile &left, const PlannedFile &right, const std::function<void()> &checkpoint);
} // namespace Keld::TreeWriter
