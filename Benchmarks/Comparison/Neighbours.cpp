#include "Benchmarks/Comparison/Neighbours.h"

#include "Benchmarks/Comparison/Groups.h"

#include <algorithm>
#include <exception>

namespace Keld::Benchmarks
{
namespace
{
constexpr std::size_t MostWarmed = 100'000;

/// Brings names and bytes into the caches of the kernel, as they are for everyone else.
void Warm(Neighbour &neighbour, const std::vector<ContentFile> &files)
{
    std::size_t largest = 0;
    for (const ContentFile &file : files)
    {
        largest = std::max(largest, file.bytes.size());
    }
    std::string buffer(largest, '\0');
    for (std::size_t index = 0; index < files.size() && files.size() <= MostWarmed; ++index)
    {
        neighbour.ReadWhole(files[index].path.c_str(), buffer.data());
    }
}
} // namespace

Neighbours::Neighbours(const Workplace &place, const std::vector<ContentFile> &files, bool compressed,
                       const Filter &wanted)
{
    for (const NeighbourKind &kind : NeighbourKinds())
    {
        if (!HasTurns(kind.name) || !wanted(kind) || (compressed && !kind.holdsCompressed))
        {
            continue;
        }
        try
        {
            mMembers.push_back({kind, kind.open(WriteNeighbour(kind, place, files, compressed))});
            Warm(*mMembers.back().neighbour, files);
        }
        catch (const std::exception &exception)
        {
            PrintNote(kind.name + " is left out: " + exception.what());
        }
    }
}

std::string WriteNeighbour(const NeighbourKind &kind, const Workplace &place, const std::vector<ContentFile> &files,
                           bool compressed)
{
    const std::filesystem::path directory = place.Path() / kind.name;
    std::filesystem::create_directories(directory);
    kind.write(directory.string(), files, compressed);
    return directory.string();
}
} // namespace Keld::Benchmarks
