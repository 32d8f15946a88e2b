#pragma once

#include "Benchmarks/Comparison/Content.h"

#include <memory>
#include <string>
#include <vector>

namespace Keld::Benchmarks
{
/// An open file of a neighbour, for reads at any place.
class NeighbourFile
{
public:
    virtual ~NeighbourFile() = default;
    virtual std::size_t Read(uint64 offset, std::size_t size, char *buffer) = 0;
};

/// Another way to keep and find the same files.
class Neighbour
{
public:
    virtual ~Neighbour() = default;

    virtual bool Exists(const char *path) = 0;

    /// Open, size, read and close. Gives the size.
    virtual std::size_t ReadWhole(const char *path, char *buffer) = 0;

    /// Null where it has no reads inside a file.
    virtual std::unique_ptr<NeighbourFile> Open(const char *path);

    /// The number of names in a directory, or 0 where it has no directories.
    virtual std::size_t List(const char *directory);
};

/// One kind of neighbour: its files are written once, in a directory of its own, and opened where they are measured.
struct NeighbourKind
{
    std::string name;
    bool holdsCompressed; ///< and then inflates as the library does
    void (*write)(const std::string &directory, const std::vector<ContentFile> &files, bool compressed);
    std::unique_ptr<Neighbour> (*open)(const std::string &directory);
};

/// Those that this build was made with; images that the kernel mounts only where it lets us.
const std::vector<NeighbourKind> &NeighbourKinds();

NeighbourKind LooseFilesKind();
NeighbourKind SquashfsKind();
NeighbourKind ErofsKind();
NeighbourKind LibzipKind();
NeighbourKind PhysicsFsKind();
NeighbourKind LmdbKind();
NeighbourKind SqliteKind();

/// A zip file as one writes it for reading: stored or deflated entries, and a central directory.
void WriteZip(const std::string &path, const std::vector<ContentFile> &files, bool compressed);

/// What a command says is of no interest unless it fails.
bool RunsWell(const std::string &command);
} // namespace Keld::Benchmarks
