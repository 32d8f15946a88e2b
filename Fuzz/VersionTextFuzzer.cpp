// Version numbers as text, as manifests and directory names have them.

#include "FuzzSupport.h"
#include "KeldFoundation/version/MorvVersion.h"

extern "C" int LLVMFuzzerTestOneInput(const Keld::uint8 *data, std::size_t size)
{
    using namespace Keld;
    const std::string text(reinterpret_cast<const char *>(data), size);
    MorvVersion version = 1;
    if (ParseVersion(text.c_str(), &version))
    {
        MorvVersion again = 0;
        Fuzz::Require(ParseVersion(FormatVersion(version).c_str(), &again) && again == version,
                      "a version survives its text form");
    }
    else
    {
        Fuzz::Require(version == 0, "what is no version gives 0");
    }
    WideVersion wide = 1;
    if (ParseWideVersion(text.c_str(), &wide))
    {
        WideVersion again = 0;
        Fuzz::Require(ParseWideVersion(FormatWideVersion(wide).c_str(), &again) && again == wide,
                      "a wide version survives its text form");
    }
    std::string formatted;
    FormatVersionParts(formatted, text.c_str(), uint8{1}, uint8{22}, uint8{255}, uint8{0});
    return 0;
}
