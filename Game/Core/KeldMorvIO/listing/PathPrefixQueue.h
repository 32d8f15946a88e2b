#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <deque>
#include <string>

namespace Keld::MORV::Reader
{
/// Keeps, for directories that a walk will come to later, the text that their children's paths begin with. It comes out
/// in the order in which it went in. What finds no room has to be made anew when its turn comes.
class PathPrefixQueue
{
public:
    /// \param budget in bytes of text.
    explicit PathPrefixQueue(uint_size budget) : mBudget(budget) {}

    bool HasRoom(uint_size length) const { return mSize + length <= mBudget; }

    /// Takes the text over. There must be room.
    void Push(uint32 directory, std::string prefix);

    /// Gives the text of the directory and drops it, if it was kept and those pushed before it have had their turn.
    bool Pop(uint32 directory, std::string &prefix);

private:
    struct Kept
    {
        uint32 directory;
        std::string prefix;
    };

    uint_size mBudget;
    uint_size mSize = 0; ///< bytes of all texts
    std::deque<Kept> mKept;
};
} // namespace Keld::MORV::Reader
