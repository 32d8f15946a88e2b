#include "Tools/FaultServer.h"
#include "Tools/FetchFixture.h"
#include "Tools/JsonSchema.h"
#include "Tools/NginxServer.h"
#include "Tools/ToolRun.h"
#include "Tools/TreeSnapshot.h"

#include "Tools/Delivery/Keys/SecretKey.h"
#include "Tools/Delivery/Sums/ContentSum.h"
#include "Tools/Delivery/Sums/ShipList.h"

#include <nlohmann/json.hpp>

#include <cstdlib>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;
using Delivery::FetchReport;
using Delivery::FetchRequest;

/// A large archive of the first release, of which the second needs little.
class FetchPartsTest : public FetchFixture
{
protected:
    FetchPartsTest()
    {
        setenv("no_proxy", "127.0.0.1", 1);
        for (int number = 0; number < 200; ++number)
        {
            const std::string name = "f" + std::to_string(number);
            mOld[name + ".a"] = "stored " + name + std::string(2000, 'a');
            mOld[name + ".z"] = "packed " + name + std::string(2000, 'z');
        }
        mOld["same.a"] = mOld["f5.a"]; // shares its bytes
        Pack(mOld, First);
        for (const char *name : {"f5.a", "f6.a", "same.a", "f70.a", "f8.z", "f100.z"})
        {
            mNew[name] = mOld[name];
        }
        mNew["new.n"] = "new";
        Pack(mNew, Second, First);
    }

    FetchRequest PartialRequest() const
    {
        FetchRequest request = Request(Second);
        request.allowPartial = true;
        return request;
    }

    FileContents mOld;
    FileContents mNew;
};

TEST_F(FetchPartsTest, MakesAnArchiveOfWhatIsNeededOfALargeOne)
{
    for (const bool overHttp : {false, true})
    {
        SCOPED_TRACE(overHttp);
        NginxServer server(Server(), NginxServer::Way::Plain);

        const FetchReport report = FetchFrom(overHttp ? server.GetUrl() : Server(), PartialRequest());

        ExpectServes(Second, mNew);
        EXPECT_EQ(report.numbers.partialArchives, 1U);
        uint64 stored = 0;
        for (const auto &entry : fs::directory_iterator(Client() + "/projects/game/filearchives/1.0.0.0"))
        {
            stored += entry.path().extension() == ".dat" ? entry.file_size() : 0;
        }
        EXPECT_LT(stored, 10'000U);
        EXPECT_TRUE(FetchFrom(Server(), Request(Second)).WasThere());
        fs::remove_all(Client());
    }
}

TEST_F(FetchPartsTest, GoesOnWithThePartsThatAnEarlierRunBrought)
{
    Delivery::SourceOptions options;
    options.retries = 0;
    options.downloads = 1;
    uint64 sent = 0;
    unsigned runs = 0;
    FetchReport report;
    for (bool isDone = false; !isDone; ++runs)
    {
        ASSERT_LT(runs, 50U);
        unsigned ranges = 0;
        const FaultServer server(Server(),
                                 [&](const ServedRequest &request, ServedAnswer &answer)
                                 {
                                     if (answer.status == 206 && ++ranges > 1)
                                     {
                                         answer.cutAfter = answer.body.size() / 2; // after one and a half each time
                                     }
                                     sent += request.begin ? answer.cutAfter.value_or(answer.body.size()) : 0;
                                 });
        try
        {
            report = Delivery::Fetch(*Delivery::OpenSource(server.GetUrl(), "/", options), PartialRequest());
            isDone = true;
        }
        catch (const Delivery::SourceError &error)
        {
            EXPECT_EQ(error.GetTrouble(), Delivery::SourceTrouble::Unreachable) << error.what();
            EXPECT_FALSE(IsHere(Second));
        }
    }
    ExpectServes(Second, mNew);
    EXPECT_GT(runs, 3U);
    EXPECT_EQ(report.numbers.partialArchives, 1U);
    EXPECT_GT(report.numbers.foundBytes, 0U);
    uint64 stored = 0;
    for (const auto &entry : fs::directory_iterator(Client() + "/projects/game/filearchives/1.0.0.0"))
    {
        stored += entry.path().extension() == ".dat" ? entry.file_size() : 0;
    }
    EXPECT_EQ(sent, stored); // no byte came twice
    EXPECT_FALSE(HasStaging());
}

TEST_F(FetchPartsTest, GoesOnWithPartsWhereverItIsKilled)
{
    int kills = 0;
    for (bool killed = true; killed;)
    {
        FetchRequest request = PartialRequest();
        request.threadCount = 1;
        request.advance = KillAtPiece(kills);
        killed = IsKilledDoing(
            [&]
            {
                FetchFrom(Server(), request);
            });
        EXPECT_NE(killed, IsHere(Second));
        kills += killed ? 1 : 0;
        ASSERT_LT(kills, 100);
    }
    EXPECT_GT(kills, 2);
    ExpectServes(Second, mNew);
    EXPECT_FALSE(HasStaging());
}

TEST_F(FetchPartsTest, BringsPartsAnewThatAreOfAnotherFileThanTheEarlierOnes)
{
    bool isFirst = true;
    unsigned ranges = 0;
    const FaultServer server(Server(),
                             [&](const ServedRequest &, ServedAnswer &answer)
                             {
                                 if (isFirst && answer.status == 206 && ++ranges == 1)
                                 {
                                     answer.body.assign(answer.body.size(), 'x');
                                 }
                                 else if (isFirst && answer.status == 206)
                                 {
                                     answer.cutAfter = 0;
                                 }
                             });
    Delivery::SourceOptions options;
    options.retries = 0;
    options.downloads = 1;
    EXPECT_THROW(Delivery::Fetch(*Delivery::OpenSource(server.GetUrl(), "/", options), PartialRequest()),
                 Delivery::SourceError);
    isFirst = false;

    const FetchReport report = Delivery::Fetch(*Delivery::OpenSource(server.GetUrl(), "/", options), PartialRequest());

    EXPECT_EQ(report.numbers.partialArchives, 1U);
    ExpectServes(Second, mNew);
}

TEST_F(FetchPartsTest, BringsTheWholeArchiveBesideThePartWhenThatIsNeeded)
{
    FetchFrom(Server(), PartialRequest());

    FetchRelease(First);

    ExpectServes(First, mOld);
    ExpectServes(Second, mNew);
}

TEST_F(FetchPartsTest, BringsTheWholeArchiveWithoutLeaveOrWhereMostOfItIsNeeded)
{
    EXPECT_EQ(FetchRelease(Second).numbers.partialArchives, 0U);
    fs::remove_all(Client());
    FetchRequest request = PartialRequest();
    request.wanted.version = First;
    EXPECT_EQ(FetchFrom(Server(), request).numbers.partialArchives, 0U);
}

TEST_F(FetchPartsTest, BringsTheWholeArchiveFromAServerWithoutRanges)
{
    const NginxServer server(Server(), NginxServer::Way::Plain, "max_ranges 0;");

    EXPECT_EQ(FetchFrom(server.GetUrl(), PartialRequest()).numbers.partialArchives, 0U);

    ExpectServes(Second, mNew);
}

class FetchSolutionTest : public FetchFixture
{
protected:
    FetchSolutionTest()
    {
        Pack({{"a.n", "low"}, {"b.z", "low b"}}, First, {}, "low");
        Pack({{"a.n", "top"}, {"c.m", "top c"}}, Second, {}, "top");
        Pack({{"unused.n", "unused"}}, First, {}, "unused");
        const ToolResult made =
            RunMorv(mTree.Root(), {"solution", "--root", Server(), "--name", "suite", "--release", "0.0.1.0",
                                   "--project", "low=1.0.0.0:1", "--project", "top=1.0.0.1:2", "--project",
                                   "unused=1.0.0.0:3", "--use", "low,top"});
        EXPECT_EQ(made.exitCode, 0) << made.error;
    }

    ToolResult Fetch(const std::vector<std::string> &more = {}) const
    {
        std::vector<std::string> words{"fetch", Server(),    "--root",  Client(),   "--solution",
                                       "suite", "--release", "0.0.1.0", "--no-sync"};
        words.insert(words.end(), more.begin(), more.end());
        return RunMorv(mTree.Root(), words);
    }

    std::string Read(const std::string &path) const
    {
        return ReleaseReader(TreeReader::TreePlaces(Client()).Solution("suite", 0x00000100)).Read(path);
    }
};

TEST_F(FetchSolutionTest, BringsTheProjectsThatItUses)
{
    const ToolResult result = Fetch({"--json"});

    EXPECT_EQ(result.exitCode, 0) << result.error;
    ExpectMatchesSchema("fetch", result.out);
    const auto document = nlohmann::json::parse(result.out);
    EXPECT_EQ(document["releases"].size(), 3U);
    EXPECT_EQ(document["releases"][2]["kind"], "solution");
    EXPECT_EQ(Read("a.n"), "top");
    EXPECT_EQ(Read("b.z"), "low b");
    EXPECT_EQ(Read("c.m"), "top c");
    EXPECT_FALSE(fs::exists(Client() + "/projects/unused"));
    EXPECT_FALSE(HasStaging());
}

TEST_F(FetchSolutionTest, LeavesItAloneWhereItIsThere)
{
    Fetch();
    const TreeSnapshot before = TakeSnapshot(Client());

    const ToolResult again = Fetch();

    EXPECT_EQ(again.exitCode, 0) << again.error;
    EXPECT_NE(again.out.find("solution suite 0.0.1.0: was here, whole, and was left alone"), std::string::npos)
        << again.out;
    EXPECT_TRUE(TakeSnapshot(Client()) == before);
}

TEST_F(FetchSolutionTest, TellsWhatIsMistyped)
{
    const auto refusal = [this](const std::vector<std::string> &words)
    {
        const ToolResult result = RunMorv(mTree.Root(), words);
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_EQ(result.out, "");
        return result.error;
    };
    const auto expect = [](const std::string &text, const std::string &part)
    {
        EXPECT_NE(text.find(part), std::string::npos) << text;
    };
    expect(refusal({"fetch", "server", "--root", "client/MORV", "--project", "low", "--release", "1.0.0.0"}),
           "the one in it is server/MORV");
    expect(refusal({"fetch", "host.example/MORV", "--root", "client/MORV", "--project", "low", "--release", "1.0.0.0"}),
           "for a server, write https://host.example/MORV");
    expect(refusal({"fetch", "ftp://host/MORV", "--root", "client/MORV", "--project", "low", "--release", "1.0.0.0"}),
           "is nothing to fetch from");
    expect(refusal({"fetch", "server/MORV", "--root", "client/MORV", "--release", "1.0.0.0"}), "--project NAME");
    expect(refusal({"fetch", "server/MORV", "--root", "client", "--project", "low", "--release", "1.0.0.0"}), "MORV");
    expect(refusal({"fetch", "server/MORV", "--root", "client/MORV", "--project", "../x", "--release", "1.0.0.0"}),
           "../x");
    EXPECT_FALSE(mTree.Exists("client"));
}

/// A source with a shiplist beside the manifest.
class FetchByShipListTest : public FetchFixture
{
protected:
    FetchByShipListTest()
    {
        Pack(mFiles, First);
        for (const auto &entry : fs::recursive_directory_iterator(Server()))
        {
            if (entry.is_regular_file())
            {
                const std::string path = fs::relative(entry.path(), Server()).string();
                mShipped.push_back({path, entry.file_size(), Delivery::SumOf(mTree.Read("server/MORV/" + path))});
            }
        }
        WriteList();
    }

    void WriteList() const { mTree.Write(mList, Delivery::ShipList(mName, mShipped).GetText()); }

    const FileContents mFiles = SomeFiles();
    const TreeReader::ReleaseName mName{false, "game", First};
    const std::string mList = "server/MORV/" + Delivery::PathOfShipList(mName);
    std::vector<Delivery::ShippedFile> mShipped;
};

TEST_F(FetchByShipListTest, TakesNamesSizesAndSumsFromIt)
{
    const fs::path archives = Server() + "/projects/game/filearchives/1.0.0.0";
    EXPECT_TRUE(fs::exists(archives / "files-0001.vka"));
    NginxServer server(Server(), NginxServer::Way::Plain);

    FetchFrom(server.GetUrl(), Request());

    ExpectServes(First, mFiles);
    EXPECT_EQ(mTree.Read("client/MORV/projects/game/releases/1.0.0.0/shiplist"), mTree.Read(mList));
    for (const NginxServer::Line &line : server.StopAndReadLog())
    {
        EXPECT_TRUE(line.status == 200 || line.path.ends_with("minisig")) << line.path << line.status;
    }
}

TEST_F(FetchByShipListTest, RefusesWhatTheListTellsOtherwise)
{
    std::string bytes = mTree.Read("server/MORV/projects/game/filearchives/1.0.0.0/files-0001.vka.dat");
    mTree.Write("server/MORV/projects/game/filearchives/1.0.0.0/files-0001.vka.dat", bytes + "more");
    ExpectRefusal(Server(), Request(), "bytes there instead of");
    bytes.back() = static_cast<char>(bytes.back() ^ 1);
    mTree.Write("server/MORV/projects/game/filearchives/1.0.0.0/files-0001.vka.dat", bytes);
    ExpectRefusal(Server(), Request(), "is not the file that the shiplist tells of");
    EXPECT_FALSE(IsHere(First));
}

TEST_F(FetchByShipListTest, WithAKeyTakesNothingThatIsNotSigned)
{
    for (const char *name : {"one", "two"})
    {
        const std::string make =
            "cd '" + mTree.Root() + "' && minisign -G -W -p " + name + ".pub -s " + name + ".key >minisign.log 2>&1";
        ASSERT_EQ(std::system(make.c_str()), 0) << mTree.Read("minisign.log");
    }
    const auto run = [this](const std::string &key)
    {
        // The key lies where -C leads, and not where the process is.
        return RunMorv(mTree.Path("server"), {"-C", mTree.Root(), "fetch", Server(), "--root", Client(), "--project",
                                              "game", "--release", "1.0.0.0", "--signed", key, "--no-sync"});
    };
    EXPECT_NE(run("one.pub").error.find("it is not signed"), std::string::npos);
    const auto key = Delivery::SecretKey::Load(mTree.Path("one.key"),
                                               []
                                               {
                                                   return std::string();
                                               });
    ASSERT_TRUE(key) << key.GetFault().GetMessage();
    mTree.Write(mList + ".minisig", key->Sign(mTree.Read(mList), "game"));
    EXPECT_NE(run("two.pub").error.find("was made with key"), std::string::npos);
    EXPECT_FALSE(mTree.Exists("client"));

    const ToolResult good = run("one.pub");

    EXPECT_EQ(good.exitCode, 0) << good.error;
    ExpectServes(First, mFiles);
    fs::remove_all(Client());
    // A list that tells of less, with the signature of the larger one.
    std::erase_if(mShipped,
                  [](const Delivery::ShippedFile &file)
                  {
                      return file.path.ends_with("b.m");
                  });
    WriteList();
    EXPECT_EQ(run("one.pub").exitCode, 2);
    mTree.Write(mList + ".minisig", key->Sign(mTree.Read(mList), "game"));
    EXPECT_NE(run("one.pub").error.find("the signed shiplist does not tell of it"), std::string::npos);
    EXPECT_FALSE(IsHere(First));
}

TEST_F(FetchByShipListTest, RefusesAListThatIsNone)
{
    mTree.Write(mList, "<html>no list</html>");
    ExpectRefusal(Server(), Request(), "shiplist");
    EXPECT_FALSE(mTree.Exists("client"));
}
} // namespace
} // namespace Keld::Test
