#pragma once

#include "Support/Dice.h"

#include <string>
#include <vector>

namespace Keld::Test::Oracle
{
/// Names and paths that one deployment's releases have in common, so that they hide each other.
class RandomNames
{
public:
    explicit RandomNames(Dice &dice);

    /// A path of the pool, at times in another case, at times below one that others have as a file.
    std::string Path();

    static std::string OtherCase(Dice &dice, std::string text);

private:
    std::string Name();

    Dice &mDice;
    std::vector<std::string> mDirectories; ///< each ended by '/', but for the root
    std::vector<std::string> mPaths;
};
} // namespace Keld::Test::Oracle
