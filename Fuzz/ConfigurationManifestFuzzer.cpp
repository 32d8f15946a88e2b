// The text manifest of a configuration.

#include "FuzzSupport.h"
#include "KeldMorvIO/environment/ConfigurationManifest.h"

#include <cerrno>

extern "C" int LLVMFuzzerTestOneInput(const Keld::uint8 *data, std::size_t size)
{
    using namespace Keld;
    Fuzz::SilenceLog();
    const Fuzz::MemoryFile file(data, size);
    for (const int staleError : {0, ENOENT}) // the reader judges what errno held before
    {
        errno = staleError;
        MORV::Reader::ConfigurationManifest manifest;
        manifest.Load(file.Path());
    }
    return 0;
}
