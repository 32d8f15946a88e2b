#include "Tools/Delivery/Sources/HttpSource.h"

#include "Tools/Delivery/Sources/BroughtFile.h"
#include "Tools/Delivery/Sources/HttpJobs.h"
#include "Tools/Delivery/Sources/NamePage.h"

#include <curl/curl.h>

#include <memory>

namespace Keld::Delivery
{
namespace
{
constexpr uint64 LargestPage = 16 << 20; // bytes, of a page with the names in a directory

struct UrlCloser
{
    void operator()(CURLU *url) const { curl_url_cleanup(url); }
};
using Url = std::unique_ptr<CURLU, UrlCloser>;

[[noreturn]] void RefuseUrl(const std::string &why)
{
    throw TreeReader::TreeError("the source is no URL that can be fetched from: " + why);
}

Url ParseUrl(const std::string &text)
{
    Url url(curl_url());
    const CURLUcode code = curl_url_set(url.get(), CURLUPART_URL, text.c_str(), 0);
    if (code != CURLUE_OK)
    {
        RefuseUrl(curl_url_strerror(code));
    }
    for (const CURLUPart part : {CURLUPART_QUERY, CURLUPART_FRAGMENT})
    {
        char *value = nullptr;
        if (curl_url_get(url.get(), part, &value, 0) == CURLUE_OK)
        {
            curl_free(value);
            RefuseUrl("it names a directory, so it has no \"?\" and no \"#\" in it");
        }
    }
    return url;
}

std::string UrlTextOf(const Url &url)
{
    char *value = nullptr;
    if (curl_url_get(url.get(), CURLUPART_URL, &value, 0) != CURLUE_OK)
    {
        RefuseUrl("it cannot be put together");
    }
    std::string text = value;
    curl_free(value);
    while (text.ends_with('/'))
    {
        text.pop_back();
    }
    return text;
}

std::string WithoutPassword(const std::string &text)
{
    const Url url = ParseUrl(text);
    curl_url_set(url.get(), CURLUPART_USER, nullptr, 0);
    curl_url_set(url.get(), CURLUPART_PASSWORD, nullptr, 0);
    return UrlTextOf(url);
}
} // namespace

HttpSource::HttpSource(const std::string &url, const SourceOptions &options)
    : mOptions(options), mName(WithoutPassword(url)), mTransfer(UrlTextOf(ParseUrl(url)), mName, options)
{
}

std::optional<LargeVector<char>> HttpSource::ReadWhole(const std::string &path, uint64 limit)
{
    WholeJob job(path, limit);
    mTransfer.Run({&job}, mOptions.checkpoint);
    return job.IsThere() ? std::optional<LargeVector<char>>(std::move(job.GetBytes())) : std::nullopt;
}

void HttpSource::ReadRanges(const std::string &path, const std::vector<ByteRange> &ranges, const RangeSink &sink)
{
    std::vector<std::unique_ptr<RangeJob>> jobs;
    std::vector<HttpJob *> borrowed;
    for (std::size_t number = 0; number < ranges.size(); ++number)
    {
        jobs.push_back(std::make_unique<RangeJob>(path, ranges[number],
                                                  [number, &sink](std::string_view bytes)
                                                  {
                                                      sink(number, bytes);
                                                  }));
        borrowed.push_back(jobs.back().get());
    }
    mTransfer.Run(borrowed, mOptions.checkpoint);
}

std::optional<uint64> HttpSource::GetSize(const std::string &path)
{
    SizeJob job(path);
    mTransfer.Run({&job}, mOptions.checkpoint);
    return job.GetSize();
}

std::optional<std::vector<std::string>> HttpSource::ListNames(const std::string &directory)
{
    WholeJob job(directory + "/", LargestPage);
    try
    {
        mTransfer.Run({&job}, mOptions.checkpoint);
    }
    catch (const SourceError &error)
    {
        if (error.GetTrouble() == SourceTrouble::NotAllowed || error.GetTrouble() == SourceTrouble::Failed)
        {
            return std::nullopt;
        }
        throw;
    }
    const bool isPage = job.IsThere() && job.GetContentType().starts_with("text/html");
    return isPage ? std::optional(ReadNamePage({job.GetBytes().data(), job.GetBytes().size()})) : std::nullopt;
}

void HttpSource::Bring(std::vector<Download> &downloads, const DownloadPlace &place, const DownloadCalls &calls)
{
    std::vector<std::unique_ptr<FileJob>> jobs;
    std::vector<HttpJob *> borrowed;
    for (Download &download : downloads)
    {
        if (IsBrought(download, place, calls))
        {
            continue;
        }
        if (download.size == uint64{0})
        {
            place.Write(download.path, "");
            download.isThere = true;
            continue;
        }
        jobs.push_back(std::make_unique<FileJob>(download, place, calls));
        borrowed.push_back(jobs.back().get());
    }
    mTransfer.Run(borrowed,
                  [&]
                  {
                      mOptions.checkpoint();
                      calls.checkpoint();
                  });
}
} // namespace Keld::Delivery
