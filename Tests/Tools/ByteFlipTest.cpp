#include "Tools/CheckedTree.h"
#include "Tools/RandomTree.h"

#include "Support/ReaderLogCapture.h"

#include <algorithm>
#include <filesystem>

namespace Keld::Test
{
namespace
{
constexpr uint32 FlipsPerRun = 250;

/// All that programs see in one release: every file with its content.
using Answers = std::map<std::string, std::string>;

/// Changes bytes at random in everything that a tree holds. Whatever the library answers otherwise afterwards must have
/// been told before.
class ByteFlipTest : public CheckedTree, public testing::WithParamInterface<uint32>
{
protected:
    ByteFlipTest() : mRandom(GetParam())
    {
        for (const auto &entry : std::filesystem::recursive_directory_iterator(mTree.Path("MORV")))
        {
            if (entry.is_regular_file())
            {
                mFiles.push_back(std::filesystem::relative(entry.path(), mTree.Root()).string());
            }
        }
        std::sort(mFiles.begin(), mFiles.end());
    }

    Answers AskLibrary() const
    {
        const ReaderLogCapture quiet;
        Answers answers;
        for (const std::string place :
             {"MORV/projects/game/releases/1.0.0.0", "MORV/projects/game/releases/1.0.0.1",
              "MORV/projects/extra/releases/1.0.0.0", "MORV/solutions/suite/releases/0.0.1.0"})
        {
            const ReleaseReader reader(mTree.Path(place));
            for (const auto &[path, size] : reader.FindAll())
            {
                answers[place + ":" + path] = reader.Read(path);
            }
        }
        return answers;
    }

    /// What a solution says but once and in no other place: which release of a project, and its priority.
    bool CanBeContradicted(const std::string &path, std::size_t offset) const
    {
        if (!path.ends_with("solutionmanifest"))
        {
            return true;
        }
        const std::string bytes = mTree.Read(path);
        const auto line = std::count(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(offset), '\n');
        constexpr std::ptrdiff_t firstProject = 5;
        const bool isOfProject = line >= firstProject && line < firstProject + 8; // two, of four lines each
        const std::ptrdiff_t field = (line - firstProject) % 4;
        return !isOfProject || (field != 1 && field != 2);
    }

    RandomTree mRandom;
    std::vector<std::string> mFiles;
};

TEST_P(ByteFlipTest, EveryChangeThatAReaderSeesIsTold)
{
    ASSERT_TRUE(Check().IsWhole());
    const Answers before = AskLibrary();
    ASSERT_EQ(before.size(), 7U + 8U + 2U + 9U);
    uint32 told = 0;
    for (uint32 count = 0; count < FlipsPerRun; ++count)
    {
        const std::string &path = mFiles[mRandom.Below(static_cast<uint32>(mFiles.size()))];
        const std::string bytes = mTree.Read(path);
        if (bytes.empty())
        {
            continue;
        }
        const std::size_t offset = mRandom.Below(static_cast<uint32>(bytes.size()));
        const bool canBeContradicted = CanBeContradicted(path, offset);
        const unsigned char bits = mRandom.Below(2) == 0 ? static_cast<unsigned char>(1U << mRandom.Below(8))
                                                         : static_cast<unsigned char>(1 + mRandom.Below(255));
        Flip(path, offset, bits);
        SCOPED_TRACE(path + " byte " + std::to_string(offset) + " bits " + std::to_string(bits));
        if (!Check().IsWhole())
        {
            ++told;
        }
        else if (canBeContradicted)
        {
            EXPECT_EQ(AskLibrary(), before);
        }
        mTree.Write(path, bytes); // the library may have deleted an index
    }
    EXPECT_GT(told, FlipsPerRun * 2 / 3);
    EXPECT_TRUE(Check().IsWhole());
}

INSTANTIATE_TEST_SUITE_P(Seeds, ByteFlipTest, testing::Range(1U, 5U));
} // namespace
} // namespace Keld::Test
