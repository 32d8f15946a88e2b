#pragma once

// Files of our own beside a manifest, which readers ignore: what a release needs, and the signature over that.
namespace Keld::TreeReader
{
inline constexpr const char *ShipListName = "shiplist";
inline constexpr const char *ShipListSignatureName = "shiplist.minisig";
} // namespace Keld::TreeReader
