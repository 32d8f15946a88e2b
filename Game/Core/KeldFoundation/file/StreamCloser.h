#pragma once

#include "KeldFoundation/CStd/CStd.h"

#include <cstdio>
#include <memory>

namespace Keld
{
/// Closes a stream whose close result nobody asks for.
struct StreamCloser
{
    void operator()(std::FILE *stream) const { std_fclose(stream); }
};

/// An open stream, or null.
using Stream = std::unique_ptr<std::FILE, StreamCloser>;
} // namespace Keld
