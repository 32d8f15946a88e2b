// Holds the library against a plain model of it, over random trees and random calls.
//
//     KeldOracle --calls N [--seed S] [--from T] [--to T]
//
// makes N calls or a few more, over as many trees as that takes. Tree T is the same for the same seed, so that a
// difference is found again by the line that is printed with it. Ends with status 0, 1 for a difference, 2 for its
// usage.

#include "Oracle/ComparedLibrary.h"
#include "Oracle/RandomCalls.h"
#include "Oracle/RandomDeployment.h"

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string_view>

namespace Keld::Test::Oracle
{
namespace
{
constexpr std::uint64_t CallsOfTree = 5000;
constexpr std::uint32_t StartsOfTree = 10;

struct Wish
{
    std::uint64_t calls = 100'000;
    std::uint64_t seed = 1;
    std::uint64_t from = 0;
    std::uint64_t to = ~std::uint64_t{0};
};

bool ReadWish(int argumentCount, char **arguments, Wish &wish)
{
    for (int index = 1; index < argumentCount; index += 2)
    {
        const std::string_view name = arguments[index];
        std::uint64_t *const place = name == "--calls"  ? &wish.calls
                                     : name == "--seed" ? &wish.seed
                                     : name == "--from" ? &wish.from
                                     : name == "--to"   ? &wish.to
                                                        : nullptr;
        char *end = nullptr;
        if (place == nullptr || index + 1 == argumentCount)
        {
            return false;
        }
        *place = std::strtoull(arguments[index + 1], &end, 10);
        if (end == arguments[index + 1] || *end != '\0')
        {
            return false;
        }
    }
    return true;
}

bool IsDirectory(const std::string &path)
{
    std::error_code error;
    return std::filesystem::is_directory(path, error);
}

void CompareOnce(Dice &dice, Disk &disk, const RandomDeployment &deployment, ComparedLibrary &library)
{
    const std::string &directory = dice.Of(deployment.WorkingDirectories());
    library.WorkIn(disk.Root());
    if (IsDirectory(directory) && dice.OneIn(5))
    {
        library.WorkIn(std::filesystem::canonical(directory).string()); // as the system tells it
    }
    else
    {
        library.Start(directory); // where it fails, the root is no release either
    }
    RandomCalls(dice, disk, library, deployment).Make(CallsOfTree / StartsOfTree);
    if (dice.OneIn(3))
    {
        library.Start(directory);
    }
    library.Stop(dice.OneIn(20));
}

bool CompareTree(const Wish &wish, std::uint64_t tree, Compared &done)
{
    Dice dice(wish.seed << 32 ^ tree);
    Disk disk;
    const RandomDeployment deployment(disk, dice);
    ComparedLibrary library(disk);
    bool isEqual = true;
    try
    {
        for (std::uint32_t start = 0; start < StartsOfTree; ++start)
        {
            CompareOnce(dice, disk, deployment, library);
        }
    }
    catch (const Difference &difference)
    {
        isEqual = false;
        std::fprintf(stderr,
                     "The tree, in the order of names:\n%s%s%s.\nTo see it again: KeldOracle --seed %llu --from %llu "
                     "--to %llu\n",
                     disk.Text().c_str(), library.Text().c_str(), difference.what(),
                     static_cast<unsigned long long>(wish.seed), static_cast<unsigned long long>(tree),
                     static_cast<unsigned long long>(tree) + 1);
    }
    done += library.Count();
    std::filesystem::current_path("/");
    return isEqual;
}

int Run(const Wish &wish)
{
    const auto begin = std::chrono::steady_clock::now();
    Compared done;
    bool isEqual = true;
    std::uint64_t tree = wish.from;
    for (; isEqual && tree < wish.to && done.calls < wish.calls; ++tree)
    {
        isEqual = CompareTree(wish, tree, done);
    }
    // A run that came to all of its calls and saw nothing has compared nothing.
    const bool sawAll = done.starts > 0 && done.found > 0 && done.opens > 0 && done.names > 0 && done.bytes > 0;
    const bool isGood = isEqual && (sawAll || done.calls < wish.calls);
    const std::chrono::duration<double> seconds = std::chrono::steady_clock::now() - begin;
    const auto number = [](std::uint64_t value)
    {
        return static_cast<unsigned long long>(value);
    };
    std::printf(
        "%llu calls over %llu trees in %.1f s: %llu starts with something in them, %llu paths found, %llu files "
        "opened, %llu names shown, %llu MB read; %llu calls not made, since nothing settles them: %s\n",
        number(done.calls), number(tree - wish.from), seconds.count(), number(done.starts), number(done.found),
        number(done.opens), number(done.names), number(done.bytes / 1'000'000), number(done.unsettled),
        isGood    ? "no difference"
        : isEqual ? "nothing seen"
                  : "a difference");
    return isGood ? 0 : 1;
}
} // namespace
} // namespace Keld::Test::Oracle

int main(int argumentCount, char **arguments)
{
    Keld::Test::Oracle::Wish wish;
    if (!Keld::Test::Oracle::ReadWish(argumentCount, arguments, wish))
    {
        std::fprintf(stderr, "usage: %s [--calls N] [--seed S] [--from TREE] [--to TREE]\n", arguments[0]);
        return 2;
    }
    try
    {
        return Keld::Test::Oracle::Run(wish);
    }
    catch (const std::exception &exception)
    {
        std::fprintf(stderr, "%s\n", exception.what());
        return 1;
    }
}
