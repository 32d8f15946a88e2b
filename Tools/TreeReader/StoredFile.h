#pragma once

#include "Tools/TreeReader/Storage.h"
#include "Tools/TreeReader/VersionArchives.h"

#include <string>

namespace Keld::TreeReader
{
/// Where the bytes of a file lie on disk.
struct StoredFile
{
    Storage storage = Storage::Naked;
    Compression compression = Compression::None;
    const Archive *archive = nullptr; ///< for Storage::Archive alone; lives as long as the release
    uint32 record = 0;                ///< of the archive's index
    std::string path;                 ///< of the plain file, or of the archive's data file
    uint64 offset = 0;                ///< bytes from the start of that file
    uint64 storedSize = 0;            ///< bytes of the stored form; of a plain file, what the disk says
};
} // namespace Keld::TreeReader
