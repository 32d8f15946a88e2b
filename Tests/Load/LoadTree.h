#pragma once

#include "Support/TestTree.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Keld::Test::Load
{
enum class Storage
{
    Naked,
    Managed,
    Stored,
    Zlib,
    Lzma
};

/// Where a plain file is, an open needs a descriptor; the others have theirs from the start on.
inline bool NeedsDescriptor(Storage storage)
{
    return storage == Storage::Naked || storage == Storage::Managed;
}

struct LoadFile
{
    std::string path;
    Storage storage = Storage::Naked;
    std::string content;
    std::uint64_t digest = 0;
};

/// A sum over bytes in which a wrong one shows.
std::uint64_t DigestOf(std::string_view bytes);

/// A solution of three projects with files of every storage, on the real disk.
class LoadTree
{
public:
    LoadTree();

    const std::string &Directory() const { return mDirectory; }
    const std::vector<LoadFile> &Files() const { return mFiles; }

    /// Lets the system forget what it has of the files in memory, so that reads take their time and wait for each
    /// other.
    void Evict() const;

private:
    void WriteProject(const std::string &project, const std::vector<Storage> &storages, std::size_t fileCount);

    TestTree mTree;
    std::string mDirectory;
    std::vector<LoadFile> mFiles;
    std::vector<std::string> mDataFiles;
};
} // namespace Keld::Test::Load
