#include "Tools/FetchFixture.h"
#include "Tools/TreeSnapshot.h"

#include "Tools/TreeWriter/DirectoryProtection.h"

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;
using Delivery::FetchReport;
using Delivery::FetchRequest;

class FetchTest : public FetchFixture
{
protected:
    FetchTest() { Pack(mFiles, First); }

    /// The same with one change to each kind of file, and one that is new.
    FileContents ChangedFiles() const
    {
        FileContents files = mFiles;
        for (const char *name : {"b.a", "b.z", "b.l", "b.m", "b.n"})
        {
            files[name] += "changed";
        }
        files["new.z"] = "new";
        files.erase("data/n");
        return files;
    }

    void PackChanged() const { Pack(ChangedFiles(), Second, First); }

    /// Fetches by one thread, in a process of its own.
    /// \returns whether it was killed
    bool IsFetchKilled(FetchRequest request) const
    {
        request.threadCount = 1;
        return IsKilledDoing(
            [&]
            {
                Delivery::SourceOptions options;
                options.downloads = 1;
                Delivery::Fetch(*Delivery::OpenSource(Server(), "/", options), request);
            });
    }

    void Damage(const std::string &path) const
    {
        std::string bytes = mTree.Read(path);
        ASSERT_FALSE(bytes.empty());
        bytes[bytes.size() / 2] = static_cast<char>(bytes[bytes.size() / 2] ^ 1);
        mTree.Write(path, bytes);
    }

    const FileContents mFiles = SomeFiles();
};

TEST_F(FetchTest, BringsAReleaseThatServesEveryByte)
{
    const FetchReport report = FetchRelease();

    ExpectServes(First, mFiles);
    EXPECT_EQ(report.numbers.files, mFiles.size());
    EXPECT_EQ(report.numbers.heldFiles, 0U);
    EXPECT_FALSE(report.WasThere());
    EXPECT_FALSE(HasStaging());
    EXPECT_TRUE(fs::is_directory(ReleaseDirectory(First) + "/deploy"));
}

TEST_F(FetchTest, GivesTheFilesTheSameBytesAndPlacesAsTheSourceHasThem)
{
    FetchRelease();

    for (const auto &entry : fs::recursive_directory_iterator(Server()))
    {
        if (entry.is_regular_file())
        {
            const std::string path = fs::relative(entry.path(), Server());
            EXPECT_TRUE(mTree.Read("client/MORV/" + path) == mTree.Read("server/MORV/" + path)) << path;
        }
    }
}

TEST_F(FetchTest, TakesATreeByTheUrlOfItsDirectory)
{
    fs::create_directory_symlink(mTree.Path("server"), mTree.Path("50% of it"));
    const std::string place = mTree.Root() + "/50%25%20of%20it/MORV";
    for (const std::string start : {"file://", "file://localhost"})
    {
        SCOPED_TRACE(start);
        FetchFrom(start + place, Request());
        ExpectServes(First, mFiles);
        fs::remove_all(Client());
    }
    ExpectRefusal("file://elsewhere" + place, Request(), "names another machine");
    EXPECT_FALSE(IsHere(First));
}

TEST_F(FetchTest, WhoeverReadsTheTreeMeanwhileIsNotDisturbed)
{
    PackChanged();
    FetchRelease(First);
    const ReleaseReader reader(ReleaseDirectory(First));
    ASSERT_TRUE(reader.IsStarted());
    const std::map<std::string, uint64> seen = reader.FindAll();
    unsigned looks = 0;
    const auto look = [&]
    {
        ++looks;
        EXPECT_EQ(reader.FindAll(), seen);
        for (const auto &[path, content] : mFiles)
        {
            const bool isLzma = path.ends_with('l'); // which cannot be opened again after its last close
            EXPECT_TRUE(isLzma || reader.Read(path) == content) << path;
        }
    };
    FetchRequest request = Request(Second);
    request.threadCount = 1;
    request.step = look;

    FetchFrom(Server(), request);

    EXPECT_GT(looks, 5U);
    look();
}

TEST_F(FetchTest, LeavesAReleaseAloneThatIsThere)
{
    FetchRelease();
    const TreeSnapshot before = TakeSnapshot(Client());

    const FetchReport report = FetchRelease();

    EXPECT_TRUE(report.WasThere());
    EXPECT_EQ(report.numbers.heldFiles, mFiles.size());
    EXPECT_EQ(report.numbers.downloadedBytes, 0U);
    EXPECT_TRUE(TakeSnapshot(Client()) == before);
}

TEST_F(FetchTest, MendsAReleaseThatIsThereAndDamaged)
{
    FetchRelease();
    const TreeSnapshot before = TakeSnapshot(Server());
    Damage("client/MORV/projects/game/filearchives/1.0.0.0/files-0001.vka.dat");
    Damage("client/MORV/projects/game/managedfiles/1.0.0.0/b.m");
    mTree.Remove("client/MORV/projects/game/releases/1.0.0.0/deploy/b.n");
    mTree.Remove("client/MORV/projects/game/filearchives/1.0.0.0/lzma-0001.vka");

    EXPECT_FALSE(FetchRelease().WasThere());

    ExpectServes(First, mFiles);
    EXPECT_TRUE(FetchRelease().WasThere());
    EXPECT_TRUE(TakeSnapshot(Server()) == before);
}

TEST_F(FetchTest, ProtectsArchivesAndMendsProtectedOnes)
{
    FetchRequest request = Request();
    request.protect = true;
    const fs::path archives = Client() + "/projects/game/filearchives/1.0.0.0";
    FetchFrom(Server(), request);
    EXPECT_TRUE(TreeWriter::IsProtected(archives));
    Damage("client/MORV/projects/game/filearchives/1.0.0.0/files-0001.vka.dat");

    FetchRelease();

    ExpectServes(First, mFiles);
    EXPECT_TRUE(TreeWriter::IsProtected(archives));
    TreeWriter::RemoveTree(Client());
}

TEST_F(FetchTest, BringsAReleaseWithTheOlderFilesThatItIsServedFrom)
{
    PackChanged();

    FetchRelease(Second);

    ExpectServes(Second, ChangedFiles());
    EXPECT_FALSE(IsHere(First));
}

TEST_F(FetchTest, BringsOfTheNextReleaseOnlyWhatLacks)
{
    PackChanged();
    FetchRelease(First);

    const FetchReport report = FetchRelease(Second);

    ExpectServes(Second, ChangedFiles());
    ExpectServes(First, mFiles);
    // Of the naked files, those that did not change are copied; their release has its own.
    EXPECT_EQ(report.numbers.copiedFiles, 3U);
    EXPECT_EQ(report.numbers.heldFiles, ChangedFiles().size() - 6 - 3);
    EXPECT_LT(report.numbers.downloadedBytes, 400'000U);
}

TEST_F(FetchTest, TakesNoCopyOfADamagedFile)
{
    PackChanged();
    FetchRelease(First);
    Damage("client/MORV/projects/game/releases/1.0.0.0/deploy/large.n");

    EXPECT_EQ(FetchRelease(Second).numbers.copiedFiles, 2U);

    ExpectServes(Second, ChangedFiles());
}

TEST_F(FetchTest, SaysWhatTheSourceHasWhereItLacksTheRelease)
{
    ExpectRefusal(Server(), Request(Second), "has no game 1.0.0.1; it has 1.0.0.0");
    EXPECT_FALSE(mTree.Exists("client"));
}

TEST_F(FetchTest, RefusesAReleaseThatIsHereWithAnotherManifest)
{
    FetchRelease();
    const TreeSnapshot before = TakeSnapshot(Client());
    fs::remove_all(Server());
    Pack(ChangedFiles(), First);

    ExpectRefusal(Server(), Request(), "is here with another manifest than the source has");

    EXPECT_TRUE(TakeSnapshot(Client()) == before);
}

TEST_F(FetchTest, RefusesFilesThatWouldSpoilAnotherReleaseHere)
{
    FetchRelease();
    fs::remove_all(Server());
    Pack(ChangedFiles(), First);
    Pack(ChangedFiles(), Second, First);

    ExpectRefusal(Server(), Request(Second), "cannot be in one tree");

    ExpectServes(First, mFiles);
    EXPECT_FALSE(IsHere(Second));
}

TEST_F(FetchTest, RefusesASourceWithDamageAndShowsNothing)
{
    for (const char *path : {"filearchives/1.0.0.0/files-0001.vka.dat", "managedfiles/1.0.0.0/b.m",
                             "releases/1.0.0.0/deploy/large.n", "filearchives/1.0.0.0/lzma-0001.vka.dat"})
    {
        SCOPED_TRACE(path);
        const std::string place = std::string("server/MORV/projects/game/") + path;
        const std::string good = mTree.Read(place);
        Damage(place);
        ExpectRefusal(Server(), Request(), "the source is damaged");
        EXPECT_FALSE(IsHere(First));
        fs::remove_all(Client());
        mTree.Write(place, good.substr(0, good.size() / 2));
        EXPECT_NE(Refusal(Server(), Request()), "");
        EXPECT_FALSE(IsHere(First));
        fs::remove_all(Client());
        mTree.Write(place, good);
    }
    FetchRelease();
    ExpectServes(First, mFiles);
}

TEST_F(FetchTest, TakesContentsOnTrustWhereThatIsAllowed)
{
    Damage("server/MORV/projects/game/managedfiles/1.0.0.0/b.m");
    FetchRequest request = Request();
    request.decode = false;

    FetchFrom(Server(), request);

    EXPECT_TRUE(IsHere(First));
    EXPECT_TRUE(FetchFrom(Server(), request).WasThere());
    EXPECT_NE(Refusal(Server(), Request()), "");
}

TEST_F(FetchTest, TakesNothingUpThatWasTakenOnTrust)
{
    FetchRequest request = Request();
    request.decode = false;
    request.step = KillAtCall(6);
    ASSERT_TRUE(IsFetchKilled(request));
    ASSERT_TRUE(HasStaging());

    EXPECT_EQ(FetchRelease().numbers.foundBytes, 0U);

    ExpectServes(First, mFiles);
}

TEST_F(FetchTest, ShowsTheOldReleaseOrBothWhereverItIsKilledWhilePublishing)
{
    PackChanged();
    FetchRelease(First);
    fs::copy(Client(), mTree.Path("kept"), fs::copy_options::recursive);
    bool killed = true;
    for (int step = 0; killed; ++step)
    {
        SCOPED_TRACE(step);
        FetchRequest request = Request(Second);
        request.step = KillAtCall(step);
        killed = IsFetchKilled(request);
        ExpectServes(First, mFiles);
        if (IsHere(Second))
        {
            ExpectServes(Second, ChangedFiles());
        }
        FetchRelease(Second);
        ExpectServes(Second, ChangedFiles());
        ASSERT_FALSE(HasStaging());
        fs::remove_all(Client());
        fs::copy(mTree.Path("kept"), Client(), fs::copy_options::recursive);
        ASSERT_LT(step, 100);
    }
}

TEST_F(FetchTest, GoesOnWhereverItIsKilledWhileFilesCome)
{
    int kills = 0;
    FetchRequest request = Request();
    for (request.advance = KillAtPiece(kills); IsFetchKilled(request); request.advance = KillAtPiece(kills))
    {
        EXPECT_FALSE(IsHere(First) && !HasStaging());
        ASSERT_LT(++kills, 200);
    }
    EXPECT_GT(kills, 5);
    ExpectServes(First, mFiles);
    EXPECT_FALSE(HasStaging());
}
} // namespace
} // namespace Keld::Test
