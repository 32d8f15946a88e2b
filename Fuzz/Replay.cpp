// Runs the inputs of a corpus through a fuzzer's function, as a plain test, and then changes of them that follow from a
// fixed seed, the same in every build: Replay<Fuzzer> [--changes COUNT] DIRECTORY...

#include "FuzzSupport.h"
#include "Mutation/ByteMutation.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

// Of the fuzzer; null where the engine's own changes are good enough.
extern "C" __attribute__((weak)) std::size_t LLVMFuzzerCustomMutator(Keld::uint8 *data, std::size_t size,
                                                                     std::size_t room, unsigned seed);

namespace
{
using Input = std::vector<Keld::uint8>;

constexpr std::size_t MostGrowth = 4096; // bytes
constexpr int ChangesInARow = 8;         // before a seed is taken anew

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

// A copy of exactly that size, so that a sanitizer sees a read behind it.
void Run(const Input &input)
{
    const Input copy(input.begin(), input.end());
    LLVMFuzzerTestOneInput(copy.data(), copy.size());
}

Input Replay(const std::filesystem::path &path)
{
    std::ifstream stream(path, std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    std::printf("%s (%zu bytes)\n", path.filename().c_str(), bytes.size());
    std::fflush(stdout);
    Input input(bytes.begin(), bytes.end());
    Run(input);
    return input;
}

void Change(Input &input, unsigned seed)
{
    const std::size_t room = input.size() + MostGrowth;
    if (LLVMFuzzerCustomMutator != nullptr)
    {
        const std::size_t size = input.size();
        input.resize(room);
        input.resize(LLVMFuzzerCustomMutator(input.data(), size, room, seed));
        return;
    }
    std::string bytes(input.begin(), input.end());
    Keld::Fuzz::Random random(seed);
    Keld::Fuzz::MutateBytes(bytes, random, room);
    input.assign(bytes.begin(), bytes.end());
}

// What fails here fails again alone: the input is kept in the working directory.
void Keep(const Input &input)
{
    std::ofstream("last-change", std::ios::binary)
        .write(reinterpret_cast<const char *>(input.data()), static_cast<std::streamsize>(input.size()));
}

void RunChanges(const std::vector<Input> &seeds, int count)
{
    const bool keeps = std::getenv("KELD_KEEP_CHANGES") != nullptr;
    Input input;
    for (int number = 0; number < count; ++number)
    {
        if (number % ChangesInARow == 0)
        {
            input = seeds[static_cast<std::size_t>(number / ChangesInARow) % seeds.size()];
        }
        Change(input, static_cast<unsigned>(number));
        if (keeps)
        {
            Keep(input);
        }
        Run(input);
    }
}
} // namespace

int main(int argc, char **argv)
{
    std::vector<Input> seeds;
    int changes = 0;
    for (int index = 1; index < argc; ++index)
    {
        if (std::strcmp(argv[index], "--changes") == 0 && index + 1 < argc)
        {
            changes = std::atoi(argv[++index]);
            continue;
        }
        for (const std::filesystem::path &path : FilesOf(argv[index]))
        {
            seeds.push_back(Replay(path));
        }
    }
    std::printf("%zu inputs, %d changes\n", seeds.size(), changes);
    std::fflush(stdout);
    if (seeds.empty())
    {
        return 1;
    }
    RunChanges(seeds, changes);
    return 0;
}
