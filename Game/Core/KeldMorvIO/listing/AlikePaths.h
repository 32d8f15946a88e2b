#pragma once

#include "KeldMorvIO/listing/ManifestTables.h"

#include <vector>

namespace Keld::MORV::Reader
{
/// Compares the paths of a manifest's entries, given by their combined indices, without making any. Meant for the few
/// pairs that have one hash.
class AlikePaths
{
public:
    /// \param manifest borrowed. All its entries are held by directories.
    explicit AlikePaths(const ManifestTables &manifest) : mManifest(manifest) {}

    /// False when the paths differ by more than case. True when they do not, and where it would take long to tell: for
    /// paths whose ends of PathBufferSize bytes are the same, and after very many pairs.
    bool MayBeAlike(uint32 left, uint32 right);

private:
    /// Gives the bytes of a path in lower case, from the last to the first, and NULs behind them.
    class Backwards
    {
    public:
        Backwards(const AlikePaths &paths, uint32 entry);
        char Next();
        bool IsTooLong() const;

    private:
        const AlikePaths &mPaths;
        uint32 mEntry;
        const char *mName;
        uint_size mLength; ///< bytes of the name that were not given yet
    };

    const char *GetName(uint32 entry) const;
    void MakeParents();

    const ManifestTables &mManifest;
    std::vector<uint32> mParents; ///< by combined index; empty until they are needed
    uint32 mComparedCount = 0;
};
} // namespace Keld::MORV::Reader
