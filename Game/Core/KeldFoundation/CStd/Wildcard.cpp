#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/CStd/Hash.h"

#include <algorithm>
#include <cstring>

// One pass over the pattern, with a cursor in the name and a flag for a star that waits for what follows it. A star
// takes the first place that fits and never tries another. A dot is a matcher of its own, and stands for the end of a
// name as well; but one inside a run of literal text belongs to the run.
namespace Keld
{
namespace
{
// Names from this length on are searched in time that grows with their length alone. The plain search of shorter ones
// is faster, though each place may cost the length of the run.
constexpr uint_size LongNameLength = 256;

// The first place in a name that reads like a run, or null.
const char *FindRun(const char *name, const char *run, uint_size length)
{
    const char first = FoldCase(*run);
    for (; *name != '\0'; ++name)
    {
        if (FoldCase(*name) == first && std_strnicmp(name, run, length) == 0)
        {
            return name;
        }
    }
    return nullptr;
}

// Searches for a run without going back in the name (Knuth, Morris, Pratt). A place where the run breaks off tells by
// what was read how far the run may move on.
class RunSearch
{
public:
    RunSearch(const char *run, uint_size length) : mRun(run), mLength(length), mHeadLength(std::min(length, HeadSize))
    {
        uint_size matched = 0;
        mBorders[0] = 0;
        for (uint_size index = 1; index < mHeadLength; ++index)
        {
            matched = Extend(matched, mRun[index]);
            mBorders[index] = static_cast<uint16>(matched);
        }
    }

    const char *Find(const char *name) const
    {
        uint_size matched = 0;
        for (; *name != '\0'; ++name)
        {
            matched = Extend(matched, *name);
            if (matched == mHeadLength)
            {
                const char *const place = name + 1 - mHeadLength;
                if (std_strnicmp(name + 1, mRun + mHeadLength, mLength - mHeadLength) == 0)
                {
                    return place;
                }
                matched = mBorders[mHeadLength - 1];
            }
        }
        return nullptr;
    }

private:
    // More than a path of the library holds. Of a longer run the head is searched, and the rest compared behind it.
    static constexpr uint_size HeadSize = 1024;

    // The characters of the run that match up to and with `character`, where `matched` did before it.
    uint_size Extend(uint_size matched, char character) const
    {
        while (matched != 0 && FoldCase(mRun[matched]) != FoldCase(character))
        {
            matched = mBorders[matched - 1];
        }
        return FoldCase(mRun[matched]) == FoldCase(character) ? matched + 1 : 0;
    }

    const char *mRun;
    uint_size mLength;
    uint_size mHeadLength;
    uint16 mBorders[HeadSize]; ///< by position: the longest start of the run, not all of it, that ends there
};

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
        const bool isLong = std_strnlen(mName, LongNameLength) == LongNameLength;
        const char *const place = isLong ? RunSearch(mPattern, length).Find(mName) : FindRun(mName, mPattern, length);
        if (place == nullptr)
        {
            return false;
        }
        mName = place;
    }
    else if (std_strnicmp(mName, mPattern, length) != 0)
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
