#include "Tools/FaultServer.h"
#include "Tools/FetchFixture.h"
#include "Tools/NginxServer.h"
#include "Tools/TreeSnapshot.h"

#include <atomic>
#include <cstdlib>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;
using Delivery::FetchReport;
using Delivery::FetchRequest;

/// Whatever proxy there is, the loopback interface is reached without it.
class FetchOverHttpTest : public FetchFixture
{
protected:
    FetchOverHttpTest()
    {
        setenv("no_proxy", "127.0.0.1", 1);
        Pack(mFiles, First);
    }

    static bool IsData(const ServedRequest &request) { return request.path.ends_with("files-0001.vka.dat"); }

    /// A fetch that gets through, however a server spoils its answers.
    void ExpectGetsThrough(const FaultServer::Spoil &spoil) const
    {
        const FaultServer server(Server(), spoil);
        FetchFrom(server.GetUrl(), Request());
        ExpectServes(First, mFiles);
        EXPECT_FALSE(HasStaging());
    }

    /// A fetch that does not, leaves nothing to be seen, and gets through once the server is as it should be.
    void ExpectEnds(const FaultServer::Spoil &spoil, const std::string &reason) const
    {
        {
            const FaultServer server(Server(), spoil);
            ExpectRefusal(server.GetUrl(), Request(), reason);
        }
        EXPECT_FALSE(IsHere(First));
        ExpectGetsThrough([](const ServedRequest &, ServedAnswer &) {});
        fs::remove_all(Client());
    }

    const FileContents mFiles = SomeFiles();
};

TEST_F(FetchOverHttpTest, BringsAReleaseFromNginx)
{
    for (const char *options : {"", "autoindex on;"})
    {
        SCOPED_TRACE(options);
        NginxServer server(Server(), NginxServer::Way::Plain, options);

        FetchFrom(server.GetUrl() + "/", Request());

        ExpectServes(First, mFiles);
        for (const NginxServer::Line &line : server.StopAndReadLog())
        {
            EXPECT_EQ(line.protocol, "HTTP/1.1");
        }
        fs::remove_all(Client());
    }
}

TEST_F(FetchOverHttpTest, SpeaksHttp2WhereTheServerDoes)
{
    NginxServer server(Server(), NginxServer::Way::Secure);
    Delivery::SourceOptions options;
    options.authorities = server.GetAuthorities();

    Delivery::Fetch(*Delivery::OpenSource(server.GetUrl(), "/", options), Request());

    ExpectServes(First, mFiles);
    const auto lines = server.StopAndReadLog();
    EXPECT_GT(lines.size(), mFiles.size() / 2);
    for (const NginxServer::Line &line : lines)
    {
        EXPECT_EQ(line.protocol, "HTTP/2.0") << line.path;
    }
}

TEST_F(FetchOverHttpTest, RefusesAServerThatNobodyVouchesFor)
{
    const NginxServer server(Server(), NginxServer::Way::Secure);

    ExpectRefusal(server.GetUrl(), Request(), "certificate");

    EXPECT_FALSE(mTree.Exists("client"));
}

TEST_F(FetchOverHttpTest, DownloadsOfAnUpdateWhatChangedAndLittleMore)
{
    FileContents files;
    for (int number = 0; number < 2500; ++number)
    {
        const char *kinds[] = {".a", ".z", ".m", ".n"};
        files["d" + std::to_string(number % 50) + "/f" + std::to_string(number) + kinds[number % 4]] =
            "content " + std::to_string(number) + std::string(1000, static_cast<char>('a' + number % 26));
    }
    fs::remove_all(Server());
    Pack(files, First);
    FetchRelease(First);
    int number = 0;
    for (auto &[path, content] : files)
    {
        content += number++ % 100 == 0 ? "changed" : "";
    }
    Pack(files, Second, First);
    uint64 needed = 0; // what the update has added on the server, but for naked files that did not change
    for (const char *part : {"filearchives/1.0.0.1", "managedfiles/1.0.0.1", "releases/1.0.0.1"})
    {
        for (const auto &entry : fs::recursive_directory_iterator(Server() + "/projects/game/" + part))
        {
            if (!entry.is_regular_file())
            {
                continue;
            }
            const bool isNaked = entry.path().string().find("/deploy/") != std::string::npos;
            const std::string path = fs::relative(entry.path(), mTree.Root()).string();
            needed += isNaked && !mTree.Read(path).ends_with("changed") ? 0 : entry.file_size();
        }
    }
    NginxServer server(Server(), NginxServer::Way::Plain);

    FetchFrom(server.GetUrl(), Request(Second));

    ExpectServes(Second, files);
    ExpectServes(First,
                 [&files]
                 {
                     FileContents old = files;
                     for (auto &[path, content] : old)
                     {
                         content.resize(content.ends_with("changed") ? content.size() - 7 : content.size());
                     }
                     return old;
                 }());
    uint64 sent = 0;
    for (const NginxServer::Line &line : server.StopAndReadLog())
    {
        sent += line.status == 200 || line.status == 206 ? line.bytes : 0;
    }
    EXPECT_GE(sent, needed);
    EXPECT_LE(sent, needed + needed / 50);
}

TEST_F(FetchOverHttpTest, GoesOnWhereAConnectionBreaks)
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

TEST_F(FetchOverHttpTest, TriesAgainWhatPasses)
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

TEST_F(FetchOverHttpTest, TriesAgainWhatEndsEarlyOrStalls)
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

TEST_F(FetchOverHttpTest, EndsWhereTheServerNeverGives)
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

TEST_F(FetchOverHttpTest, EndsWhereAFileIsMissingOrForbidden)
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

TEST_F(FetchOverHttpTest, GetsAlongWithAServerThatForbidsWhatItDoesNotHave)
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

TEST_F(FetchOverHttpTest, EndsWhereTheServerGivesAWebPageWithStatus200)
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

TEST_F(FetchOverHttpTest, EndsWhereAFileHasAnotherLength)
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

TEST_F(FetchOverHttpTest, EndsWhereAFileIsFarTooLarge)
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

TEST_F(FetchOverHttpTest, RefusesAManifestOfABillionFilesBeforeItIsHeld)
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

TEST_F(FetchOverHttpTest, EndsARedirectionInACircle)
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

TEST_F(FetchOverHttpTest, FollowsARedirection)
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

TEST_F(FetchOverHttpTest, BeginsAFileAnewThatChangesBetweenTwoPieces)
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

TEST_F(FetchOverHttpTest, BringsAFileAnewWhosePiecesAreOfDifferentFiles)
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

TEST_F(FetchOverHttpTest, EndsWhereEveryRequestGivesAnotherFile)
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

TEST_F(FetchOverHttpTest, RefusesNamesThatLeaveTheTree)
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

TEST_F(FetchOverHttpTest, GoesOnAfterTheServerHasEndedAtAnyFile)
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
