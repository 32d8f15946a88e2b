#include "Tools/OpenedRelease.h"
#include "Tools/TreeSnapshot.h"

#include "Support/AsNobody.h"
#include "Support/ManifestImage.h"

#include "Tools/TreeReader/Census.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include <sys/resource.h>
#include <sys/stat.h>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;
using TreeReader::FaultKind;
using TreeReader::Hit;
using TreeReader::Storage;
using TreeReader::View;

/// A release with naked, managed and archived files, and the causes of what can be wrong with them.
class ReleaseTest : public OpenedRelease
{
protected:
    ReleaseTest()
    {
        mTree.Write("source/naked/a.txt", "a");
        mTree.Write("source/naked/b.txt", "b");
        mTree.Write("source/managed.bin", "m");
        mTree.Write("source/Stored.raw", "stored");
        TreeWriter::PackRequest request = Request(Storage::Naked);
        request.rules.push_back({"*.bin", {Storage::Managed, {}}});
        request.rules.push_back({"*.raw", {Storage::Archive, {}}});
        TreeWriter::PackRelease(request);
        fs::permissions(mTree.Root(), fs::perms(0755));
    }

    /// The fault of a path that the release lists and that is missing.
    TreeReader::Fault FaultOf(const View &view, const std::string &path)
    {
        EXPECT_FALSE(view.Find(path));
        const std::vector<Hit> missing = view.FindMissing(path);
        if (missing.empty())
        {
            ADD_FAILURE() << path << " is not listed as missing";
            return {};
        }
        return view.Locate(missing[0]).GetFault();
    }

    void ExpectFault(const std::string &path, FaultKind kind, const std::string &text)
    {
        const TreeReader::Fault fault = FaultOf(Open(), path);
        EXPECT_STREQ(NameOf(fault.kind), NameOf(kind));
        EXPECT_NE(fault.GetMessage().find(text), std::string::npos) << fault.GetMessage();
    }

    const std::string Deploy = "MORV/projects/game/releases/1.0.0.0/deploy/";
};

TEST_F(ReleaseTest, LocatesFilesOfEveryStorage)
{
    const View view = Open();
    const auto naked = view.Locate(view.Find("NAKED/A.TXT"));
    ASSERT_TRUE(naked);
    EXPECT_EQ(naked->storage, Storage::Naked);
    EXPECT_EQ(naked->path, mTree.Path(Deploy + "naked/a.txt"));
    EXPECT_EQ(naked->storedSize, 1u);
    const auto managed = view.Locate(view.Find("managed.bin"));
    ASSERT_TRUE(managed);
    EXPECT_EQ(managed->path, mTree.Path("MORV/projects/game/managedfiles/1.0.0.0/managed.bin"));
    const auto stored = view.Locate(view.Find("stored.raw"));
    ASSERT_TRUE(stored);
    EXPECT_EQ(stored->path, mTree.Path(Archives + "files-0001.vka.dat"));
    EXPECT_EQ(stored->offset, 0u);
    EXPECT_EQ(stored->storedSize, 6u);
    EXPECT_STREQ(stored->archive->GetIndex().GetEntryPath(stored->record), "Stored.raw");
}

TEST_F(ReleaseTest, NamesTheCauseOfEachMissingFile)
{
    mTree.Remove(Deploy + "naked/a.txt");
    ExpectFault("naked/a.txt", FaultKind::NotThere, mTree.Path(Deploy + "naked/a.txt") + ": is missing");
    mTree.Remove(Deploy + "naked");
    ExpectFault("naked/b.txt", FaultKind::NotThere, "is missing, with all of " + mTree.Path(Deploy + "naked"));
    const std::string deploy = Deploy.substr(0, Deploy.size() - 1);
    mTree.Remove(deploy);
    EXPECT_EQ(FaultOf(Open(), "naked/b.txt").text, "is missing, with all of " + mTree.Path(deploy));
    mTree.Remove("MORV/projects/game/managedfiles/1.0.0.0/managed.bin");
    mTree.MakeDirectory("MORV/projects/game/managedfiles/1.0.0.0/managed.bin");
    ExpectFault("managed.bin", FaultKind::WrongKind, "is no file, but the release lists one");
    mTree.Remove(Archives + "files-0001.vka.dat");
    ExpectFault("stored.raw", FaultKind::NotThere, "files-0001.vka.dat: is missing");
    mTree.Remove(Archives + "files-0001.vka");
    ExpectFault("stored.raw", FaultKind::NoArchives, "no archive of version 1.0.0.0 can be used");
}

TEST_F(ReleaseTest, LeavesOutWhatLiesInADataFileThatIsAFifo)
{
    mTree.Remove(Archives + "files-0001.vka.dat");
    ASSERT_EQ(mkfifo(mTree.Path(Archives + "files-0001.vka.dat").c_str(), 0644), 0);
    EXPECT_FALSE(Open("1.0.0.0").Find("stored.raw")) << "the library does not serve it either";
    ExpectFault("stored.raw", FaultKind::WrongKind, "files-0001.vka.dat: is no regular file");
}

TEST_F(ReleaseTest, NamesADirectoryThatCannotBeEntered)
{
    fs::permissions(mTree.Path(Deploy + "naked"), fs::perms(0600));
    const AsNobody nobody;
    ExpectFault("naked/a.txt", FaultKind::NotAllowed,
                "the directory " + mTree.Path(Deploy + "naked") + " cannot be entered");
}

TEST_F(ReleaseTest, AnIndexWithoutReadPermissionIsOneThatTheLibraryDeletes)
{
    fs::permissions(mTree.Path(Archives + "files-0001.vka"), fs::perms(0));
    const AsNobody nobody;
    const View view = Open();
    EXPECT_FALSE(view.Find("stored.raw"));
    const auto &faults = view.GetRelease(0).GetArchives(First).GetFaults();
    ASSERT_EQ(faults.size(), 1u);
    EXPECT_EQ(faults[0].kind, FaultKind::UnreadableIndex);
    EXPECT_EQ(faults[0].text,
              "cannot be read: permission denied; the library deletes such an index where it may write");
}

TEST_F(ReleaseTest, AnIndexThatTheLibraryLeavesIsNotCalledDeleted)
{
    ASSERT_EQ(mkfifo(mTree.Path(Archives + "pipe.vka").c_str(), 0600), 0);
    fs::create_symlink("nothing", mTree.Path(Archives + "to-nothing.vka"));
    std::set<std::string> messages;
    for (const auto &fault : Open().GetRelease(0).GetArchives(First).GetFaults())
    {
        EXPECT_EQ(fault.kind, FaultKind::UnreadableIndex);
        messages.insert(fault.GetMessage());
    }
    EXPECT_EQ(messages, (std::set<std::string>{mTree.Path(Archives + "pipe.vka") + ": is no regular file",
                                               mTree.Path(Archives + "to-nothing.vka") + ": is missing"}));
}

TEST_F(ReleaseTest, WithoutDescriptorsNothingIsCalledMissing)
{
    {
        // The sanitizers need descriptors to check a virtual call for the first time.
        const View warm = Open();
        ASSERT_TRUE(warm.GetRelease(0).Locate(warm.GetRelease(0).FindListed("stored.raw").at(0)));
        ASSERT_FALSE(
            warm.GetRelease(0).GetArchives(0x63636363).GetFaults().empty()); // nor is there a version 99.99.99.99
    }
    const View view = Open();
    const auto listed = view.GetRelease(0).FindListed("stored.raw").at(0);
    struct rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    const struct rlimit none = {3, limit.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
    const auto location = view.GetRelease(0).Locate(listed);
    setrlimit(RLIMIT_NOFILE, &limit);
    ASSERT_FALSE(location);
    EXPECT_NE(location.GetFault().GetMessage().find("no descriptors are left: this process may hold 3 files open"),
              std::string::npos)
        << location.GetFault().GetMessage();
}

TEST_F(ReleaseTest, UnusableIndexesAreNamedAndLeftWhereTheyAre)
{
    mTree.Write(Archives + "broken.vka", "no index");
    mTree.Write(Archives + "empty.vka",
                std::string("\xF0\x0E\xBE\x18\x01\0\0\0\0\0\0\0\x14\0\0\0\x18\0\0\0", 20) + std::string(12, '\0'));
    const TreeSnapshot before = TakeSnapshot(mTree.Root());
    const View view = Open();
    const TreeReader::Census census = TakeCensus(view, 2);
    EXPECT_EQ(census.missing, 0u);
    ASSERT_EQ(census.indexes.size(), 2u);
    std::map<std::string, FaultKind> kinds;
    for (const TreeReader::Fault &fault : census.indexes)
    {
        kinds[fs::path(fault.path).filename().string()] = fault.kind;
    }
    EXPECT_EQ(kinds["broken.vka"], FaultKind::BadIndex);
    EXPECT_EQ(kinds["empty.vka"], FaultKind::EmptyIndex);
    EXPECT_TRUE(TakeSnapshot(mTree.Root()) == before);
}

TEST_F(ReleaseTest, ACensusCountsAndShowsTheFirst)
{
    EXPECT_TRUE(TakeCensus(Open(), 1).IsWhole());
    EXPECT_EQ(TakeCensus(Open(), 1).GetSummary(), "");
    mTree.Remove("MORV/projects/game/managedfiles");
    mTree.Remove(Deploy + "naked");
    mTree.Remove("MORV/projects/game/filearchives");
    const TreeReader::Census census = TakeCensus(Open(), 2);
    EXPECT_EQ(census.files, 4u);
    EXPECT_EQ(census.missing, 4u);
    EXPECT_EQ(census.examples.size(), 3u);
    const std::string summary = census.GetSummary();
    EXPECT_EQ(summary.rfind("4 of 4 files are missing and will not be found:\n  ", 0), 0u) << summary;
    EXPECT_NE(summary.find("\n  and 1 more"), std::string::npos) << summary;
}

TEST_F(ReleaseTest, AManifestOfAnotherProjectIsSaid)
{
    fs::rename(mTree.Path("MORV/projects/game"), mTree.Path("MORV/projects/copy"));
    TreeReader::TreeSet trees;
    const auto view = trees.Open("", mTree.Path("MORV/projects/copy/releases/1.0.0.0"));
    ASSERT_TRUE(view);
    ASSERT_EQ(view->GetNotes().size(), 1u);
    EXPECT_NE(view->GetNotes()[0].find("its manifest is that of game 1.0.0.0, and files are served from there"),
              std::string::npos);
    EXPECT_TRUE(view->CheckServable());
}

TEST_F(ReleaseTest, ManyFilesOfADirectoryAreFoundAsOneByOne)
{
    ManifestImage image("game");
    const std::string release = "MORV/projects/game/releases/9.0.0.0";
    image.Patch(ManifestImage::ReleaseVersionOffset, 0x09000000);
    for (int number = 0; number < 40; ++number)
    {
        const std::string name = "many/" + std::to_string(number) + (number % 5 == 0 ? ".LARGE" : ".small");
        image.File(name, ManifestFile{number % 2 == 0 ? 0u : 1u, 1, 0x09000000});
        if (number % 3 != 0)
        {
            mTree.Write((number % 2 == 0 ? release + "/deploy/" : "MORV/projects/game/managedfiles/9.0.0.0/") + name,
                        "x");
        }
    }
    mTree.Write(release + "/deploy/many/0.large", "not the name that the manifest spells");
    fs::create_symlink("2.small", mTree.Path(release + "/deploy/many/6.small"));
    fs::create_symlink("nowhere", mTree.Path(release + "/deploy/many/12.small"));
    mTree.Write(release + "/releasemanifest", image.Bytes());
    const View together = Open("9.0.0.0");
    together.GetRelease(0).SettleAll(2);
    const View single = Open("9.0.0.0");
    for (int number = 0; number < 40; ++number)
    {
        const std::string name = "many/" + std::to_string(number) + (number % 5 == 0 ? ".large" : ".small");
        SCOPED_TRACE(name);
        EXPECT_EQ(static_cast<bool>(together.Find(name)), number % 3 != 0 || number == 6);
        EXPECT_EQ(static_cast<bool>(single.Find(name)), number % 3 != 0 || number == 6);
    }
}
} // namespace
} // namespace Keld::Test
