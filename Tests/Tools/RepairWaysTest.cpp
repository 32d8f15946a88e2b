#include "Tools/FaultServer.h"
#include "Tools/RepairFixture.h"
#include "Tools/TreeSnapshot.h"

#include "Support/KilledChild.h"

#include <filesystem>
#include <stdexcept>

#include <unistd.h>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;
using Delivery::RepairReport;
using TreeReader::FaultKind;

class RepairWaysTest : public RepairFixture
{
protected:
    /// The superuser may read everything; somebody else, to whom all of this is given, may not.
    void BecomeNobody() const
    {
        if (geteuid() != 0)
        {
            return;
        }
        constexpr unsigned nobody = 65534;
        bool isDone = lchown(mTree.Root().c_str(), nobody, nobody) == 0;
        for (const fs::directory_entry &entry : fs::recursive_directory_iterator(mTree.Root()))
        {
            isDone = isDone && lchown(entry.path().c_str(), nobody, nobody) == 0;
        }
        if (!isDone || setgid(nobody) != 0 || setuid(nobody) != 0)
        {
            throw std::runtime_error("cannot become nobody");
        }
    }
};

TEST_F(RepairWaysTest, WhatStoodInTheWayIsPutAsideAndTold)
{
    Split();
    mTree.Remove(mFirst + "deploy/Data/naked.txt");
    mTree.Write(mFirst + "deploy/Data/naked.txt/kept", "kept");
    mTree.Write(mFirst + "deploy/Data/naked.txt.aside", "of before");
    const std::string managed = Place("game/managedfiles/1.0.0.0/Data/managed.bin");
    mTree.Remove(managed);
    mTree.MakeDirectory(managed); // of which nothing is worth to be told
    const RepairReport report = Repair(mTree.Path("server/MORV"));
    EXPECT_EQ(mTree.Read(mFirst + "deploy/Data/naked.txt.aside-2/kept"), "kept");
    EXPECT_EQ(mTree.Read(mFirst + "deploy/Data/naked.txt.aside"), "of before");
    ASSERT_EQ(report.notes.size(), 1U);
    const std::string naked = "projects/game/releases/1.0.0.0/deploy/Data/naked.txt";
    EXPECT_EQ(report.notes[0], naked + " was in the way: what stood there is now " + naked + ".aside-2");
}

TEST_F(RepairWaysTest, AFileThatALinkLeadsToIsAsGoodAsAnyOther)
{
    Publish();
    Split();
    const std::string managed = Place("game/managedfiles/1.0.0.0/Data/managed.bin");
    fs::rename(mTree.Path(managed), mTree.Path("elsewhere"));
    fs::create_symlink(mTree.Path("elsewhere"), mTree.Path(managed));
    const TreeSnapshot before = TakeSnapshot(mTree.Path("client/MORV/projects"));
    EXPECT_EQ(Repair(mTree.Path("server/MORV")).broughtFiles, 0U);
    EXPECT_TRUE(TakeSnapshot(mTree.Path("client/MORV/projects")) == before);
}

TEST_F(RepairWaysTest, AReleaseThatIsWholeIsNotTakenForADamagedOneOfTheSameVersion)
{
    Split();
    WriteManifest(ManifestImage("odd").File("Aa", Archived("con")));
    ASSERT_EQ(FaultsOfClient(), std::set<FaultKind>());
    const FaultServer server(mTree.Path("server/MORV"), [](const ServedRequest &, ServedAnswer &) {});
    const TreeSnapshot before = TakeSnapshot(mTree.Path("client/MORV/projects"));
    for (const std::string &source : {mTree.Path("server/MORV"), server.GetUrl()})
    {
        std::string refusal;
        try
        {
            Repair(source);
        }
        catch (const TreeReader::TreeError &error)
        {
            refusal = error.what();
        }
        EXPECT_NE(refusal.find("odd 1.0.0.0"), std::string::npos) << refusal;
        EXPECT_NE(refusal.find("another"), std::string::npos) << refusal;
        EXPECT_TRUE(TakeSnapshot(mTree.Path("client/MORV/projects")) == before);
    }
}

TEST_F(RepairWaysTest, AServerWithoutListsBringsNoOtherSolutionThanOneThatIsWhole)
{
    Split();
    const std::string manifest = mTree.Read("client/" + Suite + "solutionmanifest");
    const std::size_t priority = manifest.find("20");
    ASSERT_NE(priority, std::string::npos) << manifest;
    mTree.Write("client/" + Suite + "solutionmanifest", std::string(manifest).replace(priority, 2, "99"));
    const FaultServer server(mTree.Path("server/MORV"), [](const ServedRequest &, ServedAnswer &) {});
    const TreeSnapshot before = TakeSnapshot(mTree.Path("client/MORV/solutions"));
    EXPECT_THROW(Repair(server.GetUrl(), {mReleases.back()}), TreeReader::TreeError);
    EXPECT_TRUE(TakeSnapshot(mTree.Path("client/MORV/solutions")) == before);
}

TEST_F(RepairWaysTest, WhatTheTreesOwnListTellsIsToldWhereAServerHasNone)
{
    Publish();
    Split();
    for (const char *release : {"1.0.0.0", "1.0.0.1"})
    {
        mTree.Remove("server/" + GameReleases + release + "/shiplist");
    }
    const std::vector<TreeReader::ReleaseName> games(mReleases.begin(), mReleases.begin() + 2);
    const FaultServer server(mTree.Path("server/MORV"), [](const ServedRequest &, ServedAnswer &) {});
    EXPECT_TRUE(Repair(server.GetUrl(), games).IsWhole());
    EXPECT_TRUE(Repair(server.GetUrl(), games).notes.empty()); // as its own list was looked at
    const std::string data = mArchives + "files-0001.vka.dat";
    mTree.Write(data, mTree.Read(data) + "x");
    const RepairReport report = Repair(server.GetUrl(), games);
    ASSERT_EQ(report.remaining.size(), 1U);
    EXPECT_EQ(report.remaining[0].path, mTree.Path(data));
}

TEST_F(RepairWaysTest, FilesOfSeveralReleasesAreComparedOnce)
{
    Publish();
    Split();
    uint64 largest = 0;
    uint64 begun = 0;
    Delivery::RepairRequest request;
    request.root = mTree.Path("client/MORV");
    request.releases = mReleases;
    request.calls.begin = [&](const char *stage, uint64 total)
    {
        begun += stage == std::string("comparing") ? total : 0;
    };
    EXPECT_TRUE(Delivery::Repair(request).IsWhole());
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(request.root))
    {
        largest += entry.is_regular_file() ? entry.file_size() : 0;
    }
    EXPECT_GT(begun, 0U);
    EXPECT_LE(begun, largest); // all that is there, each file once
}

TEST_F(RepairWaysTest, FilesThatCannotBeReadAreHealed)
{
    Split();
    const std::vector<std::string> closed{Place("game/managedfiles/1.0.0.0/Data/managed.bin"),
                                          mArchives + "files-0001.vka", mFirst + "releasemanifest"};
    for (const std::string &path : closed)
    {
        fs::permissions(mTree.Path(path), fs::perms::none);
    }
    const auto heal = [this]
    {
        BecomeNobody();
        const std::set<FaultKind> faults = FaultsOfClient();
        if (faults.count(FaultKind::NotAllowed) == 0 || faults.count(FaultKind::UnreadableIndex) == 0)
        {
            throw std::runtime_error("what cannot be read is no fault");
        }
        if (!Repair(mTree.Path("server/MORV")).IsWhole() || !FaultsOfClient().empty())
        {
            throw std::runtime_error("what cannot be read is not healed");
        }
    };
    EXPECT_FALSE(IsKilledDoing(heal));
    ExpectSameFiles();
}
} // namespace
} // namespace Keld::Test
