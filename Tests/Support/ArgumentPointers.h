#pragma once

#include <string>
#include <vector>

namespace Keld::Test
{
/// Words as a main function takes them: a pointer to each, and a null.
inline std::vector<char *> ArgumentPointers(std::vector<std::string> &words)
{
    std::vector<char *> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string &word : words)
    {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);
    return pointers;
}
} // namespace Keld::Test
