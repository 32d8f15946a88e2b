#include "Tools/FuseKernel.h"
#include "Tools/HandmadeTree.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <set>

namespace Keld::Test
{
namespace
{
using TreeMount::MountedFileSystem;
using TreeMount::MountedTree;

constexpr std::uint64_t LongTime = 1'000'000; // seconds

/// A small release behind the calls that the kernel makes.
class FuseCallsTest : public HandmadeTree
{
protected:
    FuseCallsTest()
    {
        WriteProject("game", {{"Docs/readme", "read me"}, {"Docs/second", "2"}, {"third", std::string(5000, '3')}});
        mView = std::make_unique<TreeReader::View>(Open("game/1.0.0.0"));
        mFileSystem = std::make_unique<MountedFileSystem>(std::move(*MountedTree::Make(*mView, "")),
                                                          TreeMount::Ownership{.user = 5, .group = 6, .umask = 022},
                                                          TreeMount::ReadingRules(), [](const std::string &) {});
        Connect(FUSE_NO_OPEN_SUPPORT | FUSE_NO_OPENDIR_SUPPORT);
    }

    void Connect(std::uint32_t abilities) { mKernel = std::make_unique<FuseKernel>(*mFileSystem, abilities); }

    std::uint64_t LookUp(std::uint64_t directory, const std::string &name) const
    {
        return mKernel->CallWithName(FUSE_LOOKUP, directory, name).As<fuse_entry_out>().nodeid;
    }

    FuseKernel::Reply Read(std::uint64_t node, std::uint64_t offset, std::uint32_t size) const
    {
        fuse_read_in read = {};
        read.offset = offset;
        read.size = size;
        return mKernel->CallWith(FUSE_READ, node, read);
    }

    FuseKernel::Reply GetXattr(std::uint64_t node, const std::string &name, std::uint32_t size) const
    {
        fuse_getxattr_in get = {};
        get.size = size;
        return mKernel->CallWith(FUSE_GETXATTR, node, get, name + '\0');
    }

    /// What a directory tells of its first child, behind the dots.
    fuse_direntplus FirstChild(std::uint64_t directory) const
    {
        constexpr std::size_t dots =
            FUSE_DIRENT_ALIGN(FUSE_NAME_OFFSET_DIRENTPLUS + 1) + FUSE_DIRENT_ALIGN(FUSE_NAME_OFFSET_DIRENTPLUS + 2);
        fuse_read_in read = {};
        read.size = 4096;
        return mKernel->CallWith(FUSE_READDIRPLUS, directory, read).As<fuse_direntplus>(dots);
    }

    /// The names of a directory, read with a buffer of `size` bytes at a time.
    std::vector<std::string> List(std::uint64_t node, std::uint32_t size, bool withEntries) const
    {
        std::vector<std::string> names;
        fuse_read_in read = {};
        read.size = size;
        for (;;)
        {
            const FuseKernel::Reply reply =
                mKernel->CallWith(withEntries ? FUSE_READDIRPLUS : FUSE_READDIR, node, read);
            EXPECT_EQ(reply.error, 0);
            if (reply.bytes.empty() || reply.error != 0)
            {
                return names;
            }
            const std::size_t front = withEntries ? offsetof(fuse_direntplus, dirent) : 0;
            for (std::size_t place = 0; place < reply.bytes.size();)
            {
                const auto entry = reply.As<fuse_dirent>(place + front);
                names.push_back(reply.bytes.substr(place + front + FUSE_NAME_OFFSET, entry.namelen));
                read.offset = entry.off;
                place += FUSE_DIRENT_ALIGN(front + FUSE_NAME_OFFSET + entry.namelen);
            }
        }
    }

    std::unique_ptr<TreeReader::View> mView;
    std::unique_ptr<MountedFileSystem> mFileSystem;
    std::unique_ptr<FuseKernel> mKernel;
};

TEST_F(FuseCallsTest, TheKernelMayKeepWhatItLooksUpForGood)
{
    EXPECT_TRUE(mKernel->IsReady());
    const auto entry = mKernel->CallWithName(FUSE_LOOKUP, FUSE_ROOT_ID, "DOCS").As<fuse_entry_out>();
    EXPECT_NE(entry.nodeid, 0U);
    EXPECT_EQ(entry.nodeid, LookUp(FUSE_ROOT_ID, "docs"));
    EXPECT_GT(entry.entry_valid, LongTime);
    EXPECT_GT(entry.attr_valid, LongTime);
    EXPECT_EQ(entry.attr.mode, static_cast<std::uint32_t>(S_IFDIR | 0555));
    EXPECT_EQ(entry.attr.uid, 5U);
    const FuseKernel::Reply nothing = mKernel->CallWithName(FUSE_LOOKUP, FUSE_ROOT_ID, "nothing");
    EXPECT_EQ(nothing.error, 0);
    EXPECT_EQ(nothing.As<fuse_entry_out>().nodeid, 0U);
    EXPECT_GT(nothing.As<fuse_entry_out>().entry_valid, LongTime) << "that there is none is kept, too";
}

TEST_F(FuseCallsTest, OpensAreNotNeededWhereTheKernelCanDoWithout)
{
    const std::uint64_t file = LookUp(FUSE_ROOT_ID, "third");
    EXPECT_EQ(mKernel->CallWith(FUSE_OPEN, file, fuse_open_in{}).error, -ENOSYS);
    EXPECT_EQ(mKernel->CallWith(FUSE_OPENDIR, FUSE_ROOT_ID, fuse_open_in{}).error, -ENOSYS);
    Connect(0);
    const FuseKernel::Reply opened = mKernel->CallWith(FUSE_OPEN, file, fuse_open_in{});
    EXPECT_EQ(opened.error, 0);
    EXPECT_EQ(opened.As<fuse_open_out>().open_flags, static_cast<std::uint32_t>(FOPEN_KEEP_CACHE));
    const FuseKernel::Reply directory = mKernel->CallWith(FUSE_OPENDIR, FUSE_ROOT_ID, fuse_open_in{});
    EXPECT_EQ(directory.error, 0);
    EXPECT_EQ(directory.As<fuse_open_out>().open_flags, static_cast<std::uint32_t>(FOPEN_KEEP_CACHE | FOPEN_CACHE_DIR));
}

TEST_F(FuseCallsTest, FilesAreReadAtAnyPlace)
{
    const std::uint64_t file = LookUp(LookUp(FUSE_ROOT_ID, "docs"), "README");
    EXPECT_EQ(Read(file, 0, 4096).bytes, "read me");
    EXPECT_EQ(Read(file, 5, 1).bytes, "m");
    EXPECT_EQ(Read(file, 7, 4096).bytes, "");
    EXPECT_EQ(Read(file, 7, 4096).error, 0);
    EXPECT_EQ(Read(LookUp(FUSE_ROOT_ID, "third"), 4999, 4096).bytes, "3");
}

TEST_F(FuseCallsTest, WhatIsNotThereIsAnErrorOfItsOwn)
{
    const std::uint64_t file = LookUp(FUSE_ROOT_ID, "third");
    EXPECT_EQ(mKernel->CallWithName(FUSE_LOOKUP, file, "x").error, -ENOTDIR);
    EXPECT_EQ(mKernel->CallWith(FUSE_READDIR, file, fuse_read_in{}).error, -ENOTDIR);
    EXPECT_EQ(Read(FUSE_ROOT_ID, 0, 10).error, -EISDIR);
    const std::uint64_t stranger = 99;
    EXPECT_EQ(mKernel->CallWithName(FUSE_LOOKUP, stranger, "x").error, -ESTALE);
    EXPECT_EQ(mKernel->CallWith(FUSE_GETATTR, stranger, fuse_getattr_in{}).error, -ESTALE);
    EXPECT_EQ(mKernel->CallWith(FUSE_READDIR, stranger, fuse_read_in{}).error, -ESTALE);
    EXPECT_EQ(Read(stranger, 0, 10).error, -ESTALE);
    EXPECT_EQ(GetXattr(stranger, "user.morv.project", 0).error, -ESTALE);
}

TEST_F(FuseCallsTest, ContentThatCannotBeReadIsAnInputError)
{
    mTree.Write("MORV/projects/game/filearchives/1.0.0.0/files.vka.dat", "short");
    EXPECT_EQ(Read(LookUp(FUSE_ROOT_ID, "third"), 0, 10).error, -EIO);
}

TEST_F(FuseCallsTest, ADirectoryComesWholeInPiecesOfAnySize)
{
    Files files{{"x", "something"}};
    for (int number = 0; number < 500; ++number)
    {
        files.emplace_back("many/" + std::string(static_cast<std::size_t>(number % 200), 'n') + std::to_string(number),
                           "");
    }
    WriteProject("many", files);
    mView = std::make_unique<TreeReader::View>(Open("many/1.0.0.0"));
    mFileSystem =
        std::make_unique<MountedFileSystem>(std::move(*MountedTree::Make(*mView, "many")), TreeMount::Ownership(),
                                            TreeMount::ReadingRules(), [](const std::string &) {});
    Connect(0);
    for (const bool withEntries : {false, true})
    {
        for (const std::uint32_t size : {400U, 4096U, 100'000U})
        {
            const std::vector<std::string> names = List(FUSE_ROOT_ID, size, withEntries);
            EXPECT_EQ(names.size(), 502U) << size;
            EXPECT_EQ(names[0], ".");
            EXPECT_EQ(names[1], "..");
            EXPECT_EQ(std::set<std::string>(names.begin(), names.end()).size(), 502U) << size;
        }
    }
}

TEST_F(FuseCallsTest, EntriesOfADirectoryTellAllThatALookupTells)
{
    const std::uint64_t file = LookUp(LookUp(FUSE_ROOT_ID, "docs"), "readme");
    const auto entry = FirstChild(LookUp(FUSE_ROOT_ID, "docs"));
    EXPECT_EQ(entry.entry_out.nodeid, file);
    EXPECT_EQ(entry.entry_out.attr.size, 7U);
    EXPECT_GT(entry.entry_out.attr_valid, LongTime);
    EXPECT_EQ(entry.dirent.type, static_cast<std::uint32_t>(S_IFREG >> 12));
}

TEST_F(FuseCallsTest, FilesAreToldByNameAloneUntilOneIsLookedUp)
{
    const std::uint64_t docs = LookUp(FUSE_ROOT_ID, "docs");
    EXPECT_EQ(FirstChild(FUSE_ROOT_ID).entry_out.nodeid, docs) << "directories are told in full";
    EXPECT_EQ(FirstChild(docs).entry_out.nodeid, 0U);
    EXPECT_EQ(FirstChild(docs).dirent.type, static_cast<std::uint32_t>(S_IFREG >> 12));
    EXPECT_NE(FirstChild(docs).dirent.ino, 0U);
    LookUp(docs, "second");
    int listings = 0;
    while (listings < 1000 && FirstChild(docs).entry_out.nodeid != 0)
    {
        ++listings;
    }
    EXPECT_EQ(listings, 64) << "then it is tried whether files are still looked up";
}

TEST_F(FuseCallsTest, ExtendedAttributesTellTheRoomThatTheyNeed)
{
    const std::uint64_t file = LookUp(FUSE_ROOT_ID, "third");
    EXPECT_EQ(GetXattr(file, "user.morv.project", 0).As<fuse_getxattr_out>().size, 4U);
    EXPECT_EQ(GetXattr(file, "user.morv.project", 4).bytes, "game");
    EXPECT_EQ(GetXattr(file, "user.morv.project", 3).error, -ERANGE);
    EXPECT_EQ(GetXattr(file, "user.other", 100).error, -ENODATA);
    EXPECT_EQ(GetXattr(file, "security.capability", 100).error, -ENODATA);
    fuse_getxattr_in list = {};
    list.size = 4096;
    const std::string names = mKernel->CallWith(FUSE_LISTXATTR, file, list).bytes;
    EXPECT_NE(names.find(std::string("user.morv.offset\0", 17)), std::string::npos);
}

TEST_F(FuseCallsTest, TotalsAreTold)
{
    const auto totals = mKernel->Call(FUSE_STATFS, FUSE_ROOT_ID).As<fuse_statfs_out>();
    EXPECT_EQ(totals.st.files, 5U);
    EXPECT_EQ(totals.st.blocks, 2U);
}

TEST_F(FuseCallsTest, EveryChangeIsRefusedAsOnAReadOnlyFileSystem)
{
    const std::string body = std::string(128, '\0') + "name" + '\0' + "other" + '\0';
    for (const std::uint32_t operation : {FUSE_SETATTR, FUSE_MKNOD, FUSE_MKDIR, FUSE_SYMLINK, FUSE_RENAME, FUSE_RENAME2,
                                          FUSE_LINK, FUSE_WRITE, FUSE_SETXATTR, FUSE_CREATE, FUSE_FALLOCATE})
    {
        EXPECT_EQ(mKernel->Call(operation, FUSE_ROOT_ID, body).error, -EROFS) << operation;
    }
    for (const std::uint32_t operation : {FUSE_UNLINK, FUSE_RMDIR, FUSE_REMOVEXATTR})
    {
        EXPECT_EQ(mKernel->CallWithName(operation, FUSE_ROOT_ID, "third").error, -EROFS) << operation;
    }
}

TEST_F(FuseCallsTest, ForgettingTakesNothingAway)
{
    const std::uint64_t file = LookUp(FUSE_ROOT_ID, "third");
    EXPECT_EQ(mKernel->CallWith(FUSE_FORGET, file, fuse_forget_in{1}).error, 1) << "nobody waits for an answer";
    EXPECT_EQ(Read(file, 0, 1).bytes, "3");
}
} // namespace
} // namespace Keld::Test
