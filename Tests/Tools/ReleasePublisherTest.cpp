#include "Tools/TreeWriter/ReleasePublisher.h"

#include "Tools/PackFixture.h"

#include "Support/KilledChild.h"

#include "Tools/TreeWriter/ReleaseStaging.h"

#include <cstdio>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;
using TreeReader::Compression;
using TreeReader::Storage;
using TreeWriter::PackRequest;

constexpr int MostSteps = 60;

/// Which files a release is replaced by: every storage comes and goes.
struct Change
{
    const char *name;
    Storage before;
    Storage after;
};

constexpr Change Changes[] = {{"archive by archive", Storage::Archive, Storage::Archive},
                              {"archive by managed", Storage::Archive, Storage::Managed},
                              {"managed by naked", Storage::Managed, Storage::Naked},
                              {"naked by archive", Storage::Naked, Storage::Archive}};

class ReleasePublisherTest : public PackFixture
{
protected:
    /// A request whose files all hold `word`.
    PackRequest RequestOf(const std::string &word, Storage storage)
    {
        for (const char *path : {"/a", "/d/b", "/d/c"})
        {
            mTree.Write(word + path, word);
        }
        PackRequest request = Request(storage, Compression::None);
        request.source = mTree.Path(word);
        request.replace = true;
        return request;
    }

    /// Packs in a process that is killed before step `step`, the first being 1. False when it came to its end before.
    static bool PackAndDieAt(PackRequest request, int step)
    {
        request.publishStep = KillAtCall(step - 1);
        return IsKilledDoing(
            [&request]
            {
                TreeWriter::PackRelease(request);
            });
    }

    /// The one word that all files of the release hold, or what is wrong.
    std::string WordOfRelease() const
    {
        if (!mTree.Exists("MORV/projects/game/releases/1.0.0.0/releasemanifest"))
        {
            return "no release";
        }
        const ReleaseReader reader(mTree.Path("MORV/projects/game/releases/1.0.0.0"));
        const std::string word = reader.Read("a");
        return reader.Read("d/b") == word && reader.Read("d/c") == word && reader.FindAll().size() == 3 ? word
                                                                                                        : "mixed";
    }

    bool HasRemains() const
    {
        for (const auto &entry : fs::recursive_directory_iterator(mTree.Path("MORV/projects/game")))
        {
            if (entry.is_symlink() || entry.path().filename().string().rfind("packing", 0) == 0)
            {
                return true;
            }
        }
        return false;
    }
};

TEST_F(ReleasePublisherTest, ANewReleaseKilledAtAnyStepIsWholeOrAbsentAndTheNextPackCleansUp)
{
    int step = 1;
    for (; step < MostSteps; ++step)
    {
        SCOPED_TRACE(step);
        const bool killed = PackAndDieAt(RequestOf("first", Storage::Archive), step);
        EXPECT_EQ(WordOfRelease(), killed ? "no release" : "first");
        if (!killed)
        {
            break;
        }
        PackRequest next = RequestOf("second", Storage::Managed);
        next.replace = false; // what a killed pack left takes nobody's version
        std::vector<std::string> notes;
        next.note = [&notes](const std::string &note)
        {
            notes.push_back(note);
        };
        EXPECT_EQ(Refusal(next), "");
        EXPECT_EQ(notes.size(), 1u);
        EXPECT_EQ(WordOfRelease(), "second");
        EXPECT_FALSE(HasRemains());
        EXPECT_FALSE(mTree.Exists("MORV/projects/game/filearchives/1.0.0.0"));
        mTree.Remove("MORV");
    }
    EXPECT_GE(step, 4);
    EXPECT_LT(step, MostSteps);
}

TEST_F(ReleasePublisherTest, AReplacedReleaseKilledAtAnyStepIsTheOldOrTheNewOneWhole)
{
    for (const Change &change : Changes)
    {
        int newSeen = 0;
        int step = 1;
        for (; step < MostSteps; ++step)
        {
            SCOPED_TRACE(std::string(change.name) + ", step " + std::to_string(step));
            TreeWriter::PackRelease(RequestOf("old", change.before));
            const bool killed = PackAndDieAt(RequestOf("new", change.after), step);
            const std::string word = WordOfRelease();
            EXPECT_TRUE(word == "old" || word == "new") << word;
            EXPECT_TRUE(newSeen == 0 || word == "new"); // never back
            newSeen += word == "new" ? 1 : 0;

            PackRequest other = Request(Storage::Naked, Compression::None, Second); // cleans up on its way
            other.source = mTree.Path("new");
            TreeWriter::PackRelease(other);
            EXPECT_EQ(WordOfRelease(), word);
            EXPECT_FALSE(HasRemains());
            mTree.Remove("MORV");
            if (!killed)
            {
                break;
            }
        }
        EXPECT_GE(newSeen, 4); // settling has steps of its own
        EXPECT_LT(step, MostSteps);
    }
}

TEST_F(ReleasePublisherTest, AReplacementThatFailsAtAnyStepPutsTheOldReleaseBackOrIsDone)
{
    for (const Change &change : Changes)
    {
        bool failed = true;
        for (int step = 1; failed && step < MostSteps; ++step)
        {
            SCOPED_TRACE(std::string(change.name) + ", step " + std::to_string(step));
            TreeWriter::PackRelease(RequestOf("old", change.before));
            PackRequest request = RequestOf("new", change.after);
            int count = 0;
            request.publishStep = [&count, step]
            {
                if (++count == step)
                {
                    throw std::runtime_error("the disk failed");
                }
            };
            failed = false;
            bool toldAsMade = false;
            try
            {
                TreeWriter::PackRelease(request);
            }
            catch (const std::runtime_error &error)
            {
                failed = true;
                toldAsMade = std::string(error.what()).rfind("the release is made", 0) == 0;
            }
            const std::string word = WordOfRelease();
            EXPECT_TRUE(word == "new" || (failed && word == "old")) << word;
            EXPECT_EQ(toldAsMade, failed && word == "new");
            EXPECT_FALSE(HasRemains());
            mTree.Remove("MORV");
        }
        EXPECT_FALSE(failed);
    }
}

TEST_F(ReleasePublisherTest, WhoMayReadTheTreeMayReadAReleaseThatIsBeingReplaced)
{
    TreeWriter::PackRelease(RequestOf("old", Storage::Archive));
    PackRequest request = RequestOf("new", Storage::Managed);
    const fs::path project = mTree.Path("MORV/projects/game");
    int looks = 0;
    request.publishStep = [&]
    {
        for (const std::string &name : TreeWriter::FindLeftovers(TreeReader::TreePlaces(mTree.Path("MORV")), "game"))
        {
            EXPECT_EQ(fs::status(project / name).permissions(), fs::status(project).permissions());
            ++looks;
        }
    };
    TreeWriter::PackRelease(request);
    EXPECT_GT(looks, 4);
}

TEST_F(ReleasePublisherTest, TheListsOfSolutionsGoBeforeTheReleaseIsReplaced)
{
    TreeWriter::PackRelease(RequestOf("old", Storage::Archive));
    const std::string place = "MORV/solutions/suite/releases/0.0.1.0/";
    mTree.Write(place + "solutionmanifest",
                "MORV Solution Manifest\n1.0.0.0\nsuite\n0.0.1.0\n1\ngame\n1.0.0.0\n1\n0\n0\n");
    mTree.Write(place + "configurationmanifest", "MORV Configuration Manifest\n1.0.0.0\ndefault\n1\ngame\n");
    mTree.Write(place + "shiplist", "of the old release");
    PackRequest request = RequestOf("new", Storage::Archive);
    int looks = 0;
    request.publishStep = [&]
    {
        EXPECT_FALSE(mTree.Exists(place + "shiplist"));
        ++looks;
    };
    TreeWriter::PackRelease(request);
    EXPECT_GT(looks, 4);
}

TEST_F(ReleasePublisherTest, WhatLinksInThePlacesOfAReleaseLeadToStays)
{
    mTree.Write("home/precious", "x");
    mTree.Write("MORV/projects/game/packing-1.0.0.0-abcdef/publishing", "");
    mTree.MakeDirectory("MORV/projects/game/filearchives");
    fs::create_directory_symlink("../../../../home", mTree.Path("MORV/projects/game/filearchives/1.0.0.0"));
    TreeWriter::PackRelease(RequestOf("new", Storage::Managed));
    EXPECT_EQ(WordOfRelease(), "new");
    EXPECT_FALSE(HasRemains());
    EXPECT_EQ(mTree.Read("home/precious"), "x");
}

TEST_F(ReleasePublisherTest, ANewReleaseThatFailsAtAnyStepLeavesNothing)
{
    bool failed = true;
    for (int step = 1; failed && step < MostSteps; ++step)
    {
        PackRequest request = RequestOf("new", Storage::Archive);
        int count = 0;
        request.publishStep = [&count, step]
        {
            if (++count == step)
            {
                throw std::runtime_error("the disk failed");
            }
        };
        failed = false;
        try
        {
            TreeWriter::PackRelease(request);
        }
        catch (const std::runtime_error &)
        {
            failed = true;
            EXPECT_FALSE(mTree.Exists("MORV/projects/game/filearchives/1.0.0.0"));
            EXPECT_FALSE(mTree.Exists("MORV/projects/game") && HasRemains());
        }
        mTree.Remove("MORV");
    }
    EXPECT_FALSE(failed);
}

TEST_F(ReleasePublisherTest, AReplacedReleaseLosesEveryFileOfTheOldOneAndNothingElse)
{
    TreeWriter::PackRelease(RequestOf("old", Storage::Archive));
    mTree.Write("MORV/projects/game/releases/1.0.0.0/notes.txt", "mine");
    TreeWriter::PackRelease(RequestOf("new", Storage::Managed));
    EXPECT_EQ(WordOfRelease(), "new");
    EXPECT_FALSE(mTree.Exists("MORV/projects/game/filearchives/1.0.0.0"));
    EXPECT_EQ(mTree.Read("MORV/projects/game/releases/1.0.0.0/notes.txt"), "mine");
}

TEST_F(ReleasePublisherTest, RemainsOfTheFormerFormAreRemovedAndWhatIsNoneStays)
{
    mTree.Write("MORV/projects/game/packing-1.0.0.0-abcdef/deploy/a", "x");
    mTree.Write("MORV/projects/game/packing-1.0.0.0-notes/a", "x");
    mTree.Write("MORV/projects/game/packing-list", "x");
    TreeWriter::PackRelease(RequestOf("new", Storage::Managed));
    EXPECT_EQ(ProjectEntries(),
              (std::vector<std::string>{"managedfiles", "packing-1.0.0.0-notes", "packing-list", "releases"}));
}

TEST_F(ReleasePublisherTest, WithSyncingEverythingIsTheSame)
{
    for (const char *word : {"old", "new"})
    {
        PackRequest request = RequestOf(word, Storage::Archive);
        request.sync = true;
        TreeWriter::PackRelease(request);
        EXPECT_EQ(WordOfRelease(), word);
    }
    EXPECT_FALSE(HasRemains());
}
} // namespace
} // namespace Keld::Test
