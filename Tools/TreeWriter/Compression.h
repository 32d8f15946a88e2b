#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Keld::TreeWriter
{
/// One zlib stream that every form of the reader accepts, or nothing when no level gives one.
///
/// The reader takes compressed bytes in chunks of 64 KiB and stops when the output is full. A stream whose last few
/// bytes, behind those of the content, lie alone in a chunk then ends unread, and the file counts as damaged; such
/// sizes are avoided by taking another level.
std::optional<std::string> CompressZlib(std::string_view content);

/// Whether a stream of that many bytes could have its end alone in a chunk: one to eight bytes above a whole number.
bool ZlibEndsAloneInChunk(std::size_t compressedSize);

/// The nine bytes of header, of which the reader looks at the first (the dictionary property), then one raw LZMA2
/// stream with its end mark. The other eight bytes hold the size of the content, lowest byte first.
std::string CompressLzma(std::string_view content);
} // namespace Keld::TreeWriter
