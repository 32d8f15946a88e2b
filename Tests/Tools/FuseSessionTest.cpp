#include "Tools/TreeMount/FuseVersion.h"

#include "Tools/HandmadeTree.h"

#include "Tools/TreeMount/FuseSession.h"
#include "Tools/TreeReader/TreeError.h"

#include <gtest/gtest.h>

#include <fuse_lowlevel.h>

namespace Keld::Test
{
namespace
{
using TreeMount::FuseSession;
using TreeMount::MountedFileSystem;
using TreeMount::MountedTree;

class FuseSessionTest : public HandmadeTree
{
protected:
    /// What a mount on a directory that is not there is refused with.
    std::string Refusal()
    {
        const TreeReader::View view = Open("game/1.0.0.0");
        MountedFileSystem fileSystem(std::move(*MountedTree::Make(view, "")), {}, {}, [](const std::string &) {});
        try
        {
            const FuseSession session(fileSystem, {mTree.Path("nowhere"), "game"});
        }
        catch (const TreeReader::TreeError &error)
        {
            return error.what();
        }
        return "";
    }
};

TEST_F(FuseSessionTest, OfWhatLibfuseSaysTheLastIsKeptAndNoMore)
{
    WriteProject("game", {{"a", "a"}});
    const std::string refusal = Refusal();
    EXPECT_NE(refusal.find(mTree.Path("nowhere") + ": cannot be mounted: "), std::string::npos) << refusal;
    EXPECT_LT(refusal.size(), 1000U);
    for (int line = 0; line < 10'000; ++line)
    {
        fuse_log(FUSE_LOG_ERR, "line %d\n", line);
    }
    const std::string later = Refusal();
    EXPECT_NE(later.find("line 9999; "), std::string::npos) << later;
    EXPECT_LT(later.size(), 5000U);
}
} // namespace
} // namespace Keld::Test
