#include "Benchmarks/Comparison/Neighbour.h"

#include <cstdio>
#include <stdexcept>

#include <zlib.h>

namespace Keld::Benchmarks
{
namespace
{
void Put(std::string &bytes, uint64 value, int size)
{
    for (int byte = 0; byte < size; ++byte)
    {
        bytes += static_cast<char>(value >> 8 * byte & 0xFF);
    }
}

/// A raw deflate stream.
std::string Deflate(std::string_view plain)
{
    z_stream stream{};
    deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY);
    std::string bytes(deflateBound(&stream, plain.size()), '\0');
    stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(plain.data()));
    stream.avail_in = static_cast<uInt>(plain.size());
    stream.next_out = reinterpret_cast<Bytef *>(bytes.data());
    stream.avail_out = static_cast<uInt>(bytes.size());
    const int result = deflate(&stream, Z_FINISH);
    bytes.resize(stream.total_out);
    deflateEnd(&stream);
    if (result != Z_STREAM_END)
    {
        throw std::runtime_error("cannot deflate");
    }
    return bytes;
}

/// What the local header and the central record have in common.
void PutFields(std::string &bytes, const ContentFile &file, bool compressed, std::size_t storedSize)
{
    Put(bytes, 20, 2); // version needed
    Put(bytes, 0, 2);  // flags
    Put(bytes, compressed ? 8 : 0, 2);
    Put(bytes, 0x58210000, 4); // time and date
    Put(bytes, crc32(0, reinterpret_cast<const Bytef *>(file.bytes.data()), static_cast<uInt>(file.bytes.size())), 4);
    Put(bytes, storedSize, 4);
    Put(bytes, file.bytes.size(), 4);
    Put(bytes, file.path.size(), 2);
    Put(bytes, 0, 2); // extra field
}

void PutEnd(std::string &bytes, std::size_t count, std::size_t centralSize, uint64 centralOffset)
{
    const uint64 end = centralOffset + centralSize;
    Put(bytes, 0x06064B50, 4); // the record with 64 bits
    Put(bytes, 44, 8);
    Put(bytes, 45, 2);
    Put(bytes, 45, 2);
    Put(bytes, 0, 8); // disks
    Put(bytes, count, 8);
    Put(bytes, count, 8);
    Put(bytes, centralSize, 8);
    Put(bytes, centralOffset, 8);
    Put(bytes, 0x07064B50, 4); // its locator
    Put(bytes, 0, 4);
    Put(bytes, end, 8);
    Put(bytes, 1, 4);
    const uint64 shortCount = count < 0xFFFF ? count : 0xFFFF;
    Put(bytes, 0x06054B50, 4);
    Put(bytes, 0, 4);
    Put(bytes, shortCount, 2);
    Put(bytes, shortCount, 2);
    Put(bytes, centralSize, 4);
    Put(bytes, centralOffset, 4);
    Put(bytes, 0, 2);
}
} // namespace

void WriteZip(const std::string &path, const std::vector<ContentFile> &files, bool compressed)
{
    std::string bytes;
    std::string central;
    for (const ContentFile &file : files)
    {
        const std::string stored = compressed ? Deflate(file.bytes) : std::string();
        const std::string_view form = compressed ? stored : file.bytes;
        Put(central, 0x02014B50, 4);
        Put(central, 20, 2); // made by
        PutFields(central, file, compressed, form.size());
        Put(central, 0, 2 + 2 + 2 + 4); // comment, disk, attributes
        Put(central, bytes.size(), 4);
        central += file.path;
        Put(bytes, 0x04034B50, 4);
        PutFields(bytes, file, compressed, form.size());
        bytes += file.path;
        bytes += form;
    }
    const std::size_t centralOffset = bytes.size();
    bytes += central;
    PutEnd(bytes, files.size(), central.size(), centralOffset);
    WriteQuickly(path, bytes);
}
} // namespace Keld::Benchmarks
