#pragma once

#include "Tools/TreeReader/Storage.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>

struct libdeflate_decompressor;

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

/// Reads stored forms back. One thread's; keeps the file open that it read last, since most forms lie one behind
/// another in an archive.
class StoredFormReader
{
public:
    using Sink = std::function<void(std::string_view)>;

    StoredFormReader() = default;
    ~StoredFormReader();

    StoredFormReader(const StoredFormReader &) = delete;
    StoredFormReader &operator=(const StoredFormReader &) = delete;

    /// Hands the content on in pieces. Takes nothing that the library would refuse: bytes behind the end, a content of
    /// another size, a zlib stream whose end lies alone in a chunk. Throws TreeError with the path and the cause.
    void Read(const StoredForm &form, const Sink &sink);

private:
    struct DecoderFree
    {
        void operator()(libdeflate_decompressor *decoder) const;
    };

    void Open(const StoredForm &form);
    void Close();
    void InflateOnce(const StoredForm &form, std::string_view stored, const Sink &sink);

    std::string mFile; ///< the one that is open
    int mDescriptor = -1;
    std::string mStored;  ///< bytes as they lie on the disk; kept, as the next one, for its memory
    std::string mContent; ///< at its start, the content of one form
    std::unique_ptr<libdeflate_decompressor, DecoderFree> mDecoder;
};
} // namespace Keld::TreeWriter
