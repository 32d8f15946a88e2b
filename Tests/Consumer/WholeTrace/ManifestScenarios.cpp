// Release manifests that are cut, odd or hostile. What refuses them is one line, and the library then starts empty.

#include "Consumer/WholeTrace/Scenario.h"

namespace Keld::Test::WholeTrace
{
namespace
{
constexpr const char *ManifestPath = "MORV/projects/atlas/releases/1.0.0.0/releasemanifest";

TraceRelease Sample(ManifestImage::Record record)
{
    TraceRelease release;
    release.files = {{"alone", "naked"}, {"one/a", "a"}, {"one/b", "b"}, {"two/deep/c", "c"}};
    release.emptyDirectories = {"void"};
    release.record = record;
    return release;
}

void Try(TraceTree &tree, TracedLibrary &library, const std::string &what, const std::string &bytes)
{
    library.Note(what);
    tree.Write(ManifestPath, bytes);
    library.Start(tree.Path("MORV/projects/atlas/releases/1.0.0.0"));
    library.Exists("alone");
    library.Exists("two/deep/c");
    library.List("*");
    library.List("one/*");
    library.Stop();
}

void CutManifests(TraceTree &tree, TracedLibrary &library)
{
    library.SetLogger();
    for (const auto record : {ManifestImage::Record::Current, ManifestImage::Record::V0})
    {
        tree.Release(Sample(record));
        const std::string whole = tree.Read(ManifestPath);
        for (std::size_t size = 0; size <= whole.size(); size += size < 32 || size + 12 > whole.size() ? 1U : 23U)
        {
            Try(tree, library, "cut to " + std::to_string(size), whole.substr(0, size));
        }
        Try(tree, library, "with more behind", whole + "more");
    }
    tree.Remove(ManifestPath);
    library.Start(tree.Path("MORV/projects/atlas/releases/1.0.0.0"));
    library.Stop();
    tree.MakeDirectory(ManifestPath);
    library.Start(tree.Path("MORV/projects/atlas/releases/1.0.0.0"));
}

void HostileWords(TraceTree &tree, TracedLibrary &library)
{
    library.SetLogger();
    tree.Release(Sample(ManifestImage::Record::Current));
    const ManifestImage image = TraceTree::Manifest(Sample(ManifestImage::Record::Current));
    std::vector<std::pair<std::string, std::size_t>> places = {{"magic", 0},
                                                               {"version", 4},
                                                               {"project name", 8},
                                                               {"directory count", 16},
                                                               {"file count", image.FileCountOffset()},
                                                               {"string count", image.StringCountOffset()},
                                                               {"string data size", image.StringDataSizeOffset()},
                                                               {"first string", image.StringDataOffset()},
                                                               {"last string", image.Size() - 4}};
    for (const char *const directory : {"", "one", "two", "two/deep", "void"})
    {
        const char *const fields[] = {"name", "first subdirectory", "subdirectory count", "first file", "file count"};
        for (std::size_t field = 0; field < 5; ++field)
        {
            places.emplace_back(std::string(fields[field]) + " of directory '" + directory + "'",
                                image.DirectoryOffset(directory) + 4 * field);
        }
    }
    places.emplace_back("name of file one/a", image.FileOffset("one/a"));
    places.emplace_back("version of file one/a", image.FileOffset("one/a") + 4);
    places.emplace_back("flags of file one/a", image.FileOffset("one/a") + 24);
    places.emplace_back("size of file one/a", image.FileOffset("one/a") + 28);
    for (const auto &[name, offset] : places)
    {
        for (const std::uint32_t value : {0U, 1U, 5U, 0xFFFFFFFFU})
        {
            // A directory count of 0 and a root without children are no deployable state, and their result is open.
            const bool open = (name == "directory count" && value == 0) ||
                              (name == "string count" && value > 0x3FFFFFFF && value < 0x80000000);
            ManifestImage patched = image;
            if (!open)
            {
                Try(tree, library, name + " = " + std::to_string(value), patched.Patch(offset, value).Bytes());
            }
        }
    }
}

// Records that no range holds, children in any order, names that many records share.
void OddButWhole(TraceTree &tree, TracedLibrary &library)
{
    library.SetLogger();
    TraceRelease release = Sample(ManifestImage::Record::Current);
    release.files.push_back({"Zone/x", "x"});
    release.files.push_back({"apple", "apple"});
    release.files.push_back({"ZEBRA", "zebra"});
    release.files.push_back({"beta/A", "A"});
    tree.Release(release);
    const ManifestImage image = TraceTree::Manifest(release);
    const auto patched = [&](std::size_t offset, std::uint32_t value)
    {
        ManifestImage copy = image;
        return copy.Patch(offset, value).Bytes();
    };
    Try(tree, library, "as it is", image.Bytes());
    Try(tree, library, "one directory less", patched(image.DirectoryOffset("") + 8, 1));
    Try(tree, library, "directories from the second on", patched(image.DirectoryOffset("") + 4, 2));
    Try(tree, library, "no files in one", patched(image.DirectoryOffset("one") + 16, 0));
    Try(tree, library, "a file less in the root", patched(image.DirectoryOffset("") + 16, 2));
    ManifestImage shared = image;
    shared.Patch(image.FileOffset("two/deep/c"), 1);
    shared.Patch(image.DirectoryOffset("void"), 1);
    Try(tree, library, "names shared with the project", shared.Bytes());
    ManifestImage named = image;
    Try(tree, library, "a named root", named.RootName("named").Bytes());
    Try(tree, library, "another release version", patched(12, 0x02000000));
    Try(tree, library, "more strings than there are", patched(image.StringCountOffset(), 4000));
    Try(tree, library, "trailing words", patched(image.FileOffset("one/a") + 32, 0xFFFFFFFF));
}

void LongNames(TraceTree &tree, TracedLibrary &library)
{
    library.SetLogger();
    TraceRelease release = Sample(ManifestImage::Record::Current);
    for (const std::size_t length : {900U, 1023U, 1024U, 5000U, 8180U, 8192U, 8200U, 20000U})
    {
        for (const Storage storage : {Storage::Naked, Storage::Stored})
        {
            TraceFile file{std::string(length, 'L') + std::to_string(static_cast<int>(storage)), "", storage};
            file.missing = true;
            release.files.push_back(file);
            file.path = std::string(length, 'D') + "/" + file.path;
            release.files.push_back(file);
        }
    }
    release.files.push_back({"stored", "stored", Storage::Stored});
    tree.Release(release);
    Try(tree, library, "long names", tree.Read(ManifestPath));
    library.Start(tree.Path("MORV/projects/atlas/releases/1.0.0.0"));
    const int find = library.FindFirst("*");
    while (library.FindNext(find, 2000))
    {
    }
    library.FindClose(find);
}
} // namespace

std::vector<Scenario> ManifestScenarios()
{
    return {{"cut-manifests", CutManifests},
            {"hostile-words", HostileWords},
            {"odd-but-whole", OddButWhole},
            {"long-names", LongNames}};
}
} // namespace Keld::Test::WholeTrace
