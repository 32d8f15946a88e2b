#pragma once

#include "KeldFoundation/version/MorvVersion.h"

#include <filesystem>
#include <string>
#include <string_view>

namespace Keld::TreeReader
{
/// The places of a deployment tree on disk. Makes nothing and looks at nothing.
class DeploymentTree
{
public:
    /// `root` is the directory named "MORV".
    explicit DeploymentTree(std::filesystem::path root) : mRoot(std::move(root)) {}

    const std::filesystem::path &GetRoot() const { return mRoot; }

    std::filesystem::path Project(std::string_view project) const;
    std::filesystem::path Release(std::string_view project, MorvVersion release) const;
    std::filesystem::path ReleaseManifest(std::string_view project, MorvVersion release) const;
    std::filesystem::path NakedFiles(std::string_view project, MorvVersion release) const;
    std::filesystem::path ManagedFiles(std::string_view project, MorvVersion version) const;
    std::filesystem::path Archives(std::string_view project, MorvVersion version) const;
    std::filesystem::path Solution(std::string_view solution, MorvVersion release) const;

private:
    std::filesystem::path mRoot;
};

inline constexpr const char *ReleaseManifestName = "releasemanifest";
inline constexpr const char *SolutionManifestName = "solutionmanifest";
inline constexpr const char *ConfigurationManifestName = "configurationmanifest";

/// Reads "a.b.c.d" and nothing else: the text must be the version's own form. Throws TreeError.
MorvVersion ParseVersionText(const std::string &text);

/// Compares without regard to ASCII case, as the reader does.
bool EqualsIgnoringCase(const std::string &left, const std::string &right);

/// The text with 'A' to 'Z' in lower case: equal for paths that the reader takes for one.
std::string FoldPath(std::string path);
} // namespace Keld::TreeReader
