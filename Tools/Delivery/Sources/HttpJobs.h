#pragma once

#include "Tools/Delivery/Sources/HttpJob.h"
#include "Tools/Delivery/Sources/Source.h"

#include "KeldFoundation/CStd/LargeVector.h"

#include <optional>
#include <string>
#include <vector>

// What is asked of a web server.
namespace Keld::Delivery
{
/// A whole file into memory.
class WholeJob final : public HttpJob
{
public:
    WholeJob(std::string path, uint64 limit) : mPath(std::move(path)), mLimit(limit) {}

    HttpAsk Begin() override;
    void TakeHead(const HttpHead &head) override;
    void TakeBytes(std::string_view bytes) override;
    void TakeEnd() override { mIsThere = true; }
    void TakeLack(const std::string &) override {}

    bool IsThere() const { return mIsThere; }
    LargeVector<char> &GetBytes() { return mBytes; }
    const std::string &GetContentType() const { return mContentType; }

private:
    const std::string mPath;
    const uint64 mLimit;
    bool mIsThere = false;
    std::string mContentType;
    LargeVector<char> mBytes;
};

/// How large a file is.
class SizeJob final : public HttpJob
{
public:
    explicit SizeJob(std::string path) : mPath(std::move(path)) {}

    HttpAsk Begin() override { return {mPath, true}; }
    void TakeHead(const HttpHead &head) override { mSize = head.length; }
    void TakeBytes(std::string_view) override {}
    void TakeEnd() override {}
    void TakeLack(const std::string &) override {}

    const std::optional<uint64> &GetSize() const { return mSize; }

private:
    const std::string mPath;
    std::optional<uint64> mSize;
};

/// A range of a file into a sink.
class RangeJob final : public HttpJob
{
public:
    using Sink = std::function<void(std::string_view)>;

    RangeJob(std::string path, const ByteRange &range, Sink sink)
        : mPath(std::move(path)), mRange(range), mSink(std::move(sink))
    {
    }

    HttpAsk Begin() override;
    void TakeHead(const HttpHead &head) override;
    void TakeBytes(std::string_view bytes) override;
    void TakeEnd() override;
    void TakeLack(const std::string &name) override;
    void TakeBadRange() override;

private:
    const std::string mPath;
    const ByteRange mRange;
    const Sink mSink;
    uint64 mCame = 0; ///< bytes that went to the sink
};

/// A file into a place on disk, from where an earlier attempt or an earlier run ended.
class FileJob final : public HttpJob
{
public:
    /// All must outlive the job.
    FileJob(Download &download, const DownloadPlace &place, const DownloadCalls &calls)
        : mDownload(download), mPlace(place), mCalls(calls)
    {
    }

    HttpAsk Begin() override;
    void TakeHead(const HttpHead &head) override;
    void TakeBytes(std::string_view bytes) override;
    void TakeEnd() override;
    void TakeLack(const std::string &name) override;
    void TakeRefusal(const std::string &name) override;
    void TakeBadRange() override;

private:
    void StartAnew(const HttpHead &head);
    void GoOn(const HttpHead &head);
    [[noreturn]] void RefusePage() const;

    Download &mDownload;
    const DownloadPlace &mPlace;
    const DownloadCalls &mCalls;
    std::optional<PartFile> mPart;
    uint64 mAskedFrom = 0;           ///< of the attempt
    std::string mIdentity;           ///< of the file that a part is of, as the server told it
    bool mMayBePage = false;         ///< a page in place of the file, for all that the head tells
    std::optional<uint64> mExpected; ///< bytes of the whole file, as the server tells
    bool mToldFound = false;
};
} // namespace Keld::Delivery
