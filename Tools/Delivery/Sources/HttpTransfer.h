#pragma once

#include "Tools/Delivery/Sources/HttpJob.h"
#include "Tools/Delivery/Sources/Source.h"

#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Keld::Delivery
{
/// Runs jobs against one server, several at once, and keeps its connections from call to call. What passes, as a broken
/// connection or a busy server, is tried again after a while that doubles each time; what does not is thrown as
/// SourceError. One thread at a time.
class HttpTransfer
{
public:
    /// \param url  of the source's root, without a '/' at its end
    /// \param name of the source, for messages
    HttpTransfer(std::string url, std::string name, const SourceOptions &options);
    ~HttpTransfer();

    HttpTransfer(const HttpTransfer &) = delete;
    HttpTransfer &operator=(const HttpTransfer &) = delete;

    /// Runs all jobs to their ends, or throws what the first one ended with that failed.
    void Run(const std::vector<HttpJob *> &jobs, const std::function<void()> &checkpoint);

private:
    using Clock = std::chrono::steady_clock;
    struct Lane; ///< one of the transfers that are under way at once

    struct Attempt
    {
        HttpJob *job = nullptr;
        unsigned failures = 0;              ///< in a row, before this one
        std::optional<uint64> reached = {}; ///< byte of the file where that row began; none before the first attempt
    };

    void StartDue(const std::vector<HttpJob *> &jobs);
    void StartOn(Lane &lane, const Attempt &attempt);
    void HandOnAll();
    bool HandleEnded();
    void End(Lane &lane, int code);
    void Judge(Lane &lane, int code);
    void JudgeStatus(Lane &lane);
    void TryAgain(const Lane &lane, const std::string &why);
    void StopAll();
    std::string NameOf(const std::string &path) const { return mName + "/" + path; }
    bool IsBusy() const;

    static void HandOn(Lane &lane);
    static void Guard(Lane &lane, const std::function<void()> &call);
    static std::size_t TakeHeader(char *line, std::size_t size, std::size_t count, void *lane);
    static std::size_t TakeBody(char *bytes, std::size_t size, std::size_t count, void *lane);

    const std::string mUrl;
    const std::string mName;
    const SourceOptions mOptions;
    void *mMulti; ///< libcurl's
    std::vector<std::unique_ptr<Lane>> mLanes;
    std::multimap<Clock::time_point, Attempt> mWaiting;
    std::size_t mNext = 0; ///< of the jobs that are still to begin
};
} // namespace Keld::Delivery
