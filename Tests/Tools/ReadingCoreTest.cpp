#include "Tools/RandomReleases.h"
#include "Tools/TreeSnapshot.h"

#include "Support/ReaderLogCapture.h"
#include "Support/TempTree.h"

#include "Tools/TreeReader/ContentReader.h"
#include "Tools/TreeReader/TreeSet.h"
#include "Tools/TreeReader/TreeText.h"

#include "KeldMorvIO/environment/MultiListingIterator.h"
#include "KeldMorvIO/environment/RuntimeEnvironment.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;
using MORV::Reader::FileEntry;
using MORV::Reader::ProjectListing;
using MORV::Reader::RuntimeEnvironment;
using TreeReader::Compression;
using TreeReader::View;

constexpr uint32 ProjectCount = 3;

std::string ProjectName(uint32 number)
{
    return "project" + std::to_string(number);
}

std::string ReleasePlace(uint32 number)
{
    return "MORV/projects/" + ProjectName(number) + "/releases/1.0.0.1";
}

/// The same random tree twice, with the same damage: the library may do to the one what it does to damaged trees, and
/// the other is for the reading core, which must give the same answers and change nothing.
class ReadingCoreTest : public testing::TestWithParam<uint32>
{
protected:
    ReadingCoreTest() : mRandom(GetParam())
    {
        RandomReleases releases(mTree, mRandom);
        std::vector<std::string> projects;
        for (uint32 number = 0; number < ProjectCount; ++number)
        {
            projects.push_back(ProjectName(number));
            const FileContents first = mRandom.Make(12);
            releases.Pack(projects.back(), first, RandomReleases::First);
            releases.Pack(projects.back(), mRandom.Change(first), RandomReleases::First + 1, RandomReleases::First);
        }
        releases.WriteSolution(projects);
    }

    /// Takes files away and changes bytes, in anything below "projects".
    void Damage(uint32 times)
    {
        std::vector<std::string> files;
        for (const auto &entry : fs::recursive_directory_iterator(mTree.Path("MORV/projects")))
        {
            if (entry.is_regular_file())
            {
                files.push_back(fs::relative(entry.path(), mTree.Root()).string());
            }
        }
        std::sort(files.begin(), files.end());
        for (uint32 count = 0; count < times; ++count)
        {
            const std::string &path = files[mRandom.Below(static_cast<uint32>(files.size()))];
            const bool isManifest = path.ends_with("releasemanifest");
            std::string bytes = mTree.Exists(path) ? mTree.Read(path) : "";
            const uint32 way = mRandom.Below(isManifest ? 40 : 4);
            if (way == 0)
            {
                mTree.Remove(path);
            }
            else if (!bytes.empty() && way == 1)
            {
                mTree.Write(path, bytes.substr(0, mRandom.Below(static_cast<uint32>(bytes.size()))));
            }
            else if (!bytes.empty())
            {
                bytes[mRandom.Below(static_cast<uint32>(bytes.size()))] = static_cast<char>(mRandom.Below(256));
                mTree.Write(path, bytes);
            }
        }
    }

    /// Starts both on one release and holds all their answers together.
    void Compare(const std::string &place)
    {
        SCOPED_TRACE(place);
        fs::copy(mTree.Path("MORV"), mTwin.Path("MORV"), fs::copy_options::recursive);
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
        mTwin.Remove("MORV");
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

    RandomTree mRandom;
    TempTree mTree;
    TempTree mTwin;
    ReaderLogCapture mLog;
    TreeReader::ContentReader mReader;
    std::set<const void *> mLzmaOpened;
};

TEST_P(ReadingCoreTest, AnswersAsTheLibraryOnTreesWithDamageAndChangesNothing)
{
    for (const uint32 damage : {0u, 2u, 5u})
    {
        Damage(damage);
        const TreeSnapshot before = TakeSnapshot(mTree.Path("MORV"));
        for (uint32 number = 0; number < ProjectCount; ++number)
        {
            Compare(ReleasePlace(number));
        }
        Compare("MORV/solutions/suite/releases/0.0.1.0/deploy");
        EXPECT_TRUE(TakeSnapshot(mTree.Path("MORV")) == before);
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, ReadingCoreTest, testing::Range(1u, 13u));
} // namespace
} // namespace Keld::Test
