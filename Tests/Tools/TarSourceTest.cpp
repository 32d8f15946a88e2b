#include "Tools/TreeWriter/TarSource.h"

#include "Support/TempTree.h"

#include "Tools/TreeReader/TreeError.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <map>

#include <fcntl.h>
#include <unistd.h>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;
using TreeWriter::LinkPolicy;
using TreeWriter::SourceOptions;

constexpr std::size_t TarBlock = 512;

/// Streams of the system's tar, and some that it would not write.
class TarSourceTest : public testing::Test
{
protected:
    /// Runs a shell command that writes "stream" in a directory where all else is made, too.
    void Make(const std::string &command) const
    {
        const std::string script = "cd " + mTree.Root() + " && " + command;
        ASSERT_EQ(std::system(script.c_str()), 0) << command;
    }

    /// The files of the stream, by path; why it is refused stands under "refused".
    std::map<std::string, std::string> Spool(const SourceOptions &options = {}) const
    {
        const int descriptor = open(mTree.Path("stream").c_str(), O_RDONLY | O_CLOEXEC);
        std::map<std::string, std::string> files;
        try
        {
            const auto source = TreeWriter::SpoolTar(descriptor, mTree.Path("spool"), options, [] {});
            for (const TreeWriter::SourceFile &file : source.files)
            {
                files[file.path] = mTree.Read(fs::relative(source.DiskPath(file), mTree.Root()).string());
                EXPECT_EQ(files[file.path].size(), file.size);
            }
        }
        catch (const TreeReader::TreeError &error)
        {
            files["refused"] = error.what();
        }
        close(descriptor);
        return files;
    }

    TempTree mTree;
};

using Files = std::map<std::string, std::string>;

TEST_F(TarSourceTest, AFileThatIsNothingButAHoleHasAllItsBytes)
{
    Make("mkdir d && truncate -s 200K d/allhole && echo x >d/endhole && truncate -s 300K d/endhole && "
         "tar -S -C d -cf stream allhole endhole");
    const Files files = Spool();
    EXPECT_TRUE(files.at("allhole") == std::string(200 << 10, '\0'));
    EXPECT_TRUE(files.at("endhole") == "x\n" + std::string((300 << 10) - 2, '\0'));
}

TEST_F(TarSourceTest, AFileThatIsTooLargeIsRefusedBeforeItIsWritten)
{
    Make("mkdir d && echo x >d/large && truncate -s 5G d/large && tar -S -C d -cf stream large");
    mTree.MakeDirectory("spool");
    EXPECT_NE(Spool()["refused"].find("large: is larger than 4294967294 bytes"), std::string::npos);
    for (const auto &entry : fs::recursive_directory_iterator(mTree.Path("spool")))
    {
        EXPECT_LT(entry.file_size(), 1u << 20);
    }
}

TEST_F(TarSourceTest, OfEntriesOfOnePathTheLastCounts)
{
    SourceOptions options;
    options.links = LinkPolicy::Follow;
    Make("mkdir d e && echo old >d/other && echo new >d/file && ln -s other d/twice && "
         "echo stale >e/twice && tar -C d -cf stream other file twice && rm d/twice && ln d/file d/twice && "
         "tar -C d -rf stream file twice");
    EXPECT_EQ(Spool(options), (Files{{"file", "new\n"}, {"other", "old\n"}, {"twice", "new\n"}}));
    Make("ln -sf other d/twice && tar -C e -cf stream twice && tar -C d -rf stream file twice");
    options.links = LinkPolicy::Skip;
    EXPECT_EQ(Spool(options), (Files{{"file", "new\n"}}));
}

TEST_F(TarSourceTest, AHardLinkToAFileThatIsLeftOutIsToldAsSuch)
{
    Make("mkdir -p d/cache && echo x >d/cache/file && ln d/cache/file d/link && tar -C d -cf stream cache link");
    SourceOptions options;
    options.excludes.emplace_back("cache/");
    EXPECT_NE(Spool(options)["refused"].find("link: is a hard link to cache/file, which was left out"),
              std::string::npos);
}

TEST_F(TarSourceTest, AStreamThatIsCutBetweenTwoEntriesIsRefused)
{
    Make("mkdir d && echo a >d/a && echo b >d/b && tar -C d -cf stream a b");
    EXPECT_EQ(Spool(), (Files{{"a", "a\n"}, {"b", "b\n"}}));
    for (const std::size_t blocks : {2U, 4U}) // an entry is a header and a block
    {
        fs::resize_file(mTree.Path("stream"), blocks * TarBlock);
        Make("cp stream cut && gzip -c cut >stream");
        EXPECT_NE(Spool()["refused"].find("was cut off"), std::string::npos) << blocks;
        Make("tar -C d -cf stream a b");
    }
}
} // namespace
} // namespace Keld::Test
