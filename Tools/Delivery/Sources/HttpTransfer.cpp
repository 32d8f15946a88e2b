#include "Tools/Delivery/Sources/HttpTransfer.h"

#include "Tools/Delivery/Sources/HttpTrouble.h"
#include "Tools/Delivery/Sources/UrlText.h"

#include <curl/curl.h>

#include <algorithm>
#include <array>

namespace Keld::Delivery
{
namespace
{
constexpr long MostRedirects = 8;
constexpr long SlowestRate = 64;               // bytes a second; what is slower counts as nothing
constexpr uint64 WorthASecondStart = 64 << 10; // new bytes of a file after which the count of failures begins anew
constexpr uint64 LargestErrorPage = 64 << 10;  // bytes that are read over
constexpr long BufferSize = 256 << 10;         // bytes
constexpr std::size_t PieceSize = 256 << 10;   // bytes; libcurl gives them out 16 KiB at a time
constexpr auto FirstWait = std::chrono::milliseconds(200);
constexpr auto LongestWait = std::chrono::seconds(20);
constexpr auto LongestPoll = std::chrono::milliseconds(100);

void StartLibrary()
{
    static const CURLcode started = curl_global_init(CURL_GLOBAL_DEFAULT);
    if (started != CURLE_OK)
    {
        throw SourceError(SourceTrouble::Failed, curl_easy_strerror(started));
    }
}
} // namespace

struct HttpTransfer::Lane
{
    Lane() : handle(curl_easy_init()) { gathered.reserve(PieceSize); }
    ~Lane()
    {
        curl_slist_free_all(headers);
        curl_easy_cleanup(handle);
    }

    Lane(const Lane &) = delete;
    Lane &operator=(const Lane &) = delete;

    CURL *handle;
    curl_slist *headers = nullptr;
    Attempt attempt; ///< no job while nothing is under way
    HttpAsk ask;
    HttpHead head;
    bool headTaken = false;
    uint64 bytes = 0;     ///< of the file that came
    std::string gathered; ///< bytes of the file that the job has not taken; room for PieceSize
    uint64 errorPage = 0; ///< bytes of another answer
    std::exception_ptr failure;
    std::array<char, CURL_ERROR_SIZE> errorText = {};
};

HttpTransfer::HttpTransfer(std::string url, std::string name, const SourceOptions &options)
    : mUrl(std::move(url)), mName(std::move(name)), mOptions(options), mMulti(nullptr)
{
    StartLibrary();
    mMulti = curl_multi_init();
    curl_multi_setopt(mMulti, CURLMOPT_MAX_TOTAL_CONNECTIONS, static_cast<long>(mOptions.downloads));
    curl_multi_setopt(mMulti, CURLMOPT_PIPELINING, CURLPIPE_MULTIPLEX);
}

HttpTransfer::~HttpTransfer()
{
    StopAll();
    mLanes.clear();
    curl_multi_cleanup(mMulti);
}

void HttpTransfer::Run(const std::vector<HttpJob *> &jobs, const std::function<void()> &checkpoint)
{
    mNext = 0;
    while (mLanes.size() < std::min<std::size_t>(mOptions.downloads, jobs.size()))
    {
        mLanes.push_back(std::make_unique<Lane>());
    }
    try
    {
        for (StartDue(jobs); IsBusy() || !mWaiting.empty(); StartDue(jobs))
        {
            checkpoint();
            int running = 0;
            curl_multi_perform(mMulti, &running);
            if (HandleEnded())
            {
                continue; // what follows begins at once, or nothing does
            }
            HandOnAll();
            auto wait = LongestPoll;
            if (!mWaiting.empty())
            {
                const auto due =
                    std::chrono::duration_cast<std::chrono::milliseconds>(mWaiting.begin()->first - Clock::now());
                wait = std::clamp(due, std::chrono::milliseconds(0), wait);
            }
            curl_multi_poll(mMulti, nullptr, 0, static_cast<int>(wait.count()), nullptr);
        }
    }
    catch (...)
    {
        StopAll();
        throw;
    }
}

bool HttpTransfer::IsBusy() const
{
    return std::any_of(mLanes.begin(), mLanes.end(),
                       [](const auto &lane)
                       {
                           return lane->attempt.job != nullptr;
                       });
}

/// What waits comes before what has not begun.
void HttpTransfer::StartDue(const std::vector<HttpJob *> &jobs)
{
    for (const std::unique_ptr<Lane> &lane : mLanes)
    {
        if (lane->attempt.job != nullptr)
        {
            continue;
        }
        if (!mWaiting.empty() && mWaiting.begin()->first <= Clock::now())
        {
            const Attempt attempt = mWaiting.begin()->second;
            mWaiting.erase(mWaiting.begin());
            StartOn(*lane, attempt);
        }
        else if (mNext < jobs.size())
        {
            StartOn(*lane, Attempt{jobs[mNext++], 0});
        }
    }
}

void HttpTransfer::StartOn(Lane &lane, const Attempt &attempt)
{
    lane.ask = attempt.job->Begin();
    lane.head = HttpHead();
    lane.headTaken = false;
    lane.bytes = 0;
    lane.errorPage = 0;
    lane.failure = nullptr;
    lane.errorText[0] = '\0';
    curl_slist_free_all(lane.headers);
    lane.headers = nullptr;

    CURL *handle = lane.handle;
    curl_easy_reset(handle);
    const bool isSecure = mUrl.starts_with("https");
    const long patience = static_cast<long>(mOptions.patienceSeconds);
    curl_easy_setopt(handle, CURLOPT_URL, (mUrl + "/" + EncodeUrlPath(lane.ask.path)).c_str());
    curl_easy_setopt(handle, CURLOPT_PRIVATE, &lane);
    curl_easy_setopt(handle, CURLOPT_ERRORBUFFER, lane.errorText.data());
    curl_easy_setopt(handle, CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle, CURLOPT_USERAGENT, "morv");
    curl_easy_setopt(handle, CURLOPT_BUFFERSIZE, BufferSize);
    curl_easy_setopt(handle, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_2TLS));
    curl_easy_setopt(handle, CURLOPT_PIPEWAIT, 1L);
    curl_easy_setopt(handle, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(handle, CURLOPT_REDIR_PROTOCOLS_STR, isSecure ? "https" : "http,https");
    curl_easy_setopt(handle, CURLOPT_FOLLOWLOCATION, 1L);
    curl_easy_setopt(handle, CURLOPT_MAXREDIRS, MostRedirects);
    curl_easy_setopt(handle, CURLOPT_CONNECTTIMEOUT, patience);
    curl_easy_setopt(handle, CURLOPT_LOW_SPEED_LIMIT, SlowestRate);
    curl_easy_setopt(handle, CURLOPT_LOW_SPEED_TIME, patience);
    curl_easy_setopt(handle, CURLOPT_HEADERFUNCTION, &HttpTransfer::TakeHeader);
    curl_easy_setopt(handle, CURLOPT_HEADERDATA, &lane);
    curl_easy_setopt(handle, CURLOPT_WRITEFUNCTION, &HttpTransfer::TakeBody);
    curl_easy_setopt(handle, CURLOPT_WRITEDATA, &lane);
    if (!mOptions.authorities.empty())
    {
        curl_easy_setopt(handle, CURLOPT_CAINFO, mOptions.authorities.c_str());
    }
    if (lane.ask.headOnly)
    {
        curl_easy_setopt(handle, CURLOPT_NOBODY, 1L);
    }
    if (lane.ask.offset != 0 || lane.ask.end)
    {
        const std::string last = lane.ask.end ? std::to_string(*lane.ask.end - 1) : "";
        curl_easy_setopt(handle, CURLOPT_RANGE, (std::to_string(lane.ask.offset) + "-" + last).c_str());
    }
    if (!lane.ask.ifRange.empty())
    {
        lane.headers = curl_slist_append(nullptr, ("If-Range: " + lane.ask.ifRange).c_str());
        curl_easy_setopt(handle, CURLOPT_HTTPHEADER, lane.headers);
    }
    lane.attempt = attempt;
    lane.attempt.reached = attempt.reached.value_or(lane.ask.offset);
    curl_multi_add_handle(mMulti, handle);
}

/// Before a wait: what came is where the next run finds it then, however long it takes for more to come.
void HttpTransfer::HandOnAll()
{
    for (const std::unique_ptr<Lane> &lane : mLanes)
    {
        if (lane->gathered.empty())
        {
            continue;
        }
        HandOn(*lane);
        if (lane->failure)
        {
            curl_multi_remove_handle(mMulti, lane->handle);
            End(*lane, CURLE_WRITE_ERROR);
        }
    }
}

/// \returns whether any transfer has ended
bool HttpTransfer::HandleEnded()
{
    bool anyEnded = false;
    int left = 0;
    while (const CURLMsg *message = curl_multi_info_read(mMulti, &left))
    {
        if (message->msg != CURLMSG_DONE)
        {
            continue;
        }
        const CURLcode code = message->data.result;
        void *lane = nullptr;
        curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &lane);
        curl_multi_remove_handle(mMulti, message->easy_handle);
        End(*static_cast<Lane *>(lane), code);
        anyEnded = true;
    }
    return anyEnded;
}

void HttpTransfer::End(Lane &lane, int code)
{
    HandOn(lane);
    try
    {
        if (lane.failure)
        {
            std::rethrow_exception(lane.failure);
        }
        Judge(lane, code);
    }
    catch (const PassingTrouble &trouble)
    {
        TryAgain(lane, trouble.what());
    }
    lane.attempt.job = nullptr;
}

void HttpTransfer::Judge(Lane &lane, int code)
{
    const auto result = static_cast<CURLcode>(code);
    const std::string why = lane.errorText[0] != '\0' ? lane.errorText.data() : curl_easy_strerror(result);
    if (result == CURLE_OK || result == CURLE_WRITE_ERROR) // the latter for an error page without an end
    {
        JudgeStatus(lane);
        return;
    }
    if (IsPassingCode(code))
    {
        throw PassingTrouble(why);
    }
    if (result == CURLE_TOO_MANY_REDIRECTS)
    {
        throw SourceError(SourceTrouble::Untrue, NameOf(lane.ask.path) + ": the server sends us on and on, more than " +
                                                     std::to_string(MostRedirects) + " times");
    }
    throw SourceError(SourceTrouble::Failed, NameOf(lane.ask.path) + ": " + why);
}

void HttpTransfer::JudgeStatus(Lane &lane)
{
    const long status = lane.head.status;
    switch (status)
    {
    case WholeFile:
    case PartOfFile:
        if (!lane.headTaken)
        {
            lane.attempt.job->TakeHead(lane.head);
        }
        lane.attempt.job->TakeEnd();
        return;
    case 404:
    case 410:
        lane.attempt.job->TakeLack(NameOf(lane.ask.path));
        return;
    case 401:
    case 403:
    case 407:
        lane.attempt.job->TakeRefusal(NameOf(lane.ask.path));
        return;
    case 416:
        lane.attempt.job->TakeBadRange();
        return;
    default:
        break;
    }
    const std::string text = "the server answers with status " + std::to_string(status);
    if (IsPassingStatus(status))
    {
        throw PassingTrouble(text);
    }
    throw SourceError(SourceTrouble::Failed, NameOf(lane.ask.path) + ": " + text);
}

/// Only bytes that no attempt had brought begin the count anew: a server that breaks off each time, and gives the file
/// from its start each time, comes to an end.
void HttpTransfer::TryAgain(const Lane &lane, const std::string &why)
{
    const uint64 reached = (lane.head.status == PartOfFile ? lane.ask.offset : 0) + lane.bytes;
    const uint64 before = lane.attempt.reached.value_or(0);
    const bool isFarther = reached >= before + WorthASecondStart;
    const unsigned failures = isFarther ? 1 : lane.attempt.failures + 1;
    if (failures > mOptions.retries)
    {
        throw SourceError(SourceTrouble::Unreachable, NameOf(lane.ask.path) + ": " + why + " (tried " +
                                                          std::to_string(failures) +
                                                          (failures == 1 ? " time)" : " times)"));
    }
    Clock::duration wait = LongestWait;
    if (failures < 8)
    {
        wait = std::min<Clock::duration>(FirstWait * (1U << (failures - 1)), LongestWait);
    }
    wait = std::max<Clock::duration>(wait, std::chrono::seconds(lane.head.retryAfter));
    mWaiting.emplace(Clock::now() + wait, Attempt{lane.attempt.job, failures, isFarther ? reached : before});
}

void HttpTransfer::StopAll()
{
    for (const std::unique_ptr<Lane> &lane : mLanes)
    {
        if (lane->attempt.job != nullptr)
        {
            curl_multi_remove_handle(mMulti, lane->handle);
            HandOn(*lane); // a failure is one of many
            lane->attempt.job = nullptr;
        }
    }
    mWaiting.clear();
}

std::size_t HttpTransfer::TakeHeader(char *line, std::size_t size, std::size_t count, void *lane)
{
    auto &taker = *static_cast<Lane *>(lane);
    ReadHeaderLine({line, size * count}, taker.head);
    return size * count;
}

std::size_t HttpTransfer::TakeBody(char *bytes, std::size_t size, std::size_t count, void *lane)
{
    auto &taker = *static_cast<Lane *>(lane);
    const std::size_t length = size * count;
    constexpr std::size_t stop = 0;
    if (taker.head.status != WholeFile && taker.head.status != PartOfFile)
    {
        taker.errorPage += length;
        return taker.errorPage > LargestErrorPage ? stop : length;
    }
    taker.bytes += length;
    if (!taker.headTaken)
    {
        taker.headTaken = true;
        Guard(taker,
              [&taker]
              {
                  taker.attempt.job->TakeHead(taker.head);
              });
    }
    if (taker.gathered.size() + length > PieceSize)
    {
        HandOn(taker);
    }
    taker.gathered.append(bytes, length);
    return taker.failure ? stop : length;
}

/// Gives the job what was gathered: few large pieces cost a disk less than many small ones.
void HttpTransfer::HandOn(Lane &lane)
{
    if (!lane.gathered.empty() && !lane.failure)
    {
        Guard(lane,
              [&lane]
              {
                  lane.attempt.job->TakeBytes(lane.gathered);
              });
    }
    lane.gathered.clear();
}

/// Nothing may be thrown through libcurl; what is stops the transfer and is thrown behind it.
void HttpTransfer::Guard(Lane &lane, const std::function<void()> &call)
{
    try
    {
        call();
    }
    catch (...)
    {
        lane.failure = std::current_exception();
    }
}
} // namespace Keld::Delivery
