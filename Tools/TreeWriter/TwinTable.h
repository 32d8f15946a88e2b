#pragma once

#include "Tools/TreeReader/ReleaseContents.h"
#include "Tools/TreeReader/Storage.h"

#include <map>
#include <mutex>
#include <optional>
#include <tuple>

namespace Keld::TreeWriter
{
/// What files must have in common to share one stored form, before their bytes are compared.
struct TwinKey
{
    TreeReader::Digest digest;
    uint32 size;
    TreeReader::Compression compression;

    bool operator<(const TwinKey &other) const
    {
        return std::tie(digest, size, compression) < std::tie(other.digest, other.size, other.compression);
    }
};

/// The first file of each kind that any thread has met.
class TwinTable
{
public:
    /// The earliest file before `index` of the same kind, or nothing. The file itself is then the earliest known.
    std::optional<std::size_t> FindEarlier(const TwinKey &key, std::size_t index)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        const auto [entry, inserted] = mEarliest.emplace(key, index);
        if (entry->second < index)
        {
            return entry->second;
        }
        entry->second = index;
        return std::nullopt;
    }

private:
    std::mutex mMutex;
    std::map<TwinKey, std::size_t> mEarliest; ///< guarded by mMutex
};
} // namespace Keld::TreeWriter
