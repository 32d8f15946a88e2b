#include "Tools/TreeWriter/ReleaseManifestWriter.h"

#include "Support/ByteImage.h"

#include "Tools/TreeReader/ManifestTree.h"
#include "Tools/TreeReader/TreeError.h"

#include <gtest/gtest.h>

namespace Keld::Test
{
namespace
{
using TreeReader::ReleaseContents;
using TreeReader::TreeError;
using TreeWriter::BuildReleaseManifest;

ReleaseContents ReadBack(const std::string &image)
{
    LargeVector<char> bytes(image.begin(), image.end());
    const auto tree = TreeReader::ManifestTree::Parse(bytes, "manifest");
    EXPECT_TRUE(tree) << (tree ? "" : tree.GetFault().GetMessage());
    return tree ? TreeReader::MakeContents(**tree) : ReleaseContents();
}

TreeReader::Digest DigestFrom(unsigned char first)
{
    TreeReader::Digest digest;
    for (unsigned char &byte : digest)
    {
        byte = first++;
    }
    return digest;
}

/// Two levels of directories and three files; the strings come in the order of their first use.
ReleaseContents SmallRelease()
{
    ReleaseContents contents;
    contents.project = "game";
    contents.release = 0x01020304;
    contents.directories = {"Empty"};
    contents.files = {{"maps/b", 0x01000000, DigestFrom(0x10), 0x02, 7},
                      {"maps/A", 0x01020304, DigestFrom(0x30), 0x01, 0x01020304},
                      {"top", 0x01020304, DigestFrom(0x50), 0, 0}};
    return contents;
}

ByteImage HeadAndDirectories(uint32 formatVersion)
{
    ByteImage image;
    image.Raw(0, "QVMF").Word(4, formatVersion).Word(8, 1).Word(12, 0x01020304).Word(16, 3);
    image.Word(20, 0).Word(24, 1).Word(28, 2).Word(32, 0).Word(36, 1); // root: Empty and maps, file top
    image.Word(40, 3).Word(44, 3).Word(48, 0).Word(52, 1).Word(56, 0); // Empty
    image.Word(60, 4).Word(64, 3).Word(68, 0).Word(72, 1).Word(76, 2); // maps: A and b
    return image.Word(80, 3);
}

void AddFile(ByteImage &image, std::size_t offset, uint32 name, const TreeReader::ReleaseFile &file)
{
    image.Word(offset, name).Word(offset + 4, file.version);
    image.Raw(offset + 8, std::string(file.digest.begin(), file.digest.end()));
    image.Word(offset + 24, file.flags).Word(offset + 28, file.size);
}

std::string ExpectedImage(uint32 formatVersion, std::size_t stride)
{
    const ReleaseContents contents = SmallRelease();
    ByteImage image = HeadAndDirectories(formatVersion);
    AddFile(image, 84, 2, contents.files[2]);
    AddFile(image, 84 + stride, 5, contents.files[1]);
    AddFile(image, 84 + 2 * stride, 6, contents.files[0]);
    const std::size_t strings = 84 + 3 * stride;
    const std::string data("\0game\0top\0Empty\0maps\0A\0b\0", 25);
    return image.Word(strings, 7).Word(strings + 4, 25).Raw(strings + 8, data).Bytes();
}

TEST(ReleaseManifestWriterTest, WritesTheCurrentFormatByteForByte)
{
    EXPECT_EQ(BuildReleaseManifest(SmallRelease()), ExpectedImage(0x10002, 36));
}

TEST(ReleaseManifestWriterTest, WritesTheOlderFormatWithItsLongerRecords)
{
    ReleaseContents contents = SmallRelease();
    contents.formatVersion = 0x10001;
    EXPECT_EQ(BuildReleaseManifest(contents), ExpectedImage(0x10001, 44));
}

TEST(ReleaseManifestWriterTest, AReleaseWithoutFilesIsOneRootRecordWithAnEmptyName)
{
    ReleaseContents contents;
    contents.project = "p";
    ByteImage image;
    image.Raw(0, "QVMF").Word(4, 0x10002).Word(8, 1).Word(12, 0).Word(16, 1);
    image.Word(20, 0).Word(24, 1).Word(28, 0).Word(32, 0).Word(36, 0).Word(40, 0);
    image.Word(44, 2).Word(48, 3).Raw(52, std::string("\0p\0", 3));
    EXPECT_EQ(BuildReleaseManifest(contents), image.Bytes());
}

TEST(ReleaseManifestWriterTest, EqualNamesShareOneString)
{
    ReleaseContents contents;
    contents.project = "b";
    contents.files = {{"b/b", 0, {}, 0, 1}};
    const std::string image = BuildReleaseManifest(contents);
    EXPECT_EQ(image.substr(image.size() - 3), std::string("\0b\0", 3));
}

TEST(ReleaseManifestWriterTest, WhatWasWrittenReadsBackTheSameInBothFormats)
{
    for (const uint32 formatVersion : {0x10001u, 0x10002u})
    {
        ReleaseContents contents = SmallRelease();
        contents.formatVersion = formatVersion;
        const ReleaseContents read = ReadBack(BuildReleaseManifest(contents));
        EXPECT_EQ(read.project, "game");
        EXPECT_EQ(read.release, 0x01020304u);
        EXPECT_EQ(read.formatVersion, formatVersion);
        EXPECT_EQ(read.directories, (std::vector<std::string>{"Empty", "maps"}));
        EXPECT_EQ(read.files, (std::vector{contents.files[2], contents.files[1], contents.files[0]}));
    }
}

TEST(ReleaseManifestWriterTest, RefusesPathsThatAreNoVirtualPaths)
{
    for (const char *path : {"", "/a", "a/", "a//b", "a/./b", "../a", "a\\b"})
    {
        ReleaseContents contents;
        contents.files = {{path, 0, {}, 0, 1}};
        EXPECT_THROW(BuildReleaseManifest(contents), TreeError) << path;
    }
}

TEST(ReleaseManifestWriterTest, RefusesNamesThatDifferInCaseAlone)
{
    for (const auto &[first, second] : {std::pair{"a", "A"}, {"a", "a"}, {"d/x", "D/y"}, {"n/x", "N"}, {"N", "n/x"}})
    {
        ReleaseContents contents;
        contents.files = {{first, 0, {}, 0, 1}, {second, 0, {}, 0, 1}};
        EXPECT_THROW(BuildReleaseManifest(contents), TreeError) << first << " " << second;
    }
}

TEST(ReleaseManifestWriterTest, RefusesAFormatThatNoReaderKnows)
{
    ReleaseContents contents = SmallRelease();
    contents.formatVersion = 0x10003;
    EXPECT_THROW(BuildReleaseManifest(contents), TreeError);
}

TEST(ReleaseContentsTest, LeavesOutPathsThatNobodyCouldAskFor)
{
    const std::string longest(1023, 'n');
    ReleaseContents contents;
    contents.directories = {longest + "d", longest + "d/below"};
    contents.files = {{longest, 0, {}, 0, 1}, {longest + "d/below/file", 0, {}, 0, 1}, {longest + "f", 0, {}, 0, 1}};
    const ReleaseContents read = ReadBack(BuildReleaseManifest(contents));
    EXPECT_EQ(read.directories, std::vector<std::string>());
    EXPECT_EQ(read.files, (std::vector{contents.files[0]}));
}
} // namespace
} // namespace Keld::Test
