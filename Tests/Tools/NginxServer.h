#pragma once

#include "Support/TempTree.h"

#include "KeldFoundation/CStd/BasicTypes.h"

#include <string>
#include <vector>

#include <sys/types.h>

namespace Keld::Test
{
/// nginx as it stands on servers, for one directory, on the loopback interface: ranges, and HTTP/2 where it speaks TLS.
class NginxServer
{
public:
    enum class Way
    {
        Plain,
        Secure
    };

    /// Starts it, and waits until it answers.
    /// \param options lines of its configuration for the directory, as "autoindex on;"
    NginxServer(const std::string &directory, Way way, const std::string &options = "");
    ~NginxServer();

    NginxServer(const NginxServer &) = delete;
    NginxServer &operator=(const NginxServer &) = delete;

    std::string GetUrl() const;

    /// A certificate that vouches for the server.
    std::string GetAuthorities() const { return mPlace.Path("certificate.pem"); }

    /// One answer, as the server has noted it.
    struct Line
    {
        std::string method;
        std::string path; ///< with a '/' in front
        int status = 0;
        uint64 bytes = 0; ///< of the body
        std::string protocol;
    };

    /// Stops the server, so that nothing of its log is still on the way.
    std::vector<Line> StopAndReadLog();

private:
    void WriteConfiguration(const std::string &directory, const std::string &options) const;
    void MakeCertificate() const;
    void Start();
    void Stop();

    TempTree mPlace;
    Way mWay;
    uint16_t mPort = 0;
    pid_t mProcess = -1;
};
} // namespace Keld::Test
