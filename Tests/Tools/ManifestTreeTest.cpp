#include "Support/ManifestImage.h"
#include "Support/TempTree.h"

#include "Tools/TreeReader/ManifestTree.h"

#include <gtest/gtest.h>

#include <filesystem>

#include <sys/stat.h>

namespace Keld::Test
{
namespace
{
using TreeReader::ManifestTree;

TreeReader::Result<std::unique_ptr<const ManifestTree>> Parse(const std::string &bytes)
{
    LargeVector<char> image(bytes.begin(), bytes.end());
    return ManifestTree::Parse(image, "manifest");
}

TEST(ManifestTreeTest, KnowsChildrenParentsAndPathsInTheLibrarysOrder)
{
    const auto parsed =
        Parse(ManifestImage().File("b/Z").File("b/a").File("B2/x").File("file").Directory("b/sub").Bytes());
    ASSERT_TRUE(parsed);
    const ManifestTree &tree = **parsed;
    EXPECT_STREQ(tree.GetProjectName(), "atlas");
    EXPECT_EQ(tree.GetDirectoryCount(), 4u);
    EXPECT_FALSE(tree.HasOddities());
    const TreeReader::EntryRange top = tree.GetSubdirectories(TreeReader::RootEntry);
    ASSERT_EQ(top.count, 2u);
    EXPECT_EQ(tree.GetPath(top.first), "b");
    EXPECT_EQ(tree.GetPath(top.first + 1), "B2");
    const TreeReader::EntryRange files = tree.GetFiles(top.first);
    ASSERT_EQ(files.count, 2u);
    EXPECT_EQ(tree.GetPath(files.first), "b/a");
    EXPECT_EQ(tree.GetPath(files.first + 1), "b/Z");
    EXPECT_EQ(tree.GetParent(files.first), top.first);
    EXPECT_EQ(tree.GetPath(TreeReader::RootEntry), "");
    EXPECT_TRUE(tree.Matches(files.first + 1, "B/z"));
    EXPECT_FALSE(tree.Matches(files.first + 1, "x/b/z"));
    EXPECT_EQ(tree.GetDirectoriesByLevel().size(), 4u);
}

TEST(ManifestTreeTest, AppendsPathsBehindWhatIsThere)
{
    const auto parsed = Parse(ManifestImage().File("a/b/c").Bytes());
    std::string text = "root/";
    (*parsed)->AppendPath((*parsed)->GetFileEntry(0), text);
    EXPECT_EQ(text, "root/a/b/c");
}

TEST(ManifestTreeTest, SaysWhatIsWrongWithAnImage)
{
    const auto textOf = [](const std::string &bytes)
    {
        const auto parsed = Parse(bytes);
        return parsed ? "" : parsed.GetFault().text;
    };
    const std::string good = ManifestImage().File("a").Bytes();
    EXPECT_EQ(textOf(good), "");
    EXPECT_NE(textOf("QVMF").find("fewer than 8 bytes"), std::string::npos);
    EXPECT_NE(textOf("XVMF" + good.substr(4)).find("does not begin with \"QVMF\""), std::string::npos);
    EXPECT_NE(textOf(ManifestImage().Patch(ManifestImage::VersionOffset, 3).Bytes()).find("version word 3"),
              std::string::npos);
    EXPECT_NE(textOf(good.substr(0, good.size() - 1)).find("cut short"), std::string::npos);
    ManifestImage many;
    many.File("a");
    many.Patch(many.StringCountOffset(), 0x40000000);
    EXPECT_NE(textOf(many.Bytes()).find("more strings than can be"), std::string::npos);
}

TEST(ManifestTreeTest, TakesNothingButARegularFile)
{
    const TempTree tree;
    const std::string pipe = tree.Path("pipe");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const std::string &path : {tree.MakeDirectory("directory"), pipe})
    {
        const auto loaded = ManifestTree::Load(path);
        ASSERT_FALSE(loaded);
        EXPECT_EQ(loaded.GetFault().kind, TreeReader::FaultKind::WrongKind);
    }
    EXPECT_EQ(ManifestTree::Load(tree.Path("missing")).GetFault().kind, TreeReader::FaultKind::NotThere);
}

TEST(ManifestTreeTest, AFileThatIsFarTooLargeIsNamedWithItsSizeAndNotHeld)
{
    const TempTree tree;
    const std::string path = tree.Write("manifest", ManifestImage().File("a").Bytes());
    std::filesystem::resize_file(path, uint64{1} << 40); // a hole: takes no room
    EXPECT_EQ(ManifestTree::Load(path).GetFault().GetMessage(), path + ": is too large, with 1099511627776 bytes");
}

TEST(ManifestTreeTest, KnowsTheEntriesThatNoDirectoryHolds)
{
    ManifestImage image;
    image.File("a").File("b");
    image.Patch(image.DirectoryOffset("") + 16, 1); // one file of the two
    const auto parsed = Parse(image.Bytes());
    ASSERT_TRUE(parsed);
    EXPECT_TRUE((*parsed)->HasOddities());
    EXPECT_TRUE((*parsed)->IsHeld((*parsed)->GetFileEntry(0)));
    EXPECT_FALSE((*parsed)->IsHeld((*parsed)->GetFileEntry(1)));
    EXPECT_TRUE((*Parse(ManifestImage().RootName("x").File("a").Bytes()))->HasOddities());
}

TEST(ManifestTreeTest, APathOfManyLongNamesIsCut)
{
    std::string path(3000, 'n');
    path += "/" + std::string(3000, 'm') + "/" + std::string(3000, 'o');
    const auto parsed = Parse(ManifestImage().File(path).Bytes());
    const std::string made = (*parsed)->GetPath((*parsed)->GetFileEntry(0));
    EXPECT_LE(made.size(), 9002u);
    EXPECT_EQ(made.substr(made.size() - 3000), std::string(3000, 'o'));
}
} // namespace
} // namespace Keld::Test
