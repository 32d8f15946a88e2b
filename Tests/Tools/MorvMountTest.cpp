#include "Tools/PackFixture.h"
#include "Tools/ToolRun.h"
#include "Tools/TreeSnapshot.h"

#include "Tools/TreeReader/TreeSet.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <thread>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Keld::Test
{
namespace
{
using TreeReader::Compression;
using TreeReader::Storage;

/// Runs ordinary programs. Gives their exit status.
int Shell(const std::string &command)
{
    const int status = std::system(command.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

/// What a command prints, errors included.
std::string Output(const std::string &command)
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
pid_t ServerOf(const std::string &mountPoint)
{
    return static_cast<pid_t>(std::atoi(Output("pgrep -f -x '.*morv mount .*" + mountPoint + "'").c_str()));
}

std::string MakeContent(std::size_t size, unsigned seed)
{
    std::string content;
    while (content.size() < size)
    {
        content += std::to_string(content.size() * seed) + "\n";
    }
    return content.substr(0, size);
}

/// A release with files in every storage, and one mount of it at a time. Whatever a test does, nothing stays mounted.
class MorvMountTest : public PackFixture
{
protected:
    MorvMountTest()
    {
        mTree.Write("source/Docs/ReadMe.txt", "read me\n");
        for (const char *name : {"naked", "managed", "plain", "zlib", "lzma"})
        {
            mTree.Write(std::string("source/data/small.") + name, std::string("small ") + name + "\n");
            mTree.Write(std::string("source/data/large.") + name, MakeContent(700'000, 7));
        }
        mTree.Write("source/empty.zlib", "");
        mTree.MakeDirectory("source/nothing");
        TreeWriter::PackRequest request = Request(Storage::Archive, Compression::Zlib);
        request.rules = {{"**/*.naked", {Storage::Naked, Compression::None}},
                         {"**/*.managed", {Storage::Managed, Compression::None}},
                         {"**/*.plain", {Storage::Archive, Compression::None}},
                         {"**/*.lzma", {Storage::Archive, Compression::Lzma}}};
        request.compressAlways = true;
        TreeWriter::PackRelease(request);
        mTree.MakeDirectory("mount");
    }

    ~MorvMountTest() override
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

TEST_F(MorvMountTest, OrdinaryProgramsFindEveryFileAsItWasPacked)
{
    ExpectMounted();
    const std::string source = mTree.Path("source");
    const std::string mount = mTree.Path("mount");
    EXPECT_EQ(Output("diff -r " + source + " " + mount), "");
    const std::string find = " && find . -printf '%y %p %s\\n' | grep -v '^d' | sort; find . -type d | sort";
    EXPECT_EQ(Output("cd " + mount + find), Output("cd " + source + find));
    EXPECT_EQ(Shell("cmp " + mount + "/data/large.zlib " + source + "/data/large.zlib"), 0);
    EXPECT_EQ(Output("grep -r -l 'small l' " + mount), mount + "/data/small.lzma\n");
    EXPECT_EQ(Shell("cd " + mount + " && tar -cf " + mTree.Path("all.tar") + " ."), 0);
    EXPECT_EQ(Shell("mkdir " + mTree.Path("out") + " && tar -xf " + mTree.Path("all.tar") + " -C " + mTree.Path("out")),
              0);
    EXPECT_EQ(Output("diff -r " + source + " " + mTree.Path("out")), "");
    EXPECT_EQ(Output("ls " + mount), "Docs\ndata\nempty.zlib\nnothing\n");
    EXPECT_EQ(Output("ls -A " + mount + "/nothing"), "");
    EXPECT_EQ(Output("du -sb --apparent-size " + mount + "/data | cut -f1"),
              Output("cd " + source + "/data && cat * | wc -c"));
}

TEST_F(MorvMountTest, AnyCaseFindsAFileAndItIsOneFile)
{
    ExpectMounted();
    EXPECT_EQ(Output("cat " + Mounted("DOCS/readme.TXT") + " " + Mounted("docs/README.txt")), "read me\nread me\n");
    EXPECT_EQ(Output("stat -c %i " + Mounted("docs/readme.txt")), Output("stat -c %i " + Mounted("Docs/ReadMe.txt")));
    EXPECT_EQ(Output("stat -c %i " + Mounted("DOCS")), Output("stat -c %i " + Mounted("Docs")));
    EXPECT_EQ(Output("ls " + Mounted("dOcS")), "ReadMe.txt\n");
    EXPECT_EQ(Output("cd " + Mounted("DOCS") + " && cat ../docs/readme.txt && ls"), "read me\nReadMe.txt\n");
    EXPECT_NE(Shell("cat " + Mounted("docs/readme") + " 2>/dev/null"), 0);
}

TEST_F(MorvMountTest, NothingCanBeChanged)
{
    ExpectMounted();
    const std::string file = Mounted("Docs/ReadMe.txt");
    for (const std::string &command :
         {"touch " + Mounted("new"), "mkdir " + Mounted("new"), "mv " + file + " " + Mounted("other"), "rm -f " + file,
          "ln -s x " + Mounted("link"), "chmod 600 " + file, "truncate -s 0 " + file,
          "setfattr -n user.x -v y " + file})
    {
        EXPECT_NE(Output(command).find("Read-only file system"), std::string::npos) << command << Output(command);
    }
    EXPECT_EQ(open(file.c_str(), O_WRONLY | O_CLOEXEC), -1);
    EXPECT_EQ(errno, EROFS);
    EXPECT_EQ(Output("cat " + file), "read me\n");
}

TEST_F(MorvMountTest, ExtendedAttributesTellWhereAFileComesFrom)
{
    ExpectMounted();
    EXPECT_EQ(Output("getfattr --absolute-names --only-values -n user.morv.storage " + Mounted("data/small.zlib")),
              "archive");
    EXPECT_EQ(Output("getfattr --absolute-names --only-values -n user.morv.compression " + Mounted("data/small.lzma")),
              "lzma");
    EXPECT_EQ(Output("getfattr --absolute-names --only-values -n user.morv.project " + Mounted("data")), "game");
    const std::string all = Output("getfattr --absolute-names -d " + Mounted("data/small.plain"));
    for (const char *name : {"archive", "compression", "digest", "offset", "path", "project", "release", "storage",
                             "stored_size", "version"})
    {
        EXPECT_NE(all.find(std::string("user.morv.") + name + "="), std::string::npos) << name << all;
    }
    EXPECT_EQ(Output("getfattr --absolute-names -d " + Mounted("Docs/ReadMe.txt") + " | grep -c user.morv.digest"),
              "1\n");
}

TEST_F(MorvMountTest, FilesCanBeMappedAndReadAtAnyPlace)
{
    ExpectMounted();
    const std::string content = MakeContent(700'000, 7);
    for (const char *name : {"naked", "managed", "plain", "zlib", "lzma"})
    {
        const int file = open(Mounted(std::string("data/large.") + name).c_str(), O_RDONLY | O_CLOEXEC);
        ASSERT_GE(file, 0);
        char piece[100] = {};
        EXPECT_EQ(pread(file, piece, sizeof piece, 699'950), 50);
        EXPECT_EQ(std::string(piece, 50), content.substr(699'950));
        EXPECT_EQ(pread(file, piece, sizeof piece, 700'000), 0);
        EXPECT_EQ(pread(file, piece, sizeof piece, off_t{1} << 40), 0);
        void *const memory = mmap(nullptr, content.size(), PROT_READ, MAP_PRIVATE, file, 0);
        ASSERT_NE(memory, MAP_FAILED);
        EXPECT_TRUE(std::string_view(static_cast<const char *>(memory), content.size()) == content) << name;
        munmap(memory, content.size());
        close(file);
    }
}

TEST_F(MorvMountTest, ManyProgramsReadOneCompressedFileAtOnce)
{
    ExpectMounted({"--cache-size", "1M"});
    std::vector<std::thread> readers;
    std::atomic<int> different{0};
    for (int number = 0; number < 12; ++number)
    {
        readers.emplace_back(
            [&, number]
            {
                const std::string name = number % 2 == 0 ? "data/large.zlib" : "data/large.lzma";
                different += Shell("cmp " + Mounted(name) + " " + mTree.Path("source/" + name)) == 0 ? 0 : 1;
            });
    }
    for (std::thread &reader : readers)
    {
        reader.join();
    }
    EXPECT_EQ(different, 0);
}

TEST_F(MorvMountTest, OwnerAndPermissionsAreThoseOfTheOptions)
{
    ExpectMounted({"-o", "uid=1234,gid=4321,umask=027"});
    EXPECT_EQ(Output("stat -c '%u %g %a' " + Mounted("Docs")), "1234 4321 550\n");
    EXPECT_EQ(Output("stat -c '%u %g %a' " + Mounted("Docs/ReadMe.txt")), "1234 4321 440\n");
    EXPECT_NE(Output("grep " + mTree.Path("mount") + " /proc/mounts").find("morv:game/1.0.0.0 "), std::string::npos);
}

TEST_F(MorvMountTest, OthersMayReadOnlyWhenTheyAreAllowed)
{
    const std::string asOther = geteuid() == 0 ? "setpriv --reuid 65534 --regid 65534 --clear-groups " : "";
    ASSERT_EQ(Shell("chmod 755 " + mTree.Root()), 0);
    ExpectMounted({"-o", "allow_other,umask=007"});
    EXPECT_NE(Output("grep " + mTree.Path("mount") + " /proc/mounts").find("allow_other"), std::string::npos);
    if (!asOther.empty())
    {
        EXPECT_NE(Output(asOther + "ls " + mTree.Path("mount")).find("Permission denied"), std::string::npos);
    }
    Unmount();
    ExpectMounted({"-o", "allow_other"});
    EXPECT_EQ(Output(asOther + "cat " + Mounted("Docs/ReadMe.txt")), "read me\n");
}

TEST_F(MorvMountTest, ASubdirectoryCanBeMounted)
{
    ExpectMounted({"-o", "subdir=/DATA/"});
    EXPECT_EQ(Output("cat " + Mounted("small.zlib")), "small zlib\n");
    Unmount();
    ExpectRefused(Mount({"-o", "subdir=docs/readme.txt"}),
                  "-o subdir=docs/readme.txt: is a file, and only a directory");
    ExpectRefused(Mount({"-o", "subdir=gone"}), "-o subdir=gone: is not there; \"morv tree\" shows all there is");
    EXPECT_FALSE(IsMounted());
}

TEST_F(MorvMountTest, ASolutionIsMountedAsOneTree)
{
    mTree.Write("patch/docs/readme.txt", "patched\n");
    mTree.Write("patch/docs/news", "news\n");
    mTree.Write("patch/NOTHING/something", "something\n");
    TreeWriter::PackRequest request = Request(Storage::Managed);
    request.source = mTree.Path("patch");
    request.project = "patch";
    TreeWriter::PackRelease(request);
    const std::string directory = "MORV/solutions/suite/releases/0.0.1.0/";
    mTree.Write(directory + "solutionmanifest",
                "MORV Solution Manifest\n1.0.0.0\nsuite\n0.0.1.0\n2\npatch\n1.0.0.0\n9\n"
                "0\ngame\n1.0.0.0\n1\n0\n0\n");
    mTree.Write(directory + "configurationmanifest", "MORV Configuration Manifest\n1.0.0.0\nall\n2\npatch\ngame\n");
    ExpectMounted({}, "solution:suite/0.0.1.0");
    EXPECT_EQ(Output("cd " + mTree.Path("mount") + " && find docs nothing -type f | sort"),
              "docs/news\ndocs/readme.txt\nnothing/something\n");
    EXPECT_EQ(Output("cat " + Mounted("Docs/ReadMe.txt")), "patched\n");
    EXPECT_EQ(Output("cat " + Mounted("data/small.lzma")), "small lzma\n");
    EXPECT_EQ(Output("getfattr --absolute-names --only-values -n user.morv.project " + Mounted("docs/news")), "patch");
}

TEST_F(MorvMountTest, TheReleaseOfTheWorkingDirectoryNeedsNoName)
{
    const std::string release = mTree.Path("MORV/projects/game/releases/1.0.0.0/deploy");
    mMounted = true;
    EXPECT_EQ(RunMorv("/", {"-C", release, "mount", mTree.Path("mount")}).exitCode, 0);
    EXPECT_EQ(Output("cat " + Mounted("docs/readme.txt")), "read me\n");
    Unmount();
    EXPECT_EQ(RunMorv(mTree.Root(), {"mount", "./MORV/projects/game/releases/1.0.0.0", "mount"}).exitCode, 0);
    EXPECT_EQ(Output("cat " + Mounted("docs/readme.txt")), "read me\n");
}

TEST_F(MorvMountTest, UnmountingEndsTheProcess)
{
    ExpectMounted();
    const pid_t server = ServerOf(mTree.Path("mount"));
    ASSERT_GT(server, 0);
    Unmount();
    WaitForEnd(server);
    EXPECT_FALSE(IsMounted());
    ExpectMounted();
}

TEST_F(MorvMountTest, ASignalUnmounts)
{
    for (const int signal : {SIGTERM, SIGINT, SIGHUP})
    {
        ExpectMounted({"-j", signal == SIGINT ? "1" : "3"});
        const pid_t server = ServerOf(mTree.Path("mount"));
        ASSERT_GT(server, 0);
        EXPECT_EQ(Output("cat " + Mounted("docs/readme.txt")), "read me\n");
        kill(server, signal);
        WaitForEnd(server);
        EXPECT_FALSE(IsMounted()) << signal;
    }
}

TEST_F(MorvMountTest, InTheForegroundTheCommandServesUntilItIsInterrupted)
{
    const std::string log = mTree.Path("log");
    const std::string command = "exec " KELD_MORV_PROGRAM " mount --foreground game/1.0.0.0 " + mTree.Path("mount");
    mMounted = true;
    const pid_t server = fork();
    if (server == 0)
    {
        const std::string line = "cd " + mTree.Path("MORV") + " && " + command + " 2>" + log;
        execl("/bin/sh", "sh", "-c", line.c_str(), nullptr);
        _exit(127);
    }
    while (!IsMounted() || Output("ls " + mTree.Path("mount")).find("Docs") == std::string::npos)
    {
        ASSERT_EQ(waitpid(server, nullptr, WNOHANG), 0) << mTree.Read("log");
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    mTree.Remove("MORV/projects/game/releases/1.0.0.0/deploy/data/small.naked");
    EXPECT_NE(Output("cat " + Mounted("data/small.naked")).find("Input/output error"), std::string::npos);
    EXPECT_NE(Output("cat " + Mounted("data/small.naked")).find("Input/output error"), std::string::npos);
    kill(server, SIGINT);
    int status = 0;
    waitpid(server, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_FALSE(IsMounted());
    const std::string naked = mTree.Path("MORV/projects/game/releases/1.0.0.0/deploy/data/small.naked");
    EXPECT_EQ(mTree.Read("log"), "morv: note: mounted on " + mTree.Path("mount") +
                                     "; an interrupt or \"fusermount3 -u\" ends it\nmorv: data/small.naked: cannot be "
                                     "read: " +
                                     naked + ": is missing\n");
}

TEST_F(MorvMountTest, ADirectoryThatCannotBeMountedOnIsRefusedWithAdvice)
{
    ExpectRefused(RunMorv(mTree.Path("MORV"), {"mount", "game/1.0.0.0"}), "game/1.0.0.0: is not there; make the");
    ExpectRefused(RunMorv(mTree.Path("MORV"), {"mount"}), "the directory to mount on is missing");
    ExpectRefused(RunMorv(mTree.Root(), {"mount", mTree.Path("MORV/projects/game/releases/1.0.0.0"), "source"}),
                  "source: is not empty");
    mTree.MakeDirectory("MORV/projects/game/releases/1.0.0.0/deploy/empty");
    ExpectRefused(RunMorv(mTree.Path("MORV/projects/game/releases/1.0.0.0/deploy"), {"mount", "empty"}),
                  mTree.Path("MORV/projects/game/releases/1.0.0.0/deploy/empty") + ": a mount there would hide");
    ExpectRefused(Mount({}, "game/9.9.9.9"), "");
    ExpectRefused(Mount({"-o", "rw"}), "-o rw: a release can only be read");
    EXPECT_FALSE(IsMounted());
}

TEST_F(MorvMountTest, ASecondMountAtOnePlaceIsRefused)
{
    ExpectMounted();
    ExpectRefused(Mount(), mTree.Path("mount") + ": something is mounted there already; \"fusermount3 -u " +
                               mTree.Path("mount") + "\" takes it away");
    ExpectRefused(Mount({"-o", "nonempty"}), mTree.Path("mount") + ": something is mounted there already");
    EXPECT_EQ(Output("cat " + Mounted("docs/readme.txt")), "read me\n");
}

TEST_F(MorvMountTest, AMountWhoseProcessWasKilledIsExplained)
{
    ExpectMounted();
    const pid_t server = ServerOf(mTree.Path("mount"));
    ASSERT_GT(server, 0);
    kill(server, SIGKILL);
    WaitForEnd(server);
    ExpectRefused(Mount(), mTree.Path("mount") + ": a mount stands there whose process has ended; \"fusermount3 -u " +
                               mTree.Path("mount") + "\" takes it away");
    Unmount();
    ExpectMounted();
}

TEST_F(MorvMountTest, WhatIsMissingIsToldOnceAndTheRestIsServed)
{
    mTree.Remove("MORV/projects/game/releases/1.0.0.0/deploy/data/small.naked");
    mTree.Write("MORV/projects/game/filearchives/1.0.0.0/broken.vka", "no index");
    const TreeSnapshot before = TakeSnapshot(mTree.Path("MORV"));
    const ToolResult result = Mount();
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.error.find("morv: 1 of 12 files are missing and will not be found:\nmorv:   data/small.naked: "),
              0U)
        << result.error;
    EXPECT_NE(result.error.find("broken.vka"), std::string::npos) << result.error;
    EXPECT_EQ(Output("ls " + Mounted("data") + " | wc -l"), "9\n");
    EXPECT_EQ(Shell("cat " + Mounted("data") + "/* >/dev/null"), 0);
    Unmount();
    EXPECT_EQ(TakeSnapshot(mTree.Path("MORV")), before);
}

TEST_F(MorvMountTest, DamagedContentIsAnInputErrorAndLeavesTheRestReadable)
{
    TreeReader::TreeSet trees;
    const auto opened = trees.Open("game/1.0.0.0", mTree.Path("MORV"));
    const auto stored = opened->Locate(opened->Find("data/large.zlib"));
    std::fstream data(stored->path, std::ios::in | std::ios::out | std::ios::binary);
    data.seekp(static_cast<std::streamoff>(stored->offset + 100));
    data.write("XXXX", 4);
    data.close();
    ExpectMounted();
    EXPECT_NE(Output("cat " + Mounted("data/large.zlib")).find("Input/output error"), std::string::npos);
    EXPECT_NE(Output("tail -c 1 " + Mounted("data/large.zlib")).find("Input/output error"), std::string::npos);
    EXPECT_EQ(Shell("cmp " + Mounted("data/large.lzma") + " " + mTree.Path("source/data/large.lzma")), 0);
}

TEST_F(MorvMountTest, TheCommandsStandardOutputIsClosedWhenItReturns)
{
    mMounted = true;
    EXPECT_EQ(Output("cd " + mTree.Path("MORV") + " && " KELD_MORV_PROGRAM " mount game/1.0.0.0 " +
                     mTree.Path("mount") + " | cat; echo ended"),
              "ended\n");
    EXPECT_EQ(Output("cat " + Mounted("docs/readme.txt")), "read me\n");
}
} // namespace
} // namespace Keld::Test
