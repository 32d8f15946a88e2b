#pragma once

#include "Support/Dice.h"

#include <string>
#include <vector>

namespace Keld::Test::Oracle
{
/// The two text manifests of a solution over some projects, written in the ways that are allowed, and at times in one
/// that is not.
class RandomSolution
{
public:
    struct Candidate
    {
        std::string project;
        std::string version;
    };

    RandomSolution(Dice &dice, const std::vector<Candidate> &candidates);

    const std::string &Manifest() const { return mManifest; }
    const std::string &Configuration() const { return mConfiguration; }

private:
    std::string Number(std::uint32_t number);
    std::string Text(std::vector<std::string> lines);

    Dice &mDice;
    std::string mManifest;
    std::string mConfiguration;
};
} // namespace Keld::Test::Oracle
