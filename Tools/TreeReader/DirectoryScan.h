#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <optional>
#include <string>
#include <vector>

namespace Keld::TreeReader
{
/// The names in one directory of a disk, read at once, for telling which of many files are there. Asking the system for
/// each of them costs several times as much.
class DirectoryScan
{
public:
    /// Nothing when the directory cannot be read or cannot be entered, which says nothing about the files in it. A
    /// directory that is not there has no names.
    static std::optional<DirectoryScan> Read(const std::string &directory);

    DirectoryScan(DirectoryScan &&other) noexcept;
    DirectoryScan &operator=(DirectoryScan &&) = delete;
    ~DirectoryScan();

    /// Whether a regular file of that name is there, or a symbolic link to one.
    bool HoldsFile(const char *name) const;

private:
    struct Entry
    {
        uint_size name; ///< offset in mNames
        unsigned char type;
    };

    DirectoryScan() = default;
    bool ReadFrom(int descriptor);

    int mDescriptor = -1;
    std::string mNames;          ///< each ended by a NUL
    std::vector<Entry> mEntries; ///< ascending by name
};
} // namespace Keld::TreeReader
