#pragma once

#include "Tools/TreeReader/TreeSet.h"

#include "KeldFoundation/CStd/BasicTypes.h"

#include <string>
#include <string_view>

// What the text files of deliveries have in common. Each value has one text.
namespace Keld::Delivery
{
/// A text, line by line. Each line ends with one line feed.
class TextLines
{
public:
    explicit TextLines(std::string_view text) : mRest(text) {}

    /// False at the end, and where the text ends within a line.
    bool Next(std::string_view &line);

    /// The next line, where it begins with a word: what stands behind that.
    bool NextBehind(std::string_view word, std::string_view &rest);

    bool IsAtEnd() const { return mRest.empty(); }

    /// Of the line that was asked for last, from 1 on.
    uint64 GetNumber() const { return mNumber; }

private:
    std::string_view mRest;
    uint64 mNumber = 0;
};

/// A number without sign and without zeros in front. False for anything else.
bool ReadNumber(std::string_view text, uint64 &number);

/// "COUNT BYTES".
bool ReadCountAndSize(std::string_view text, uint64 &count, uint64 &size);

/// "game/1.0.0.0", "solution:suite/0.0.1.0", with names as EscapePath writes them.
std::string FormatRelease(const TreeReader::ReleaseName &release);
bool ReadRelease(std::string_view text, TreeReader::ReleaseName &release);
} // namespace Keld::Delivery
