#include "KeldMorvIO/listing/ProjectListing.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldMorvIO/ReaderTypes.h"
#include "KeldMorvIO/blocks/AsyncRequest.h"
#include "KeldMorvIO/blocks/Descriptors.h"
#include "Support/ReaderLogCapture.h"
#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

namespace Keld::MORV::Reader
{
namespace
{
using Keld::Test::Error;

constexpr MorvVersion ReleaseVersion = 0x01020304;
constexpr MorvVersion FileVersion = 0x05060708;

constexpr const char *ProjectRootSignature =
    "static bool Keld::MORV::Reader::ProjectListing::GetProjectRoot(char *, uint32, const char *, const char *)";
constexpr const char *PathSignature =
    "static bool Keld::MORV::Reader::ProjectListing::GetNakedFile(char *, uint32, FileType, const char *, MorvVersion, "
    "MorvVersion, const char *)";
constexpr const char *OpenNakedSignature =
    "static AsyncFile Keld::MORV::Reader::ProjectListing::OpenNakedFile(FileType, const char *, MorvVersion, "
    "MorvVersion, const char *)";
constexpr const char *OpenInRootSignature =
    "static AsyncFile Keld::MORV::Reader::ProjectListing::OpenNakedFile(FileType, const char *, const char *, "
    "MorvVersion, MorvVersion, const char *)";

class NakedFileTest : public testing::Test
{
protected:
    std::string Path(ProjectListing::FileType type, const char *projectRoot, const char *name)
    {
        char buffer[PathBufferSize];
        const bool isMade =
            ProjectListing::GetNakedFile(buffer, sizeof buffer, type, projectRoot, ReleaseVersion, FileVersion, name);
        return isMade ? buffer : "(false)";
    }

    std::string Root(const char *root, const char *project)
    {
        char buffer[PathBufferSize];
        return ProjectListing::GetProjectRoot(buffer, sizeof buffer, root, project) ? buffer : "(false)";
    }

    Keld::Test::TempTree mTree;
    Keld::Test::ReaderLogCapture mLog;
};

TEST_F(NakedFileTest, JoinsTheProjectRoot)
{
    EXPECT_EQ(Root("/srv/MORV", "atlas"), "/srv/MORV/projects/atlas");
    EXPECT_EQ(Root("/srv/MORV/", "atlas"), "/srv/MORV/projects/atlas");
    mLog.ExpectAll({});
}

TEST_F(NakedFileTest, SkipsARootThatIsNullOrEmpty)
{
    EXPECT_EQ(Root(nullptr, "atlas"), "projects/atlas");
    EXPECT_EQ(Root("", "atlas"), "projects/atlas");
    EXPECT_EQ(Path(ProjectListing::FileTypeDeploy, nullptr, "a"), "releases/1.2.3.4/deploy/a");
    mLog.ExpectAll({});
}

TEST_F(NakedFileTest, TakesTreeAndVersionFromTheType)
{
    EXPECT_EQ(Path(ProjectListing::FileTypeArchive, "/p", "maps.vka.dat"), "/p/filearchives/5.6.7.8/maps.vka.dat");
    EXPECT_EQ(Path(ProjectListing::FileTypeManaged, "/p", "data/a.dds"), "/p/managedfiles/5.6.7.8/data/a.dds");
    EXPECT_EQ(Path(ProjectListing::FileTypeDeploy, "/p", "data/a.dds"), "/p/releases/1.2.3.4/deploy/data/a.dds");
    mLog.ExpectAll({});
}

TEST_F(NakedFileTest, IgnoresTheVersionThatTheTypeDoesNotUse)
{
    char buffer[PathBufferSize];
    ASSERT_TRUE(ProjectListing::GetNakedFile(buffer, sizeof buffer, ProjectListing::FileTypeManaged, "/p", 0xFFFFFFFF,
                                             FileVersion, "a"));
    EXPECT_STREQ(buffer, "/p/managedfiles/5.6.7.8/a");
    ASSERT_TRUE(ProjectListing::GetNakedFile(buffer, sizeof buffer, ProjectListing::FileTypeDeploy, "/p",
                                             ReleaseVersion, 0xFFFFFFFF, "a"));
    EXPECT_STREQ(buffer, "/p/releases/1.2.3.4/deploy/a");
}

TEST_F(NakedFileTest, KnowsNoOtherTypeAndSaysNothingAboutIt)
{
    EXPECT_EQ(Path(static_cast<ProjectListing::FileType>(3), "/p", "a"), "(false)");
    EXPECT_EQ(Path(static_cast<ProjectListing::FileType>(0xFFFFFFFF), "/p", "a"), "(false)");
    mLog.ExpectAll({});
}

TEST_F(NakedFileTest, WritesNoSecondSeparatorBehindTheRoot)
{
    EXPECT_EQ(Path(ProjectListing::FileTypeManaged, "/p/", "a"), "/p/managedfiles/5.6.7.8/a");
}

TEST_F(NakedFileTest, LetsAnAbsoluteNameDiscardTheDirectories)
{
    for (const auto type :
         {ProjectListing::FileTypeArchive, ProjectListing::FileTypeManaged, ProjectListing::FileTypeDeploy})
    {
        EXPECT_EQ(Path(type, "/p", "/etc/name"), "/etc/name");
    }
    EXPECT_EQ(Root("/srv", "/elsewhere"), "/elsewhere");
}

TEST_F(NakedFileTest, FitsAPathOf1023BytesAndRefusesOneMore)
{
    const struct
    {
        ProjectListing::FileType type;
        const char *directory;
    } cases[] = {{ProjectListing::FileTypeArchive, "/filearchives/5.6.7.8/"},
                 {ProjectListing::FileTypeManaged, "/managedfiles/5.6.7.8/"},
                 {ProjectListing::FileTypeDeploy, "/releases/1.2.3.4/deploy/"}};
    for (const auto &[type, directory] : cases)
    {
        const std::string name(1023 - 2 - std::strlen(directory), 'n');
        EXPECT_EQ(Path(type, "/p", name.c_str()), "/p" + (directory + name));
        mLog.ExpectAll({});
        EXPECT_EQ(Path(type, "/p", (name + "n").c_str()), "(false)");
        mLog.ExpectAll({Error("The path is too long: /p" + (directory + name) + "n", PathSignature)});
    }
}

TEST_F(NakedFileTest, FitsAProjectRootOf1023BytesAndRefusesOneMore)
{
    const std::string root = "/" + std::string(1023 - 16, 'r');
    ASSERT_EQ(Root(root.c_str(), "atlas").size(), 1023u);
    mLog.ExpectAll({});
    EXPECT_EQ(Root((root + "r").c_str(), "atlas"), "(false)");
    mLog.ExpectAll({Error("The project path is too long: " + root + "r/projects/atlas", ProjectRootSignature)});
}

TEST_F(NakedFileTest, LogsPiecesThatAreNullAsEmptyTexts)
{
    const std::string name(1023, 'n');
    EXPECT_EQ(Root(nullptr, name.c_str()), "(false)");
    mLog.ExpectAll({Error("The project path is too long: /projects/" + name, ProjectRootSignature)});
    EXPECT_EQ(Path(ProjectListing::FileTypeManaged, nullptr, name.c_str()), "(false)");
    mLog.ExpectAll({Error("The path is too long: /managedfiles/5.6.7.8/" + name, PathSignature)});
}

TEST_F(NakedFileTest, KeepsToASmallerBuffer)
{
    char buffer[16] = {};
    EXPECT_TRUE(ProjectListing::GetProjectRoot(buffer, 14, "/m", "p"));
    EXPECT_STREQ(buffer, "/m/projects/p");
    buffer[13] = '#';
    EXPECT_FALSE(ProjectListing::GetProjectRoot(buffer, 13, "/m", "p"));
    EXPECT_EQ(buffer[13], '#');
}

TEST_F(NakedFileTest, MakesTheProjectRootFirstInTheFormWithRootAndProject)
{
    char buffer[PathBufferSize];
    ASSERT_TRUE(ProjectListing::GetNakedFile(buffer, sizeof buffer, ProjectListing::FileTypeManaged, "/m", "atlas",
                                             ReleaseVersion, FileVersion, "a"));
    EXPECT_STREQ(buffer, "/m/projects/atlas/managedfiles/5.6.7.8/a");
    mLog.ExpectAll({});

    const std::string root = "/" + std::string(1023, 'r');
    EXPECT_FALSE(ProjectListing::GetNakedFile(buffer, sizeof buffer, ProjectListing::FileTypeManaged, root.c_str(),
                                              "atlas", ReleaseVersion, FileVersion, "/absolute"));
    mLog.ExpectAll({Error("The project path is too long: " + root + "/projects/atlas", ProjectRootSignature)});

    const std::string name(1000, 'n');
    EXPECT_FALSE(ProjectListing::GetNakedFile(buffer, sizeof buffer, ProjectListing::FileTypeDeploy, "/m", "atlas",
                                              ReleaseVersion, FileVersion, name.c_str()));
    mLog.ExpectAll({Error("The path is too long: /m/projects/atlas/releases/1.2.3.4/deploy/" + name, PathSignature)});
}

TEST_F(NakedFileTest, OpensManagedAndNakedFiles)
{
    mTree.Write("projects/atlas/managedfiles/5.6.7.8/data/a", "managed");
    mTree.Write("projects/atlas/releases/1.2.3.4/deploy/data/a", "naked!!");
    const std::string projectRoot = mTree.Path("projects/atlas");
    const std::pair<ProjectListing::FileType, const char *> cases[] = {{ProjectListing::FileTypeManaged, "managed"},
                                                                       {ProjectListing::FileTypeDeploy, "naked!!"}};
    for (const auto &[type, content] : cases)
    {
        const AsyncFile files[] = {
            ProjectListing::OpenNakedFile(type, projectRoot.c_str(), ReleaseVersion, FileVersion, "data/a"),
            ProjectListing::OpenNakedFile(type, mTree.Root().c_str(), "atlas", ReleaseVersion, FileVersion, "data/a")};
        for (const AsyncFile file : files)
        {
            ASSERT_NE(file, AsyncFile::Null);
            char bytes[8] = {};
            EXPECT_TRUE(AsyncRead(file, 0, 7, nullptr, bytes));
            EXPECT_STREQ(bytes, content);
            AsyncClose(file);
        }
    }
    mLog.ExpectAll({});
}

TEST_F(NakedFileTest, NeverOpensTheDataFileOfAnArchive)
{
    mTree.Write("projects/atlas/filearchives/5.6.7.8/a", "bytes");
    const std::string longName(2000, 'n');
    EXPECT_EQ(ProjectListing::OpenNakedFile(ProjectListing::FileTypeArchive, mTree.Path("projects/atlas").c_str(),
                                            ReleaseVersion, FileVersion, "a"),
              AsyncFile::Null);
    EXPECT_EQ(ProjectListing::OpenNakedFile(ProjectListing::FileTypeArchive, mTree.Root().c_str(), "atlas",
                                            ReleaseVersion, FileVersion, longName.c_str()),
              AsyncFile::Null);
    mLog.ExpectAll({});
}

TEST_F(NakedFileTest, LogsThePathAndTheSystemsErrorWhenItCannotOpen)
{
    char text[1024];
    std_strerror(ENOENT, text, sizeof text);
    const std::string projectRoot = mTree.Path("projects/atlas");
    const std::string path = projectRoot + "/managedfiles/5.6.7.8/absent";
    EXPECT_EQ(ProjectListing::OpenNakedFile(ProjectListing::FileTypeManaged, projectRoot.c_str(), ReleaseVersion,
                                            FileVersion, "absent"),
              AsyncFile::Null);
    mLog.ExpectAll({Error("Failed to open: " + path, OpenNakedSignature), Error(text, OpenNakedSignature)});
    EXPECT_EQ(ProjectListing::OpenNakedFile(ProjectListing::FileTypeManaged, mTree.Root().c_str(), "atlas",
                                            ReleaseVersion, FileVersion, "absent"),
              AsyncFile::Null);
    mLog.ExpectAll({Error("Failed to open: " + path, OpenInRootSignature), Error(text, OpenInRootSignature)});

    std_strerror(ELOOP, text, sizeof text);
    std::filesystem::create_directories(projectRoot + "/managedfiles/5.6.7.8");
    std::filesystem::create_symlink("loop", projectRoot + "/managedfiles/5.6.7.8/loop");
    EXPECT_EQ(ProjectListing::OpenNakedFile(ProjectListing::FileTypeManaged, projectRoot.c_str(), ReleaseVersion,
                                            FileVersion, "loop"),
              AsyncFile::Null);
    mLog.ExpectAll({Error("Failed to open: " + projectRoot + "/managedfiles/5.6.7.8/loop", OpenNakedSignature),
                    Error(text, OpenNakedSignature)});
}

TEST_F(NakedFileTest, TakesAFileThatGetsDescriptorZeroForOneThatCannotBeOpened)
{
    mTree.Write("projects/atlas/managedfiles/5.6.7.8/a", "managed");
    const std::string projectRoot = mTree.Path("projects/atlas");
    AsyncFile file = static_cast<AsyncFile>(-1);
    {
        const Keld::Test::ClosedStandardInput closed;
        errno = 0;
        file = ProjectListing::OpenNakedFile(ProjectListing::FileTypeManaged, projectRoot.c_str(), ReleaseVersion,
                                             FileVersion, "a");
    }
    EXPECT_EQ(file, AsyncFile::Null);
    char text[1024];
    std_strerror(0, text, sizeof text);
    mLog.ExpectAll({Error("Failed to open: " + projectRoot + "/managedfiles/5.6.7.8/a", OpenNakedSignature),
                    Keld::Test::Progress(text, OpenNakedSignature)});
}

TEST_F(NakedFileTest, OpensNothingAtAPathThatDoesNotFit)
{
    const std::string name(1010, 'n');
    EXPECT_EQ(
        ProjectListing::OpenNakedFile(ProjectListing::FileTypeManaged, "/p", ReleaseVersion, FileVersion, name.c_str()),
        AsyncFile::Null);
    mLog.ExpectAll({Error("The path is too long: /p/managedfiles/5.6.7.8/" + name, PathSignature)});
}
} // namespace
} // namespace Keld::MORV::Reader
