#include "Tools/FetchOverHttp.h"

#include "Tools/Delivery/Sums/ShipList.h"
#include "Tools/TreeWriter/ArchiveWriter.h"

#include <algorithm>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;
using Delivery::FetchRequest;

/// Servers that give wrong indexes, lists and sizes, or more than anybody asked for.
class FetchFromWrongServerTest : public FetchOverHttp
{
protected:
    FetchFromWrongServerTest() { ServeOnly(mFewFiles); }

    /// Of all releases the first alone is at the server, with these files.
    void ServeOnly(const FileContents &files) const
    {
        fs::remove_all(Server());
        Pack(files, First);
    }

    static bool IsIndex(const ServedRequest &request) { return request.path.ends_with("files-0001.vka"); }

    static FaultServer::Spoil GiveIndex(const std::vector<TreeWriter::ArchivedFile> &files)
    {
        return [index = TreeWriter::BuildArchiveIndex(files)](const ServedRequest &request, ServedAnswer &answer)
        {
            if (IsIndex(request))
            {
                answer = {200, {"ETag: \"wrong\""}, index};
            }
        };
    }

    /// Refused by a server, and then, the server being as it should be, not.
    void ExpectRecovers(const FaultServer::Spoil &spoil, const FetchRequest &request, const std::string &reason) const
    {
        {
            const FaultServer server(Server(), spoil);
            ExpectRefusal(server.GetUrl(), request, reason);
        }
        EXPECT_FALSE(IsHere(request.wanted.version));
        const FaultServer server(Server(), [](const ServedRequest &, ServedAnswer &) {});
        EXPECT_EQ(Refusal(server.GetUrl(), request), "");
        EXPECT_TRUE(IsHere(request.wanted.version));
        fs::remove_all(Client());
    }

    const FileContents mFewFiles{{"x.a", "1234"}, {"y.a", "5678"}};
};

TEST_F(FetchFromWrongServerTest, AsksForAnIndexAnewThatWasWrong)
{
    ExpectRecovers(GiveIndex({{"x.a", 4, 4}, {"y.a", 0, 4}}), Request(), "the source is damaged");
    ExpectRecovers(GiveIndex({{"x.a", 0, 4}}), Request(), "no archive there holds y.a");
    ExpectRecovers(
        [give = GiveIndex({{"x.a", 4, 4}, {"y.a", 0, 4}})](const ServedRequest &request, ServedAnswer &answer)
        {
            give(request, answer);
            if (IsData(request))
            {
                answer.claimedLength = uint64{1} << 40;
            }
        },
        Request(), "are taken for it");
}

TEST_F(FetchFromWrongServerTest, AsksForAnIndexAnewThatWasAnotherThanTheOneHere)
{
    FetchRelease(First);
    Pack({{"x.a", "1234"}, {"z.a", "9"}}, Second, First);
    fs::remove(Client() + "/projects/game/filearchives/1.0.0.0/files-0001.vka.dat");

    ExpectRecovers(GiveIndex({{"x.a", 0, 4}, {"y.a", 4, 2}}), Request(Second),
                   "is another archive than the source has");
}

TEST_F(FetchFromWrongServerTest, AsksForAnIndexAnewByWhichPartsWereWrong)
{
    FileContents files;
    for (const char *name : {"a.a", "b.a", "c.a", "d.a"})
    {
        files[name] = std::string(1000, *name);
    }
    ServeOnly(files);
    Pack({{"b.a", files["b.a"]}}, Second, First);
    FetchRequest request = Request(Second);
    request.allowPartial = true;
    ExpectRecovers(GiveIndex({{"a.a", 0, 1000}, {"b.a", 2000, 1000}, {"c.a", 1000, 1000}, {"d.a", 3000, 1000}}),
                   request, "the source is damaged");
    ExpectRecovers(GiveIndex({{"b.a", 90'000, 1000}}), request, "the server has no such range of bytes");
}

TEST_F(FetchFromWrongServerTest, EndsWhereEveryAnswerBreaksOffAndTheNextBeginsAnew)
{
    ServeOnly(mFiles);
    const FaultServer server(Server(),
                             [](const ServedRequest &request, ServedAnswer &answer)
                             {
                                 answer.headers.clear(); // nothing to go on by
                                 if (IsData(request) && request.number < 20)
                                 {
                                     answer.cutAfter = 100'000;
                                 }
                             });

    ExpectRefusal(server.GetUrl(), Request(), "(tried 3 times)");
}

TEST_F(FetchFromWrongServerTest, BeginsAFileAnewWhoseRestIsSaidToBeOfAnother)
{
    ServeOnly(mFiles);
    const FaultServer server(Server(),
                             [](const ServedRequest &request, ServedAnswer &answer)
                             {
                                 if (IsData(request) && request.number == 0)
                                 {
                                     answer.headers = {"ETag: \"one\""};
                                     answer.body.assign(answer.body.size(), 'x');
                                     answer.cutAfter = 100'000;
                                 }
                                 else if (IsData(request) && request.ifRange == "\"one\"")
                                 {
                                     answer.status = 206;
                                     answer.headers = {"ETag: \"two\"", "Content-Range: bytes 100000-" +
                                                                            std::to_string(answer.body.size() - 1) +
                                                                            "/" + std::to_string(answer.body.size())};
                                     answer.body = answer.body.substr(100'000);
                                 }
                             });
    FetchRequest request = Request();
    request.decode = false; // nobody else would see it

    FetchFrom(server.GetUrl(), request);

    ExpectServes(First, mFiles);
}

TEST_F(FetchFromWrongServerTest, DoesNotCountWhatThisRunBroughtAsFound)
{
    ServeOnly(mFiles);
    const FaultServer server(Server(),
                             [](const ServedRequest &request, ServedAnswer &answer)
                             {
                                 if (IsData(request) && request.number == 0)
                                 {
                                     answer.body.assign(answer.body.size(), 'x'); // of the same file, it says
                                     answer.cutAfter = 100'000;
                                 }
                             });

    EXPECT_EQ(FetchFrom(server.GetUrl(), Request()).numbers.foundBytes, 0U);
}

TEST_F(FetchFromWrongServerTest, BringsAnIndexOnceThatAListingLinksTwice)
{
    const FaultServer server(Server(),
                             [](const ServedRequest &request, ServedAnswer &answer)
                             {
                                 if (request.path.ends_with("filearchives/1.0.0.0/"))
                                 {
                                     const std::string link = "<a href=\"files-0001.vka\">files-0001.vka</a>";
                                     answer = {200, {"Content-Type: text/html"}, "<html>" + link + link + "</html>"};
                                 }
                             });

    FetchFrom(server.GetUrl(), Request());

    ExpectServes(First, mFewFiles);
    const auto requests = server.GetRequests();
    EXPECT_EQ(std::count_if(requests.begin(), requests.end(), IsIndex), 1);
}

TEST_F(FetchFromWrongServerTest, RefusesSizesInAnUnsignedShipListThatNoArchiveHas)
{
    const TreeReader::ReleaseName name{false, "game", First};
    const std::string list = "server/MORV/" + Delivery::PathOfShipList(name);
    const std::string place = "projects/game/filearchives/1.0.0.0/files-0001.vka";
    const auto shipped = [&](const std::string &path, uint64 more)
    {
        const std::string bytes = mTree.Read("server/MORV/" + path);
        return Delivery::ShippedFile{path, bytes.size() + more, Delivery::SumOf(bytes)};
    };
    constexpr uint64 huge = 1'000'000'000'000'000;
    mTree.Write(list, Delivery::ShipList(name, {shipped(place, huge)}).GetText());
    ExpectRefusal(Server(), Request(), "are taken for it");
    mTree.Write(list, Delivery::ShipList(name, {shipped(place, 0), shipped(place + ".dat", huge)}).GetText());
    ExpectRefusal(Server(), Request(), "are taken for it");
}

TEST_F(FetchFromWrongServerTest, BringsAWebPageThatIsAFileOfTheRelease)
{
    const FileContents files{{"page.htm", "<html>A page of the release.</html>"}};
    ServeOnly(files);
    for (const bool isLogin : {true, false})
    {
        const FaultServer server(Server(),
                                 [isLogin](const ServedRequest &request, ServedAnswer &answer)
                                 {
                                     if (request.path.ends_with("page.htm"))
                                     {
                                         answer.headers = {"Content-Type: text/html"};
                                         answer.body = isLogin ? "<html>Log in.</html>" : answer.body;
                                         answer.isChunked = true;
                                     }
                                 });
        EXPECT_EQ(Refusal(server.GetUrl(), Request()).find("web page in its place") != std::string::npos, isLogin);
    }
    ExpectServes(First, files);
}

/// Tells no names, and has the same index under each that it is asked for.
class EndlessSource final : public Delivery::Source
{
public:
    explicit EndlessSource(std::unique_ptr<Source> source) : mSource(std::move(source)) {}

    const std::string &GetName() const override { return mSource->GetName(); }
    std::optional<LargeVector<char>> ReadWhole(const std::string &path, uint64 limit) override
    {
        return mSource->ReadWhole(path, limit);
    }
    void ReadRanges(const std::string &path, const std::vector<Delivery::ByteRange> &ranges,
                    const Delivery::RangeSink &sink) override
    {
        mSource->ReadRanges(path, ranges, sink);
    }
    std::optional<uint64> GetSize(const std::string &path) override { return mSource->GetSize(path); }
    std::optional<std::vector<std::string>> ListNames(const std::string &) override { return std::nullopt; }

    void Bring(std::vector<Delivery::Download> &downloads, const Delivery::DownloadPlace &place,
               const Delivery::DownloadCalls &calls) override
    {
        const std::string index = TreeWriter::BuildArchiveIndex({{"nobody wants this", 0, 1}});
        for (Delivery::Download &download : downloads)
        {
            place.Write(download.path, index);
            download.isThere = true;
            calls.advance(uint64{32} << 20); // as if it were larger
            if (++mCount > 5000)
            {
                throw std::runtime_error("it has no end");
            }
        }
    }

private:
    const std::unique_ptr<Source> mSource;
    unsigned mCount = 0;
};

TEST_F(FetchFromWrongServerTest, EndsWhereEveryNameHasAnIndex)
{
    EndlessSource source(Delivery::OpenSource(Server(), mTree.Root(), {}));
    try
    {
        Delivery::Fetch(source, Request());
        ADD_FAILURE() << "it was fetched";
    }
    catch (const std::exception &error)
    {
        EXPECT_NE(std::string(error.what()).find("more archive indexes are there than are taken"), std::string::npos)
            << error.what();
    }
}
} // namespace
} // namespace Keld::Test
