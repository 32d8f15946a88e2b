#pragma once

#include "Tools/Delivery/Arrival/DownloadPlace.h"
#include "Tools/Delivery/Sources/SourceError.h"

#include "KeldFoundation/CStd/BasicTypes.h"
#include "KeldFoundation/CStd/LargeVector.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Keld::Delivery
{
/// A run of bytes of a file.
struct ByteRange
{
    uint64 offset = 0;
    uint64 size = 0;
};

/// A file to be brought from a source into a place on disk.
struct Download
{
    std::string path; ///< below the tree's root, at the source as in the place
    std::optional<uint64> size = {};
    uint64 largest = 0;    ///< bytes; what is larger is refused. Of no account where the size is known.
    uint64 likely = 0;     ///< bytes that it may well have, where the size is not known
    bool mayLack = false;  ///< no failure where the source has no such file
    bool isThere = false;  ///< out: whether it came
    bool isPieced = false; ///< out: whether it came in more than one piece, which may be of different files
};

struct DownloadCalls
{
    /// Told of bytes that came. By any thread.
    std::function<void(uint64)> advance = [](uint64) {};

    /// Told of bytes that are there from an earlier run. By any thread.
    std::function<void(uint64)> found = [](uint64) {};

    /// Told how many bytes of a file are in the place, from its start on, whenever there are more; before it comes
    /// anew, 0. By any thread.
    std::function<void(const std::string &path, uint64 size)> grown = [](const std::string &, uint64) {};

    /// Called again and again, by any thread. What it throws ends the work.
    std::function<void()> checkpoint = [] {};
};

/// Takes the next bytes of one of several ranges. The bytes of a range come in order; those of different ranges come
/// mixed.
using RangeSink = std::function<void(std::size_t range, std::string_view bytes)>;

/// A deployment tree somewhere else, read file by file: a directory, or what a web server shows of one. Paths are
/// relative to its root, made of plain names with '/' between. Calls throw SourceError for what the source does, and
/// std::system_error for what the disk here does. One thread at a time.
class Source
{
public:
    virtual ~Source() = default;

    /// As it was named, for messages, without a password.
    virtual const std::string &GetName() const = 0;

    /// The root of a tree on a disk here, or an empty text.
    virtual std::string GetDirectory() const { return ""; }

    /// A whole file of at most `limit` bytes, or nothing where there is none.
    virtual std::optional<LargeVector<char>> ReadWhole(const std::string &path, uint64 limit) = 0;

    /// The bytes of several ranges, each of at least a byte. All of them come, or the call fails; where a connection
    /// breaks, it goes on behind the last byte that came. A server that gives whole files alone is a failure: NoRanges.
    virtual void ReadRanges(const std::string &path, const std::vector<ByteRange> &ranges, const RangeSink &sink) = 0;

    /// Bytes of a file, or nothing where there is none.
    virtual std::optional<uint64> GetSize(const std::string &path) = 0;

    /// The names in a directory, or nothing where the source does not tell, as most web servers do not.
    virtual std::optional<std::vector<std::string>> ListNames(const std::string &directory) = 0;

    /// Brings files into a place, several at once. What is there already is left as it is; what an earlier run began is
    /// gone on with. Where it fails, what came stays in the place for the next run.
    virtual void Bring(std::vector<Download> &downloads, const DownloadPlace &place, const DownloadCalls &calls) = 0;

protected:
    Source() = default;
    Source(const Source &) = default;
    Source &operator=(const Source &) = default;
};

struct SourceOptions
{
    unsigned downloads = 8;                   ///< at once
    unsigned retries = 5;                     ///< in a row, without new bytes: 64 KiB that no attempt had brought
    unsigned patienceSeconds = 30;            ///< without a byte, before a connection is given up
    std::string authorities = {};             ///< a file of certificates to trust; empty for those of the system
    std::function<void()> checkpoint = [] {}; ///< called again and again; what it throws ends the work
};
} // namespace Keld::Delivery
