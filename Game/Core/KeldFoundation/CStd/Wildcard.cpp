#include "KeldFoundation/CStd/CStd.h"

#include <cstring>

// One pass over the pattern, with a cursor in the name and a flag for a star that waits for what follows it. A star
// takes the first place that fits and never tries another. A dot is a matcher of its own, which the end of a name
// satisfies too; but a dot inside a run of literal text belongs to that run.
namespace Keld
{
namespace
{
class WildcardMatch
{
public:
    WildcardMatch(const char *name, const char *pattern) : mName(name), mPattern(pattern) {}

    bool Run();

private:
    bool Step();
    bool MatchDot();
    bool MatchAny();
    bool MatchRun();

    const char *mName;
    const char *mPattern;
    bool mStar = false;
};

bool WildcardMatch::Run()
{
    while (*mPattern != '\0')
    {
        if (!Step())
        {
            return false;
        }
    }
    return mStar || *mName == '\0';
}

bool WildcardMatch::Step()
{
    switch (*mPattern)
    {
    case '*':
        mStar = true;
        ++mPattern;
        return true;
    case '.':
        return MatchDot();
    case '?':
        return MatchAny();
    default:
        return MatchRun();
    }
}

bool WildcardMatch::MatchDot()
{
    if (mStar)
    {
        mName += std::strcspn(mName, ".");
    }
    if (*mName != '\0')
    {
        if (*mName != '.')
        {
            return false;
        }
        ++mName;
    }
    mStar = false;
    ++mPattern;
    return true;
}

// Leaves the star as it was, so that "*?c" still finds its c anywhere.
bool WildcardMatch::MatchAny()
{
    if (*mName == '\0')
    {
        return false;
    }
    ++mName;
    ++mPattern;
    return true;
}

bool WildcardMatch::MatchRun()
{
    const uint_size length = std::strcspn(mPattern, "*?");
    if (mStar)
    {
        while (*mName != '\0' && std_strnicmp(mName, mPattern, length) != 0)
        {
            ++mName;
        }
    }
    if (std_strnicmp(mName, mPattern, length) != 0)
    {
        return false;
    }
    mName += length;
    mPattern += length;
    mStar = false;
    return true;
}
} // namespace

bool std_wildcard_match(const char *name, const char *pattern)
{
    return name != nullptr && pattern != nullptr && WildcardMatch(name, pattern).Run();
}
} // namespace Keld
