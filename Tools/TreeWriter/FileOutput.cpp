#include "Tools/TreeWriter/FileOutput.h"

#include <cerrno>
#include <fstream>
#include <system_error>

namespace Keld::TreeWriter
{
void WriteFile(const std::filesystem::path &path, std::string_view bytes)
{
    if (path.has_parent_path())
    {
        std::filesystem::create_directories(path.parent_path());
    }
    std::ofstream stream(path, std::ios::binary | std::ios::trunc);
    stream.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    stream.close();
    if (!stream)
    {
        throw std::system_error(errno, std::generic_category(), "cannot write " + path.string());
    }
}
} // namespace Keld::TreeWriter
