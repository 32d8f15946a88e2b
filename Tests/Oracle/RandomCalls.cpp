#include "Oracle/RandomCalls.h"

#include "Oracle/ContentPool.h"
#include "Oracle/RandomNames.h"

#include <algorithm>

namespace Keld::Test::Oracle
{
namespace
{
constexpr std::size_t MostHandles = 24;
}

void RandomCalls::Make(std::uint64_t count)
{
    const std::uint64_t end = mLibrary.Count().calls + count;
    while (mLibrary.Count().calls < end)
    {
        MakeOne();
    }
}

void RandomCalls::MakeOne()
{
    const std::uint32_t chance = mDice.Below(1000);
    const auto file = mDice.Below(static_cast<std::uint32_t>(std::max<std::size_t>(mLibrary.FileCount(), 1)));
    const auto find = mDice.Below(static_cast<std::uint32_t>(std::max<std::size_t>(mLibrary.FindCount(), 1)));
    const bool hasFile = mLibrary.FileCount() > 0;
    const bool hasFind = mLibrary.FindCount() > 0;
    if (chance < 180)
    {
        mLibrary.Exists(AnyPath().c_str());
    }
    else if (chance < 360 && mLibrary.FileCount() < MostHandles)
    {
        mLibrary.Open(AnyPath().c_str());
    }
    else if (chance < 440 && hasFile)
    {
        mLibrary.Close(file);
    }
    else if (chance < 490 && hasFile)
    {
        mLibrary.Size(file);
    }
    else if (chance < 700 && hasFile)
    {
        Read();
    }
    else if (chance < 780 && mLibrary.FindCount() < MostHandles)
    {
        mLibrary.FindFirst(Pattern().c_str());
    }
    else if (chance < 920 && hasFind)
    {
        mLibrary.FindNext(find, mDice.OneIn(4) ? mDice.Below(12) : 1024, !mDice.OneIn(12));
    }
    else if (chance < 970 && hasFind)
    {
        mLibrary.FindClose(find);
    }
    else if (chance < 985)
    {
        mLibrary.Enumerate(Pattern().c_str());
    }
    else if (chance < 988)
    {
        mLibrary.UseNothing();
        mDice.OneIn(2) ? mLibrary.Exists(nullptr) : mLibrary.Open(nullptr);
        mLibrary.FindFirst(nullptr);
    }
    else if (chance < 990)
    {
        ChangeDisk();
    }
    else if (chance < 991)
    {
        mLibrary.WorkIn(mDisk.Root() + (mDice.OneIn(2) ? "" : "/MORV"));
    }
}

void RandomCalls::Read()
{
    static constexpr std::uint32_t edges[] = {0, 1, 65536, 262144, 524288};
    const std::uint32_t file = mDice.Below(static_cast<std::uint32_t>(mLibrary.FileCount()));
    const std::uint32_t fileSize = mLibrary.SizeOfFile(file);
    const std::uint64_t offsets[] = {0,
                                     0,
                                     mDice.Below(700),
                                     mDice.Below(std::max(fileSize, 1U)),
                                     std::uint64_t{fileSize} + mDice.Below(3),
                                     mDice.Of(edges) + mDice.Below(3),
                                     mDice.Word(),
                                     std::uint64_t{mDice.Word()} << 32 >> 2 | mDice.Below(300),
                                     (std::uint64_t{1} << 63) + mDice.Below(3),
                                     ~std::uint64_t{0} - mDice.Below(900)};
    const std::uint32_t sizes[] = {0,
                                   1,
                                   mDice.Below(700),
                                   mDice.Below(700),
                                   std::min(fileSize, 600'000U),
                                   std::min(fileSize, 600'000U) + mDice.Below(3)};
    const std::uint32_t size = mDice.OneIn(30) ? mDice.Below(600'000) : mDice.Of(sizes);
    mLibrary.Read(file, mDice.Of(offsets), size, !mDice.OneIn(8));
}

// Files go, come back and change while the library runs. Archives stay: what they hold is settled at the start.
void RandomCalls::ChangeDisk()
{
    const std::vector<std::string> files = mDisk.Files(mDice.OneIn(2) ? "/managedfiles/" : "/deploy/");
    if (files.empty())
    {
        return;
    }
    const std::string path = mDice.Of(files);
    if (mDice.OneIn(3))
    {
        mLibrary.Note("remove " + path);
        mDisk.Remove(path);
        return;
    }
    mLibrary.Note("write " + path);
    mDisk.Write(path, ContentPool::At(mDice.Below(ContentPool::Count)).plain);
}

std::string RandomCalls::AnyPath()
{
    const std::string &path = mDice.Of(mDice.OneIn(5) ? mDeployment.Directories() : mDeployment.Files());
    return mDice.OneIn(4) ? Changed(path) : path;
}

std::string RandomCalls::Changed(std::string path)
{
    for (std::uint32_t count = 1 + mDice.Below(3); count > 0; --count)
    {
        const std::size_t at = mDice.Below(static_cast<std::uint32_t>(path.size()) + 1);
        const std::size_t separator = std::min(path.find('/', at), path.size());
        switch (mDice.Below(10))
        {
        case 0:
        case 1:
        case 2:
            path = RandomNames::OtherCase(mDice, path);
            break;
        case 3:
            path.insert(separator, mDice.OneIn(2) ? "\\" : "//");
            break;
        case 4:
            std::replace(path.begin(), path.end(), '/', '\\');
            break;
        case 5:
            path = path.substr(0, at);
            break;
        case 6:
            path = path.substr(std::min(separator + 1, path.size()));
            break;
        case 7:
            path += mDice.OneIn(2) ? "/" : "/x";
            break;
        case 8:
            path.insert(0, mDice.OneIn(2) ? "/" : "./");
            break;
        default:
            path.insert(at, mDice.OneIn(30) ? 1100 : 1, static_cast<char>(1 + mDice.Below(255)));
        }
    }
    return path;
}

std::string RandomCalls::Pattern()
{
    static const std::string parts[] = {"*", "?", ".", "a", "B", "*.", "x", "1", "**", "?*", ".*", "d"};
    std::string path = AnyPath();
    if (mDice.OneIn(3))
    {
        return path; // a name is its own pattern, unless it holds a "*" or a "?"
    }
    path = mDice.OneIn(2) ? path.substr(0, path.rfind('/') + 1) : path + "/";
    if (mDice.OneIn(2))
    {
        return path + "*";
    }
    for (std::uint32_t count = mDice.Below(6); count > 0; --count)
    {
        path += mDice.Of(parts);
    }
    return path;
}
} // namespace Keld::Test::Oracle
