#include "Tools/Delivery/Sources/HttpJobs.h"

#include "Tools/Delivery/Sources/BroughtFile.h"

#include <algorithm>

namespace Keld::Delivery
{
namespace
{
constexpr uint64 MostReserved = 64 << 20; // bytes, on a server's word alone

/// Whether two identities are of different files. An entity tag and a time cannot be compared.
bool AreDifferent(const std::string &left, const std::string &right)
{
    return left != right && !left.empty() && !right.empty() && (left.front() == '"') == (right.front() == '"');
}
} // namespace

HttpAsk WholeJob::Begin()
{
    mBytes.clear();
    return {mPath};
}

void WholeJob::TakeHead(const HttpHead &head)
{
    mContentType = head.contentType;
    RequireNotLarger(mPath, head.length.value_or(0), mLimit);
    mBytes.reserve(static_cast<uint_size>(std::min(head.length.value_or(0), MostReserved)));
}

void WholeJob::TakeBytes(std::string_view bytes)
{
    RequireNotLarger(mPath, mBytes.size() + bytes.size(), mLimit);
    mBytes.insert(mBytes.end(), bytes.begin(), bytes.end());
}

HttpAsk RangeJob::Begin()
{
    return {mPath, false, mRange.offset + mCame, mRange.offset + mRange.size};
}

void RangeJob::TakeHead(const HttpHead &head)
{
    if (head.status != PartOfFile || head.rangeBegin != mRange.offset + mCame)
    {
        throw SourceError(SourceTrouble::NoRanges, mPath + ": the server gives no ranges of bytes");
    }
}

void RangeJob::TakeBytes(std::string_view bytes)
{
    if (bytes.size() > mRange.size - mCame)
    {
        throw SourceError(SourceTrouble::Untrue, mPath + ": the server gives more bytes than it was asked for");
    }
    mCame += bytes.size();
    mSink(bytes);
}

void RangeJob::TakeEnd()
{
    if (mCame != mRange.size)
    {
        throw PassingTrouble("the answer ends early");
    }
}

void RangeJob::TakeLack(const std::string &name)
{
    throw SourceError(SourceTrouble::NotThere, name + ": it is not there");
}

void RangeJob::TakeBadRange()
{
    throw SourceError(SourceTrouble::Untrue, mPath + ": the server has no such range of bytes");
}

HttpAsk FileJob::Begin()
{
    mPart.reset();
    mAskedFrom = 0;
    mExpected.reset();
    mMayBePage = false;
    HttpAsk ask{mDownload.path};
    const std::optional<TagContent> tag = ReadTag(mPlace.GetTag(mDownload.path));
    const uint64 size = tag ? mPlace.GetSize(mDownload.path).value_or(0) : 0;
    if (size != 0 && size < tag->size)
    {
        mAskedFrom = ask.offset = size;
        ask.ifRange = mIdentity = tag->identity;
        mExpected = tag->size;
    }
    return ask;
}

void FileJob::TakeHead(const HttpHead &head)
{
    if (head.status == PartOfFile)
    {
        GoOn(head);
    }
    else
    {
        StartAnew(head);
    }
}

void FileJob::GoOn(const HttpHead &head)
{
    if (mAskedFrom == 0 || head.rangeBegin != mAskedFrom || head.total != mExpected ||
        AreDifferent(head.identity, mIdentity))
    {
        mPlace.Remove(mDownload.path);
        throw PassingTrouble("the server gives another part of the file than it was asked for");
    }
    mPart.emplace(mPlace, mDownload.path);
    mDownload.isPieced = true;
    if (!mToldFound)
    {
        mToldFound = true;
        mCalls.found(mAskedFrom);
    }
    mCalls.grown(mDownload.path, mAskedFrom);
}

void FileJob::StartAnew(const HttpHead &head)
{
    // A release may have pages among its files: of one whose size is known, the size tells.
    mMayBePage = head.contentType.starts_with("text/html") && head.length != mDownload.size;
    if (mMayBePage && (head.length || !mDownload.size))
    {
        RefusePage();
    }
    if (head.length)
    {
        RequireExpectedSize(mDownload, mDownload.path, *head.length);
    }
    mExpected = head.length ? head.length : mDownload.size;
    mToldFound = true; // nothing of an earlier run counts
    mPart.emplace(mPlace, mDownload.path);
    mCalls.grown(mDownload.path, 0);
    mPart->Restart(mExpected ? MakeTag(mDownload, *mExpected, head.identity) : "");
}

void FileJob::RefusePage() const
{
    throw SourceError(SourceTrouble::Untrue, mDownload.path + ": the server gives a web page in its place");
}

void FileJob::TakeBytes(std::string_view bytes)
{
    if (mExpected && mPart->GetSize() + bytes.size() > *mExpected)
    {
        RequireNotLarger(mDownload.path, mPart->GetSize() + bytes.size(), *mExpected);
    }
    RequireNotLarger(mDownload.path, mPart->GetSize() + bytes.size(), mDownload.size.value_or(mDownload.largest));
    mToldFound = true;
    mPart->Append(bytes);
    mCalls.advance(bytes.size());
    mCalls.grown(mDownload.path, mPart->GetSize());
}

void FileJob::TakeEnd()
{
    const uint64 size = mPart->GetSize();
    if (mExpected && size < *mExpected)
    {
        if (mMayBePage)
        {
            RefusePage();
        }
        throw PassingTrouble("the answer ends early");
    }
    mPart->Close();
    mPart.reset();
    if (!mDownload.size)
    {
        mPlace.SetTag(mDownload.path, std::to_string(size) + " whole");
    }
    mDownload.isThere = true;
}

void FileJob::TakeLack(const std::string &name)
{
    RequireMayLack(mDownload, name);
}

void FileJob::TakeRefusal(const std::string &name)
{
    if (!mDownload.mayLack)
    {
        HttpJob::TakeRefusal(name);
    }
}

void FileJob::TakeBadRange()
{
    mPlace.Remove(mDownload.path);
    HttpJob::TakeBadRange();
}
} // namespace Keld::Delivery
