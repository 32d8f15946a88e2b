#pragma once

#include "Tools/TreeReader/Storage.h"

#include <functional>
#include <string>
#include <string_view>

namespace Keld::TreeWriter
{
/// Bytes on disk from which the content of a file comes.
struct StoredForm
{
    std::string file;  ///< a text, since there are as many as files and a path takes several times the memory
    uint64 offset = 0; ///< bytes from the start of the file
    uint64 size = 0;
    TreeReader::Compression compression = TreeReader::Compression::None;
    uint64 contentSize = 0;
};

/// Reads a stored form back and hands the content on in pieces. Takes nothing that the library would refuse: bytes
/// behind the end, a content of another size, a zlib stream whose end lies alone in a chunk. Throws TreeError with the
/// path and the cause.
void ReadStoredForm(const StoredForm &form, const std::function<void(std::string_view)> &sink);
} // namespace Keld::TreeWriter
