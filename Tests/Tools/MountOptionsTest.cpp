#include "Support/TempTree.h"

#include "Tools/TreeReader/TreeError.h"
#include "Tools/morv/CommandSet.h"
#include "Tools/morv/MountOptions.h"
#include "Tools/morv/MountPoint.h"

#include <gtest/gtest.h>

#include <functional>

#include <unistd.h>

namespace Keld::Test
{
namespace
{
using Morv::MountOptions;
using Morv::ParseMountOptions;

std::string RefusalOf(const std::function<void()> &work)
{
    try
    {
        work();
    }
    catch (const std::runtime_error &error)
    {
        return error.what();
    }
    return "";
}

std::string RefusalOf(const std::string &text)
{
    return RefusalOf(
        [&text]
        {
            ParseMountOptions({text});
        });
}

TEST(MountOptionsTest, WordsAreTakenFromAllTexts)
{
    const MountOptions options = ParseMountOptions({"allow_other,uid=12,gid=4294967294", "umask=027,ro", "nonempty"});
    EXPECT_TRUE(options.allowOther);
    EXPECT_TRUE(options.allowNonEmpty);
    EXPECT_EQ(options.ownership.user, 12U);
    EXPECT_EQ(options.ownership.group, 4294967294U);
    EXPECT_EQ(options.ownership.umask, 027U);
}

TEST(MountOptionsTest, WithoutWordsWhoMountsOwnsAll)
{
    const MountOptions options = ParseMountOptions({});
    EXPECT_FALSE(options.allowOther);
    EXPECT_FALSE(options.allowNonEmpty);
    EXPECT_EQ(options.ownership.user, geteuid());
    EXPECT_EQ(options.ownership.group, getegid());
    EXPECT_EQ(options.ownership.umask, 0U);
    EXPECT_EQ(options.subdirectory, "");
}

TEST(MountOptionsTest, ASubdirectoryMayHaveCommasAndEqualsSigns)
{
    EXPECT_EQ(ParseMountOptions({"ro,subdir=data/a\\,b=c\\\\d,nonempty"}).subdirectory, "data/a,b=c\\d");
}

TEST(MountOptionsTest, WhatCannotBeMeantIsRefused)
{
    EXPECT_EQ(RefusalOf("uid=me"), "-o uid=me: a number is needed");
    EXPECT_EQ(RefusalOf("gid="), "-o gid=: a number is needed");
    EXPECT_EQ(RefusalOf("uid=4294967295"), "-o uid=4294967295: a number is needed");
    EXPECT_EQ(RefusalOf("uid=-1"), "-o uid=-1: a number is needed");
    EXPECT_EQ(RefusalOf("umask=0999"), "-o umask=0999: an octal number up to 0777 is needed, as 022");
    EXPECT_EQ(RefusalOf("umask=1777"), "-o umask=1777: an octal number up to 0777 is needed, as 022");
    EXPECT_EQ(RefusalOf("rw"), "-o rw: a release can only be read; a mount is always read-only");
    EXPECT_EQ(RefusalOf("loud"),
              "-o loud: not known; there are allow_other, uid=, gid=, umask=, subdir=, nonempty and ro");
    EXPECT_NE(RefusalOf("subdir"), "");
    EXPECT_NE(RefusalOf("allow_other=yes"), "");
}

TEST(MountOptionsTest, TheSizeOfTheCacheHasUnits)
{
    EXPECT_EQ(Morv::ParseCacheSize("0"), 0U);
    EXPECT_EQ(Morv::ParseCacheSize("1000"), 1000U);
    EXPECT_EQ(Morv::ParseCacheSize("3K"), 3072U);
    EXPECT_EQ(Morv::ParseCacheSize("256M"), uint64{256} << 20);
    EXPECT_EQ(Morv::ParseCacheSize("8G"), uint64{8} << 30);
    EXPECT_EQ(Morv::ParseCacheSize("1024T"), uint64{1} << 50);
    for (const std::string text : {"", "M", "-1", "1.5G", "1m", "1MB", "1025T", "18446744073709551616", "x"})
    {
        EXPECT_EQ(RefusalOf(
                      [&text]
                      {
                          Morv::ParseCacheSize(text);
                      }),
                  "--cache-size " + text + ": a number of bytes is needed, as 1000000, 64M or 2G");
    }
}

TEST(MountPointTest, AnEmptyDirectoryWillDo)
{
    const TempTree tree;
    tree.MakeDirectory("mount");
    EXPECT_EQ(Morv::CheckMountPoint(tree.Path("mount/../mount/"), false), tree.Path("mount"));
}

TEST(MountPointTest, WhatCannotBeMountedOnIsRefusedWithAdvice)
{
    const TempTree tree;
    tree.Write("file", "x");
    const auto refusalOf = [&tree](const std::string &name)
    {
        return RefusalOf(
            [&]
            {
                Morv::CheckMountPoint(tree.Path(name), false);
            });
    };
    EXPECT_EQ(refusalOf("nothing"), tree.Path("nothing") + ": is not there; make the directory first");
    EXPECT_EQ(refusalOf("file"), tree.Path("file") + ": is no directory; a mount needs one, and an empty one is best");
    EXPECT_EQ(refusalOf(""), tree.Path("") + ": is not empty, and a mount would hide what is there; take another "
                                             "directory, or say \"-o nonempty\"");
    EXPECT_EQ(Morv::CheckMountPoint(tree.Root(), true), tree.Root());
}

TEST(MountPointTest, AMountAndTheTreeThatItServesLieApart)
{
    const TempTree tree;
    tree.MakeDirectory("MORV/empty");
    tree.MakeDirectory("MORVE");
    const auto check = [&tree](const std::string &mountPoint)
    {
        return RefusalOf(
            [&]
            {
                Morv::CheckApart(tree.Path(mountPoint), tree.Path("MORV"));
            });
    };
    for (const std::string mountPoint : {"MORV", "MORV/empty"})
    {
        EXPECT_EQ(check(mountPoint), tree.Path(mountPoint) + ": a mount there would hide what it serves, from " +
                                         tree.Path("MORV") + "; take a directory outside of it");
    }
    EXPECT_EQ(check("MORVE"), "");
    EXPECT_NE(RefusalOf(
                  [&]
                  {
                      Morv::CheckApart("/", tree.Path("MORV"));
                  }),
              "");
}
} // namespace
} // namespace Keld::Test
