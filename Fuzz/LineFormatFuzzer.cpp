// A log line: its format, its message and its room. Input: 16 bits of room, 8 bits of severity, 16 bits that choose
// groups, the format in one line, and the message behind it.

#include "FuzzSupport.h"
#include "KeldFoundation/logger/LineFormat.h"

#include <cstring>
#include <memory>

extern "C" int LLVMFuzzerTestOneInput(const Keld::uint8 *data, std::size_t size)
{
    using namespace Keld;
    Fuzz::InputReader input(data, size);
    const std::size_t room = input.HalfWord() % (2 * Logger::LineBufferSize);
    LogRecord record{2010, 1, 31, 23, 59, 60, 0, 0, 0, nullptr};
    const int32 severity = input.Byte();
    record.severity = severity < 128 ? severity : severity - 256;
    const uint64 groups = input.HalfWord();
    record.groups = groups | groups << 48;
    const std::string format = input.Line();
    const std::string message(input.Rest());
    record.message = message.c_str();

    // Room for exactly that size, so that a sanitizer sees a write behind it.
    const std::unique_ptr<char[]> line(new char[room]);
    Logger::FormatLine(line.get(), room, format.c_str(), &record);
    const void *const end = std::memchr(line.get(), '\0', room);
    Fuzz::Require(room == 0 || end != nullptr, "a line ends in its room");
    const std::size_t length = room == 0 ? 0 : std::strlen(line.get());
    Fuzz::Require(room < 4 || (length > 0 && line[length - 1] == '\n'), "a line has a line feed at its end");
    return 0;
}
