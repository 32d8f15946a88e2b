#include "Tools/PackFixture.h"

#include "Support/AsNobody.h"
#include "Support/KilledChild.h"

#include "Tools/TreeWriter/DirectoryProtection.h"
#include "Tools/TreeWriter/Pruner.h"
#include "Tools/TreeWriter/ReleaseStaging.h"

#include "KeldMorvIO/Public/KeldMorvIO.h"

#include <sys/stat.h>
#include <unistd.h>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;
using TreeReader::Storage;
using TreeWriter::IsProtected;

constexpr uid_t NobodysUser = 65534;

/// A tree whose owner has no more rights than anybody.
class ProtectedTreeTest : public PackFixture
{
protected:
    ~ProtectedTreeTest() override { TreeWriter::RemoveTree(mTree.Path("MORV")); }

    void Pack(MorvVersion release, bool replace = false)
    {
        mTree.Write("source/a.txt", "content " + FormatVersion(release));
        TreeWriter::PackRequest request = Request(Storage::Archive, TreeReader::Compression::None, release);
        request.protect = mProtects;
        request.replace = replace;
        request.publishStep = mStep;
        TreeWriter::PackRelease(request);
    }

    fs::path Archives(MorvVersion release) const
    {
        return TreeReader::TreePlaces(mTree.Path("MORV")).Archives("game", release);
    }

    /// The one file of a release, read by the library.
    std::string Read(MorvVersion release) const
    {
        const fs::path place = TreeReader::TreePlaces(mTree.Path("MORV")).Release("game", release);
        EXPECT_GE(MorvInitialize(0, 0, 0, place.c_str()), 0);
        OpenFileHandle *file = MorvOpenFile("a.txt");
        std::string content(static_cast<std::size_t>(std::max<int64_t>(0, MorvGetFileSize(file))), '\0');
        if (file != nullptr)
        {
            MorvRead(file, 0, static_cast<uint32>(content.size()), nullptr, content.data());
            MorvCloseFile(file);
        }
        MorvShutdown();
        return content;
    }

    bool mProtects = true;
    std::function<void()> mStep = [] {};

private:
    bool GiveAway() const
    {
        const bool given = geteuid() != 0 || chown(mTree.Root().c_str(), NobodysUser, NobodysUser) == 0;
        EXPECT_TRUE(given);
        return given;
    }

    const bool mIsGiven = GiveAway();
    const AsNobody mUser;
};

TEST_F(ProtectedTreeTest, NoProgramDeletesAnIndexThatItCannotRead)
{
    for (const bool protects : {false, true})
    {
        mProtects = protects;
        const MorvVersion release = protects ? Second : First;
        Pack(release);
        EXPECT_EQ(IsProtected(Archives(release)), protects);
        const fs::path index = Archives(release) / "files-0001.vka";
        fs::permissions(index, fs::perms::none); // it cannot be read, though nothing is wrong with it
        EXPECT_EQ(Read(release), "");
        EXPECT_EQ(fs::exists(index), protects);
    }
}

TEST_F(ProtectedTreeTest, AReleaseIsReplacedAndStaysProtected)
{
    Pack(First);
    mProtects = false;
    Pack(First, true);
    EXPECT_TRUE(IsProtected(Archives(First)));
    EXPECT_EQ(Read(First), "content 1.0.0.0");
    EXPECT_TRUE(TreeWriter::FindLeftovers(TreeReader::TreePlaces(mTree.Path("MORV")), "game").empty());
}

TEST_F(ProtectedTreeTest, AReplacementThatFailsAtAnyStepPutsTheOldReleaseBack)
{
    Pack(First);
    for (int failing = 1;; ++failing)
    {
        int step = 0;
        mStep = [&step, failing]
        {
            if (++step == failing)
            {
                throw TreeReader::TreeError("a step fails");
            }
        };
        try
        {
            Pack(First, true);
        }
        catch (const TreeReader::TreeError &)
        {
            EXPECT_EQ(Read(First), "content 1.0.0.0") << failing;
            EXPECT_TRUE(TreeWriter::FindLeftovers(TreeReader::TreePlaces(mTree.Path("MORV")), "game").empty());
            continue;
        }
        EXPECT_GT(failing, 5);
        break;
    }
}

TEST_F(ProtectedTreeTest, WhatIsReplacedStaysProtectedWhereverAPackIsKilled)
{
    Pack(First);
    mProtects = false;
    int step = 0;
    const auto packAndDie = [this, &step]
    {
        mStep = KillAtCall(step);
        return IsKilledDoing(
            [this]
            {
                Pack(First, true);
            });
    };
    for (; packAndDie(); ++step)
    {
        mStep = [] {};
        TreeWriter::RemoveLeftovers(TreeReader::TreePlaces(mTree.Path("MORV")), "game", false);
        EXPECT_TRUE(IsProtected(Archives(First))) << step;
        EXPECT_EQ(Read(First), "content 1.0.0.0") << step;
    }
    EXPECT_GT(step, 5);
}

TEST_F(ProtectedTreeTest, AReleaseThatIsToBeProtectedIsWhereverThePackIsKilled)
{
    for (int step = 0;; ++step)
    {
        mStep = KillAtCall(step);
        const bool killed = IsKilledDoing(
            [this]
            {
                Pack(First, true);
            });
        TreeWriter::RemoveLeftovers(TreeReader::TreePlaces(mTree.Path("MORV")), "game", false);
        EXPECT_EQ(IsProtected(Archives(First)), mTree.Exists("MORV/projects/game/releases/1.0.0.0/releasemanifest"))
            << step;
        TreeWriter::RemoveTree(mTree.Path("MORV"));
        if (!killed)
        {
            EXPECT_GT(step, 3);
            break;
        }
    }
}

TEST_F(ProtectedTreeTest, APruneRemovesWhatNobodyNeeds)
{
    Pack(First);
    Pack(Second);
    TreeWriter::PruneRequest request;
    request.root = mTree.Path("MORV");
    request.keep = {{false, "game", Second}};
    TreeWriter::Prune(request, {.sync = false});
    EXPECT_FALSE(fs::exists(Archives(First)));
    EXPECT_TRUE(IsProtected(Archives(Second)));
    EXPECT_EQ(Read(Second), "content 1.0.0.1");
}
} // namespace
} // namespace Keld::Test
