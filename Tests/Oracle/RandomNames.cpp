#include "Oracle/RandomNames.h"

#include <cctype>

namespace Keld::Test::Oracle
{
RandomNames::RandomNames(Dice &dice) : mDice(dice), mDirectories{""}
{
    for (std::uint32_t count = 2 + dice.Below(9); count > 0; --count)
    {
        mDirectories.push_back(mDice.Of(mDirectories) + Name() + "/");
    }
    if (dice.OneIn(8))
    {
        // Just below and just above the longest path that can be asked for.
        std::string deep;
        while (deep.size() < 960)
        {
            deep += std::string(1 + dice.Below(90), static_cast<char>('a' + dice.Below(26))) + "/";
        }
        mDirectories.push_back(deep);
    }
    for (std::uint32_t count = 10 + dice.Below(30); count > 0; --count)
    {
        mPaths.push_back((mDice.OneIn(3) ? mDirectories.back() : mDice.Of(mDirectories)) + Name());
    }
}

std::string RandomNames::Name()
{
    static const std::string letters = "abcdefgABCDEFG_xyz0123456789.-~ []@\xC3\xA4\xFF{}^*?\\:%";
    static const std::string odd[] = {".hidden", "...",   "a",     "A", "data", "con.txt",
                                      "x.y.z",   "name ", " name", "~", "_"};
    if (mDice.OneIn(9))
    {
        return mDice.Of(odd);
    }
    std::string name;
    const std::uint32_t length = mDice.OneIn(40) ? 1 + mDice.Below(254) : 1 + mDice.Below(9);
    while (name.size() < length)
    {
        name += mDice.OneIn(7) ? mDice.Of(letters) : letters[mDice.Below(14)];
    }
    return name == "." || name == ".." ? name + "x" : name;
}

std::string RandomNames::OtherCase(Dice &dice, std::string text)
{
    for (char &character : text)
    {
        const bool isLetter = std::isalpha(static_cast<unsigned char>(character)) != 0;
        character = isLetter && dice.OneIn(2) ? static_cast<char>(character ^ 0x20) : character;
    }
    return text;
}

std::string RandomNames::Path()
{
    std::string path = mDice.Of(mPaths);
    if (mDice.OneIn(12))
    {
        path += "/" + Name();
    }
    return mDice.OneIn(6) ? OtherCase(mDice, path) : path;
}
} // namespace Keld::Test::Oracle
