#include "Tools/FaultServer.h"
#include "Tools/RepairFixture.h"
#include "Tools/TreeSnapshot.h"

#include <cstdlib>
#include <filesystem>

#include <sys/wait.h>
#include <unistd.h>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;
using Delivery::RepairReport;
using TreeReader::FaultKind;

using RepairWaysTest = RepairFixture;

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
    const pid_t child = fork();
    if (child == 0)
    {
        // The superuser may read everything; somebody else may not.
        constexpr unsigned nobody = 65534;
        if (geteuid() == 0)
        {
            const std::string give = "chown -R 65534:65534 '" + mTree.Root() + "'";
            if (std::system(give.c_str()) != 0 || setgid(nobody) != 0 || setuid(nobody) != 0)
            {
                _exit(2);
            }
        }
        const std::set<FaultKind> faults = FaultsOfClient();
        const bool isMet = faults.count(FaultKind::NotAllowed) == 1 && faults.count(FaultKind::UnreadableIndex) == 1;
        _exit(isMet && Repair(mTree.Path("server/MORV")).IsWhole() && FaultsOfClient().empty() ? 0 : 1);
    }
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
    ExpectSameFiles();
}
} // namespace
} // namespace Keld::Test
