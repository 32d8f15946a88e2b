#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <deque>
#include <string>
#include <string_view>

namespace Keld::MORV::Reader
{
/// Keeps, for directories that a walk will come to later, the text that their children's paths begin with. It comes out
/// in the order in which it went in. What finds no room has to be made anew when its turn comes.
class PathPrefixQueue
{
public:
    /// \param budget in bytes of text.
    explicit PathPrefixQueue(uint_size budget) : mBudget(budget) {}

    bool HasRoom(uint_size length) const { return mText.size() - mTextAt + length <= mBudget; }

    /// Keeps the text of both and a '/'. There must be room.
    void Push(uint32 directory, std::string_view start, std::string_view name);

    /// Gives the text of the directory and drops it, if it was kept and those pushed before it have had their turn.
    bool Pop(uint32 directory, std::string &prefix);

private:
    struct Kept
    {
        uint32 directory;
        uint32 length; ///< bytes
    };

    uint_size mBudget;
    std::deque<Kept> mKept;
    std::string mText;     ///< of all that is kept, in a row, behind what was taken out already
    uint_size mTextAt = 0; ///< where the text of the first one begins
};
} // namespace Keld::MORV::Reader
