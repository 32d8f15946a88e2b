#include "Tools/FaultServer.h"

#include "Support/FileBytes.h"

#include "Tools/Delivery/Sources/UrlText.h"
#include "Tools/TreeReader/ContentDigest.h"
#include "Tools/TreeReader/ReleaseContents.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <filesystem>

#include <strings.h>
#include <sys/socket.h>

namespace Keld::Test
{
namespace
{
std::string HeaderOf(const std::string &head, const char *name)
{
    for (std::size_t line = head.find("\r\n"); line != std::string::npos; line = head.find("\r\n", line + 2))
    {
        const std::size_t begin = line + 2;
        const std::size_t colon = head.find(':', begin);
        if (colon != std::string::npos && strcasecmp(head.substr(begin, colon - begin).c_str(), name) == 0)
        {
            const std::size_t value = head.find_first_not_of(' ', colon + 1);
            return head.substr(value, head.find("\r\n", value) - value);
        }
    }
    return "";
}

std::optional<uint64> NumberAt(std::string_view text)
{
    uint64 number = 0;
    const bool isRead = std::from_chars(text.data(), text.data() + text.size(), number).ec == std::errc();
    return isRead ? std::optional<uint64>(number) : std::nullopt;
}

ServedRequest ReadRequest(const std::string &head)
{
    ServedRequest request;
    const std::size_t space = head.find(' ');
    request.method = head.substr(0, space);
    request.path = Delivery::DecodeUrlText(head.substr(space + 2, head.find(' ', space + 1) - space - 2));
    const std::string range = HeaderOf(head, "Range");
    constexpr std::string_view unit = "bytes=";
    if (range.starts_with(unit))
    {
        request.begin = NumberAt(range.substr(unit.size()));
        request.end = NumberAt(range.substr(range.find('-') + 1));
    }
    request.ifRange = HeaderOf(head, "If-Range");
    return request;
}

bool SendAll(int client, std::string_view bytes)
{
    while (!bytes.empty())
    {
        const ssize_t sent = send(client, bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent <= 0)
        {
            return false;
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
}

/// Until the client goes away, or the server shuts the socket.
void WaitForClient(int client)
{
    char byte = 0;
    while (recv(client, &byte, 1, 0) > 0)
    {
    }
}

void Reset(int client)
{
    const linger atOnce = {1, 0};
    setsockopt(client, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
}
} // namespace

FaultServer::FaultServer(std::string directory, Spoil spoil)
    : mDirectory(std::move(directory)), mSpoil(std::move(spoil)), mListening(ListenOnLoopback()),
      mAcceptor(&FaultServer::Accept, this)
{
}

FaultServer::~FaultServer()
{
    mEnding = true;
    CanConnect(mListening.port); // wakes who accepts
    mAcceptor.join();
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        for (const Common::Descriptor &client : mClients)
        {
            shutdown(client.Get(), SHUT_RDWR);
        }
    }
    for (std::thread &thread : mThreads)
    {
        thread.join();
    }
}

std::vector<ServedRequest> FaultServer::GetRequests() const
{
    const std::lock_guard<std::mutex> lock(mMutex);
    return mRequests;
}

void FaultServer::Accept()
{
    while (!mEnding)
    {
        Common::Descriptor client(accept4(mListening.socket.Get(), nullptr, nullptr, SOCK_CLOEXEC));
        if (mEnding || !client.IsOpen())
        {
            continue;
        }
        const std::lock_guard<std::mutex> lock(mMutex);
        Common::Descriptor &kept = mClients.emplace_back(std::move(client));
        mThreads.emplace_back(
            [this, &kept]
            {
                Serve(kept);
            });
    }
}

void FaultServer::Serve(const Common::Descriptor &client)
{
    std::string received;
    char piece[4096];
    for (;;)
    {
        const std::size_t end = received.find("\r\n\r\n");
        if (end == std::string::npos)
        {
            const ssize_t count = recv(client.Get(), piece, sizeof piece, 0);
            if (count <= 0)
            {
                break;
            }
            received.append(piece, static_cast<std::size_t>(count));
            continue;
        }
        const std::string head = received.substr(0, end + 2);
        received.erase(0, end + 4);
        if (!ServeOne(client.Get(), head))
        {
            break;
        }
    }
    const std::lock_guard<std::mutex> lock(mMutex);
    mClients.remove_if(
        [&client](const Common::Descriptor &one)
        {
            return &one == &client;
        });
}

/// \returns whether the connection is still good
bool FaultServer::ServeOne(int client, const std::string &head)
{
    ServedRequest request = ReadRequest(head);
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        request.number = static_cast<unsigned>(std::count_if(mRequests.begin(), mRequests.end(),
                                                             [&request](const ServedRequest &one)
                                                             {
                                                                 return one.path == request.path;
                                                             }));
        mRequests.push_back(request);
    }
    ServedAnswer answer = AnswerFor(request);
    mSpoil(request, answer);
    return Send(client, request, answer);
}

ServedAnswer FaultServer::AnswerFor(const ServedRequest &request) const
{
    const std::filesystem::path place = std::filesystem::path(mDirectory) / request.path;
    if (!std::filesystem::is_regular_file(place))
    {
        return {404, {"Content-Type: text/html"}, "<html>There is no such page.</html>"};
    }
    const std::string content = BytesOf(place);
    const std::string tag = "\"" + TreeReader::DigestText(TreeReader::DigestOf(content)) + "\"";
    ServedAnswer answer{200, {"ETag: " + tag, "Accept-Ranges: bytes"}, content};
    const bool isPartWanted = request.begin && (request.ifRange.empty() || request.ifRange == tag);
    if (isPartWanted && *request.begin < content.size())
    {
        const uint64 last = std::min<uint64>(request.end.value_or(content.size() - 1), content.size() - 1);
        answer.status = 206;
        answer.body = content.substr(*request.begin, last + 1 - *request.begin);
        answer.headers.push_back("Content-Range: bytes " + std::to_string(*request.begin) + "-" + std::to_string(last) +
                                 "/" + std::to_string(content.size()));
    }
    else if (isPartWanted)
    {
        answer.status = 416;
        answer.body.clear();
    }
    return answer;
}

bool FaultServer::Send(int client, const ServedRequest &request, const ServedAnswer &answer) const
{
    std::string head = "HTTP/1.1 " + std::to_string(answer.status) + " Answer\r\n";
    for (const std::string &header : answer.headers)
    {
        head += header + "\r\n";
    }
    if (answer.isChunked)
    {
        char size[24];
        std::snprintf(size, sizeof size, "%zx", answer.body.size());
        return SendAll(client,
                       head + "Transfer-Encoding: chunked\r\n\r\n" + size + "\r\n" + answer.body + "\r\n0\r\n\r\n");
    }
    head += "Content-Length: " + std::to_string(answer.claimedLength.value_or(answer.body.size())) + "\r\n\r\n";
    const bool isWhole = !answer.cutAfter;
    const std::string_view body = std::string_view(answer.body).substr(0, answer.cutAfter.value_or(answer.body.size()));
    const bool isSent = SendAll(client, head) && (request.method == "HEAD" || SendAll(client, body));
    if (!isWhole && answer.stalls)
    {
        WaitForClient(client);
    }
    else if (!isWhole && answer.resets)
    {
        Reset(client);
    }
    return isSent && isWhole && !answer.claimedLength;
}
} // namespace Keld::Test
