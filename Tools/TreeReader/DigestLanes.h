#pragma once

#include "Tools/TreeReader/ReleaseContents.h"

#include <span>
#include <string_view>
#include <vector>

namespace Keld::TreeReader
{
/// The digests of several contents, as DigestOf gives them, in the order of the contents. Each step of the digest waits
/// for the one before, so that one content leaves most of a processor idle: several are worked on side by side, and the
/// more they are, the less each costs.
std::vector<Digest> DigestsOf(std::span<const std::string_view> contents);
} // namespace Keld::TreeReader
