#include "KeldMorvIO/listing/ParsedManifest.h"
#include "Support/ManifestImage.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

namespace Keld::MORV::Reader
{
namespace
{
using Keld::Test::ManifestImage;
using testing::ElementsAre;
using testing::ElementsAreArray;

std::vector<std::string> SortedNames(const std::vector<std::string> &names)
{
    ManifestImage image;
    for (const std::string &name : names)
    {
        image.File(name);
    }
    return Keld::Test::WalkManifest(*Keld::Test::ParseManifest(image.Bytes()));
}

TEST(ReleaseManifestSort, PutsFilesInAscendingOrderWithoutRegardToCase)
{
    EXPECT_THAT(SortedNames({"beta", "Gamma", "alpha", "Delta"}), ElementsAre("alpha", "beta", "Delta", "Gamma"));
    EXPECT_THAT(SortedNames({"ab", "A", "abc", ""}), ElementsAre("", "A", "ab", "abc"));
}

TEST(ReleaseManifestSort, ComparesLettersAsLowerCaseAndBytesAsUnsigned)
{
    // '_' stands between the upper-case and the lower-case letters.
    EXPECT_THAT(SortedNames({"aB", "a_b", "aC"}), ElementsAre("a_b", "aB", "aC"));
    EXPECT_THAT(SortedNames({"\xC3\xA4", "z", "\x80", "Z~"}), ElementsAre("z", "Z~", "\x80", "\xC3\xA4"));
}

TEST(ReleaseManifestSort, DoesNotFoldBytesOutsideAscii)
{
    EXPECT_THAT(SortedNames({"\xC4", "\xE4", "\xC5"}), ElementsAre("\xC4", "\xC5", "\xE4"));
}

TEST(ReleaseManifestSort, LooksAtAllOfALongName)
{
    const std::string stem(3000, 's');
    EXPECT_THAT(SortedNames({stem + "b", stem + "C", stem, stem + "a"}),
                ElementsAre(stem, stem + "a", stem + "b", stem + "C"));
}

TEST(ReleaseManifestSort, PutsSubdirectoriesInTheSameOrderAndBeforeFiles)
{
    ManifestImage image;
    image.File("zoo").Directory("Mike").Directory("lima").Directory("_x").File("Abc").Directory("november");
    EXPECT_THAT(Keld::Test::WalkManifest(*Keld::Test::ParseManifest(image.Bytes())),
                ElementsAre("_x/", "lima/", "Mike/", "november/", "Abc", "zoo"));
}

TEST(ReleaseManifestSort, SortsASingleChildAndNone)
{
    EXPECT_THAT(SortedNames({"one"}), ElementsAre("one"));
    EXPECT_THAT(SortedNames({}), ElementsAre());
}

template <class EntryType>
void ExpectEveryLevelSorted(ManifestImage::Record record)
{
    ManifestImage image("atlas", 0x01000000, record);
    std::set<std::string> expected;
    for (const char *const top : {"q", "B", "m", "a"})
    {
        for (const char *const middle : {"y", "X", "c"})
        {
            for (const char *const leaf : {"3", "1", "2"})
            {
                const std::string path = std::string(top) + "/" + middle + "/" + leaf;
                image.File(path);
                expected.insert(path);
            }
        }
    }
    const auto manifest = Keld::Test::ParseManifest<EntryType>(image.Bytes());
    ASSERT_TRUE(manifest->IsValid());
    const std::vector<std::string> walk = Keld::Test::WalkManifest(*manifest);
    EXPECT_THAT(std::vector<std::string>(walk.begin(), walk.begin() + 8),
                ElementsAre("a/", "B/", "m/", "q/", "a/c/", "a/X/", "a/y/", "B/c/"));
    const std::vector<std::string> files(walk.begin() + 16, walk.end());
    EXPECT_THAT(std::vector<std::string>(files.begin(), files.begin() + 4),
                ElementsAre("a/c/1", "a/c/2", "a/c/3", "a/X/1"));
    EXPECT_EQ(std::set<std::string>(files.begin(), files.end()), expected);
}

TEST(ReleaseManifestSort, SortsEveryLevelAndKeepsEachDirectorysChildren)
{
    ExpectEveryLevelSorted<FileTableEntry>(ManifestImage::Record::Current);
    ExpectEveryLevelSorted<FileTableEntryV0>(ManifestImage::Record::V0);
}

/// Whole records move: what a file record says stays with its name, to its last trailing byte.
template <class EntryType>
void ExpectWholeRecordsMoved(ManifestImage::Record record)
{
    ManifestImage image("atlas", 0x01000000, record);
    for (const char name : std::string("dbace"))
    {
        image.File(std::string(1, name),
                   {static_cast<uint32>(name), static_cast<uint32>(name) * 3, static_cast<uint32>(name) << 24,
                    std::string(16, name), std::string(12, name)});
    }
    const auto manifest = Keld::Test::ParseManifest<EntryType>(image.Bytes());
    for (uint32 index = 0; index < 5; ++index)
    {
        const EntryType &file = manifest->GetFile(index);
        const char name = static_cast<char>('a' + index);
        EXPECT_EQ(manifest->GetString(file.nameIndex), std::string(1, name));
        EXPECT_EQ(file.flags, static_cast<uint32>(name));
        EXPECT_EQ(file.size, static_cast<uint32>(name) * 3);
        EXPECT_EQ(file.version, static_cast<uint32>(name) << 24);
        EXPECT_THAT(file.digest, testing::Each(name));
        EXPECT_THAT(file.trailing, testing::Each(name));
    }
}

TEST(ReleaseManifestSort, MovesWholeFileRecords)
{
    ExpectWholeRecordsMoved<FileTableEntry>(ManifestImage::Record::Current);
    ExpectWholeRecordsMoved<FileTableEntryV0>(ManifestImage::Record::V0);
}

TEST(ReleaseManifestSort, KeepsTheRangesThatParentsName)
{
    ManifestImage image;
    image.File("z/2").File("z/1").File("y/b").File("y/a").File("y/c");
    const auto manifest = Keld::Test::ParseManifest(image.Bytes());
    const DirectoryTableEntry &first = manifest->GetDirectory(1);
    const DirectoryTableEntry &second = manifest->GetDirectory(2);
    EXPECT_STREQ(manifest->GetString(first.nameIndex), "y");
    EXPECT_EQ(first.firstFile, 2u);
    EXPECT_EQ(first.fileCount, 3u);
    EXPECT_STREQ(manifest->GetString(second.nameIndex), "z");
    EXPECT_EQ(second.firstFile, 0u);
    EXPECT_EQ(second.fileCount, 2u);
}

TEST(ReleaseManifestSort, SortsALargeDirectory)
{
    std::vector<std::string> names;
    for (uint32 index = 0; index < 5000; ++index)
    {
        names.push_back("file" + std::to_string(index * 7919 % 5000 + 10000));
    }
    std::vector<std::string> expected = names;
    std::sort(expected.begin(), expected.end());
    EXPECT_THAT(SortedNames(names), ElementsAreArray(expected));
}
} // namespace
} // namespace Keld::MORV::Reader
