#include "Tools/OpenedRelease.h"

#include "Tools/TreeMount/MountedFileSystem.h"
#include "Tools/TreeMount/NodeProperties.h"
#include "Tools/TreeReader/ContentDigest.h"

#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <new>
#include <thread>

namespace Keld::Test
{
namespace
{
using TreeMount::MountedFileSystem;
using TreeMount::MountedTree;
using TreeReader::Compression;
using TreeReader::Hit;
using TreeReader::Storage;

std::string MakeContent(std::size_t size)
{
    std::string content;
    while (content.size() < size)
    {
        content += std::to_string(content.size() * 7) + "\n";
    }
    return content.substr(0, size);
}

/// A release with files in every storage, as a file system.
class MountedFilesTest : public OpenedRelease
{
protected:
    MountedFilesTest()
    {
        for (const char *name : {"naked", "managed", "plain", "zlib", "lzma"})
        {
            mTree.Write(std::string("source/data/") + name, mContent);
        }
        mTree.Write("source/empty", "");
        TreeWriter::PackRequest request = Request(Storage::Naked);
        request.rules = {{"**/managed", {Storage::Managed, Compression::None}},
                         {"**/plain", {Storage::Archive, Compression::None}},
                         {"**/zlib", {Storage::Archive, Compression::Zlib}},
                         {"**/lzma", {Storage::Archive, Compression::Lzma}}};
        TreeWriter::PackRelease(request);
    }

    void Mount(const TreeMount::ReadingRules &rules = {}, const TreeMount::Ownership &ownership = {})
    {
        mView = std::make_unique<TreeReader::View>(Open());
        auto tree = MountedTree::Make(*mView, "");
        ASSERT_TRUE(tree);
        mFileSystem = std::make_unique<MountedFileSystem>(std::move(*tree), ownership, rules,
                                                          [this](const std::string &line)
                                                          {
                                                              mReported.push_back(line);
                                                              if (mLogIsFull)
                                                              {
                                                                  throw std::bad_alloc();
                                                              }
                                                          });
    }

    /// What a read gives, or its fault in angle brackets. The answer comes before the call ends, as nobody else reads.
    std::string Read(const std::string &path, uint64 offset, uint_size size)
    {
        return Read(mView->Find(path), offset, size);
    }

    std::string Read(const Hit &file, uint64 offset, uint_size size)
    {
        std::string text;
        mFileSystem->GetFiles().Read(file, offset, size,
                                     [&text](const TreeReader::Result<std::string_view> &bytes)
                                     {
                                         text = bytes ? std::string(*bytes)
                                                      : std::string("<") + NameOf(bytes.GetFault().kind) + ">";
                                     });
        return text;
    }

    std::map<std::string, std::string> Properties(const std::string &path) const
    {
        std::map<std::string, std::string> properties;
        for (const TreeMount::NodeProperty &property : GetProperties(mFileSystem->GetTree(), mView->Find(path)))
        {
            properties[property.name] = property.value;
        }
        return properties;
    }

    const std::string mContent = MakeContent(700'001);
    std::unique_ptr<TreeReader::View> mView;
    std::unique_ptr<MountedFileSystem> mFileSystem;
    std::vector<std::string> mReported;
    bool mLogIsFull = false; ///< a line cannot be told
};

TEST_F(MountedFilesTest, EveryStorageIsReadAtAnyPlace)
{
    Mount();
    for (const std::string path : {"data/naked", "data/managed", "data/plain", "data/zlib", "DATA/LZMA"})
    {
        for (const uint64 offset : {0U, 1U, 4096U, 262'143U, 262'144U, 699'999U, 700'000U})
        {
            for (const uint_size size : {1U, 4096U, 131'072U, 262'145U, 1'048'576U})
            {
                EXPECT_TRUE(Read(path, offset, size) == mContent.substr(offset, size))
                    << path << " " << offset << " " << size;
            }
        }
    }
    EXPECT_TRUE(mReported.empty());
}

TEST_F(MountedFilesTest, NothingStandsBehindTheEnd)
{
    Mount();
    for (const std::string path : {"data/naked", "data/managed", "data/plain", "data/zlib", "data/lzma", "empty"})
    {
        for (const uint64 offset : {uint64{700'001}, uint64{1} << 32, ~uint64{0}})
        {
            EXPECT_EQ(Read(path, offset, 10), "") << path << " " << offset;
        }
    }
    EXPECT_EQ(Read("empty", 0, 10), "");
}

TEST_F(MountedFilesTest, WithLittleMemoryTheContentIsTheSame)
{
    Mount({.cacheSize = 10, .checkDigest = true});
    EXPECT_TRUE(Read("data/zlib", 0, mContent.size()) == mContent);
    EXPECT_TRUE(Read("data/zlib", 300'000, 10'000) == mContent.substr(300'000, 10'000));
    EXPECT_TRUE(Read("data/lzma", 600'000, 200'000) == mContent.substr(600'000));
}

TEST_F(MountedFilesTest, ManyThreadsReadOneCompressedFile)
{
    Mount();
    std::atomic<uint64> rightBytes{0};
    std::vector<std::thread> threads;
    for (uint64 number = 0; number < 8; ++number)
    {
        threads.emplace_back(
            [&, number]
            {
                for (uint64 round = 0; round < 20; ++round)
                {
                    const uint64 offset = (number * 20 + round) * 4096;
                    mFileSystem->GetFiles().Read(mView->Find(round % 2 == 0 ? "data/zlib" : "data/lzma"), offset, 4096,
                                                 [&, offset](const TreeReader::Result<std::string_view> &bytes)
                                                 {
                                                     rightBytes += bytes && *bytes == mContent.substr(offset, 4096)
                                                                       ? bytes->size()
                                                                       : 0;
                                                 });
                }
            });
    }
    for (std::thread &thread : threads)
    {
        thread.join(); // who waited for another one's decoding was answered by it, so all answers are there
    }
    EXPECT_EQ(rightBytes, 8U * 20 * 4096);
}

TEST_F(MountedFilesTest, ADamagedFileGivesNoByteAndOneLine)
{
    Mount();
    const std::string data = mView->Locate(mView->Find("data/zlib"))->path;
    FlipByte(data.substr(mTree.Root().size() + 1), mView->Locate(mView->Find("data/zlib"))->offset + 5000);
    EXPECT_EQ(Read("data/zlib", 0, 100), "<damaged-data>");
    EXPECT_EQ(Read("data/zlib", 500'000, 100), "<damaged-data>");
    ASSERT_EQ(mReported.size(), 1U);
    EXPECT_EQ(mReported[0].find("data/zlib: cannot be read: " + data + ": damaged zlib data in bytes "), 0U)
        << mReported[0];
}

TEST_F(MountedFilesTest, ContentThatIsNotWhatWasPackedIsRefusedUnlessNobodyChecks)
{
    const std::string manifest = "MORV/projects/game/releases/1.0.0.0/releasemanifest";
    Mount();
    const auto &fields = mFileSystem->GetTree().GetManifest(mView->Find("data/zlib"));
    const std::string digest(reinterpret_cast<const char *>(fields.GetFields(mView->Find("data/zlib").entry).digest),
                             16);
    std::string bytes = mTree.Read(manifest);
    for (std::size_t place = bytes.find(digest); place != std::string::npos; place = bytes.find(digest, place + 1))
    {
        bytes[place] = static_cast<char>(bytes[place] ^ 1); // all five files have one content
    }
    mTree.Write(manifest, bytes);
    Mount();
    EXPECT_EQ(Read("data/zlib", 0, 10), "<wrong-digest>");
    EXPECT_EQ(Read("data/plain", 0, 10), mContent.substr(0, 10));
    Mount({.cacheSize = 1'000'000, .checkDigest = false});
    EXPECT_EQ(Read("data/zlib", 0, 10), mContent.substr(0, 10));
}

TEST_F(MountedFilesTest, AFileThatWasCutShortFailsWhereItEnds)
{
    Mount();
    const std::string naked = "MORV/projects/game/releases/1.0.0.0/deploy/data/naked";
    mTree.Write(naked, mContent.substr(0, 1000));
    EXPECT_EQ(Read("data/naked", 0, 1000), mContent.substr(0, 1000));
    EXPECT_EQ(Read("data/naked", 0, 4096), "<ends-early>");
    EXPECT_EQ(mReported.size(), 1U);
}

TEST_F(MountedFilesTest, AFileThatWentAfterTheMountFails)
{
    Mount();
    const Hit managed = mView->Find("data/managed");
    ASSERT_TRUE(managed);
    mTree.Remove("MORV/projects/game/managedfiles");
    EXPECT_EQ(Read(managed, 0, 10), "<not-there>");
    EXPECT_EQ(Read(managed, 10, 10), "<not-there>");
    EXPECT_EQ(mReported.size(), 1U);
}

TEST_F(MountedFilesTest, WhereALineCannotBeToldTheAnswerIsGivenAllTheSame)
{
    mLogIsFull = true;
    Mount();
    const Hit managed = mView->Find("data/managed");
    const std::string data = mView->Locate(mView->Find("data/zlib"))->path;
    FlipByte(data.substr(mTree.Root().size() + 1), mView->Locate(mView->Find("data/zlib"))->offset + 5000);
    EXPECT_EQ(Read("data/zlib", 0, 100), "<damaged-data>");
    mTree.Write("MORV/projects/game/releases/1.0.0.0/deploy/data/naked", "short");
    EXPECT_EQ(Read("data/naked", 0, 100), "<ends-early>");
    mTree.Remove("MORV/projects/game/managedfiles");
    EXPECT_EQ(Read(managed, 0, 10), "<not-there>");
    EXPECT_EQ(mReported.size(), 3U);
}

TEST_F(MountedFilesTest, StatusTellsSizesOwnersAndPermissions)
{
    Mount({}, {.user = 12, .group = 34, .umask = 027});
    const struct stat file = mFileSystem->GetStatus().Get(mView->Find("data/zlib"));
    EXPECT_EQ(file.st_mode, static_cast<mode_t>(S_IFREG | 0440));
    EXPECT_EQ(file.st_size, 700'001);
    EXPECT_EQ(file.st_blocks, 1368);
    EXPECT_EQ(file.st_uid, 12U);
    EXPECT_EQ(file.st_gid, 34U);
    const struct stat directory = mFileSystem->GetStatus().Get(mView->Find("data"));
    EXPECT_EQ(directory.st_mode, static_cast<mode_t>(S_IFDIR | 0550));
    EXPECT_EQ(directory.st_size, 0);
    struct stat manifest = {};
    stat(mTree.Path("MORV/projects/game/releases/1.0.0.0/releasemanifest").c_str(), &manifest);
    EXPECT_EQ(file.st_mtim.tv_sec, manifest.st_mtim.tv_sec);
    EXPECT_EQ(file.st_mtim.tv_nsec, manifest.st_mtim.tv_nsec);
}

TEST_F(MountedFilesTest, TotalsCountWhatIsShown)
{
    Mount();
    const struct statvfs totals = mFileSystem->GetStatus().GetTotals();
    EXPECT_EQ(totals.f_files, 8U) << "six files, the root and a directory";
    EXPECT_EQ(totals.f_blocks, (5U * 700'001 + 4095) / 4096);
    EXPECT_EQ(totals.f_bfree, 0U);
    EXPECT_EQ(totals.f_namemax, 1023U);
}

TEST_F(MountedFilesTest, PropertiesTellWhereAFileComesFrom)
{
    Mount();
    auto zlib = Properties("data/zlib");
    EXPECT_EQ(zlib["user.morv.project"], "game");
    EXPECT_EQ(zlib["user.morv.release"], "1.0.0.0");
    EXPECT_EQ(zlib["user.morv.version"], "1.0.0.0");
    EXPECT_EQ(zlib["user.morv.storage"], "archive");
    EXPECT_EQ(zlib["user.morv.compression"], "zlib");
    const auto stored = mView->Locate(mView->Find("data/zlib"));
    EXPECT_EQ(zlib["user.morv.archive"], stored->archive->GetName());
    EXPECT_EQ(zlib["user.morv.offset"], std::to_string(stored->offset));
    EXPECT_EQ(zlib["user.morv.stored_size"], std::to_string(stored->storedSize));
    EXPECT_EQ(zlib["user.morv.path"], stored->path);
    EXPECT_EQ(zlib["user.morv.digest"], TreeReader::DigestText(TreeReader::DigestOf(mContent)));
    auto naked = Properties("data/naked");
    EXPECT_EQ(naked["user.morv.storage"], "naked");
    EXPECT_EQ(naked.count("user.morv.archive"), 0U);
    EXPECT_EQ(naked["user.morv.path"], mTree.Path("MORV/projects/game/releases/1.0.0.0/deploy/data/naked"));
    EXPECT_EQ(Properties("data").size(), 2U) << "project and release";
    EXPECT_FALSE(FindProperty(mFileSystem->GetTree(), mView->Find("data"), "user.morv.offset"));
    EXPECT_FALSE(FindProperty(mFileSystem->GetTree(), mView->Find("data"), "security.selinux"));
}
} // namespace
} // namespace Keld::Test
