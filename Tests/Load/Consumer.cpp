#include "Load/Consumer.h"

#include <algorithm>
#include <cstdio>
#include <set>

namespace Keld::Test::Load
{
namespace
{
constexpr int MostTries = 100'000;
constexpr std::uint64_t MostMessages = 20;
} // namespace

void Tally::Wrong(const std::string &what)
{
    if (wrong++ < MostMessages)
    {
        std::fprintf(stderr, "wrong: %s\n", what.c_str());
    }
}

Consumer::Consumer(std::uint64_t seed, const LoadTree &tree, const Weather &weather, Tally &tally)
    : mDice(seed), mTree(tree), mWeather(weather), mTally(tally)
{
}

Consumer::~Consumer()
{
    LetGo();
}

void Consumer::WorkOnce()
{
    switch (mDice.Below(12))
    {
    case 0:
        Enumerate();
        break;
    case 1:
    case 2:
        LookUp();
        break;
    case 3:
        LetGo();
        Keep(AnyFile());
        break;
    case 4:
        CheckKept();
        break;
    case 5:
        Hammer();
        break;
    default:
        Visit(AnyFile());
    }
}

void Consumer::Visit(const LoadFile &file)
{
    if (OpenFileHandle *const handle = Open(file))
    {
        Check(file, handle);
        MorvCloseFile(handle);
    }
}

void Consumer::Keep(const LoadFile &file)
{
    mKept = Open(file);
    mKeptFile = &file;
}

void Consumer::LetGo()
{
    MorvCloseFile(mKept);
    mKept = nullptr;
}

void Consumer::CheckKept()
{
    if (mKept != nullptr)
    {
        Check(*mKeptFile, mKept);
    }
}

// A plain file cannot be opened without a descriptor, and a compressed one cannot be read to the end while a signal
// ends one of its reads.
OpenFileHandle *Consumer::Open(const LoadFile &file)
{
    for (int tries = 0; tries < MostTries; ++tries)
    {
        ++mTally.opens;
        if (OpenFileHandle *const handle = MorvOpenFile(file.path.c_str()))
        {
            return handle;
        }
        ++mTally.refusedOpens;
        if (NeedsDescriptor(file.storage) && mWeather.hasFewDescriptors)
        {
            return nullptr;
        }
        if (NeedsDescriptor(file.storage) || !mWeather.hasSignals)
        {
            break;
        }
    }
    mTally.Wrong(file.path + " does not open");
    return nullptr;
}

bool Consumer::Read(OpenFileHandle *handle, std::uint64_t offset, std::uint32_t size, char *buffer)
{
    for (int tries = 0; tries < MostTries; ++tries)
    {
        std::uint32_t count = 0;
        ++mTally.reads;
        if (MorvRead(handle, offset, size, &count, buffer) == S_OK)
        {
            mTally.bytes += count;
            return count == size;
        }
        ++mTally.interruptedReads;
        if (!mWeather.hasSignals)
        {
            return false;
        }
    }
    return false;
}

void Consumer::Check(const LoadFile &file, OpenFileHandle *handle)
{
    const auto size = static_cast<std::uint32_t>(file.content.size());
    if (MorvGetFileSize(handle) != std::int64_t{size})
    {
        mTally.Wrong(file.path + " has another size");
    }
    mBuffer.resize(size);
    const std::uint32_t most = 32; // pieces; more of them tell nothing that these would not
    const std::uint32_t piece = mDice.OneIn(3) ? (size + most - 1) / (1 + mDice.Below(most)) : size;
    bool isRead = true;
    for (std::uint32_t offset = 0; isRead && offset < size; offset += piece)
    {
        isRead = Read(handle, offset, std::min(piece, size - offset), mBuffer.data() + offset);
    }
    if (!isRead || DigestOf(mBuffer) != file.digest)
    {
        mTally.Wrong(file.path + " has other bytes");
    }
    const std::uint32_t offset = mDice.Below(size);
    const std::uint32_t some = 1 + mDice.Below(std::min(size - offset, 5000U));
    if (!Read(handle, offset, some, mBuffer.data()) || file.content.compare(offset, some, mBuffer, 0, some) != 0)
    {
        mTally.Wrong(file.path + " has other bytes in the middle");
    }
}

void Consumer::Hammer()
{
    const LoadFile &file = AnyFile();
    const auto size = static_cast<std::uint32_t>(file.content.size());
    OpenFileHandle *const handle = file.storage == Storage::Stored ? Open(file) : nullptr;
    if (handle == nullptr)
    {
        return;
    }
    mBuffer.resize(size);
    for (int times = 0; times < 20; ++times)
    {
        if (!Read(handle, 0, size, mBuffer.data()))
        {
            mTally.Wrong(file.path + " is not read again");
        }
    }
    if (mBuffer != file.content)
    {
        mTally.Wrong(file.path + " has other bytes in the end");
    }
    MorvCloseFile(handle);
}

void Consumer::LookUp()
{
    const LoadFile &file = AnyFile();
    if (MorvFileExists(file.path.c_str()) != 1 || MorvFileExists((file.path + "x").c_str()) != 0)
    {
        mTally.Wrong(file.path + " is not found, or something that is not there");
    }
}

void Consumer::Enumerate()
{
    const std::string &path = AnyFile().path;
    const std::string prefix = path.substr(0, (mDice.OneIn(2) ? path.rfind('/') : path.find('/')) + 1);
    std::set<std::string> expected;
    for (const LoadFile &file : mTree.Files())
    {
        if (file.path.starts_with(prefix))
        {
            expected.insert(file.path.substr(prefix.size(), file.path.find('/', prefix.size()) - prefix.size()));
        }
    }
    FindHandle *const handle = MorvFindFirstFile((prefix + "*").c_str());
    std::set<std::string> found;
    char name[64];
    while (MorvFindNextFile(handle, nullptr, nullptr, sizeof name, name) == S_OK)
    {
        found.insert(name);
    }
    MorvFindClose(handle);
    if (found != expected)
    {
        mTally.Wrong("the enumeration of " + prefix);
    }
}
} // namespace Keld::Test::Load
