#pragma once

#include "KeldFoundation/version/MorvVersion.h"

// The version calls of the foundation under the reader's own names.
namespace Keld::MORV::Reader
{
inline bool ParseVersion(const char *text, MorvVersion *result)
{
    return Keld::ParseVersion(text, result);
}

inline std::string FormatVersion(MorvVersion value)
{
    return Keld::FormatVersion(value);
}

inline void FormatVersion(MorvVersion value, std::string &out)
{
    Keld::FormatVersion(value, out);
}
} // namespace Keld::MORV::Reader
