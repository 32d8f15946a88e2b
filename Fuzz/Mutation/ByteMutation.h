#pragma once

#include "Mutation/Random.h"

#include <string>
#include <string_view>
#include <vector>

// Changes of bytes and lines that know nothing of a format. Under the fuzzing engine its own changes are used as well,
// with all that it has learnt: its dictionary, and the values that comparisons asked for.
namespace Keld::Fuzz
{
/// Changes a text somewhere, and leaves it at `room` bytes or less.
void MutateBytes(std::string &bytes, Random &random, std::size_t room);

/// A number that arithmetic may stumble over, or one near `old`.
uint32 OddNumber(uint32 old, Random &random);

/// Changes a text that is made of lines: moves, copies, drops and replaces them.
/// \param words what a line may become, beside numbers
void MutateLines(std::string &text, Random &random, const std::vector<std::string> &words);

/// Each without the line feed behind it.
std::vector<std::string> SplitLines(std::string_view text);
std::string JoinLines(const std::vector<std::string> &lines);
} // namespace Keld::Fuzz
