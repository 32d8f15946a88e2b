#include "Trees/Vocabulary.h"

#include <algorithm>
#include <cctype>
#include <iterator>

namespace Keld::Fuzz
{
namespace
{
constexpr std::size_t LongestWord = 64;

// Texts of at least two printable characters that a NUL ends: in manifests and archive indexes these are names.
void CollectTexts(const std::string &bytes, std::vector<std::string> &words)
{
    std::size_t begin = 0;
    for (std::size_t place = 0; place < bytes.size(); ++place)
    {
        if (bytes[place] == '\0' && place - begin >= 2 && place - begin <= LongestWord)
        {
            words.push_back(bytes.substr(begin, place - begin));
        }
        if (std::isprint(static_cast<unsigned char>(bytes[place])) == 0)
        {
            begin = place + 1;
        }
    }
}

void CollectNames(const std::string &path, std::vector<std::string> &words)
{
    words.push_back(path);
    words.emplace_back(NameOfPath(path));
    words.push_back(path.substr(0, path.rfind('/')));
}
} // namespace

std::vector<std::string> CollectWords(const TreeInput &input)
{
    static const char *const known[] = {"",
                                        ".",
                                        "..",
                                        "/",
                                        "*",
                                        "*.*",
                                        "?",
                                        "../outside/x",
                                        "/dev/null",
                                        "a/b",
                                        "a//b",
                                        "%s%n%x",
                                        "\xC3\xA4\xFF",
                                        "MORV",
                                        "MORV/",
                                        "projects",
                                        "projects/",
                                        "solutions/",
                                        "releases",
                                        "deploy",
                                        "releasemanifest",
                                        "solutionmanifest",
                                        "configurationmanifest",
                                        "filearchives",
                                        "managedfiles",
                                        "0.0.0.0",
                                        "1.0.0.0",
                                        "255.255.255.255",
                                        "256.0.0.0",
                                        "0x10",
                                        "010",
                                        "-1",
                                        "MORV Solution Manifest",
                                        "MORV Configuration Manifest"};
    std::vector<std::string> words(std::begin(known), std::end(known));
    for (const TreeEntry &entry : input.entries)
    {
        CollectNames(entry.path, words);
        if (entry.path.ends_with("releasemanifest") || entry.path.ends_with(".vka"))
        {
            CollectTexts(entry.bytes, words);
        }
    }
    return words;
}
} // namespace Keld::Fuzz
