#include "Tools/morv/KeyOption.h"

#include "Tools/TreeReader/TreeError.h"

#include <CLI/CLI.hpp>

namespace Keld::Morv
{
void AddKeyOption(CLI::App &command, std::string &text)
{
    command
        .add_option("--signed", text, "Take only what is signed with this public key of minisign: a file, or its text")
        ->type_name("FILE");
}

std::optional<Delivery::PublicKey> LoadPublicKey(const std::string &text, const CommonOptions &common)
{
    if (text.empty())
    {
        return std::nullopt;
    }
    const auto key = Delivery::PublicKey::Load(text, common.GetDirectory());
    if (!key)
    {
        throw TreeReader::TreeError(key.GetFault().GetMessage());
    }
    return *key;
}
} // namespace Keld::Morv
