#pragma once

#include "Tools/PackFixture.h"
#include "Tools/ToolRun.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <signal.h>
#include <sys/wait.h>

namespace Keld::Test
{
/// Runs ordinary programs. Gives their exit status.
inline int Shell(const std::string &command)
{
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// What a command prints, errors included.
inline std::string Output(const std::string &command)
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE *)> pipe(popen((command + " 2>&1").c_str(), "r"), pclose);
    std::string text;
    char piece[4096];
    for (std::size_t count = 0; (count = std::fread(piece, 1, sizeof piece, pipe.get())) > 0;)
    {
        text.append(piece, count);
    }
    return text;
}

/// The process that serves a mount, found by what it was called with.
inline pid_t ServerOf(const std::string &mountPoint)
{
    return static_cast<pid_t>(std::atoi(Output("pgrep -f -x '.*morv mount .*" + mountPoint + "'").c_str()));
}

inline std::string MakeMountedContent(std::size_t size, unsigned seed)
{
    std::string content;
    while (content.size() < size)
    {
        content += std::to_string(content.size() * seed) + "\n";
    }
    return content.substr(0, size);
}

/// A release with files in every storage, and one mount of it at a time. Whatever a test does, nothing stays mounted.
class MountedRelease : public PackFixture
{
protected:
    MountedRelease()
    {
        mTree.Write("source/Docs/ReadMe.txt", "read me\n");
        for (const char *name : {"naked", "managed", "plain", "zlib", "lzma"})
        {
            mTree.Write(std::string("source/data/small.") + name, std::string("small ") + name + "\n");
            mTree.Write(std::string("source/data/large.") + name, MakeMountedContent(700'000, 7));
        }
        mTree.Write("source/empty.zlib", "");
        mTree.MakeDirectory("source/nothing");
        TreeWriter::PackRequest request = Request(TreeReader::Storage::Archive, TreeReader::Compression::Zlib);
        request.rules = {{"**/*.naked", {TreeReader::Storage::Naked, TreeReader::Compression::None}},
                         {"**/*.managed", {TreeReader::Storage::Managed, TreeReader::Compression::None}},
                         {"**/*.plain", {TreeReader::Storage::Archive, TreeReader::Compression::None}},
                         {"**/*.lzma", {TreeReader::Storage::Archive, TreeReader::Compression::Lzma}}};
        request.compressAlways = true;
        TreeWriter::PackRelease(request);
        mTree.MakeDirectory("mount");
    }

    ~MountedRelease() override
    {
        if (mMounted)
        {
            Shell("fusermount3 -u -z -q " + mTree.Path("mount"));
        }
    }

    ToolResult Mount(const std::vector<std::string> &options = {}, const std::string &release = "game/1.0.0.0")
    {
        std::vector<std::string> words{"mount", release};
        words.insert(words.end(), options.begin(), options.end());
        words.push_back(mTree.Path("mount"));
        mMounted = true;
        return RunMorv(mTree.Path("MORV"), words);
    }

    void ExpectMounted(const std::vector<std::string> &options = {}, const std::string &release = "game/1.0.0.0")
    {
        const ToolResult result = Mount(options, release);
        ASSERT_EQ(result.exitCode, 0) << result.error;
        ASSERT_EQ(result.out + result.error, "");
    }

    void ExpectRefused(const ToolResult &result, const std::string &reason) const
    {
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_NE(result.error.find("morv: " + reason), std::string::npos) << result.error;
        EXPECT_EQ(result.out, "");
    }

    std::string Mounted(const std::string &path) const { return mTree.Path("mount/" + path); }

    void Unmount() const { EXPECT_EQ(Shell("fusermount3 -u " + mTree.Path("mount")), 0); }

    bool IsMounted() const
    {
        return mTree.Exists("mount") && Output("cat /proc/mounts").find(mTree.Path("mount")) != std::string::npos;
    }

    /// Waits for a process that is not ours to end.
    static void WaitForEnd(pid_t process)
    {
        while (kill(process, 0) == 0)
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
    }

    bool mMounted = false;
};
} // namespace Keld::Test
