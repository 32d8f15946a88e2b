// Runs the inputs of a corpus through a fuzzer's function, as a plain test: Replay<Fuzzer> DIRECTORY...

#include "FuzzSupport.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace
{
std::vector<std::filesystem::path> FilesOf(const char *directory)
{
    std::vector<std::filesystem::path> files;
    for (const auto &entry : std::filesystem::directory_iterator(directory))
    {
        if (entry.is_regular_file())
        {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    return files;
}

void Replay(const std::filesystem::path &path)
{
    std::ifstream stream(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    std::printf("%s (%zu bytes)\n", path.filename().c_str(), bytes.size());
    std::fflush(stdout);
    // A copy of exactly that size, so that a sanitizer sees a read behind it.
    const std::vector<Keld::uint8> input(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(input.data(), input.size());
}
} // namespace

int main(int argc, char **argv)
{
    int count = 0;
    for (int index = 1; index < argc; ++index)
    {
        for (const std::filesystem::path &path : FilesOf(argv[index]))
        {
            Replay(path);
            ++count;
        }
    }
    std::printf("%d inputs\n", count);
    return count == 0 ? 1 : 0;
}
