#include "Tools/Delivery/Sums/ContentSum.h"

namespace Keld::Delivery
{
namespace
{
constexpr std::string_view SumDigits = "0123456789abcdef";
} // namespace

ContentSum ContentSummer::Finish()
{
    ContentSum sum;
    mRun.Finish(sum.data());
    return sum;
}

ContentSum SumOf(std::string_view bytes)
{
    ContentSummer summer;
    summer.Update(bytes);
    return summer.Finish();
}

std::string FormatSum(const ContentSum &sum)
{
    std::string text;
    for (const unsigned char byte : sum)
    {
        text += {SumDigits[byte >> 4], SumDigits[byte & 15]};
    }
    return text;
}

bool ReadSum(std::string_view text, ContentSum &sum)
{
    if (text.size() != sum.size() * 2)
    {
        return false;
    }
    for (uint_size index = 0; index < sum.size(); ++index)
    {
        const uint_size high = SumDigits.find(text[index * 2]);
        const uint_size low = SumDigits.find(text[index * 2 + 1]);
        if (high == std::string_view::npos || low == std::string_view::npos)
        {
            return false;
        }
        sum[index] = static_cast<unsigned char>(high * 16 + low);
    }
    return true;
}
} // namespace Keld::Delivery
