#pragma once

#include "KeldFoundation/version/MorvVersion.h"
#include "KeldMorvIO/environment/SearchFilter.h"
#include "KeldMorvIO/environment/WorkingDirectory.h"
#include "KeldMorvIO/listing/LookupPath.h"
#include "KeldMorvIO/listing/ProjectListing.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace Keld::MORV::Reader
{
class MultiListingIterator;

/// What one start of the library has loaded: which project or solution release the process runs from, and the listings
/// behind the flat file system, in the order in which they are searched. All of it follows from one path.
///
/// Nothing changes after construction, so lookups take no lock.
class RuntimeEnvironment
{
public:
    using RuntimeType = Reader::RuntimeType;
    using enum Reader::RuntimeType;

    /// Works out what is deployed around a directory and loads it. Null when it cannot be made out, or when a
    /// solution cannot be loaded; a project whose manifest is missing gives an environment without listings.
    static RuntimeEnvironment *Create(const char *path);

    /// Reads kind, name and version out of a canonical path, as told in WorkingDirectory.h.
    static bool GetProjectTypeNameAndVersion(const char *path, RuntimeType &type, std::string &name,
                                             MorvVersion &version);

    /// Builds the listings of a release. On false, `listings` is empty and `deployRoot` untouched.
    /// \param version  the dotted text
    /// \param listings comes in empty; the caller owns what is in it afterwards
    static bool CollectProjects(RuntimeType type, const char *morvRoot, const char *name, const char *version,
                                std::string &deployRoot, std::vector<class ProjectListing *> &listings);

    /// Takes the texts and the listings over by swapping them with its arguments.
    RuntimeEnvironment(std::string &morvRoot, std::string &deployRoot, std::vector<ProjectListing *> &listings,
                       RuntimeType type, std::string &name, MorvVersion version);
    ~RuntimeEnvironment();

    RuntimeEnvironment(const RuntimeEnvironment &) = delete;
    RuntimeEnvironment &operator=(const RuntimeEnvironment &) = delete;

    /// The first listing that holds a canonical path, as a file or as a directory, and its entry; nulls if none does.
    std::pair<ProjectListing *, const ProjectListing::FileEntry *> FindEntry(const char *path) const;

    /// The same for a path that has been made ready.
    /// \param path fits.
    std::pair<ProjectListing *, const ProjectListing::FileEntry *> FindEntry(const LookupPath &path) const;

    /// Walks a directory, given by its canonical path, in all listings that hold it. Null if none does; a file of that
    /// path in an earlier listing hides nothing here.
    std::unique_ptr<MultiListingIterator> CreateDirectoryIterator(const char *directory) const;

    const std::string &GetMorvRoot() const { return mMorvRoot; }
    const std::string &GetDeployRoot() const { return mDeployRoot; }
    const std::vector<ProjectListing *> &GetListings() const { return mListings; }
    RuntimeType GetRuntimeType() const { return mRuntimeType; }
    const std::string &GetName() const { return mName; }
    MorvVersion GetVersion() const { return mVersion; }

private:
    std::string mMorvRoot;
    std::string mDeployRoot;
    std::vector<ProjectListing *> mListings; ///< owned, in search order
    RuntimeType mRuntimeType;
    std::string mName;
    MorvVersion mVersion;
    SearchFilter mFilter; ///< of mListings
};
} // namespace Keld::MORV::Reader
