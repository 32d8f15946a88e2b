#pragma once

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/version/MorvVersion.h"
#include "KeldMorvIO/ReaderTypes.h"

#include <cstdio>
#include <set>
#include <string>
#include <vector>

namespace Keld::MORV::Reader
{
/// The order of both tables, for names and for records by their names.
struct ManifestNameOrder
{
    using is_transparent = void;

    static const std::string &NameOf(const std::string &name) { return name; }

    template <class Record>
    static const std::string &NameOf(const Record &record)
    {
        return record.name;
    }

    template <class Lhs, class Rhs>
    bool operator()(const Lhs &lhs, const Rhs &rhs) const
    {
        return std_stricmp(NameOf(lhs).c_str(), NameOf(rhs).c_str()) < 0;
    }
};

/// The text file "solutionmanifest" of a solution release: every project that the solution knows, with the release to
/// use, and named sets of them. Drawn in Docs/Formats/SolutionManifest.md. Both tables are sorted by name without
/// regard to case, so that names that differ only in case are one name.
///
/// A local object of the starting thread. After a failed load it holds what was read up to then.
class SolutionManifest
{
public:
    struct PROJECT
    {
        std::string name; ///< the directory under "projects", in the spelling of the file
        MorvVersion version;
        DWORD priority; ///< the higher, the earlier in the search
        DWORD flags;    ///< carried, not interpreted
    };

    struct CONFIGURATION
    {
        std::string name;
        DWORD flags;                       ///< carried, not interpreted
        std::vector<std::string> projects; ///< sorted
    };

    /// Reads a whole file. May be called again; the tables start empty each time.
    HRESULT Load(const std::string &path);

    /// The three sections, in this order, from where the stream stands.
    HRESULT LoadHeader(FILE *const file);
    HRESULT LoadProjects(FILE *const file);
    HRESULT LoadConfigurations(FILE *const file);

    /// Fails for a name that is there already, without a line of its own.
    HRESULT AddProject(const std::string &name, MorvVersion version, DWORD priority, DWORD flags);

    /// Fails for a project that was not added before, and, without a line of its own, for a name that is there already.
    HRESULT AddConfiguration(const std::string &name, const std::vector<std::string> &projects, const DWORD flags);

    const std::string &GetName() const { return mName; }
    MorvVersion GetVersion() const { return mVersion; }

    // Copies, by name.
    std::vector<PROJECT> GetProjects() const { return {mProjects.begin(), mProjects.end()}; }
    std::vector<CONFIGURATION> GetConfigurations() const { return {mConfigurations.begin(), mConfigurations.end()}; }

private:
    HRESULT LoadProject(FILE *const file);
    HRESULT LoadConfiguration(FILE *const file);

    std::string mName;
    MorvVersion mVersion = 0xFFFFFFFF;
    std::set<PROJECT, ManifestNameOrder> mProjects;
    std::set<CONFIGURATION, ManifestNameOrder> mConfigurations;
};
} // namespace Keld::MORV::Reader
