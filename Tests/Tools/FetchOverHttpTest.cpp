#include "Tools/FetchOverHttp.h"
#include "Tools/NginxServer.h"

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;

using FetchOverHttpTest = FetchOverHttp;

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

TEST_F(FetchOverHttpTest, GoesOnByRangesOverHttp2WhereverItIsKilled)
{
    NginxServer server(Server(), NginxServer::Way::Secure);
    int kills = 0;
    for (bool killed = true; killed;)
    {
        Delivery::FetchRequest request = Request();
        request.threadCount = 1;
        request.advance = KillAtPiece(kills);
        Delivery::SourceOptions options;
        options.authorities = server.GetAuthorities();
        options.downloads = 1;
        killed = IsKilledDoing(
            [&]
            {
                Delivery::Fetch(*Delivery::OpenSource(server.GetUrl(), "/", options), request);
            });
        EXPECT_NE(killed, IsHere(First));
        kills += killed ? 1 : 0;
        ASSERT_LT(kills, 300);
    }
    ExpectServes(First, mFiles);
    bool isAnyPart = false;
    for (const NginxServer::Line &line : server.StopAndReadLog())
    {
        EXPECT_EQ(line.protocol, "HTTP/2.0") << line.path;
        isAnyPart = isAnyPart || line.status == 206;
    }
    EXPECT_TRUE(isAnyPart);
}

TEST_F(FetchOverHttpTest, NamesTheTreeThatLiesBelowTheUrl)
{
    const FaultServer server(mTree.Path("server"), [](const ServedRequest &, ServedAnswer &) {});

    ExpectRefusal(server.GetUrl(), Request(), "the one in it is " + server.GetUrl() + "/MORV");
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
} // namespace
} // namespace Keld::Test
