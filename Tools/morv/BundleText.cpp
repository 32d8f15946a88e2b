#include "Tools/morv/BundleText.h"

namespace Keld::Morv
{
namespace
{
Json BundledName(const TreeReader::ReleaseName &name)
{
    return {{"kind", name.isSolution ? "solution" : "project"},
            {"name", TextValue(name.name)},
            {"version", FormatVersion(name.version)}};
}
} // namespace

std::string BundleRoadText(const Delivery::BundleHead &head)
{
    return (head.base ? head.base->GetText() + " to " : std::string()) + head.target.GetText();
}

void AddBundleHead(Json &document, const Delivery::BundleHead &head)
{
    document["target"] = BundledName(head.target);
    document["base"] = head.base ? BundledName(*head.base) : Json();
    document["files"] = head.files.size();
    document["bytes"] = head.bytes;
}
} // namespace Keld::Morv
