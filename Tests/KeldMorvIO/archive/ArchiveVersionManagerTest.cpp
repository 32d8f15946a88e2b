#include "KeldMorvIO/archive/ArchiveVersionManager.h"

#include "KeldFoundation/file/FileIterator.h"
#include "KeldMorvIO/archive/ArchiveDirectoryFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace Keld::MORV::Reader
{
namespace
{
using Test::ArchiveImage;
using Test::CreateSignature;
using Test::Error;
using Test::LoadSignature;
using Test::LogRecorder;
using Test::Trace;

constexpr const char *VersionConstructorSignature = "Keld::MORV::Reader::ArchiveVersionManager::ArchiveVersionManager("
                                                    "const std::string &, std::vector<const ArchiveFile *> &)";
constexpr const char *ExistsSignature =
    "bool Keld::MORV::Reader::ArchiveVersionManager::FileExists(const char *) const";
constexpr const char *FindArchiveSignature =
    "const Keld::MORV::Reader::ArchiveFile *"
    "Keld::MORV::Reader::ArchiveVersionManager::FindArchive(unsigned long, const char *) const";
constexpr const char *VersionFindSignature =
    "bool Keld::MORV::Reader::ArchiveVersionManager::Find(const std::string &, "
    "std::string &, uint32 &, uint32 &) const";

using ArchiveVersionManagerTest = Test::ArchiveDirectoryFixture;

TEST_F(ArchiveVersionManagerTest, FindsFilesInEveryArchive)
{
    WriteArchive("a.vka", ArchiveImage().File("data/one", 10, 1).File("data/two", 20, 2));
    WriteArchive("b.vka", ArchiveImage().File("data/three", 30, 3));
    const Manager manager = Create();
    ASSERT_NE(nullptr, manager);
    EXPECT_EQ(mTree.Path("1.0.0.0"), manager->GetDirectory());

    std::string archive;
    uint32 offset = 0;
    uint32 size = 0;
    EXPECT_TRUE(manager->Find("DATA/Two", archive, offset, size));
    EXPECT_EQ("a.vka.dat", archive);
    EXPECT_EQ(20u, offset);
    EXPECT_EQ(2u, size);
    EXPECT_TRUE(manager->Find("data/three", archive, offset, size));
    EXPECT_EQ("b.vka.dat", archive);
    EXPECT_EQ(30u, offset);
    EXPECT_EQ(3u, size);
    mLog.ExpectFailures({});
}

TEST_F(ArchiveVersionManagerTest, TheFirstArchiveThatHoldsANameWins)
{
    WriteArchive("a.vka", ArchiveImage().File("same", 10, 1));
    WriteArchive("b.vka", ArchiveImage().File("same", 20, 2));
    std::unique_ptr<const ArchiveFile> first(Load("b.vka"));
    std::unique_ptr<const ArchiveFile> second(Load("a.vka"));
    ASSERT_NE(nullptr, first);
    ASSERT_NE(nullptr, second);
    const ArchiveFile *const expected = first.get();
    std::vector<const ArchiveFile *> archives = {first.release(), second.release()};
    const ArchiveVersionManager manager("somewhere", archives);
    EXPECT_TRUE(archives.empty());
    EXPECT_STREQ("somewhere", manager.GetDirectory());
    EXPECT_EQ(expected, manager.FindArchive(0, "same"));

    std::string archive;
    uint32 offset = 0;
    uint32 size = 0;
    EXPECT_TRUE(manager.Find("same", archive, offset, size));
    EXPECT_EQ("b.vka.dat", archive);
    EXPECT_EQ(20u, offset);
}

TEST_F(ArchiveVersionManagerTest, FindPassesOverAnArchiveWhoseSizesAddUpToNothing)
{
    // Such an archive is never loaded, but a manager can be made over one.
    mTree.Write("1.0.0.0/empty.vka", ArchiveImage().File("same", 10, 0).Bytes());
    WriteArchive("full.vka", ArchiveImage().File("same", 20, 2));
    auto empty = std::make_unique<ArchiveFile>("empty.vka", mTree.Path("1.0.0.0"), static_cast<unsigned char>(0));
    ASSERT_TRUE(empty->Read(nullptr));
    std::unique_ptr<const ArchiveFile> full(Load("full.vka"));
    const ArchiveFile *const first = empty.get();
    std::vector<const ArchiveFile *> archives = {empty.release(), full.release()};
    const ArchiveVersionManager manager("", archives);

    std::string archive;
    uint32 offset = 0;
    uint32 size = 0;
    EXPECT_EQ(first, manager.FindArchive(0, "same"));
    EXPECT_TRUE(manager.Find("same", archive, offset, size));
    EXPECT_EQ("full.vka.dat", archive);
}

TEST_F(ArchiveVersionManagerTest, AnArchiveOfNoSizeLeavesTheOutputsOfAFailedFindEmpty)
{
    mTree.Write("1.0.0.0/empty.vka", ArchiveImage().File("same", 10, 0).Bytes());
    auto empty = std::make_unique<ArchiveFile>("empty.vka", mTree.Path("1.0.0.0"), static_cast<unsigned char>(0));
    ASSERT_TRUE(empty->Read(nullptr));
    std::vector<const ArchiveFile *> archives = {empty.release()};
    const ArchiveVersionManager manager("", archives);
    std::string archive = "before";
    uint32 offset = 7;
    uint32 size = 8;
    EXPECT_FALSE(manager.Find("same", archive, offset, size));
    EXPECT_EQ("", archive);
    EXPECT_EQ(0u, offset);
    EXPECT_EQ(0u, size);
}

TEST_F(ArchiveVersionManagerTest, ArchivesStayInTheOrderOfTheFileSystem)
{
    std::vector<std::string> names;
    for (uint32 index = 0; index < 40; ++index)
    {
        names.push_back("f" + std::to_string(index * 37 % 40) + ".vka");
        WriteArchive(names.back(), ArchiveImage().File(names.back(), 10, 1));
    }
    const std::string pattern = mTree.Path("1.0.0.0") + "/*.vka";
    std::vector<std::string> expected;
    for (const auto iterator = File::CreateFileIterator(pattern.c_str(), 0); iterator->IsValid(); iterator->Next())
    {
        expected.emplace_back(iterator->GetName());
    }
    std::vector<std::string> paths;
    Create()->GetContents(paths);
    EXPECT_EQ(expected, paths);
}

TEST_F(ArchiveVersionManagerTest, ANameInNoArchiveLeavesTheOutputsEmpty)
{
    WriteArchive("a.vka", ArchiveImage().File("data/one", 10, 1));
    const Manager manager = Create();
    ASSERT_NE(nullptr, manager);
    LogRecorder::Clear();
    std::string archive = "before";
    uint32 offset = 7;
    uint32 size = 8;
    EXPECT_FALSE(manager->Find("other", archive, offset, size));
    EXPECT_EQ("", archive);
    EXPECT_EQ(0u, offset);
    EXPECT_EQ(0u, size);
    mLog.ExpectAll({Trace("(other)", VersionFindSignature), Trace("(other) [this->mFilename = a.vka]"),
                    Trace("Failed to find file <other>", VersionFindSignature)});
}

TEST_F(ArchiveVersionManagerTest, AnEmptyNameIsAnErrorAndThenNotFound)
{
    WriteArchive("a.vka", ArchiveImage().File("data/one", 10, 1));
    const Manager manager = Create();
    ASSERT_NE(nullptr, manager);
    LogRecorder::Clear();
    std::string archive = "before";
    uint32 offset = 7;
    uint32 size = 8;
    EXPECT_FALSE(manager->Find("", archive, offset, size));
    EXPECT_EQ("", archive);
    EXPECT_EQ(0u, offset);
    EXPECT_EQ(0u, size);
    mLog.ExpectAll({Trace("()", VersionFindSignature), Error("Empty name", VersionFindSignature),
                    Trace("Failed to find file <>", VersionFindSignature)});
}

TEST_F(ArchiveVersionManagerTest, TellsWhetherAFileExists)
{
    WriteArchive("a.vka", ArchiveImage().File("a", 10, 1));
    const Manager manager = Create();
    ASSERT_NE(nullptr, manager);
    LogRecorder::Clear();
    EXPECT_TRUE(manager->FileExists("A"));
    mLog.ExpectAll({Trace("(A)", ExistsSignature), Trace("(0x00000061, A)", FindArchiveSignature),
                    Trace("(A) [this->mFilename = a.vka]")});
    EXPECT_FALSE(manager->FileExists("data/file.bin"));
    mLog.ExpectAll({Trace("(data/file.bin)", ExistsSignature),
                    Trace("(0x06ae0d5e, data/file.bin)", FindArchiveSignature),
                    Trace("(data/file.bin) [this->mFilename = a.vka]")});
}

TEST_F(ArchiveVersionManagerTest, NullAndEmptyNamesAreRefused)
{
    WriteArchive("a.vka", ArchiveImage().File("", 10, 1));
    const Manager manager = Create();
    ASSERT_NE(nullptr, manager);
    LogRecorder::Clear();
    for (const char *name : {static_cast<const char *>(nullptr), ""})
    {
        EXPECT_FALSE(manager->FileExists(name));
        mLog.ExpectAll({Trace("()", ExistsSignature), Error("Empty file name", ExistsSignature)});
        EXPECT_EQ(nullptr, manager->FindArchive(0x1234, name));
        mLog.ExpectAll({Trace("(0x00001234, )", FindArchiveSignature), Error("Empty file name", FindArchiveSignature)});
        EXPECT_EQ(nullptr, ArchiveVersionManager::LoadArchiveFile("dir", name));
        mLog.ExpectAll({Trace("(dir/)", LoadSignature), Error("Empty file name", LoadSignature)});
    }
    EXPECT_EQ(nullptr, ArchiveVersionManager::LoadArchiveFile(nullptr, nullptr));
    mLog.ExpectAll({Trace("(/)", LoadSignature), Error("Empty file name", LoadSignature)});
}

TEST_F(ArchiveVersionManagerTest, TheHashOfFindArchiveIsOnlyPrinted)
{
    WriteArchive("a.vka", ArchiveImage().File("a", 10, 1));
    const Manager manager = Create();
    ASSERT_NE(nullptr, manager);
    LogRecorder::Clear();
    const ArchiveFile *const archive = manager->FindArchive(0x123456789AUL, "a");
    ASSERT_NE(nullptr, archive);
    EXPECT_EQ("a.vka", archive->GetFilename());
    mLog.ExpectAll({Trace("(0x123456789a, a)", FindArchiveSignature), Trace("(a) [this->mFilename = a.vka]")});
}

TEST_F(ArchiveVersionManagerTest, ContentsAreThoseOfAllArchives)
{
    WriteArchive("a.vka", ArchiveImage().File("data/one", 10, 1).File("data/two", 20, 2));
    WriteArchive("b.vka", ArchiveImage().File("data/three", 30, 3));
    const Manager manager = Create();
    ASSERT_NE(nullptr, manager);
    std::vector<std::string> paths = {"before"};
    manager->GetContents(paths);
    ASSERT_EQ(4u, paths.size());
    EXPECT_EQ("before", paths.front());
    std::sort(paths.begin(), paths.end());
    EXPECT_EQ((std::vector<std::string>{"before", "data/one", "data/three", "data/two"}), paths);
}

TEST_F(ArchiveVersionManagerTest, CreationTracesEveryStep)
{
    WriteArchive("a.vka", ArchiveImage().File("a", 10, 1));
    const std::string directory = mTree.Path("1.0.0.0");
    const std::string size = std::to_string(std::filesystem::file_size(directory + "/a.vka"));
    const Manager manager = Create();
    mLog.ExpectAll({
        Trace("(" + directory + ")", CreateSignature),
        Trace("(" + directory + "/a.vka)", LoadSignature),
        Trace("(a.vka, " + directory + ", 10)"),
        Trace("() [this->mFilename = a.vka]"),
        Trace("(" + directory + ") [this->mFilename = a.vka]"),
        Trace("(" + directory + "/a.vka)"),
        Trace("(" + directory + "/a.vka, 0, " + size + ")"),
        Trace("", VersionConstructorSignature),
    });
}

TEST_F(ArchiveVersionManagerTest, AnEmptyOrMissingDirectoryGivesNothing)
{
    EXPECT_EQ(nullptr, Create());
    mLog.ExpectAll({Trace("(" + mTree.Path("1.0.0.0") + ")", CreateSignature), Error(NoneText(), CreateSignature)});
    mTree.MakeDirectory("1.0.0.0");
    EXPECT_EQ(nullptr, Create());
    mLog.ExpectFailures({Error(NoneText(), CreateSignature)});
}

TEST_F(ArchiveVersionManagerTest, WildcardsInTheDirectoryAreLive)
{
    mTree.Write("d[1]/a.vka", ArchiveImage().File("a", 10, 1).Bytes());
    EXPECT_EQ(nullptr, ArchiveVersionManager::Create(mTree.Path("d[1]")));
    mLog.ExpectFailures(
        {Error("No valid archive files were found in the directory: " + mTree.Path("d[1]") + "/*.vka")});
    EXPECT_TRUE(mTree.Exists("d[1]/a.vka"));
}

TEST_F(ArchiveVersionManagerTest, ADirectoryTooLongForAPatternGivesNothing)
{
    const std::string directory = "/" + std::string(1024, 'a');
    EXPECT_EQ(nullptr, ArchiveVersionManager::Create(directory));
    mLog.ExpectFailures({Error("No valid archive files were found in the directory: " + directory + "/*.vka")});
}
} // namespace
} // namespace Keld::MORV::Reader
