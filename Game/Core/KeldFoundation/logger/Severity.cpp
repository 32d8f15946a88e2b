#include "KeldFoundation/logger/Severity.h"

#include <array>

namespace Keld::Logger
{
const char *GetSeverityName(int32 severity)
{
    static constexpr std::array<const char *, 4> Names = {"  OKAY", "  WARN", " ERROR", "ALWAYS"};
    const auto index = static_cast<uint32>(severity);
    return index < Names.size() ? Names[index] : "??????";
}
} // namespace Keld::Logger
