#pragma once

#include "Load/LoadTree.h"
#include "Support/Dice.h"

#include "KeldMorvIO.h"

#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace Keld::Test::Load
{
/// What all threads have seen.
struct Tally
{
    std::atomic<std::uint64_t> opens{0};
    std::atomic<std::uint64_t> reads{0};
    std::atomic<std::uint64_t> bytes{0};
    std::atomic<std::uint64_t> refusedOpens{0}; ///< where descriptors are few, or a signal came
    std::atomic<std::uint64_t> interruptedReads{0};
    std::atomic<std::uint64_t> wrong{0};

    void Wrong(const std::string &what);
};

/// What may fail now.
struct Weather
{
    std::atomic<bool> hasFewDescriptors{false};
    std::atomic<bool> hasSignals{false};
};

/// What one thread does with the library, piece by piece. Everything that it reads is held against what was written.
class Consumer
{
public:
    Consumer(std::uint64_t seed, const LoadTree &tree, const Weather &weather, Tally &tally);
    ~Consumer();
    Consumer(const Consumer &) = delete;
    Consumer &operator=(const Consumer &) = delete;

    void WorkOnce();

    /// All of one file, opened anew.
    void Visit(const LoadFile &file);

    /// All of a file that is open.
    void Check(const LoadFile &file, OpenFileHandle *handle);

    /// Keeps a file open until the end, beside what others do.
    void Keep(const LoadFile &file);
    void LetGo();

    void Enumerate();
    void LookUp();

    /// Large reads in a row, so that more than four threads want a turn at once.
    void Hammer();

    /// The kept file once more.
    void CheckKept();

private:
    OpenFileHandle *Open(const LoadFile &file);
    bool Read(OpenFileHandle *handle, std::uint64_t offset, std::uint32_t size, char *buffer);
    const LoadFile &AnyFile() { return mDice.Of(mTree.Files()); }

    Dice mDice;
    const LoadTree &mTree;
    const Weather &mWeather;
    Tally &mTally;
    std::string mBuffer;
    const LoadFile *mKeptFile = nullptr;
    OpenFileHandle *mKept = nullptr;
};
} // namespace Keld::Test::Load
