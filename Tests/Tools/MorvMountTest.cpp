#include "Tools/MountedRelease.h"

#include <atomic>
#include <cerrno>
#include <string_view>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace Keld::Test
{
namespace
{
using MorvMountTest = MountedRelease;

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
    const std::string content = MakeMountedContent(700'000, 7);
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
    readers.reserve(12);
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
    TreeWriter::PackRequest request = Request(TreeReader::Storage::Managed);
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
    Unmount();
    EXPECT_EQ(RunMorv("/", {"mount", "--root", mTree.Path("MORV"), "game/1.0.0.0", mTree.Path("mount")}).exitCode, 0);
    EXPECT_EQ(Output("cat " + Mounted("docs/readme.txt")), "read me\n");
}
} // namespace
} // namespace Keld::Test
