// Archives of which something is missing or wrong, and what is deleted because of it.

#include "Consumer/WholeTrace/Scenario.h"

#include "Support/CompressedStream.h"

#include <filesystem>

namespace Keld::Test::WholeTrace
{
namespace
{
constexpr const char *Archives = "MORV/projects/atlas/filearchives";

void StartAndShow(TraceTree &tree, TracedLibrary &library, const std::string &release)
{
    library.SetLogger();
    tree.ShowChanges(Archives);
    library.Start(release);
    library.ShowDescriptors();
    library.Walk();
    library.Stop();
    library.ShowDescriptors();
    tree.ShowChanges(Archives);
    library.Note("once more");
    library.Start(release);
    library.Exists("alone");
}

// Several archives of one version; a path that two of them hold comes from the one that the file system names first.
void SeveralArchives(TraceTree &tree, TracedLibrary &library)
{
    std::vector<TraceFile> files = {{"alone", "naked"}};
    for (unsigned archive = 0; archive < 5; ++archive)
    {
        const std::string name = "from " + std::to_string(archive);
        files.push_back({name + "/file", "content " + name, Storage::Stored, "1.0.0.0", archive});
        files.push_back({name + "/more", PatternedBytes(300, archive), Storage::Zlib, "1.0.0.0", archive});
    }
    const std::string release = tree.Release({.files = files});
    const std::string first = tree.Read(tree.Index("atlas", "1.0.0.0", 1));
    tree.Write(tree.Index("atlas", "1.0.0.0", 3), first); // now without files of its own, and with those of archive 1
    StartAndShow(tree, library, release);
}

void MissingParts(TraceTree &tree, TracedLibrary &library)
{
    const std::string release = tree.Release({.files = {{"alone", "naked"},
                                                        {"no entry", "", Storage::Stored, "1.0.0.0", 0, true},
                                                        {"there", "there", Storage::Stored, "1.0.0.0"},
                                                        {"no version", "", Storage::Stored, "1.2.0.0", 0, true},
                                                        {"no version either", "", Storage::Zlib, "1.2.0.0", 0, true},
                                                        {"no data file", "gone", Storage::Stored, "1.3.0.0"},
                                                        {"deep/no data file", "gone", Storage::Zlib, "1.3.0.0"},
                                                        {"data directory", "gone", Storage::Stored, "1.4.0.0"},
                                                        {"cut data file", "gone by half", Storage::Stored, "1.5.0.0"},
                                                        {"cut zlib", PatternedBytes(500, 1), Storage::Zlib, "1.5.0.0"},
                                                        {"no index", "gone", Storage::Stored, "1.6.0.0"},
                                                        {"missing naked", "", Storage::Naked, "1.0.0.0", 0, true},
                                                        {"dir/missing", "", Storage::Managed, "7.0.0.0", 0, true}}});
    tree.Remove(tree.Index("atlas", "1.3.0.0") + ".dat");
    tree.Remove(tree.Index("atlas", "1.4.0.0") + ".dat");
    tree.MakeDirectory(tree.Index("atlas", "1.4.0.0") + ".dat");
    tree.Cut(tree.Index("atlas", "1.5.0.0") + ".dat", 8);
    tree.Remove(tree.Index("atlas", "1.6.0.0"));
    StartAndShow(tree, library, release);
}

// One version for each way in which an index is wrong, with one archive in it.
class BadIndexes
{
public:
    explicit BadIndexes(TraceTree &tree) : mTree(tree)
    {
        TraceRelease release;
        release.files.push_back({"alone", "naked"});
        for (unsigned version = 0; version < Count; ++version)
        {
            const std::string text = VersionOf(version);
            release.files.push_back({"a" + text, "content " + text, Storage::Stored, text});
            release.files.push_back({"b" + text, "second", Storage::Stored, text});
        }
        mRelease = mTree.Release(release);
    }

    const std::string &Release() const { return mRelease; }

    /// The next index that nothing has been done to.
    std::string Next() { return mTree.Index("atlas", VersionOf(mNext++)); }

    static constexpr unsigned Count = 28;

private:
    static std::string VersionOf(unsigned version) { return "3.0.0." + std::to_string(version); }

    TraceTree &mTree;
    std::string mRelease;
    unsigned mNext = 1; // the first one stays whole
};

void UnusableIndexes(TraceTree &tree, TracedLibrary &library)
{
    namespace fs = std::filesystem;
    BadIndexes indexes(tree);
    for (const std::size_t size : {0U, 1U, 19U, 20U, 23U, 24U, 56U, 64U, 90U})
    {
        tree.Cut(indexes.Next(), size);
    }
    tree.Patch(indexes.Next(), 0, 0x18BE0EF1);  // another magic
    tree.Patch(indexes.Next(), 4, 2);           // another version
    tree.Patch(indexes.Next(), 8, 0xFFFFFFFF);  // the word that nobody reads
    tree.Patch(indexes.Next(), 12, 0xFFFFFFFC); // lists outside
    tree.Patch(indexes.Next(), 16, 0xFFFFFFFC);
    tree.Patch(indexes.Next(), 20, 0); // no records
    tree.Patch(indexes.Next(), 20, 3); // more than there are: one list runs into the next
    tree.Patch(indexes.Next(), 20, 0x10000000);
    tree.Patch(indexes.Next(), 32, 0);          // a size of 0, which does not make the sum 0
    tree.Patch(indexes.Next(), 24, 0);          // another hash
    tree.Patch(indexes.Next(), 36, 0xFFFFFFFF); // any name
    tree.Patch(indexes.Next(), 36, 2);          // no such path
    tree.Patch(indexes.Next(), 60, 0x20000000); // as many paths
    tree.Patch(indexes.Next(), 64, 0xFFFFFF00); // a text outside
    tree.Patch(indexes.Next(), 28, 0xFFFFFFF0); // data behind the end
    const std::string zero = indexes.Next();
    tree.Patch(zero, 32, 0x80000000); // a sum of 0
    tree.Patch(zero, 48, 0x80000000);
    const std::string directory = indexes.Next();
    tree.Remove(directory);
    tree.MakeDirectory(directory);
    const std::string dangling = indexes.Next();
    tree.Remove(dangling);
    fs::create_symlink("nothing", tree.Path(dangling));
    StartAndShow(tree, library, indexes.Release());
}

// A version in which a bad index stands among good ones.
void OneBadOfThree(TraceTree &tree, TracedLibrary &library)
{
    const std::string release = tree.Release({.files = {{"alone", "naked"},
                                                        {"first", "first", Storage::Stored, "1.0.0.0", 0},
                                                        {"second", "second", Storage::Stored, "1.0.0.0", 1},
                                                        {"third", "third", Storage::Stored, "1.0.0.0", 2},
                                                        {"a/third", "third", Storage::Stored, "1.0.0.0", 2}}});
    tree.Patch(tree.Index("atlas", "1.0.0.0", 1), 0, 0);
    StartAndShow(tree, library, release);
}

// The search relies on the order of the records: what it finds in the wrong order is its own.
void UnsortedIndex(TraceTree &tree, TracedLibrary &library)
{
    TraceRelease release;
    release.files.push_back({"alone", "naked"});
    for (unsigned index = 0; index < 24; ++index)
    {
        const std::string name = "file " + std::to_string(index);
        release.files.push_back({name, "content of " + name, Storage::Stored});
        release.files.push_back({name, "content of " + name, Storage::Stored, "1.0.0.0", 1});
        release.files.back().path = "other " + name;
    }
    const std::string directory = tree.Release(release);
    for (const unsigned archive : {0U, 1U})
    {
        const std::string index = tree.Index("atlas", "1.0.0.0", archive);
        const std::string bytes = tree.Read(index);
        for (const auto &[to, from] : {std::pair{2U, 20U}, std::pair{20U, 2U}, std::pair{7U, 8U}, std::pair{8U, 7U},
                                       std::pair{11U, 11U + archive}, std::pair{12U, 12U - archive}})
        {
            std::string patched = tree.Read(index);
            patched.replace(24 + 16 * to, 16, bytes, 24 + 16 * from, 16);
            tree.Write(index, patched);
        }
    }
    StartAndShow(tree, library, directory);
}

// Names are found without regard to case, and bytes above 0x7F hash with their sign.
void NamesInIndexes(TraceTree &tree, TracedLibrary &library)
{
    const std::string release = tree.Release(
        {.files = {{"alone", "naked"},
                   {"UPPER/Case.TXT", "1", Storage::Stored},
                   {"\xC3\x84\xFF/\x80", "22", Storage::Stored},
                   {"a very long name that makes the hash wrap around a couple of times/x", "333", Storage::Stored},
                   {"%s %n %08lx", "4444", Storage::Stored}}});
    std::string index = tree.Read(tree.Index("atlas", "1.0.0.0"));
    const std::size_t at = index.find("UPPER/Case.TXT");
    index.replace(at, 14, "upper/cASE.txt");
    tree.Write(tree.Index("atlas", "1.0.0.0"), index);
    StartAndShow(tree, library, release);
}

// The release's own name and version are what its manifest says, wherever that lies.
void AnotherNameInside(TraceTree &tree, TracedLibrary &library)
{
    TraceRelease release{
        .project = "inner", .version = "5.6.7.8", .files = {{"alone", "naked"}, {"x/y", "stored", Storage::Stored}}};
    tree.Release(release);
    tree.Write("MORV/projects/outer/releases/1.0.0.0/releasemanifest", TraceTree::Manifest(release).Bytes());
    library.SetLogger();
    library.Start(tree.Path("MORV/projects/outer/releases/1.0.0.0"));
    library.Walk();
}

void NothingLeft(TraceTree &tree, TracedLibrary &library)
{
    library.SetLogger();
    library.Start(tree.Release(
        {.files = {{"a", "", Storage::Naked, "1.0.0.0", 0, true}, {"b/c", "", Storage::Stored, "1.0.0.0", 0, true}}}));
    library.Exists("/");
    library.Exists("b");
    library.Open("a");
    library.FindFirst("*");
    library.Start(tree.Path(""));
}
} // namespace

std::vector<Scenario> ArchiveScenarios()
{
    return {{"several-archives", SeveralArchives},      {"missing-parts", MissingParts},
            {"unusable-indexes", UnusableIndexes},      {"one-bad-of-three", OneBadOfThree},
            {"unsorted-index", UnsortedIndex},          {"names-in-indexes", NamesInIndexes},
            {"another-name-inside", AnotherNameInside}, {"nothing-left", NothingLeft}};
}
} // namespace Keld::Test::WholeTrace
