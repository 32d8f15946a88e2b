#include "Tools/LocalPort.h"

#include <cerrno>
#include <system_error>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

namespace Keld::Test
{
namespace
{
sockaddr_in LoopbackAddress(uint16_t port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

void RequireSocket(bool isDone)
{
    if (!isDone)
    {
        throw std::system_error(errno, std::generic_category(), "no socket on the loopback interface");
    }
}
} // namespace

ListeningSocket ListenOnLoopback()
{
    ListeningSocket listening;
    listening.socket = Common::Descriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    RequireSocket(listening.socket.IsOpen());
    sockaddr_in address = LoopbackAddress(0);
    socklen_t length = sizeof address;
    auto *general = reinterpret_cast<sockaddr *>(&address);
    RequireSocket(bind(listening.socket.Get(), general, length) == 0 &&
                  listen(listening.socket.Get(), SOMAXCONN) == 0 &&
                  getsockname(listening.socket.Get(), general, &length) == 0);
    listening.port = ntohs(address.sin_port);
    return listening;
}

bool CanConnect(uint16_t port)
{
    const Common::Descriptor client(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address = LoopbackAddress(port);
    return connect(client.Get(), reinterpret_cast<sockaddr *>(&address), sizeof address) == 0;
}
} // namespace Keld::Test
