#include "Tools/NginxServer.h"

#include "Tools/LocalPort.h"

#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <sstream>
#include <thread>

#include <sys/wait.h>
#include <unistd.h>

namespace Keld::Test
{
namespace
{
constexpr auto BetweenLooks = std::chrono::milliseconds(10);
constexpr int MostPorts = 20; // that are tried, should others take them first
} // namespace

NginxServer::NginxServer(const std::string &directory, Way way, const std::string &options) : mWay(way)
{
    if (mWay == Way::Secure)
    {
        MakeCertificate();
    }
    for (int port = 0; port < MostPorts && mProcess < 0; ++port)
    {
        mPort = ListenOnLoopback().port; // free a moment ago
        WriteConfiguration(directory, options);
        Start();
    }
    EXPECT_GE(mProcess, 0) << mPlace.Read("error.log");
}

NginxServer::~NginxServer()
{
    Stop();
}

std::string NginxServer::GetUrl() const
{
    return (mWay == Way::Secure ? "https://127.0.0.1:" : "http://127.0.0.1:") + std::to_string(mPort);
}

void NginxServer::WriteConfiguration(const std::string &directory, const std::string &options) const
{
    std::string text = "daemon off;\nmaster_process off;\npid pid;\nerror_log error.log;\n"
                       "events { worker_connections 256; }\nhttp {\n"
                       "log_format test '$request_method $status $body_bytes_sent $server_protocol $uri';\n"
                       "access_log access.log test;\n"
                       "default_type application/octet-stream;\n";
    for (const char *kind : {"client_body", "proxy", "fastcgi", "uwsgi", "scgi"})
    {
        text += std::string(kind) + "_temp_path temp;\n";
    }
    text += "server {\nlisten 127.0.0.1:" + std::to_string(mPort);
    text +=
        mWay == Way::Secure ? " ssl http2;\nssl_certificate certificate.pem;\nssl_certificate_key key.pem;\n" : ";\n";
    text += "keepalive_requests 100000;\nhttp2_max_concurrent_streams 64;\n";
    mPlace.Write("nginx.conf", text + "root '" + directory + "';\n" + options + "\n}\n}\n");
}

void NginxServer::MakeCertificate() const
{
    const std::string command = "cd '" + mPlace.Root() +
                                "' && openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes "
                                "-keyout key.pem -out certificate.pem -days 2 -subj /CN=localhost "
                                "-addext subjectAltName=IP:127.0.0.1 2>openssl.log";
    EXPECT_EQ(std::system(command.c_str()), 0) << mPlace.Read("openssl.log");
}

/// Leaves no process where the port turned out to be taken.
void NginxServer::Start()
{
    mProcess = fork();
    if (mProcess == 0)
    {
        const std::string place = mPlace.Root() + "/";
        execl(KELD_NGINX, "nginx", "-p", place.c_str(), "-c", "nginx.conf", "-e", "error.log", nullptr);
        _exit(127);
    }
    while (waitpid(mProcess, nullptr, WNOHANG) == 0)
    {
        if (CanConnect(mPort) && mPlace.Exists("pid"))
        {
            return;
        }
        std::this_thread::sleep_for(BetweenLooks);
    }
    mProcess = -1;
}

void NginxServer::Stop()
{
    if (mProcess >= 0)
    {
        kill(mProcess, SIGTERM);
        waitpid(mProcess, nullptr, 0);
        mProcess = -1;
    }
}

std::vector<NginxServer::Line> NginxServer::StopAndReadLog()
{
    Stop();
    std::vector<Line> lines;
    std::istringstream text(mPlace.Read("access.log"));
    for (Line line; text >> line.method >> line.status >> line.bytes >> line.protocol && std::getline(text, line.path);)
    {
        line.path.erase(0, 1);
        lines.push_back(line);
    }
    return lines;
}
} // namespace Keld::Test
