#include "Tools/TreeMount/MountedFiles.h"

#include <algorithm>
#include <exception>
#include <vector>

namespace Keld::TreeMount
{
using TreeReader::Compression;
using TreeReader::Failure;
using TreeReader::Fault;
using TreeReader::FaultKind;
using TreeReader::Hit;
using TreeReader::Result;
using TreeReader::StoredFile;

namespace
{
// Larger files are not decoded before somebody asks for them.
constexpr uint64 LargestAhead = 1 << 20;

using Bytes = Result<std::string_view>;

/// What a thread reads into, again and again.
std::vector<char> &GetThreadBuffer()
{
    thread_local std::vector<char> buffer;
    return buffer;
}

TreeReader::ContentReader &GetThreadReader()
{
    thread_local TreeReader::ContentReader reader;
    return reader;
}

/// Whoever waits for a piece gets an answer, also where there is no memory for it.
Bytes ReadPiece(const Result<DecodedFiles::Content> &content, uint64 offset, uint_size size)
{
    try
    {
        return content ? (*content)->Read(offset, size, GetThreadBuffer()) : Bytes(content.GetFault());
    }
    catch (const std::exception &error)
    {
        return Fault{FaultKind::ReadError, "memory", error.what()};
    }
}
} // namespace

MountedFiles::MountedFiles(const MountedTree &tree, const ReadingRules &rules, Report report)
    : mTree(tree), mRules(rules), mReport(std::move(report)), mDecoded(rules.cacheSize)
{
}

void MountedFiles::Read(const Hit &file, uint64 offset, uint_size size, Answer answer)
{
    const uint64 contentSize = mTree.GetManifest(file).GetFields(file.entry).size;
    const uint64 begin = std::min(offset, contentSize);
    const auto count = static_cast<uint_size>(std::min<uint64>(size, contentSize - begin));
    if (count == 0)
    {
        answer(Bytes(std::string_view()));
        return;
    }
    const Result<StoredFile> stored = mTree.GetRelease(file).Locate(file.entry);
    if (!stored)
    {
        ReportOnce(file, stored.GetFault());
        answer(Bytes(stored.GetFault()));
    }
    else if (stored->compression == Compression::None)
    {
        ReadStored(file, *stored, begin, count, answer);
    }
    else
    {
        ReadDecoded(file, *stored, begin, count, std::move(answer));
        if (mRules.readsAhead && begin + count == contentSize)
        {
            ReadAhead(file);
        }
    }
}

void MountedFiles::ReadStored(const Hit &file, const StoredFile &stored, uint64 offset, uint_size size,
                              const Answer &answer)
{
    std::vector<char> &buffer = GetThreadBuffer();
    buffer.clear();
    std::string_view whole; // in the reader's own block, where one piece is all
    const auto collect = [&](std::string_view bytes)
    {
        whole = bytes;
        if (bytes.size() != size)
        {
            buffer.insert(buffer.end(), bytes.begin(), bytes.end());
        }
    };
    const TreeReader::ReadOptions options{offset, size, false};
    const Failure failure = GetThreadReader().Read(mTree.GetRelease(file), file.entry, stored, options, collect);
    if (failure)
    {
        ReportOnce(file, *failure);
        answer(Bytes(*failure));
        return;
    }
    answer(Bytes(whole.size() == size ? whole : std::string_view(buffer.data(), buffer.size())));
}

void MountedFiles::ReadDecoded(const Hit &file, const StoredFile &stored, uint64 offset, uint_size size, Answer answer)
{
    const uint64 contentSize = mTree.GetManifest(file).GetFields(file.entry).size;
    const auto decode = [&](const TreeReader::ContentSink &sink)
    {
        return Decode(file, stored, sink);
    };
    const auto take =
        [this, file, offset, size, answer = std::move(answer)](const Result<DecodedFiles::Content> &content)
    {
        const Bytes bytes = ReadPiece(content, offset, size);
        if (!bytes)
        {
            ReportOnce(file, bytes.GetFault());
        }
        answer(bytes);
    };
    const bool isLasting = size != contentSize; // who has read all of it leaves it to the kernel's own cache
    mDecoded.Take({mTree.GetNumber(file), contentSize, isLasting}, decode, take);
}

Failure MountedFiles::Decode(const Hit &file, const StoredFile &stored, const TreeReader::ContentSink &sink) const
{
    const uint64 contentSize = mTree.GetManifest(file).GetFields(file.entry).size;
    const TreeReader::ReadOptions options{0, contentSize, mRules.checkDigest};
    return GetThreadReader().Read(mTree.GetRelease(file), file.entry, stored, options, sink);
}

/// Nobody waits for this: all have their answers, and must not meet what befalls it.
/// \param file that was read to its end.
void MountedFiles::ReadAhead(const Hit &file)
{
    const TreeReader::ManifestTree &manifest = mTree.GetManifest(file);
    if (!mOrder.BeginAhead(file, manifest.GetFiles(manifest.GetParent(file.entry))))
    {
        return;
    }
    while (const Hit next = mOrder.TakeNext())
    {
        try
        {
            Prepare(next);
        }
        catch (const std::exception &) // there is no memory for this one
        {
        }
    }
}

/// A failure is told to nobody: who reads the file meets it again.
void MountedFiles::Prepare(const Hit &file)
{
    const uint64 size = mTree.GetManifest(file).GetFields(file.entry).size;
    if (size == 0 || size > LargestAhead)
    {
        return;
    }
    const Result<StoredFile> stored = mTree.GetRelease(file).Locate(file.entry);
    if (stored && stored->compression != Compression::None)
    {
        mDecoded.Prepare(mTree.GetNumber(file), size,
                         [&](const TreeReader::ContentSink &sink)
                         {
                             return Decode(file, *stored, sink);
                         });
    }
}

/// A line that cannot be told must not cost the answer.
void MountedFiles::ReportOnce(const Hit &file, const Fault &fault)
{
    try
    {
        {
            const std::lock_guard<std::mutex> lock(mReportedMutex);
            if (!mReported.insert(mTree.GetNumber(file)).second)
            {
                return;
            }
        }
        mReport(mTree.GetView().GetPath(file) + ": cannot be read: " + fault.GetMessage());
    }
    catch (const std::exception &)
    {
    }
}
} // namespace Keld::TreeMount
