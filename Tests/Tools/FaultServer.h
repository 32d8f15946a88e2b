#pragma once

#include "Tools/LocalPort.h"

#include <atomic>
#include <functional>
#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace Keld::Test
{
/// What a client asked of a FaultServer.
struct ServedRequest
{
    std::string method;
    std::string path;            ///< decoded, without a '/' in front
    std::optional<uint64> begin; ///< of the range that it wants
    std::optional<uint64> end = {};
    std::string ifRange = {};
    unsigned number = 0; ///< of the requests for this path, from 0 on
};

/// What a FaultServer answers, and how it ends.
struct ServedAnswer
{
    int status = 200;
    std::vector<std::string> headers = {};
    std::string body = {};
    std::optional<uint64> claimedLength = {}; ///< what it says the body has
    std::optional<std::size_t> cutAfter = {}; ///< bytes of the body, after which the connection ends
    bool resets = false;                      ///< it ends so that bytes on their way may be lost
    bool stalls = false;                      ///< in place of breaking, nothing comes any more
    bool isChunked = false;                   ///< it does not say before the body how long that is
};

/// A web server for one directory, with ranges and entity tags, whose answers a test can spoil.
class FaultServer
{
public:
    using Spoil = std::function<void(const ServedRequest &, ServedAnswer &)>;

    /// \param spoil called by any thread
    FaultServer(std::string directory, Spoil spoil);
    ~FaultServer();

    FaultServer(const FaultServer &) = delete;
    FaultServer &operator=(const FaultServer &) = delete;

    std::string GetUrl() const { return "http://127.0.0.1:" + std::to_string(mListening.port); }

    std::vector<ServedRequest> GetRequests() const;

private:
    void Accept();
    void Serve(const Common::Descriptor &client);
    bool ServeOne(int client, const std::string &head);
    ServedAnswer AnswerFor(const ServedRequest &request) const;
    bool Send(int client, const ServedRequest &request, const ServedAnswer &answer) const;

    const std::string mDirectory;
    const Spoil mSpoil;
    ListeningSocket mListening;
    std::atomic<bool> mEnding{false};
    mutable std::mutex mMutex; ///< guards the two below
    std::vector<ServedRequest> mRequests;
    std::list<Common::Descriptor> mClients; ///< open until the end, so that it can wake who waits for them
    std::vector<std::thread> mThreads;      ///< the first one accepts; touched by it and by the end alone
    std::thread mAcceptor;
};
} // namespace Keld::Test
