#include "Tools/Delivery/Arrival/FileWriting.h"

#include <cerrno>
#include <system_error>

#include <unistd.h>

namespace Keld::Delivery
{
void WriteAllAt(int descriptor, uint64 offset, std::string_view bytes, const std::string &what)
{
    while (!bytes.empty())
    {
        const ssize_t count = pwrite(descriptor, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (count < 0 && errno != EINTR)
        {
            throw std::system_error(errno, std::generic_category(), "cannot write " + what);
        }
        const uint64 written = count > 0 ? static_cast<uint64>(count) : 0;
        bytes.remove_prefix(written);
        offset += written;
    }
}
} // namespace Keld::Delivery
