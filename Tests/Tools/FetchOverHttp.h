#pragma once

#include "Tools/FaultServer.h"
#include "Tools/FetchFixture.h"

#include <cstdlib>

namespace Keld::Test
{
/// Whatever proxy there is, the loopback interface is reached without it.
class FetchOverHttp : public FetchFixture
{
protected:
    FetchOverHttp()
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
        std::filesystem::remove_all(Client());
    }

    const FileContents mFiles = SomeFiles();
};
} // namespace Keld::Test
