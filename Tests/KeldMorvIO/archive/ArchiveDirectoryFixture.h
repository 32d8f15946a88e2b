#pragma once

#include "KeldMorvIO/archive/ArchiveVersionManager.h"

#include "Support/ArchiveImage.h"
#include "Support/ReaderLogCapture.h"
#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace Keld::Test
{
inline constexpr const char *CreateSignature = "static const Keld::MORV::Reader::ArchiveVersionManager *"
                                               "Keld::MORV::Reader::ArchiveVersionManager::Create(const std::string &)";
inline constexpr const char *LoadSignature =
    "static const Keld::MORV::Reader::ArchiveFile *"
    "Keld::MORV::Reader::ArchiveVersionManager::LoadArchiveFile(const char *, const char *)";

/// A directory of archives on the real disk, and the manager over it.
class ArchiveDirectoryFixture : public testing::Test
{
protected:
    using Manager = std::unique_ptr<const MORV::Reader::ArchiveVersionManager>;

    std::string NoneText() const
    {
        return "No valid archive files were found in the directory: " + mTree.Path("1.0.0.0") + "/*.vka";
    }

    void WriteArchive(const std::string &name, const ArchiveImage &image) const
    {
        mTree.Write("1.0.0.0/" + name, image.Bytes());
        mTree.Write("1.0.0.0/" + name + ".dat", "data");
    }

    Manager Create() const { return Manager(MORV::Reader::ArchiveVersionManager::Create(mTree.Path("1.0.0.0"))); }

    /// Loads one file of the directory on its own.
    const MORV::Reader::ArchiveFile *Load(const char *name) const
    {
        return MORV::Reader::ArchiveVersionManager::LoadArchiveFile(mTree.Path("1.0.0.0").c_str(), name);
    }

    TempTree mTree;
    ReaderLogCapture mLog;
};
} // namespace Keld::Test
