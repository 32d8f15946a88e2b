#pragma once

#include "KeldMorvIO/archive/ArchiveFile.h"

#include "Support/ArchiveImage.h"
#include "Support/ReaderLogCapture.h"
#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace Keld::Test
{
/// One archive index, "maps.vka", on the real disk, and a sample of what may stand in it.
class ArchiveFileFixture : public testing::Test
{
protected:
    ArchiveFileFixture() { mSample.File("data/file.bin", 100, 11).File("Readme.txt", 200, 22).File("a/B/c", 300, 33); }

    /// Holds that `bytes` are an archive, and hands it out.
    MORV::Reader::ArchiveFile &Load(const std::string &bytes)
    {
        mTree.Write("maps.vka", bytes);
        mArchive = std::make_unique<MORV::Reader::ArchiveFile>("maps.vka", mTree.Root(), static_cast<unsigned char>(0));
        bool invalid = false;
        EXPECT_TRUE(mArchive->Read(&invalid));
        EXPECT_FALSE(invalid);
        mLog.ExpectFailures({});
        return *mArchive;
    }

    static void ExpectFound(const MORV::Reader::ArchiveFile &archive, const char *name, uint32 offset, uint32 size)
    {
        SCOPED_TRACE(name);
        uint32 foundOffset = 0;
        uint32 foundSize = 0;
        EXPECT_TRUE(archive.Find(name));
        EXPECT_TRUE(archive.Search(name, foundOffset, foundSize));
        EXPECT_EQ(offset, foundOffset);
        EXPECT_EQ(size, foundSize);
    }

    TempTree mTree;
    ReaderLogCapture mLog;
    ArchiveImage mSample;
    std::unique_ptr<MORV::Reader::ArchiveFile> mArchive;
};
} // namespace Keld::Test
