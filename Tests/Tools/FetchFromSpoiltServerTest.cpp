#include "Tools/FetchOverHttp.h"

#include <atomic>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;

using FetchFromSpoiltServerTest = FetchOverHttp;

TEST_F(FetchFromSpoiltServerTest, GoesOnWhereAConnectionBreaks)
{
    const FaultServer server(Server(),
                             [](const ServedRequest &request, ServedAnswer &answer)
                             {
                                 if (IsData(request) && answer.body.size() > 100'000)
                                 {
                                     answer.cutAfter = 100'000;
                                 }
                             });

    FetchFrom(server.GetUrl(), Request());

    ExpectServes(First, mFiles);
    uint64 from = 0;
    unsigned parts = 0;
    for (const ServedRequest &request : server.GetRequests())
    {
        if (IsData(request))
        {
            EXPECT_EQ(request.begin.value_or(0), from) << parts;
            EXPECT_EQ(request.ifRange.empty(), parts == 0);
            from += 100'000;
            ++parts;
        }
    }
    EXPECT_GE(parts, 3U);
}

TEST_F(FetchFromSpoiltServerTest, TriesAgainWhatPasses)
{
    ExpectGetsThrough(
        [](const ServedRequest &request, ServedAnswer &answer)
        {
            constexpr int passing[] = {503, 429, 500, 408};
            if (request.number == 0)
            {
                answer = {passing[request.path.size() % 4], {}, "<html>Later.</html>"};
            }
        });
}

TEST_F(FetchFromSpoiltServerTest, TriesAgainWhatEndsEarlyOrStalls)
{
    ExpectGetsThrough(
        [](const ServedRequest &request, ServedAnswer &answer)
        {
            if (request.number == 0 && request.path.ends_with("b.m"))
            {
                answer.claimedLength = answer.body.size();
                answer.body.resize(answer.body.size() / 2);
            }
        });
    fs::remove_all(Client());
    const FaultServer server(Server(),
                             [](const ServedRequest &request, ServedAnswer &answer)
                             {
                                 if (request.number == 0 && request.path.ends_with("large.n"))
                                 {
                                     answer.cutAfter = 70'000;
                                     answer.stalls = true;
                                 }
                             });
    Delivery::SourceOptions options;
    options.patienceSeconds = 1;
    Delivery::Fetch(*Delivery::OpenSource(server.GetUrl(), "/", options), Request());
    ExpectServes(First, mFiles);
}

TEST_F(FetchFromSpoiltServerTest, EndsWhereTheServerNeverGives)
{
    ExpectEnds(
        [](const ServedRequest &request, ServedAnswer &answer)
        {
            if (IsData(request))
            {
                answer = {503, {}, ""};
            }
        },
        "files-0001.vka.dat: the server answers with status 503 (tried 3 times)");
    ExpectEnds(
        [](const ServedRequest &request, ServedAnswer &answer)
        {
            if (IsData(request))
            {
                answer.cutAfter = 0;
                answer.resets = true;
            }
        },
        "(tried 3 times)");
}

TEST_F(FetchFromSpoiltServerTest, EndsWhereAFileIsMissingOrForbidden)
{
    ExpectEnds(
        [](const ServedRequest &request, ServedAnswer &answer)
        {
            if (IsData(request))
            {
                answer = {404, {}, ""};
            }
        },
        "files-0001.vka.dat: it is not there");
    ExpectEnds(
        [](const ServedRequest &request, ServedAnswer &answer)
        {
            if (request.path.ends_with("b.m"))
            {
                answer = {403, {}, ""};
            }
        },
        "the server does not allow us to read it");
}

TEST_F(FetchFromSpoiltServerTest, GetsAlongWithAServerThatForbidsWhatItDoesNotHave)
{
    ExpectGetsThrough(
        [](const ServedRequest &, ServedAnswer &answer)
        {
            if (answer.status == 404)
            {
                answer.status = 403;
            }
        });
}

TEST_F(FetchFromSpoiltServerTest, EndsWhereTheServerGivesAWebPageWithStatus200)
{
    for (const char *end : {"releasemanifest", "files-0001.vka.dat", "b.m", "large.n"})
    {
        SCOPED_TRACE(end);
        ExpectEnds(
            [end](const ServedRequest &request, ServedAnswer &answer)
            {
                if (request.path.ends_with(end))
                {
                    answer = {200, {"Content-Type: text/html"}, "<html>Please log in.</html>"};
                }
            },
            "web page in its place");
    }
}

TEST_F(FetchFromSpoiltServerTest, EndsWhereAFileHasAnotherLength)
{
    for (const char *end : {"b.m", "large.n"})
    {
        SCOPED_TRACE(end);
        ExpectEnds(
            [end](const ServedRequest &request, ServedAnswer &answer)
            {
                if (request.path.ends_with(end) && answer.status == 200)
                {
                    answer.body += "more";
                }
            },
            "bytes there instead of");
    }
}

TEST_F(FetchFromSpoiltServerTest, EndsWhereAFileIsFarTooLarge)
{
    ExpectEnds(
        [](const ServedRequest &request, ServedAnswer &answer)
        {
            if (request.path.ends_with("releasemanifest") || IsData(request))
            {
                answer.claimedLength = uint64{1} << 40;
            }
        },
        "are taken for it");
}

TEST_F(FetchFromSpoiltServerTest, RefusesAManifestOfABillionFilesBeforeItIsHeld)
{
    ExpectEnds(
        [](const ServedRequest &request, ServedAnswer &answer)
        {
            if (request.path.ends_with("releasemanifest"))
            {
                const char billion[] = {0, '\xCA', '\x9A', '\x3B'};
                answer.body.replace(16, 4, std::string(billion, 4));
            }
        },
        "is a damaged release manifest");
}

TEST_F(FetchFromSpoiltServerTest, EndsARedirectionInACircle)
{
    ExpectEnds(
        [](const ServedRequest &request, ServedAnswer &answer)
        {
            if (request.path.ends_with("b.m"))
            {
                answer = {302, {"Location: /" + request.path}, ""};
            }
        },
        "sends us on and on");
}

TEST_F(FetchFromSpoiltServerTest, FollowsARedirection)
{
    ExpectGetsThrough(
        [](const ServedRequest &request, ServedAnswer &answer)
        {
            if (request.path.ends_with("b.m") && request.number == 0)
            {
                answer = {301, {"Location: /" + request.path}, "<html>There.</html>"};
            }
        });
}

TEST_F(FetchFromSpoiltServerTest, BeginsAFileAnewThatChangesBetweenTwoPieces)
{
    ExpectGetsThrough(
        [](const ServedRequest &request, ServedAnswer &answer)
        {
            if (IsData(request) && request.number == 0)
            {
                answer.headers = {"ETag: \"another\""};
                answer.body.assign(answer.body.size(), 'x');
                answer.cutAfter = 100'000;
            }
        });
}

TEST_F(FetchFromSpoiltServerTest, BringsAFileAnewWhosePiecesAreOfDifferentFiles)
{
    // The server says that it is one file, and lies.
    ExpectGetsThrough(
        [](const ServedRequest &request, ServedAnswer &answer)
        {
            if (IsData(request) && request.number == 0)
            {
                answer.body.assign(answer.body.size(), 'x');
                answer.cutAfter = 100'000;
            }
        });
}

TEST_F(FetchFromSpoiltServerTest, EndsWhereEveryRequestGivesAnotherFile)
{
    ExpectEnds(
        [](const ServedRequest &request, ServedAnswer &answer)
        {
            if (IsData(request))
            {
                answer.body.assign(answer.body.size(), static_cast<char>('x' + request.number % 2));
            }
        },
        "the source is damaged, or gives something else");
}

TEST_F(FetchFromSpoiltServerTest, RefusesNamesThatLeaveTheTree)
{
    ExpectEnds(
        [](const ServedRequest &request, ServedAnswer &answer)
        {
            if (request.path.ends_with("releasemanifest"))
            {
                const std::string name = "large.n";
                answer.body.replace(answer.body.find(name), name.size(), "../../x");
            }
        },
        "../../x");
    EXPECT_FALSE(mTree.Exists("client/x"));
}

TEST_F(FetchFromSpoiltServerTest, GoesOnAfterTheServerHasEndedAtAnyFile)
{
    unsigned most = 0;
    for (unsigned limit = 0;; ++limit)
    {
        SCOPED_TRACE(limit);
        std::atomic<unsigned> count{0};
        const FaultServer server(Server(),
                                 [&](const ServedRequest &, ServedAnswer &answer)
                                 {
                                     if (count++ >= limit)
                                     {
                                         answer.cutAfter = answer.body.size() / 2;
                                     }
                                 });
        Delivery::SourceOptions options;
        options.retries = 0;
        options.downloads = 1;
        try
        {
            Delivery::Fetch(*Delivery::OpenSource(server.GetUrl(), "/", options), Request());
            break;
        }
        catch (const Delivery::SourceError &error)
        {
            EXPECT_EQ(error.GetTrouble(), Delivery::SourceTrouble::Unreachable) << error.what();
        }
        EXPECT_FALSE(IsHere(First));
        ASSERT_LT(limit, 100U);
        most = limit;
    }
    EXPECT_GT(most, 5U);
    ExpectServes(First, mFiles);
}
} // namespace
} // namespace Keld::Test
