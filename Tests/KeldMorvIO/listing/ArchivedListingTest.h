#pragma once

#include "KeldFoundation/logger/Log.h"
#include "KeldMorvIO/listing/ProjectListing.h"
#include "ListingTree.h"
#include "Support/ReaderLogCapture.h"

#include <gtest/gtest.h>

namespace Keld::Test
{
/// A listing over archived files on the real disk, and what its tests ask of it.
class ArchivedListingTest : public testing::Test
{
protected:
    using FileEntry = MORV::Reader::ProjectListing::FileEntry;

    /// What a count that a read must not write holds before it.
    static constexpr std::uint32_t Untouched = 0x55AA55AA;

    struct ReadResult
    {
        bool success;
        std::uint32_t bytesRead;
        std::string bytes;
    };

    void Load()
    {
        mListing = mTree.Load();
        ASSERT_NE(mListing, nullptr);
        LogRecorder::Clear();
    }

    const FileEntry *Entry(const char *path) const { return mListing->FindEntry(path); }

    ReadResult ReadAt(const char *path, std::uint64_t offset, std::uint32_t count) const
    {
        ReadResult result{false, Untouched, std::string(count, '#')};
        result.success = mListing->Read(Entry(path), offset, count, &result.bytesRead, result.bytes.data());
        return result;
    }

    /// Opens, reads all, closes.
    std::string Content(const char *path)
    {
        if (!mListing->Open(Entry(path)))
        {
            return "(not opened)";
        }
        std::string content = ReadWhole(*mListing, Entry(path));
        mListing->Close(Entry(path));
        return content;
    }

    std::uint32_t References(const char *path) const { return Entry(path)->mOpenState->GetReferenceCount(); }
    int Descriptor(const char *path) const { return static_cast<int>(Entry(path)->mOpenState->GetFile()); }

    ReaderLogCapture mLog;
    ListingTree mTree;
    std::unique_ptr<MORV::Reader::ProjectListing> mListing;
};
} // namespace Keld::Test
