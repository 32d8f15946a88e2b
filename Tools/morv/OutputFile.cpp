#include "Tools/morv/OutputFile.h"

#include "Tools/morv/CommandSet.h"

#include <system_error>

namespace Keld::Morv
{
namespace fs = std::filesystem;

void RequireReplaceable(const fs::path &path, const std::string &advice)
{
    std::error_code error;
    const fs::file_status status = fs::status(path, error);
    if (fs::exists(status) && !fs::is_regular_file(status))
    {
        throw UsageError(path.string() + " is no regular file, and is not replaced by one" + advice);
    }
}
} // namespace Keld::Morv
