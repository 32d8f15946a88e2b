#pragma once

#include "Oracle/ComparedLibrary.h"
#include "Oracle/RandomDeployment.h"
#include "Support/Dice.h"

#include <cstdint>
#include <string>

namespace Keld::Test::Oracle
{
/// Calls by chance, around paths that are there.
class RandomCalls
{
public:
    RandomCalls(Dice &dice, Disk &disk, ComparedLibrary &library, const RandomDeployment &deployment)
        : mDice(dice), mDisk(disk), mLibrary(library), mDeployment(deployment)
    {
    }

    /// So many calls, or a few more.
    void Make(std::uint64_t count);

private:
    void MakeOne();
    void Read();
    void ChangeDisk();
    std::string AnyPath();
    std::string Pattern();
    std::string Changed(std::string path);

    Dice &mDice;
    Disk &mDisk;
    ComparedLibrary &mLibrary;
    const RandomDeployment &mDeployment;
};
} // namespace Keld::Test::Oracle
