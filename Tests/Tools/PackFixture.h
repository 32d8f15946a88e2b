#pragma once

#include "Tools/ReleaseReader.h"

#include "Support/TempTree.h"

#include "Tools/TreeReader/ManifestTree.h"
#include "Tools/TreeReader/ReleaseContents.h"
#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeReader/TreePlaces.h"
#include "Tools/TreeWriter/ReleasePacker.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>

namespace Keld::Test
{
inline constexpr MorvVersion First = 0x01000000;
inline constexpr MorvVersion Second = 0x01000001;
inline constexpr MorvVersion Third = 0x01000002;

/// A folder "source" and a tree "MORV" into which releases of the project "game" are packed.
class PackFixture : public testing::Test
{
protected:
    TreeWriter::PackRequest Request(TreeReader::Storage storage,
                                    TreeReader::Compression compression = TreeReader::Compression::None,
                                    MorvVersion release = First) const
    {
        TreeWriter::PackRequest request;
        request.source = mTree.Path("source");
        request.root = mTree.Path("MORV");
        request.project = "game";
        request.release = release;
        request.choice = {storage, compression};
        request.sync = false; // no test loses power
        return request;
    }

    TreeReader::ReleaseContents Contents(MorvVersion release = First) const
    {
        const std::string path = TreeReader::TreePlaces(mTree.Path("MORV")).ReleaseManifest("game", release).string();
        const auto manifest = TreeReader::ManifestTree::Load(path);
        EXPECT_TRUE(manifest) << path;
        return manifest ? TreeReader::MakeContents(**manifest) : TreeReader::ReleaseContents();
    }

    TreeReader::ReleaseFile File(const std::string &path, MorvVersion release = First) const
    {
        for (const TreeReader::ReleaseFile &file : Contents(release).files)
        {
            if (file.path == path)
            {
                return file;
            }
        }
        ADD_FAILURE() << path << " is not in the manifest";
        return {};
    }

    std::string ReadBack(const std::string &path, MorvVersion release = First) const
    {
        const ReleaseReader reader(mTree.Path("MORV/projects/game/releases/" + FormatVersion(release)));
        return reader.Read(path);
    }

    std::string Refusal(const TreeWriter::PackRequest &request) const
    {
        try
        {
            TreeWriter::PackRelease(request);
        }
        catch (const TreeReader::TreeError &error)
        {
            return error.what();
        }
        return "";
    }

    void ExpectRefusal(const TreeWriter::PackRequest &request, const std::string &reason) const
    {
        const std::string refusal = Refusal(request);
        EXPECT_NE(refusal.find(reason), std::string::npos) << refusal;
    }

    /// Names in the project's directory, so that nothing half-made stays unseen.
    std::vector<std::string> ProjectEntries() const
    {
        std::vector<std::string> names;
        for (const auto &entry : std::filesystem::directory_iterator(mTree.Path("MORV/projects/game")))
        {
            names.push_back(entry.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }

    /// All files of the project with their bytes, by path.
    std::map<std::string, std::string> ProjectFiles() const
    {
        std::map<std::string, std::string> files;
        for (const auto &entry : std::filesystem::recursive_directory_iterator(mTree.Path("MORV/projects/game")))
        {
            if (entry.is_regular_file())
            {
                files[entry.path().string()] = TreeReader::ReadWholeFile(entry.path());
            }
        }
        return files;
    }

    TempTree mTree;
};
} // namespace Keld::Test
