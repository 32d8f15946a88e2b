#include "KeldFoundation/logger/MessageRing.h"

namespace Keld::Logger
{
void MessageRing::Store(const char *text)
{
    if (mTexts.size() < Capacity)
    {
        mTexts.emplace_back(text);
        return;
    }
    mTexts[mOldest] = text;
    mOldest = (mOldest + 1) % Capacity;
}
} // namespace Keld::Logger
