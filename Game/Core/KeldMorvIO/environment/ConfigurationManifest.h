#pragma once

#include "KeldMorvIO/ReaderTypes.h"

#include <cstdio>
#include <string>
#include <vector>

namespace Keld::MORV::Reader
{
/// The text file "configurationmanifest" of a solution release: which of the solution's projects this installation
/// uses. Drawn in Docs/Formats/SolutionManifest.md.
///
/// A local object of the starting thread. After a failed load it holds what was read up to then.
class ConfigurationManifest
{
public:
    /// Reads a whole file. The names keep their order, duplicates and empty ones included: names that the file counts
    /// but does not hold come out empty, and nobody knows a project without a name. May be called again.
    HRESULT Load(const std::string &path);

    /// For code that builds a configuration by hand: keeps the names sorted, with case, and refuses duplicates. `Load`
    /// does neither.
    HRESULT AddProject(const std::string &name);

    const std::string &GetName() const { return mName; }
    const std::vector<std::string> &GetProjects() const { return mProjects; }

private:
    HRESULT LoadFields(FILE *const file);
    HRESULT LoadProjectNames(FILE *const file, DWORD count);

    std::string mName;
    std::vector<std::string> mProjects;
};
} // namespace Keld::MORV::Reader
