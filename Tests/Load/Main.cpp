// Many threads at once in one library, over files of every storage: with plenty of descriptors, with few, and in a
// storm of signals, each with children that are forked in the middle. What is read is held against what was written;
// what the process has in use is to be the same after each round.
//
//     KeldLoad [--seconds N] [--threads N]
//
// Ends with status 0, 1 where something was wrong, 2 for its usage.

#include "Load/Consumer.h"
#include "Load/Figures.h"
#include "Load/Gate.h"
#include "Support/QuietLogger.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string_view>
#include <thread>

#include <signal.h>
#include <sys/resource.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Keld::Test::Load
{
namespace
{
using Clock = std::chrono::steady_clock;

constexpr std::size_t MostGrowth = 1 << 20; ///< bytes in use that caches of the platform may add
constexpr rlim_t SpareDescriptors = 8;
constexpr suseconds_t SignalIntervalUs = 300;

std::atomic<std::uint64_t> gSignals{0};

void CountSignal(int)
{
    ++gSignals;
}

struct Wish
{
    long seconds = 3;
    long threads = 64;
};

/// Lowers what the process may open, as long as it lives.
class FewDescriptors
{
public:
    explicit FewDescriptors(rlim_t limit)
    {
        getrlimit(RLIMIT_NOFILE, &mBefore);
        const rlimit few = {std::min(limit, mBefore.rlim_cur), mBefore.rlim_max};
        if (setrlimit(RLIMIT_NOFILE, &few) != 0)
        {
            std::perror("setrlimit");
            std::abort();
        }
    }
    ~FewDescriptors() { setrlimit(RLIMIT_NOFILE, &mBefore); }
    FewDescriptors(const FewDescriptors &) = delete;
    FewDescriptors &operator=(const FewDescriptors &) = delete;

private:
    rlimit mBefore{};
};

/// A timer whose signals end what a thread sleeps in.
class SignalStorm
{
public:
    SignalStorm() { Set(SignalIntervalUs); }
    ~SignalStorm() { Set(0); }
    SignalStorm(const SignalStorm &) = delete;
    SignalStorm &operator=(const SignalStorm &) = delete;

    /// Once, before the first storm.
    static void Install()
    {
        struct sigaction action = {};
        action.sa_handler = CountSignal; // without SA_RESTART
        sigaction(SIGALRM, &action, nullptr);
    }

private:
    static void Set(suseconds_t microseconds)
    {
        const itimerval interval = {{0, microseconds}, {0, microseconds}};
        setitimer(ITIMER_REAL, &interval, nullptr);
    }
};

class Round
{
public:
    Round(const LoadTree &tree, const Wish &wish, Tally &tally, std::uint64_t seed)
        : mTree(tree), mTally(tally), mThreadCount(wish.threads), mSeed(seed)
    {
    }

    void Run(Clock::duration phase)
    {
        if (MorvInitialize(0, 0, 0, mTree.Directory().c_str()) != S_OK)
        {
            mTally.Wrong("the library does not start");
            return;
        }
        const auto few = static_cast<rlim_t>(LowestFreeDescriptor()) + SpareDescriptors;
        OpenDense();
        StartThreads();
        WorkFor(phase);
        Change(true, false);
        {
            const FewDescriptors limited(few);
            const std::uint64_t before = mTally.refusedOpens;
            WorkFor(phase);
            WaitUntilMore(mTally.refusedOpens, before);
            mGate.Close();
        }
        ChangeInside(false, true);
        {
            const SignalStorm storm;
            mGate.Open();
            const std::uint64_t before = gSignals;
            WorkFor(phase);
            WaitUntilMore(gSignals, before);
            mGate.Close();
        }
        mEnds = true;
        mGate.Open();
        for (std::thread &thread : mThreads)
        {
            thread.join();
        }
        mDense.clear();
        MorvShutdown();
    }

    std::uint64_t Forks() const { return mForks; }

private:
    // A phase that nothing came of has tried nothing, so that it lasts until something has.
    static void WaitUntilMore(const std::atomic<std::uint64_t> &count, std::uint64_t before)
    {
        while (count == before)
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    // LZMA files are opened once and stay open: after its last close one cannot be opened again.
    void OpenDense()
    {
        for (const LoadFile &file : mTree.Files())
        {
            if (file.storage == Storage::Lzma)
            {
                mDense.push_back(std::make_unique<Consumer>(mSeed, mTree, mWeather, mTally));
                mDense.back()->Keep(file);
            }
        }
    }

    // A sanitizer's allocator is not ready for a fork, so that no thread may be beginning then.
    void StartThreads()
    {
        for (long index = 0; index < mThreadCount; ++index)
        {
            mThreads.emplace_back(
                [this, seed = mSeed + static_cast<std::uint64_t>(index)]
                {
                    sigset_t alarm;
                    sigemptyset(&alarm);
                    sigaddset(&alarm, SIGALRM);
                    pthread_sigmask(SIG_UNBLOCK, &alarm, nullptr);
                    Consumer consumer(seed, mTree, mWeather, mTally);
                    ++mArrived;
                    while (!mEnds)
                    {
                        mGate.Enter();
                        consumer.WorkOnce();
                        mGate.Leave();
                    }
                });
        }
        while (mArrived < mThreadCount)
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    }

    void Change(bool hasFewDescriptors, bool hasSignals)
    {
        mGate.Close();
        ChangeInside(hasFewDescriptors, hasSignals);
        mGate.Open();
    }

    void ChangeInside(bool hasFewDescriptors, bool hasSignals)
    {
        mWeather.hasFewDescriptors = hasFewDescriptors;
        mWeather.hasSignals = hasSignals;
    }

    // Forks a child at the beginning, and again and again.
    void WorkFor(Clock::duration phase)
    {
        const Clock::time_point end = Clock::now() + phase;
        do
        {
            const Clock::time_point next =
                Clock::now() + std::min<Clock::duration>(phase / 2, std::chrono::milliseconds(400));
            while (Clock::now() < next)
            {
                if (mWeather.hasSignals)
                {
                    mTree.Evict();
                }
                std::this_thread::sleep_for(std::chrono::milliseconds(30));
            }
            mGate.Close();
            ForkChild();
            mGate.Open();
        } while (Clock::now() < end);
    }

    // The child reads what its parent has open, and opens by itself.
    void ForkChild()
    {
        ++mForks;
        const pid_t child = fork();
        if (child == 0)
        {
            const std::uint64_t before = mTally.wrong;
            for (const std::unique_ptr<Consumer> &dense : mDense)
            {
                dense->CheckKept();
            }
            Consumer consumer(mSeed + mForks, mTree, mWeather, mTally);
            for (int times = 0; times < 20; ++times)
            {
                consumer.WorkOnce();
            }
            consumer.LetGo();
            _exit(mTally.wrong == before ? 0 : 1);
        }
        int status = -1;
        if (child == -1 || waitpid(child, &status, 0) != child || status != 0)
        {
            mTally.Wrong("a child ended with " + std::to_string(status));
        }
    }

    const LoadTree &mTree;
    Tally &mTally;
    long mThreadCount;
    std::uint64_t mSeed;
    Weather mWeather;
    Gate mGate;
    std::atomic<bool> mEnds{false};
    std::atomic<long> mArrived{0};
    std::vector<std::thread> mThreads;
    std::vector<std::unique_ptr<Consumer>> mDense;
    std::uint64_t mForks = 0;
};

void CheckFigures(const Figures &before, const std::optional<Figures> &first, const Figures &after, Tally &tally)
{
    if (after.descriptors != before.descriptors)
    {
        tally.Wrong(std::to_string(before.descriptors) + " descriptors became " + std::to_string(after.descriptors));
    }
    if (after.threads != before.threads)
    {
        tally.Wrong(std::to_string(before.threads) + " threads became " + std::to_string(after.threads));
    }
    if (first && after.bytes > first->bytes + MostGrowth)
    {
        tally.Wrong(std::to_string(first->bytes) + " bytes in use became " + std::to_string(after.bytes));
    }
}

int Run(const Wish &wish)
{
    constexpr long shortest = 3; // rounds, of which the first fills the platform's caches
    constexpr long phases = 3;
    const long rounds = std::max(shortest, wish.seconds / 6);
    const Clock::duration phase = std::chrono::milliseconds(1000 * wish.seconds / rounds / phases);
    MorvSetLogger(QuietLogger());
    sigset_t alarm;
    sigemptyset(&alarm);
    sigaddset(&alarm, SIGALRM);
    pthread_sigmask(SIG_BLOCK, &alarm, nullptr); // the threads get them all
    SignalStorm::Install();

    const LoadTree tree;
    Tally tally;
    std::uint64_t forks = 0;
    std::thread([] {}).join(); // the first thread may bring one of a sanitizer's with it, which stays
    const Figures before = Figures::Now();
    std::optional<Figures> first;
    Figures after;
    for (long index = 0; index < rounds; ++index)
    {
        Round round(tree, wish, tally, 1000 * static_cast<std::uint64_t>(index));
        round.Run(phase);
        forks += round.Forks();
        after = Figures::WithThreads(before.threads);
        CheckFigures(before, first, after, tally);
        first = first ? first : after;
    }
    const auto number = [](std::uint64_t value)
    {
        return static_cast<unsigned long long>(value);
    };
    std::printf("%ld threads, %ld rounds: %llu opens (%llu refused), %llu reads (%llu ended by a signal), %llu MB, "
                "%llu signals, %llu children; bytes in use after the first round %zu, after the last %zu: %s\n",
                wish.threads, rounds, number(tally.opens), number(tally.refusedOpens), number(tally.reads),
                number(tally.interruptedReads), number(tally.bytes / 1'000'000), number(gSignals), number(forks),
                first->bytes, after.bytes, tally.wrong == 0 ? "nothing wrong" : "something wrong");
    return tally.wrong == 0 ? 0 : 1;
}

bool ReadWish(int argumentCount, char **arguments, Wish &wish)
{
    for (int index = 1; index < argumentCount; index += 2)
    {
        const std::string_view name = arguments[index];
        long *const place = name == "--seconds" ? &wish.seconds : name == "--threads" ? &wish.threads : nullptr;
        if (place == nullptr || index + 1 == argumentCount)
        {
            return false;
        }
        *place = std::strtol(arguments[index + 1], nullptr, 10);
        if (*place < 1)
        {
            return false;
        }
    }
    return true;
}
} // namespace
} // namespace Keld::Test::Load

int main(int argumentCount, char **arguments)
{
    Keld::Test::Load::Wish wish;
    if (!Keld::Test::Load::ReadWish(argumentCount, arguments, wish))
    {
        std::fprintf(stderr, "usage: %s [--seconds N] [--threads N]\n", arguments[0]);
        return 2;
    }
    return Keld::Test::Load::Run(wish);
}
