#pragma once

#include "Tools/CheckedTree.h"
#include "Tools/ToolRun.h"

#include <algorithm>
#include <filesystem>

namespace Keld::Test
{
/// The command as people run it, on a copy of the tree in "client", with "server" to get things back from.
class MorvRepairFixture : public CheckedTree
{
protected:
    void Publish(const std::vector<std::string> &more = {}) const
    {
        std::vector<std::string> words{"publish", "--no-sync", "--root", "MORV"};
        words.insert(words.end(), more.begin(), more.end());
        const ToolResult published = RunMorv(mTree.Root(), words);
        ASSERT_EQ(published.exitCode, 0) << published.error;
    }

    /// Both trees anew from the one of the fixture.
    void Split() const
    {
        for (const char *place : {"server", "client"})
        {
            std::filesystem::remove_all(mTree.Path(place));
            mTree.MakeDirectory(place);
            std::filesystem::copy(mTree.Path("MORV"), mTree.Path(std::string(place) + "/MORV"),
                                  std::filesystem::copy_options::recursive);
        }
    }

    ToolResult Repair(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), {"repair", "--no-sync", "--root", "client/MORV"});
        return RunMorv(mTree.Root(), arguments);
    }

    std::vector<std::string> FilesOf(const std::string &tree) const
    {
        std::vector<std::string> files;
        for (const auto &entry : std::filesystem::recursive_directory_iterator(mTree.Path(tree)))
        {
            if (entry.is_regular_file())
            {
                files.push_back(entry.path().lexically_relative(mTree.Path(tree)));
            }
        }
        std::sort(files.begin(), files.end());
        return files;
    }

    void ExpectSameBytes() const
    {
        const std::vector<std::string> files = FilesOf("server/MORV");
        ASSERT_EQ(FilesOf("client/MORV"), files);
        for (const std::string &file : files)
        {
            EXPECT_EQ(mTree.Read("client/MORV/" + file), mTree.Read("server/MORV/" + file)) << file;
        }
    }

    void DamageOneFile() const
    {
        const std::string data = "client/" + GameArchives + "files-0001.vka.dat";
        Flip(data, PlaceOf(data, "Data/stored.raw line"));
    }
};
} // namespace Keld::Test
