#include "KeldMorvIO/listing/LookupPath.h"

#include "KeldFoundation/CStd/Hash.h"
#include "KeldFoundation/path/Path.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace Keld::MORV::Reader
{
namespace
{
using Form = LookupPath::Form;

std::string Folded(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), FoldCase);
    return text;
}

std::vector<std::string> NamesOf(const LookupPath &path)
{
    std::vector<std::string> names;
    for (uint32 index = 0; index < path.GetNameCount(); ++index)
    {
        names.emplace_back(path.GetName(index), path.GetNameLength(index));
    }
    return names;
}

std::vector<std::string> SplitAtSeparators(const std::string &text)
{
    std::vector<std::string> names;
    std::size_t start = 0;
    for (std::size_t end = text.find('/'); end != std::string::npos; end = text.find('/', start))
    {
        names.push_back(text.substr(start, end - start));
        start = end + 1;
    }
    names.push_back(text.substr(start));
    return names;
}

void ExpectReadAs(const LookupPath &path, const std::string &canonical)
{
    const std::string folded = Folded(canonical);
    ASSERT_TRUE(path.Fits());
    EXPECT_EQ(path.GetText(), folded);
    EXPECT_EQ(path.GetLength(), folded.size());
    EXPECT_EQ(path.GetHash(), HashPathLower(canonical.c_str()));
    EXPECT_EQ(NamesOf(path), SplitAtSeparators(folded));
}

TEST(LookupPath, ReadsAPathInOnePassAsTheSlowStepsDo)
{
    constexpr char characters[] = {'a', 'B', 'Z', '/', '/', '\\', '.', '_', '\xC4', '\x7F', ' '};
    std::mt19937 random(1);
    for (int round = 0; round < 20000; ++round)
    {
        const std::size_t base = round % 20 == 0 ? 1015 : 0; // about as long as fits, too
        std::string text(base, 'x');
        for (std::size_t length = random() % 20; length > 0; --length)
        {
            text += characters[random() % sizeof characters];
        }
        char canonical[PathBufferSize];
        const bool fits = CanonicalizePathBounded(text.c_str(), canonical, sizeof canonical, 1);
        SCOPED_TRACE(text);
        const LookupPath path(text.c_str(), Form::Consumer);
        ASSERT_EQ(path.Fits(), fits);
        if (fits)
        {
            ExpectReadAs(path, canonical);
        }
        if (text.size() < PathBufferSize)
        {
            ExpectReadAs(LookupPath(text.c_str(), Form::Canonical), text);
        }
    }
}

TEST(LookupPath, HasOneEmptyNameWhenThePathIsEmpty)
{
    ExpectReadAs(LookupPath("", Form::Consumer), "");
    ExpectReadAs(LookupPath("/", Form::Consumer), "");
    ExpectReadAs(LookupPath("//", Form::Consumer), "/");
}

TEST(LookupPath, FitsUpToTheLastCharacterThatAPathBufferHolds)
{
    const std::string longest(PathBufferSize - 1, 'a');
    ExpectReadAs(LookupPath((longest + "/").c_str(), Form::Consumer), longest);
    ExpectReadAs(LookupPath((longest + "//\\").c_str(), Form::Consumer), longest);
    ExpectReadAs(LookupPath(std::string(2000, '/').c_str(), Form::Consumer), "/");
    EXPECT_FALSE(LookupPath((longest + "a").c_str(), Form::Consumer).Fits());
    EXPECT_FALSE(LookupPath((longest + "/a").c_str(), Form::Consumer).Fits());
    EXPECT_FALSE(LookupPath((longest + "/").c_str(), Form::Canonical).Fits());
    EXPECT_FALSE(LookupPath(std::string(5000, '/').c_str(), Form::Canonical).Fits());
}
} // namespace
} // namespace Keld::MORV::Reader
