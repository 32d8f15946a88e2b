#pragma once

#include "KeldMorvIO/listing/ParsedManifest.h"
#include "KeldMorvIO/listing/ProjectListing.h"
#include "Support/ManifestImage.h"
#include "Support/ReaderLogCapture.h"
#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace Keld::Test
{
/// The function in whose name files that were not found are reported.
inline constexpr const char *LocationSignature =
    "void Keld::MORV::Reader::ReleaseManifestTemplate<EntryType>::GetFileArchiveMetadata(const char *, const char *, "
    "std::vector<FileArchiveMetadata> &, std::vector<uint32> &, std::vector<uint32> &, "
    "ProjectListing::FileHandleHeader &) const";

/// What a manifest's files were found to be. Closes the data files, each of them once.
struct LocatedFiles
{
    LocatedFiles() = default;
    LocatedFiles(const LocatedFiles &) = delete;
    LocatedFiles &operator=(const LocatedFiles &) = delete;

    ~LocatedFiles()
    {
        std::set<MORV::Reader::AsyncFile> files;
        for (const MORV::Reader::FileArchiveMetadata &record : metadata)
        {
            files.insert(record.file);
        }
        for (const MORV::Reader::AsyncFile file : files)
        {
            MORV::Reader::AsyncClose(file);
        }
    }

    std::vector<uint32> FoundIndices() const
    {
        std::vector<uint32> indices;
        for (const MORV::Reader::FileArchiveMetadata &record : metadata)
        {
            indices.push_back(record.fileIndex);
        }
        return indices;
    }

    LargeVector<MORV::Reader::FileArchiveMetadata> metadata;
    std::vector<uint32> missing;
    LargeVector<uint32> parents;
    MORV::Reader::ProjectListing::FileHandleHeader header{};
};

/// A deployment of the project "atlas", in which the files of a manifest are looked for.
class LocationFixture : public testing::Test
{
protected:
    void Locate(const ManifestImage &image, LocatedFiles &located)
    {
        const auto manifest = ParseManifest(image.Bytes());
        ASSERT_TRUE(manifest->IsValid());
        Locate(*manifest, located);
    }

    template <class EntryType>
    void Locate(const MORV::Reader::ReleaseManifestTemplate<EntryType> &manifest, LocatedFiles &located)
    {
        manifest.GetFileArchiveMetadata(mTree.Root().c_str(), mProject.c_str(), located.metadata, located.missing,
                                        located.parents, located.header);
    }

    static ExpectedLine Missing(const std::string &message) { return Error(message, LocationSignature); }

    TempTree mTree;
    ReaderLogCapture mLog;
    std::string mProject = mTree.Path("projects/atlas");
};
} // namespace Keld::Test
