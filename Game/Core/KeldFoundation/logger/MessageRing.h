#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <string>
#include <vector>

namespace Keld::Logger
{
/// The last texts that were stored, up to a limit; a text too many takes the place of the oldest. Not locked.
class MessageRing
{
public:
    static constexpr uint_size Capacity = 100;

    void Store(const char *text);

    /// Hands every text to `visit`, the oldest first.
    template <class Visitor>
    void ForEach(Visitor visit) const
    {
        for (uint_size index = 0; index < mTexts.size(); ++index)
        {
            visit(mTexts[(mOldest + index) % mTexts.size()]);
        }
    }

private:
    std::vector<std::string> mTexts;
    uint_size mOldest = 0; ///< index of the oldest text
};
} // namespace Keld::Logger
