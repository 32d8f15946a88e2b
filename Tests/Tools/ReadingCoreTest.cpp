#include "Tools/DamagedTwins.h"
#include "Tools/TreeSnapshot.h"

#include "Tools/TreeReader/ContentReader.h"
#include "Tools/TreeReader/TreeSet.h"
#include "Tools/TreeReader/TreeText.h"

#include "KeldMorvIO/environment/MultiListingIterator.h"
#include "KeldMorvIO/environment/RuntimeEnvironment.h"

#include <set>

namespace Keld::Test
{
namespace
{
using MORV::Reader::FileEntry;
using MORV::Reader::ProjectListing;
using MORV::Reader::RuntimeEnvironment;
using TreeReader::Compression;
using TreeReader::View;

/// Holds the core and the library together, in one process.
class ReadingCoreTest : public DamagedTwins
{
protected:
    /// Starts both on one release and holds all their answers together.
    void Compare(const std::string &place)
    {
        SCOPED_TRACE(place);
        CopyTwin();
        TreeReader::TreeSet trees;
        const auto view = trees.Open("", mTree.Path(place));
        const std::unique_ptr<RuntimeEnvironment> library(RuntimeEnvironment::Create(mTwin.Path(place).c_str()));
        const bool serves = library != nullptr && !library->GetListings().empty();
        ASSERT_EQ(view && !view->CheckServable(), serves) << (view ? "" : view.GetFault().GetMessage());
        if (serves)
        {
            ComparePaths(*view, *library);
            std::set<std::string> seen;
            CompareDirectory(*view, *library, "", seen);
        }
    }

    void ComparePaths(const View &view, const RuntimeEnvironment &library)
    {
        std::set<std::string> paths{"", "a", "data", "b/b", "no such path", "/", "/a", "a/", "b/../b", "./data"};
        for (const TreeReader::Layer &layer : view.GetLayers())
        {
            const TreeReader::ManifestTree &tree = layer.release->GetTree();
            for (uint32 entry = 0; entry < tree.GetEntryCount(); ++entry)
            {
                const std::string path = tree.GetPath(entry);
                paths.insert({path, TreeReader::FoldPath(path), path + "x", "x" + path, path + "/" + path});
            }
        }
        for (const std::string &path : paths)
        {
            ComparePath(view, library, path);
        }
    }

    void ComparePath(const View &view, const RuntimeEnvironment &library, const std::string &path)
    {
        SCOPED_TRACE(path);
        if (path.size() >= 1024)
        {
            return; // the exported calls refuse it before the lookup
        }
        const TreeReader::Hit hit = view.Find(path);
        const auto [listing, entry] = library.FindEntry(path.c_str());
        ASSERT_EQ(static_cast<bool>(hit), entry != nullptr);
        if (!hit)
        {
            return;
        }
        EXPECT_EQ(library.GetListings()[hit.layer], listing);
        ASSERT_EQ(view.IsDirectory(hit), ProjectListing::IsDirectory(entry));
        EXPECT_STREQ(view.GetRelease(hit.layer).GetTree().GetName(hit.entry),
                     MORV::Reader::GetListingEntry(entry).mName.Get());
        if (!view.IsDirectory(hit))
        {
            CompareContent(view, hit, *listing, entry);
        }
    }

    void CompareContent(const View &view, const TreeReader::Hit &hit, ProjectListing &listing, const FileEntry *entry)
    {
        const TreeReader::Release &release = view.GetRelease(hit.layer);
        const uint32 size = release.GetTree().GetFields(hit.entry).size;
        ASSERT_EQ(ProjectListing::GetFileSize(entry), size);
        const bool isLzma = release.Locate(hit.entry)->compression == Compression::Lzma;
        if (isLzma && !mLzmaOpened.insert(entry).second)
        {
            return; // its archive is closed
        }
        std::string expected(size, '\0');
        uint32 delivered = 0;
        const bool opened = listing.Open(entry);
        const bool read = opened && listing.Read(entry, 0, size, &delivered, expected.data());
        const bool complete = read && (size == 0 || delivered == size);
        if (opened)
        {
            listing.Close(entry);
        }
        std::string content;
        TreeReader::ReadOptions options;
        options.checkDigest = false;
        const TreeReader::Failure failure = mReader.Read(release, hit.entry, options,
                                                         [&content](std::string_view bytes)
                                                         {
                                                             content.append(bytes);
                                                         });
        // The library reads on behind the end of a stored file's data; there is nothing to compare then.
        EXPECT_EQ(!failure, complete) << (failure ? failure->GetMessage() : "");
        EXPECT_TRUE(failure || content == expected);
    }

    void CompareDirectory(const View &view, const RuntimeEnvironment &library, const std::string &path,
                          std::set<std::string> &seen)
    {
        SCOPED_TRACE("directory " + path);
        const auto ours = view.Enumerate(path);
        const auto theirs = library.CreateDirectoryIterator(path.c_str());
        ASSERT_EQ(ours != nullptr, theirs != nullptr);
        std::vector<std::string> subdirectories;
        for (; ours != nullptr && ours->IsValid(); ours->Next(), theirs->Next())
        {
            ASSERT_TRUE(theirs->IsValid());
            const std::string name = ours->GetCurrent().GetName();
            ASSERT_EQ(name, theirs->GetCurrent().GetName());
            ASSERT_EQ(ours->GetCurrent().IsDirectory(), theirs->GetCurrent().IsDirectory());
            EXPECT_EQ(ours->GetCurrent().GetSize(), ProjectListing::GetFileSize(theirs->GetCurrent().GetEntry()));
            if (ours->GetCurrent().IsDirectory() && !name.empty() && name.find('/') == std::string::npos)
            {
                subdirectories.push_back(path.empty() ? name : path + "/" + name);
            }
        }
        EXPECT_TRUE(theirs == nullptr || !theirs->IsValid());
        for (const std::string &subdirectory : subdirectories)
        {
            if (seen.insert(subdirectory).second)
            {
                CompareDirectory(view, library, subdirectory, seen);
            }
        }
    }

    TreeReader::ContentReader mReader;
    std::set<const void *> mLzmaOpened;
};

TEST_P(ReadingCoreTest, AnswersAsTheLibraryOnTreesWithDamageAndChangesNothing)
{
    for (const uint32 damage : {0u, 2u, 5u})
    {
        Damage(damage);
        const TreeSnapshot before = TakeSnapshot(mTree.Path("MORV"));
        for (const std::string &place : Places())
        {
            Compare(place);
        }
        EXPECT_TRUE(TakeSnapshot(mTree.Path("MORV")) == before);
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, ReadingCoreTest, testing::Range(1u, 13u));
} // namespace
} // namespace Keld::Test
