#pragma once

#include "Tools/Common/Glob.h"
#include "Tools/TreeReader/Storage.h"
#include "Tools/morv/FileSystem.h"

#include <optional>
#include <string>

namespace Keld::Morv
{
/// The conditions of "morv find" as they were typed; an empty one lets everything pass.
struct FindConditions
{
    std::string name; ///< the library's wildcards, for the last name
    std::string glob;
    std::string type;
    std::string size;
    std::string storage;
    std::string version;
};

/// Which entries "morv find" is to name.
class FindFilter
{
public:
    /// Throws UsageError for a condition that cannot be understood.
    /// \param throughLibrary no entry tells how it is stored
    FindFilter(const FindConditions &conditions, bool throughLibrary);

    /// The pattern that the file system itself holds names against.
    const std::string &GetNamePattern() const { return mName; }

    /// The other conditions.
    bool Takes(const FileSystem::Entry &entry, const std::string &path) const;

private:
    /// A size with what may differ from it.
    struct SizeTest
    {
        char sign = '\0'; ///< '+' for larger ones, '-' for smaller ones, else as large
        uint64 bytes = 0;
    };

    bool TakesKind(bool isDirectory) const;
    bool TakesSize(uint64 size) const;
    bool TakesStorage(const MORV::Reader::FileTableFields &fields) const;

    void ParseSize(const std::string &text);
    void ParseStorage(const std::string &text);

    std::string mName;
    std::string mType;
    std::optional<Common::Glob> mGlob;
    std::optional<SizeTest> mSize;
    std::optional<TreeReader::Storage> mStorage;
    std::optional<TreeReader::Compression> mCompression;
    std::optional<MorvVersion> mVersion;
};
} // namespace Keld::Morv
