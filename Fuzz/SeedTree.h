#pragma once

#include "Trees/TreeInput.h"

#include "Support/ArchiveImage.h"
#include "Support/ManifestImage.h"

#include <string>

// A small tree as an input of fuzzers, with a file in every storage and all that can hide something.
namespace Keld::Fuzz
{
/// Lays out one project release. Files come in any order; Finish writes manifest and archive.
class SeedRelease
{
public:
    enum class Storage
    {
        Naked,
        Managed,
        Stored,
        Zlib,
        Lzma
    };

    /// \param version "1.0.0.0"
    SeedRelease(TreeInput &input, std::string project, std::string version,
                Test::ManifestImage::Record record = Test::ManifestImage::Record::Current);

    SeedRelease &Add(const std::string &path, Storage storage, const std::string &content);

    /// A file whose bytes an earlier release has stored in the same way.
    SeedRelease &Refer(const std::string &path, Storage storage, const std::string &content,
                       const std::string &version);
    SeedRelease &AddDirectory(const std::string &path);
    void Finish();

private:
    void List(const std::string &path, Storage storage, const std::string &content, const std::string &version);

    TreeInput &mInput;
    const std::string mProject; ///< its directory
    const std::string mVersion;
    Test::ManifestImage mManifest;
    Test::ArchiveImage mArchive;
    std::string mData;
};

/// The project "atlas" with two releases, the second on the first, "boreas" with one, and the solution "suite" of both.
TreeInput MakeSeedTree();

/// The part of it that a release of its own needs: "atlas" 1.0.0.0.
TreeInput MakeSeedProject();

/// A shiplist, or a bundle's head, of all files of an input below a prefix but for those of deliveries.
std::string MakeShipList(const TreeInput &input, const std::string &prefix, const std::string &release);
std::string MakeBundleHead(const TreeInput &input, const std::string &prefix, const std::string &target,
                           const std::string &base);
} // namespace Keld::Fuzz
