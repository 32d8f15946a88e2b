#include "Support/FileBytes.h"

#include <fstream>
#include <sstream>

namespace Keld::Test
{
std::string BytesOf(const std::filesystem::path &file)
{
    const std::ifstream stream(file, std::ios::binary);
    std::ostringstream bytes;
    bytes << stream.rdbuf();
    return std::move(bytes).str();
}
} // namespace Keld::Test
