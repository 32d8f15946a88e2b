#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"
#include "KeldFoundation/CStd/Hash.h"

#include <string>
#include <utility>

namespace Keld
{
/// A name and its `HashName`.
struct HashedName
{
    explicit HashedName(std::string text) : hash(HashName(text.c_str())), name(std::move(text)) {}

    uint32 hash;
    std::string name;
};
} // namespace Keld
