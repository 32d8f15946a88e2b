#include "Tools/TreeWriter/SourceContent.h"

#include "Tools/TreeWriter/ContentDigest.h"
#include "Tools/TreeWriter/InputFile.h"

#include <algorithm>

namespace Keld::TreeWriter
{
std::string ReadHeld(const PlannedFile &file)
{
    const InputFile input(file.source, file.entry.size);
    std::string content(file.entry.size, '\0');
    input.Read(0, content.data(), content.size());
    input.RequireUnchanged();
    return content;
}

void ReadPieces(const PlannedFile &file, const std::function<void()> &checkpoint,
                const std::function<void(std::string_view)> &sink)
{
    const InputFile input(file.source, file.entry.size);
    std::string piece;
    for (uint64 offset = 0; offset < file.entry.size; offset += piece.size())
    {
        checkpoint();
        piece.resize(std::min(PieceSize, file.entry.size - offset));
        input.Read(offset, piece.data(), piece.size());
        sink(piece);
    }
    input.RequireUnchanged();
}

TreeReader::Digest DigestOfFile(const PlannedFile &file, const std::function<void()> &checkpoint)
{
    ContentDigest digest;
    ReadPieces(file, checkpoint,
               [&digest](std::string_view piece)
               {
                   digest.Update(piece);
               });
    return digest.Finish();
}

bool HasContent(const PlannedFile &file, std::string_view content)
{
    return file.entry.size == content.size() && ReadHeld(file) == content;
}

bool HaveSameContent(const PlannedFile &left, const PlannedFile &right, const std::function<void()> &checkpoint)
{
    if (left.entry.size != right.entry.size)
    {
        return false;
    }
    const InputFile other(right.source, right.entry.size);
    std::string otherPiece;
    uint64 offset = 0;
    bool same = true;
    ReadPieces(left, checkpoint,
               [&](std::string_view piece)
               {
                   otherPiece.resize(piece.size());
                   other.Read(offset, otherPiece.data(), otherPiece.size());
                   same = same && otherPiece == piece;
                   offset += piece.size();
               });
    other.RequireUnchanged();
    return same;
}
} // namespace Keld::TreeWriter
