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
    const RepairReport report = Repair(mTree.Path("server/MORV"));
    EXPECT_EQ(mTree.Read(mFirst + "deploy/Data/naked.txt.aside-2/kept"), "kept");
    EXPECT_EQ(mTree.Read(mFirst + "deploy/Data/naked.txt.aside"), "of before");
    ASSERT_EQ(report.notes.size(), 1U);
    EXPECT_NE(report.notes[0].find("projects/game/releases/1.0.0.0/deploy/Data/naked.txt was in the way"),
              std::string::npos)
        << report.notes[0];
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
