// The text manifest of a configuration.

#include "FuzzSupport.h"
#include "KeldMorvIO/environment/ConfigurationManifest.h"
#include "Mutation/ByteMutation.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

namespace
{
using namespace Keld;

/// Each of the names that a count promises is asked for, up to 65,536 behind the end of the file. A change makes such a
/// count easily, and would take a hundred times as long as others.
void LowerCount(std::string &manifest)
{
    constexpr std::size_t lineOfCount = 3;
    constexpr unsigned long usualCounts = 1000;
    std::vector<std::string> lines = Fuzz::SplitLines(manifest);
    const unsigned long count = lines.size() > lineOfCount ? std::strtoul(lines[lineOfCount].c_str(), nullptr, 0) : 0;
    if (count >= usualCounts)
    {
        lines[lineOfCount] = std::to_string(count % usualCounts);
        manifest = Fuzz::JoinLines(lines);
    }
}
} // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(uint8 *data, std::size_t size, std::size_t room, unsigned seed)
{
    Fuzz::Random random(seed);
    std::string manifest(reinterpret_cast<const char *>(data), size);
    Fuzz::MutateBytes(manifest, random, room);
    if (!random.OneIn(64))
    {
        LowerCount(manifest);
    }
    manifest.resize(std::min(manifest.size(), room));
    std::copy(manifest.begin(), manifest.end(), data);
    return manifest.size();
}

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
