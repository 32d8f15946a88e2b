#include "Benchmarks/Comparison/Neighbour.h"

#include <cstdlib>

namespace Keld::Benchmarks
{
std::unique_ptr<NeighbourFile> Neighbour::Open(const char *)
{
    return nullptr;
}

std::size_t Neighbour::List(const char *)
{
    return 0;
}

const std::vector<NeighbourKind> &NeighbourKinds()
{
    static const std::vector<NeighbourKind> kinds = {
        LooseFilesKind(),
        SquashfsKind(),
        ErofsKind(),
#if defined(KELD_HAS_LIBZIP)
        LibzipKind(),
#endif
#if defined(KELD_HAS_PHYSFS)
        PhysicsFsKind(),
#endif
#if defined(KELD_HAS_LMDB)
        LmdbKind(),
#endif
#if defined(KELD_HAS_SQLITE)
        SqliteKind(),
#endif
    };
    return kinds;
}

bool RunsWell(const std::string &command)
{
    return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}
} // namespace Keld::Benchmarks
