#pragma once

#include "Support/ManifestImage.h"
#include "Support/TempTree.h"

#include "Tools/TreeReader/Storage.h"
#include "Tools/TreeReader/TreeSet.h"
#include "Tools/TreeWriter/ArchiveWriter.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace Keld::Test
{
/// Projects with releases 1.0.0.0 whose files lie in one archive, and a solution of them. It takes names that the
/// writer of releases refuses.
class HandmadeTree : public testing::Test
{
protected:
    using Files = std::vector<std::pair<std::string, std::string>>; ///< path and content

    void WriteProject(const std::string &project, const Files &files) const
    {
        ManifestImage manifest(project);
        TreeWriter::ArchiveWriter archive(mTree.Path("MORV/projects/" + project + "/filearchives/1.0.0.0"), "files");
        const uint32 flags = TreeReader::FlagsOf(TreeReader::Storage::Archive, TreeReader::Compression::None);
        for (const auto &[path, content] : files)
        {
            manifest.File(path, {.flags = flags, .size = static_cast<std::uint32_t>(content.size())});
            archive.Begin(path);
            archive.Append(content);
        }
        archive.Finish();
        mTree.Write("MORV/projects/" + project + "/releases/1.0.0.0/releasemanifest", manifest.Bytes());
    }

    /// In the order in which they are searched.
    void WriteSolution(const std::vector<std::string> &projects) const
    {
        const std::string count = std::to_string(projects.size()) + "\n";
        std::string lines;
        std::string names;
        for (std::size_t index = 0; index < projects.size(); ++index)
        {
            lines += projects[index] + "\n1.0.0.0\n" + std::to_string(projects.size() - index) + "\n0\n";
            names += projects[index] + "\n";
        }
        const std::string directory = "MORV/solutions/suite/releases/0.0.1.0/";
        mTree.Write(directory + "solutionmanifest",
                    "MORV Solution Manifest\n1.0.0.0\nsuite\n0.0.1.0\n" + count + lines + "0\n");
        mTree.Write(directory + "configurationmanifest", "MORV Configuration Manifest\n1.0.0.0\nall\n" + count + names);
    }

    /// \param reference "solution:suite/0.0.1.0", or a project's name and version.
    TreeReader::View Open(const std::string &reference)
    {
        const auto view = mTrees.Open(reference, mTree.Path("MORV"));
        EXPECT_TRUE(view) << (view ? "" : view.GetFault().GetMessage());
        return *view;
    }

    TempTree mTree;
    TreeReader::TreeSet mTrees;
};
} // namespace Keld::Test
