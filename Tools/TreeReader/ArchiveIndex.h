#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <filesystem>
#include <string>
#include <vector>

namespace Keld::TreeReader
{
/// One stored file of an archive.
struct ArchivedFile
{
    std::string path;
    uint32 offset = 0; ///< bytes from the start of the data file
    uint32 size = 0;   ///< bytes of the stored form

    bool operator==(const ArchivedFile &) const = default;
};

/// Reads an archive index in the order of its records, and never changes the file. Throws TreeError when it cannot be
/// read or is no archive index. Left out are records without a path of their own, and paths too long to be asked for.
std::vector<ArchivedFile> ReadArchiveIndex(const std::filesystem::path &path);
} // namespace Keld::TreeReader
