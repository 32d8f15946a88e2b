#pragma once

#include "Tools/Delivery/Keys/PublicKey.h"
#include "Tools/morv/CommandSet.h"

#include <optional>
#include <string>

namespace Keld::Morv
{
/// Adds --signed KEY.
void AddKeyOption(CLI::App &command, std::string &text);

/// The public key that --signed names: a file, or the text of a key. Nothing for an empty text. Throws TreeError.
std::optional<Delivery::PublicKey> LoadPublicKey(const std::string &text, const CommonOptions &common);
} // namespace Keld::Morv
