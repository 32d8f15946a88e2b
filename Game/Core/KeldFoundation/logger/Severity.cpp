#include "KeldFoundation/logger/Severity.h"

#include <array>

namespace Keld::Logger
{
const char *GetSeverityName(int32 severity)
{
    static constexpr std::array<const char *, 4> names = {"  OKAY", "  WARN", " ERROR", "ALWAYS"};
    const auto index = static_cast<uint32>(severity);
    return index < names.size() ? names[index] : "??????";
}
} // namespace Keld::Logger
