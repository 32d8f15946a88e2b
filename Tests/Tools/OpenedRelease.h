#pragma once

#include "Tools/PackFixture.h"

#include "Tools/TreeReader/ContentReader.h"
#include "Tools/TreeReader/TreeSet.h"

namespace Keld::Test
{
/// Releases of the project "game", opened by the reading core.
class OpenedRelease : public PackFixture
{
protected:
    std::string ReleaseDirectory(const std::string &version = "1.0.0.0") const
    {
        return mTree.Path("MORV/projects/game/releases/" + version);
    }

    TreeReader::View Open(const std::string &version = "1.0.0.0")
    {
        mTrees = std::make_unique<TreeReader::TreeSet>();
        auto view = mTrees->Open("", ReleaseDirectory(version));
        EXPECT_TRUE(view) << (view ? "" : view.GetFault().GetMessage());
        return *view;
    }

    /// The content of a path, or the failure's message in angle brackets.
    std::string Content(const TreeReader::View &view, const std::string &path,
                        const TreeReader::ReadOptions &options = {})
    {
        const TreeReader::Hit hit = view.Find(path);
        if (!hit)
        {
            return "<not found>";
        }
        std::string content;
        mFailure = mReader.Read(view.GetRelease(hit.layer), hit.entry, options,
                                [&content](std::string_view bytes)
                                {
                                    content.append(bytes);
                                });
        return mFailure ? "<" + mFailure->GetMessage() + ">" : content;
    }

    void FlipByte(const std::string &path, std::size_t offset)
    {
        std::string bytes = mTree.Read(path);
        bytes[offset] = static_cast<char>(bytes[offset] ^ 0x55);
        mTree.Write(path, bytes);
    }

    const std::string Archives = "MORV/projects/game/filearchives/1.0.0.0/";
    std::unique_ptr<TreeReader::TreeSet> mTrees;
    TreeReader::ContentReader mReader;
    TreeReader::Failure mFailure; ///< of the last Content
};
} // namespace Keld::Test
