// Kind, name and version of what is deployed, out of a working directory's path. The disk is not looked at.

#include "FuzzSupport.h"
#include "KeldFoundation/path/Path.h"
#include "KeldMorvIO/environment/RuntimeEnvironment.h"

extern "C" int LLVMFuzzerTestOneInput(const Keld::uint8 *data, std::size_t size)
{
    using namespace Keld;
    using MORV::Reader::RuntimeEnvironment;
    Fuzz::SilenceLog();
    const std::string text(reinterpret_cast<const char *>(data), size);
    char path[1024];
    if (CanonicalizePathBounded(text.c_str(), path, sizeof path, 1))
    {
        RuntimeEnvironment::RuntimeType type{};
        std::string name;
        MorvVersion version = 0;
        const bool good = RuntimeEnvironment::GetProjectTypeNameAndVersion(path, type, name, version);
        Fuzz::Require(!good || !name.empty(), "what is deployed has a name");
        Fuzz::Require(!good || std::string(path).find(name) != std::string::npos, "the name is part of the path");
    }
    return 0;
}
