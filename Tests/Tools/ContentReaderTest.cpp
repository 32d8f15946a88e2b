#include "Tools/OpenedRelease.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <thread>

namespace Keld::Test
{
namespace
{
using TreeReader::Compression;
using TreeReader::FaultKind;
using TreeReader::ReadOptions;
using TreeReader::Storage;

constexpr std::size_t SeveralBlocks = 700'000;

class ContentReaderTest : public OpenedRelease
{
protected:
    ContentReaderTest() : mText(SeveralBlocks, '\0')
    {
        for (std::size_t index = 0; index < mText.size(); ++index)
        {
            mText[index] = static_cast<char>((index * index) >> 7);
        }
        mTree.Write("source/text", mText);
        mTree.Write("source/empty", "");
    }

    void PackAs(Storage storage, Compression compression = Compression::None)
    {
        TreeWriter::PackRequest request = Request(storage, compression);
        request.compressAlways = true;
        request.replace = true;
        TreeWriter::PackRelease(request);
    }

    std::string DataFile() const
    {
        for (const auto &entry : std::filesystem::directory_iterator(mTree.Path(Archives)))
        {
            if (entry.path().extension() == ".dat" && entry.file_size() > 0)
            {
                return Archives + entry.path().filename().string();
            }
        }
        return "";
    }

    void ExpectFailure(FaultKind kind, const std::string &text)
    {
        EXPECT_TRUE(Content(Open(), "text").starts_with('<'));
        ASSERT_TRUE(mFailure);
        EXPECT_EQ(NameOf(mFailure->kind), std::string(NameOf(kind))) << mFailure->GetMessage();
        EXPECT_NE(mFailure->text.find(text), std::string::npos) << mFailure->text;
    }

    std::string mText;
};

struct StorageForm
{
    Storage storage;
    Compression compression;
};

class ContentFormTest : public ContentReaderTest, public testing::WithParamInterface<StorageForm>
{
protected:
    ContentFormTest() { PackAs(GetParam().storage, GetParam().compression); }
};

TEST_P(ContentFormTest, EveryRangeIsThatOfTheContent)
{
    const TreeReader::View view = Open();
    EXPECT_TRUE(Content(view, "text") == mText);
    EXPECT_EQ(Content(view, "empty"), "");
    for (const bool check : {true, false})
    {
        for (const uint64 offset : {uint64{0}, uint64{1}, uint64{0x3FFFF}, uint64{0x40000}, uint64{SeveralBlocks - 1},
                                    uint64{SeveralBlocks}, uint64{SeveralBlocks + 1}, ~uint64{0}})
        {
            for (const uint64 length : {uint64{0}, uint64{1}, uint64{0x40000}, uint64{SeveralBlocks}, ~uint64{0}})
            {
                const std::string expected = offset < mText.size() ? mText.substr(offset, length) : "";
                EXPECT_TRUE(Content(view, "text", {offset, length, check}) == expected) << offset << " " << length;
            }
        }
    }
}

TEST_P(ContentFormTest, ManyThreadsReadAtOnce)
{
    const TreeReader::View view = Open();
    const TreeReader::Hit hit = view.Find("text");
    std::vector<std::string> contents(6);
    std::vector<std::thread> threads;
    threads.reserve(contents.size());
    for (std::string &content : contents)
    {
        threads.emplace_back(
            [&]
            {
                TreeReader::ContentReader reader;
                const auto failure = reader.Read(view.GetRelease(0), hit.entry, {},
                                                 [&content](std::string_view bytes)
                                                 {
                                                     content.append(bytes);
                                                 });
                EXPECT_FALSE(failure);
            });
    }
    for (std::thread &thread : threads)
    {
        thread.join();
    }
    for (const std::string &content : contents)
    {
        EXPECT_TRUE(content == mText);
    }
}

TEST_P(ContentFormTest, WhatASinkThrowsComesThrough)
{
    const TreeReader::View view = Open();
    const auto refuse = [](std::string_view)
    {
        throw 7;
    };
    EXPECT_THROW(static_cast<void>(mReader.Read(view.GetRelease(0), view.Find("text").entry, {}, refuse)), int);
}

INSTANTIATE_TEST_SUITE_P(Forms, ContentFormTest,
                         testing::Values(StorageForm{Storage::Naked, Compression::None},
                                         StorageForm{Storage::Managed, Compression::None},
                                         StorageForm{Storage::Archive, Compression::None},
                                         StorageForm{Storage::Archive, Compression::Zlib},
                                         StorageForm{Storage::Archive, Compression::Lzma}));

TEST_F(ContentReaderTest, AFlippedByteOfAPlainFileIsFoundByItsDigest)
{
    PackAs(Storage::Naked);
    const std::string path = "MORV/projects/game/releases/1.0.0.0/deploy/text";
    FlipByte(path, 5);
    ExpectFailure(FaultKind::WrongDigest, "the content is not what was packed");
    EXPECT_EQ(mFailure->path, mTree.Path(path));
    EXPECT_NE(Content(Open(), "text", {0, ~uint64{0}, false}), mText);
    EXPECT_FALSE(mFailure);
}

TEST_F(ContentReaderTest, DamagedCompressedDataIsNamedWithItsRange)
{
    for (const Compression compression : {Compression::Zlib, Compression::Lzma})
    {
        PackAs(Storage::Archive, compression);
        FlipByte(DataFile(), 5'000);
        const uint64 size = std::filesystem::file_size(mTree.Path(DataFile()));
        ExpectFailure(FaultKind::DamagedData,
                      std::string("damaged ") + NameOf(compression) + " data in bytes 0 to " + std::to_string(size));
        EXPECT_EQ(mFailure->offset, 0u);
        EXPECT_EQ(mFailure->size, size);
    }
}

TEST_F(ContentReaderTest, ADataFileThatEndsEarlyIsNoDamagedData)
{
    for (const Compression compression : {Compression::None, Compression::Zlib, Compression::Lzma})
    {
        PackAs(Storage::Archive, compression);
        std::filesystem::resize_file(mTree.Path(DataFile()), 10'000);
        ExpectFailure(FaultKind::EndsEarly, "ends at byte 10000");
    }
}

TEST_F(ContentReaderTest, APlainFileThatEndsEarlyTellsWhere)
{
    PackAs(Storage::Managed);
    std::filesystem::resize_file(mTree.Path("MORV/projects/game/managedfiles/1.0.0.0/text"), 300'000);
    ExpectFailure(FaultKind::EndsEarly, "ends at byte 300000 and should go on to byte 700000");
}

TEST_F(ContentReaderTest, AStoredFileOfAnotherSizeThanItsManifestIsNotOpened)
{
    PackAs(Storage::Archive);
    const std::string path = "MORV/projects/game/releases/1.0.0.0/releasemanifest";
    std::string manifest = mTree.Read(path);
    const std::string size("\x60\xAE\x0A\0", 4); // 700,000
    manifest[manifest.find(size)] = '\x61';
    mTree.Write(path, manifest);
    ExpectFailure(FaultKind::WrongSize, "the library does not open it");
}
} // namespace
} // namespace Keld::Test
