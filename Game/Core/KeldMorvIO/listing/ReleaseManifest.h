#pragma once

#include <string>

namespace Keld::MORV::Reader
{
class ProjectListing;

/// A release manifest in memory: loaded, used for one listing, deleted. What differs between the versions of the file
/// is in ReleaseManifestTemplate.
class ReleaseManifest
{
public:
    /// Reads and checks a manifest file and sorts the children of every directory.
    /// \returns a valid manifest, which the caller owns and deletes through this base, or null.
    /// \throws std::length_error for a string count of ReleaseManifestStringLimit or more, std::bad_alloc.
    static ReleaseManifest *Load(const char *filename);

    virtual ~ReleaseManifest();

    ReleaseManifest(const ReleaseManifest &) = delete;
    ReleaseManifest &operator=(const ReleaseManifest &) = delete;

    /// False when the image did not pass its checks; nothing else may be asked of the manifest then.
    virtual bool IsValid() const = 0;

    /// Makes the resident tree of this release from what is found below the deployment root.
    /// \returns a listing that the caller owns, or null.
    virtual ProjectListing *CreateListing(const char *root) const = 0;

protected:
    ReleaseManifest() = default;

private:
    std::string mText; ///< stays empty
};
} // namespace Keld::MORV::Reader
