#pragma once

#include "KeldFoundation/CStd/CStd.h"

#include <cstdio>
#include <memory>

namespace Keld::MORV::Reader
{
/// For `std::unique_ptr<FILE, StreamCloser>`: closes a stream whose close result nobody asks for.
struct StreamCloser
{
    void operator()(FILE *file) const { std_fclose(file); }
};
} // namespace Keld::MORV::Reader
