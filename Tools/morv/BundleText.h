#pragma once

#include "Tools/Delivery/Bundles/BundleHead.h"
#include "Tools/morv/Json.h"

#include <string>

namespace Keld::Morv
{
/// "client 1.0.0.6 to client 1.0.0.7", "client 1.0.0.7".
std::string BundleRoadText(const Delivery::BundleHead &head);

/// Adds "target", "base", "files" and "bytes".
void AddBundleHead(Json &document, const Delivery::BundleHead &head);
} // namespace Keld::Morv
