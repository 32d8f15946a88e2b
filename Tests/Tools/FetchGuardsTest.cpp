#include "Tools/FetchFixture.h"

#include "Tools/Delivery/Arrival/ArrivalJournal.h"
#include "Tools/Delivery/Sums/Publication.h"
#include "Tools/TreeWriter/SolutionWriter.h"

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;
using Delivery::FetchRequest;

/// What a fetch must not do to the tree that it brings something to.
class FetchGuardsTest : public FetchFixture
{
protected:
    static constexpr MorvVersion Third = 0x01000002;
    static constexpr MorvVersion Far = 0x02000000;

    /// Brings the first release, and then more newer ones than are kept open at once, that have nothing of its files.
    void FetchManyReleases(const FileContents &files) const
    {
        Pack(files, First);
        FetchRelease(First);
        constexpr MorvVersion count = 17;
        for (MorvVersion number = 1; number <= count; ++number)
        {
            Pack({{"other.n", "other"}}, First + number);
            FetchRelease(First + number);
        }
        fs::remove_all(Server());
    }

    /// Two releases with a few files each of one large archive of the first.
    void PackParts()
    {
        for (int number = 0; number < 100; ++number)
        {
            mOld["f" + std::to_string(number) + ".a"] = std::to_string(number) + std::string(2000, 'a');
        }
        Pack(mOld, First);
        mNew = {{"f5.a", mOld["f5.a"]}, {"f6.a", mOld["f6.a"]}, {"new.n", "new"}};
        Pack(mNew, Second, First);
        mNew["third.n"] = "third";
        Pack(mNew, Third, Second);
        mNew.erase("third.n");
    }

    FetchRequest PartialRequest() const
    {
        FetchRequest request = Request(Second);
        request.allowPartial = true;
        return request;
    }

    /// Data files of archives of the first release here.
    std::vector<fs::path> DataFiles() const
    {
        std::vector<fs::path> files;
        for (const auto &entry : fs::directory_iterator(Client() + "/projects/game/filearchives/1.0.0.0"))
        {
            if (entry.path().extension() == ".dat")
            {
                files.push_back(entry.path());
            }
        }
        return files;
    }

    void TruncateData() const
    {
        for (const fs::path &file : DataFiles())
        {
            fs::resize_file(file, fs::file_size(file) / 2);
        }
    }

    FileContents mOld;
    FileContents mNew;
};

TEST_F(FetchGuardsTest, KeepsManagedFilesOfAReleaseThatManyAreNewerThan)
{
    FetchManyReleases({{"a.m", "one"}});
    Pack({{"a.m", "two"}}, First);
    Pack({{"a.m", "two"}, {"b.n", "b"}}, Far, First);

    ExpectRefusal(Server(), Request(Far),
                  "the file a.m of version 1.0.0.0 of game is another here, by release 1.0.0.0");

    ExpectServes(First, {{"a.m", "one"}});
    EXPECT_FALSE(IsHere(Far));
}

TEST_F(FetchGuardsTest, KeepsArchivedFilesOfAReleaseThatManyAreNewerThan)
{
    FetchManyReleases({{"x.a", "first x"}, {"y.a", "first y"}});
    const std::string data = "client/MORV/projects/game/filearchives/1.0.0.0/files-0001.vka.dat";
    std::string bytes = mTree.Read(data);
    const std::size_t place = bytes.find("first y");
    ASSERT_NE(place, std::string::npos);
    bytes[place] = '?';
    mTree.Write(data, bytes);
    Pack({{"x.a", "other x"}, {"y.a", "first y"}}, First);
    Pack({{"y.a", "first y"}}, Far, First);

    ExpectRefusal(Server(), Request(Far), "lacks x.a of release 1.0.0.0 here");

    EXPECT_EQ(ReleaseReader(ReleaseDirectory(First)).Read("x.a"), "first x");
}

TEST_F(FetchGuardsTest, MendsATruncatedArchiveAlsoWhereContentsAreTakenOnTrust)
{
    const FileContents files = SomeFiles();
    Pack(files, First);
    FetchRelease(First);
    TruncateData();
    FetchRequest request = Request(First);
    request.decode = false;

    EXPECT_FALSE(FetchFrom(Server(), request).WasThere());

    ExpectServes(First, files);
    EXPECT_TRUE(FetchFrom(Server(), request).WasThere());
}

TEST_F(FetchGuardsTest, MendsATruncatedArchiveThatAnotherReleaseVouchesFor)
{
    FileContents files = SomeFiles();
    Pack(files, First);
    files["new.n"] = "new";
    Pack(files, Second, First);
    FetchRelease(First);
    TruncateData();

    FetchRelease(Second);

    ExpectServes(Second, files);
}

TEST_F(FetchGuardsTest, RefusesAnIndexWithoutDataThatTheSourceDoesNotHave)
{
    PackParts();
    FetchFrom(Server(), PartialRequest());
    ASSERT_EQ(DataFiles().size(), 1U);
    fs::remove(DataFiles().front());

    ExpectRefusal(Server(), Request(Third), "the source has no such archive, so remove this one");

    EXPECT_FALSE(IsHere(Third));
}

TEST_F(FetchGuardsTest, BringsTheDataThatAnIndexLacks)
{
    PackParts();
    FetchRelease(Second);
    fs::remove(DataFiles().front());

    FetchRelease(Third);

    ExpectServes(Second, mNew);
}

TEST_F(FetchGuardsTest, LeavesOutAShipListOfArchivesThatAreNotHere)
{
    PackParts();
    Delivery::PublishRequest publish;
    publish.root = Server();
    publish.releases = {{false, "game", Second}, {false, "game", Third}};
    publish.sync = false;
    Delivery::PublishShipLists(publish);
    FetchFrom(Server(), PartialRequest());

    FetchRelease(Third);

    EXPECT_FALSE(fs::exists(ReleaseDirectory(Third) + "/shiplist"));
    FetchRequest request = Request(Third);
    request.root = mTree.Path("third/MORV");
    EXPECT_EQ(Refusal(Client(), request), "");
    fs::remove_all(Client());
    FetchRelease(Second);
    FetchRelease(Third); // by a list that tells of files that are here
    EXPECT_TRUE(fs::exists(ReleaseDirectory(Third) + "/shiplist"));
}

TEST_F(FetchGuardsTest, TakesNothingOnTrustThatCameBeforeTheMachineWasStarted)
{
    Pack({{"large.n", std::string(3'000'000, 'n')}, {"more.n", std::string(3'000'000, 'm')}}, First);
    for (const bool isStarted : {false, true})
    {
        SCOPED_TRACE(isStarted);
        FetchRequest request = Request();
        request.decode = false;
        request.threadCount = 1;
        request.advance = KillAtPiece(2);
        ASSERT_TRUE(IsKilledDoing(
            [&]
            {
                FetchFrom(Server(), request);
            }));
        unsigned tags = 0;
        for (const auto &entry : fs::directory_iterator(Client() + "/arriving/game-1.0.0.0/tags"))
        {
            const std::string path = fs::relative(entry.path(), mTree.Root()).string();
            std::string tag = mTree.Read(path);
            const std::string boot = Delivery::IdentifyBoot();
            const std::size_t place = tag.find(boot);
            if (isStarted && place != std::string::npos)
            {
                mTree.Write(path, tag.replace(place, boot.size(), "another start"));
                ++tags;
            }
        }
        EXPECT_EQ(tags, isStarted ? 1U : 0U);
        request.advance = [](uint64) {};

        EXPECT_EQ(FetchFrom(Server(), request).numbers.foundBytes == 0, isStarted);

        fs::remove_all(Client());
    }
}

TEST_F(FetchGuardsTest, FetchesAProjectOnceThatASolutionNamesTwice)
{
    Pack({{"a.n", "a"}}, First);
    const TreeWriter::SolutionConfiguration all{"all", {"game"}};
    std::string configuration = TreeWriter::BuildConfigurationManifest({"all", {"game", "twin"}});
    configuration.replace(configuration.find("twin"), 4, "game"); // the writer would refuse it
    const std::string place = "server/MORV/solutions/suite/releases/0.0.1.0/";
    mTree.Write(place + "configurationmanifest", configuration);
    mTree.Write(place + "solutionmanifest",
                TreeWriter::BuildSolutionManifest({"suite", 0x00000100, {{"game", First, 10}}, {all}}));
    FetchRequest request = Request();
    request.wanted = {true, "suite", 0x00000100};

    EXPECT_EQ(FetchFrom(Server(), request).releases.size(), 2U) << configuration;
}

TEST_F(FetchGuardsTest, LeavesAloneWhatCannotBeReadForNow)
{
    const FileContents files{{"x.a", "x"}};
    Pack(files, First);
    FetchRelease();
    for (const char *path : {"releases/1.0.0.0/releasemanifest", "filearchives/1.0.0.0/files-0001.vka",
                             "filearchives/1.0.0.0/files-0001.vka.dat"})
    {
        SCOPED_TRACE(path);
        const std::string place = Client() + "/projects/game/" + path;
        fs::rename(place, place + ".kept");
        fs::create_symlink(place, place); // no error that tells of damage

        ExpectRefusal(Server(), Request(), std::string(path) + ": cannot be read");

        EXPECT_TRUE(fs::is_symlink(place));
        fs::rename(place + ".kept", place);
    }
    EXPECT_TRUE(FetchRelease().WasThere());
}
} // namespace
} // namespace Keld::Test
