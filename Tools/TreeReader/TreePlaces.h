#pragma once

#include "KeldFoundation/version/MorvVersion.h"

#include <filesystem>
#include <string>
#include <string_view>

namespace Keld::TreeReader
{
/// The places of a deployment tree on disk. Makes nothing and looks at nothing.
class TreePlaces
{
public:
    /// `root` is the directory named "MORV".
    explicit TreePlaces(std::filesystem::path root) : mRoot(std::move(root)) {}

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
} // namespace Keld::TreeReader
