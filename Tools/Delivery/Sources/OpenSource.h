#pragma once

#include "Tools/Delivery/Sources/Source.h"

#include <memory>
#include <string>

namespace Keld::Delivery
{
/// What a person names: "https://...", "http://...", "file:///..." or a directory.
/// \param workingDirectory that relative paths start from
std::unique_ptr<Source> OpenSource(const std::string &text, const std::string &workingDirectory,
                                   const SourceOptions &options);
} // namespace Keld::Delivery
