// Releases that are whole: every storage, names and paths of every kind, lookups and enumerations.

#include "Consumer/WholeTrace/Scenario.h"

#include "Support/CompressedStream.h"

#include <filesystem>

namespace Keld::Test::WholeTrace
{
namespace
{
std::vector<TraceFile> SmallFiles()
{
    return {{"readme.txt", "read me"},
            {"data/a.dds", "first texture"},
            {"data/b.dds", "second"},
            {"data/a.b.dds", "two dots"},
            {"data/empty", ""},
            {"Data2/Maps/Valley.map", "Valley"},
            {"data/deep/er/est/leaf", "leaf"}};
}

void WholeRelease(TraceTree &tree, TracedLibrary &library, const TraceRelease &release)
{
    library.SetLogger();
    library.Start(tree.Release(release));
    library.ShowDescriptors();
    library.Walk();
    library.Stop();
    library.ShowDescriptors();
}

void Naked(TraceTree &tree, TracedLibrary &library)
{
    WholeRelease(tree, library, {.files = SmallFiles(), .emptyDirectories = {"data/none", "void"}});
}

void OldRecords(TraceTree &tree, TracedLibrary &library)
{
    std::vector<TraceFile> files = SmallFiles();
    files[1].storage = Storage::Managed;
    files[2].storage = Storage::Zlib;
    files[3].storage = Storage::Stored;
    files[3].version = "2.3.4.5";
    WholeRelease(tree, library, {.version = "2.3.4.5", .files = files, .record = ManifestImage::Record::V0});
}

void Managed(TraceTree &tree, TracedLibrary &library)
{
    std::vector<TraceFile> files = SmallFiles();
    for (std::size_t index = 0; index < files.size(); ++index)
    {
        files[index].storage = Storage::Managed;
        files[index].version = "1.0." + std::to_string(index) + ".255";
    }
    WholeRelease(tree, library, {.version = "9.8.7.6", .files = files});
}

void EveryStorage(TraceTree &tree, TracedLibrary &library)
{
    std::vector<TraceFile> files;
    unsigned count = 0;
    for (const Storage storage : {Storage::Naked, Storage::Managed, Storage::Stored, Storage::Zlib, Storage::Lzma})
    {
        for (const char *const version : {"1.0.0.0", "1.0.0.1", "200.0.0.1"})
        {
            const std::string name = std::to_string(count++);
            const unsigned archive = storage == Storage::Lzma ? 2 : count % 2;
            files.push_back(
                {"all/" + name, PatternedBytes(std::size_t{100} * count, count), storage, version, archive});
            files.push_back(
                {"f" + name + ".bin", RandomBytes(std::size_t{40} * count, count), storage, version, archive});
        }
    }
    WholeRelease(tree, library, {.version = "1.0.0.1", .files = files});
}

// The manifest holds them unsorted, and the library sorts them.
void OddNames(TraceTree &tree, TracedLibrary &library)
{
    const char *const names[] = {
        "zeta",        "Alpha", "alpha2", "ALPHA1",  "_under", "[bracket]",    "~tilde",       "a b c",
        "*star",       "que?",  "dot.",   ".hidden", "...",    "\xC3\x84rger", "\xFF\xFE\x80", "m\xC3\xB6we",
        "M\xC3\x96WE", "@at",   "`tick",  "Z",       "z0",     "tab\there",    "%s%n%d",       "-"};
    std::vector<TraceFile> files;
    for (const char *const name : names)
    {
        files.push_back({name, std::string("content of ") + name});
        files.push_back({std::string("dir ") + name + "/x" + name, name});
    }
    WholeRelease(tree, library, {.files = files});
    library.StartHere();
    library.Start(tree.Path("MORV/projects/atlas/releases/1.0.0.0"));
    for (const char *const name : names)
    {
        library.Exists(name);
        library.Exists(std::string("DIR ") + name);
    }
    library.Exists("M\xC3\xB6WE");
    library.Exists("\xDF\xDE\x80");
    library.Exists("{BRACKET]");
    library.Exists("@AT");
    library.Exists("`at");
    library.List("dir */x*");
    library.List("dir zeta/X*A");
}

void OddLookups(TraceTree &tree, TracedLibrary &library)
{
    library.SetLogger();
    library.Exists(nullptr);
    library.Exists("");
    library.Open(nullptr);
    library.Open("");
    library.FindFirst(nullptr);
    library.Start(tree.Release({.files = SmallFiles(), .emptyDirectories = {"void"}}));
    for (const char *const path : {"/",
                                   "\\",
                                   "//",
                                   "/readme.txt",
                                   "readme.txt/",
                                   "readme.txt//\\",
                                   "README.TXT",
                                   "readme.tx",
                                   "readme.txtt",
                                   "readme.txt\\",
                                   "data",
                                   "data/",
                                   "DATA",
                                   "Data2",
                                   "data2/maps/valley.MAP",
                                   "data\\a.dds",
                                   "data//a.dds",
                                   "data/\\//a.dds",
                                   "data/./a.dds",
                                   "data/../readme.txt",
                                   ".",
                                   "..",
                                   "./readme.txt",
                                   "data/a.dds/x",
                                   "a.dds",
                                   "deep/er/est/leaf",
                                   "er/est/leaf",
                                   "leaf",
                                   "data/deep/er/est/leaf",
                                   "data/deep/er/est/LEAF/",
                                   "xdata/a.dds",
                                   "data/none",
                                   "void",
                                   "void/x",
                                   " readme.txt",
                                   "readme.txt ",
                                   "data/a.dd",
                                   "data/a.dds\n",
                                   "atlas",
                                   "MORV/projects/atlas/releases/1.0.0.0/deploy/readme.txt",
                                   "data/empty"})
    {
        library.Exists(path);
        library.Close(library.Open(path));
    }
    for (const std::size_t length : {1022U, 1023U, 1024U, 1025U, 5000U, 100000U})
    {
        library.Exists(std::string(length, 'n'));
        library.Open(std::string(length, 'n'));
        library.Exists("readme.txt" + std::string(length, '/'));
        library.Exists("data" + std::string(length, '\\') + "a.dds");
        library.FindClose(library.FindFirst((std::string(length, 'n') + "/*").c_str()));
        library.List("data" + std::string(length, '/') + "*.dds");
        library.List(std::string(length, '*'));
    }
    library.Size(-1);
    library.Read(-1, 0, 0);
    library.Read(-1, 0, 5);
    library.Close(-1);
    library.FindNext(-1);
    library.FindClose(-1);
}

void Patterns(TraceTree &tree, TracedLibrary &library)
{
    std::vector<TraceFile> files = SmallFiles();
    for (const char *const name :
         {"abc", "abcbc", "ab", "a", "a.", "a.txt", "A.DDS", "b.c.d", "noext", ".start", "x.y."})
    {
        files.push_back({std::string("p/") + name, name});
    }
    library.SetLogger();
    library.Start(tree.Release({.files = files, .emptyDirectories = {"void", "p/a dir", "p/d.ir"}}));
    for (const char *const pattern :
         {"*",   "",    "*.*",    "*.",     "?",     "??",    "a?",      "a??",   "*c",    "*bc",
          "a*",  "a*c", "*?c",    "**",     "*.dds", "*.DDS", "*.b.dds", "a.*",   "a?txt", "*.txt",
          "ab",  "abc", "?*",     "*?",     ".*",    "*.d",   "*.c.d",   "*d.ir", "*dir",  "x.y.",
          "*y.", "A*",  "noext.", "noext*", "*b*",   "*b?",   "a*b*c",   "....",  "*.*.*"})
    {
        library.List(std::string("p/") + pattern);
    }
    for (const char *const path :
         {"data", "data/", "data/*", "\\data\\*", "/*", "//*", "/data/*", "DATA/*.DDS", "void/*", "readme.txt/*",
          "nowhere/*", "void", "*", "data/deep/er/*", "data/de*/er/*", "/"})
    {
        library.List(path);
    }
    for (const std::uint32_t capacity : {0U, 1U, 2U, 5U, 1024U})
    {
        const int find = library.FindFirst("p/*");
        for (int step = 0; step < 4; ++step)
        {
            library.FindNext(find, capacity);
        }
        library.FindNextWithoutPlaces(find);
        library.FindNext(find, capacity);
        library.FindClose(find);
    }
    const int nothing = library.FindFirst("p/nothing");
    library.FindNext(nothing);
    library.FindNext(nothing);
    library.FindClose(nothing);
}

std::string LongPath(std::size_t length)
{
    std::string path;
    while (length > 100)
    {
        path += std::string(49, static_cast<char>('a' + path.size() / 50 % 26)) + '/';
        length -= 50;
    }
    return path + std::string(length, 'f');
}

// Around the limits of a virtual path and of a path on disk, which stands below the tree's root.
void LongPaths(TraceTree &tree, TracedLibrary &library)
{
    const std::size_t naked = tree.Path("MORV/projects/atlas/releases/1.0.0.0/deploy/").size();
    const std::size_t managed = tree.Path("MORV/projects/atlas/managedfiles/1.0.0.0/").size();
    std::vector<TraceFile> files = {{"short", "short"}};
    for (std::size_t length = 1021; length <= 1026; ++length)
    {
        files.push_back({LongPath(length - naked), "naked", Storage::Naked});
        files.push_back({"m" + LongPath(length - managed - 1), "managed", Storage::Managed});
        files.push_back({"v" + LongPath(length - 1), "archived", Storage::Stored});
        files.push_back({"z" + LongPath(length - 1), "zlib", Storage::Zlib});
    }
    for (TraceFile &file : files)
    {
        file.size = 100; // so that an open tells the path that it cannot serve
    }
    library.SetLogger();
    library.Start(tree.Release({.files = files}));
    for (const TraceFile &file : files)
    {
        library.Exists(file.path);
        library.Close(library.Open(file.path));
    }
    library.List("*");
    library.List("vaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa/*");
}

void DeepTree(TraceTree &tree, TracedLibrary &library)
{
    std::string path;
    std::vector<TraceFile> files;
    for (int level = 0; level < 400; ++level)
    {
        path += level % 3 == 0 ? "d/" : "Dd/";
        if (level % 40 == 7)
        {
            files.push_back({path + "leaf", std::to_string(level), Storage::Naked});
            files.push_back({path + "stored", std::to_string(level), Storage::Stored});
        }
    }
    library.SetLogger();
    library.Start(tree.Release({.files = files, .emptyDirectories = {path}}));
    for (const TraceFile &file : files)
    {
        library.Exists(file.path);
        library.Exists(file.path.substr(0, file.path.size() / 2));
        library.Close(library.Open(file.path));
    }
    library.List(path.substr(0, 500) + "*");
    library.Stop();
}

// Enough entries for long chains, sorts beyond their small cases and names that share a start.
void ManyFiles(TraceTree &tree, TracedLibrary &library)
{
    std::vector<TraceFile> files;
    std::uint32_t state = 1;
    for (unsigned index = 0; index < 700; ++index)
    {
        state = state * 1664525 + 1013904223;
        const std::string directory = index % 7 == 0 ? "" : "Area" + std::to_string(state >> 28) + "/";
        files.push_back({directory + "Texture" + std::to_string(state >> 8) + (index % 2 == 0 ? ".DDS" : ".dds"),
                         std::to_string(index), Storage::Naked});
    }
    library.SetLogger();
    library.Start(tree.Release({.files = files}));
    for (const char *const path : {"*", "area0/*", "AREA1/*", "Area2/*.dds", "Area15/*1.dds", "Area7/texture1*"})
    {
        library.List(path);
    }
    for (std::size_t index = 0; index < files.size(); index += 29)
    {
        library.Visit(files[index].path);
        library.Exists(files[index].path + "x");
        library.Exists(files[index].path.substr(1));
    }
}

void Links(TraceTree &tree, TracedLibrary &library)
{
    namespace fs = std::filesystem;
    const std::string release = tree.Release({.files = {{"file", "content"},
                                                        {"link", "", Storage::Naked, "1.0.0.0", 0, true},
                                                        {"dangling", "", Storage::Naked, "1.0.0.0", 0, true},
                                                        {"loop", "", Storage::Managed, "1.0.0.0", 0, true},
                                                        {"directory", "", Storage::Naked, "1.0.0.0", 0, true},
                                                        {"managed directory", "", Storage::Managed, "1.0.0.0", 0, true},
                                                        {"file/below", "", Storage::Managed, "1.0.0.0", 0, true},
                                                        {"device", "", Storage::Naked, "1.0.0.0", 0, true}}});
    tree.MakeDirectory("MORV/projects/atlas/managedfiles/1.0.0.0/managed directory");
    tree.MakeDirectory("MORV/projects/atlas/releases/1.0.0.0/deploy/directory");
    fs::create_symlink("file", release + "/deploy/link");
    fs::create_symlink("nothing", release + "/deploy/dangling");
    fs::create_symlink("/dev/null", release + "/deploy/device");
    fs::create_symlink("loop", tree.Path("MORV/projects/atlas/managedfiles/1.0.0.0/loop"));
    library.SetLogger();
    library.Start(release);
    library.Walk();
}

// Files that were there at the start and are gone, or something else, at the open.
void GoneAfterTheStart(TraceTree &tree, TracedLibrary &library)
{
    library.SetLogger();
    const std::string deploy = "MORV/projects/atlas/releases/1.0.0.0/deploy/";
    const std::string managed = "MORV/projects/atlas/managedfiles/3.0.0.0/";
    library.Start(tree.Release({.files = {{"gone", "here"},
                                          {"turned", "here"},
                                          {"grown", "here"},
                                          {"kept", "here"},
                                          {"in/managed", "here", Storage::Managed, "3.0.0.0"}}}));
    const int kept = library.Open("kept");
    tree.Remove(deploy + "kept");
    tree.Remove(deploy + "gone");
    tree.Remove(deploy + "turned");
    tree.MakeDirectory(deploy + "turned");
    tree.Write(deploy + "grown", "grown by far");
    tree.Remove(managed + "in");
    for (const char *const path : {"gone", "turned", "grown", "in/managed", "gone", "in"})
    {
        library.Exists(path);
        const int handle = library.Open(path);
        library.Size(handle);
        library.Read(handle, 0, 100);
        library.Close(handle);
    }
    library.Read(kept, 1, 100);
    const int again = library.Open("kept");
    library.Close(again);
    library.Close(kept);
    library.Open("kept");
}
} // namespace

std::vector<Scenario> ReleaseScenarios()
{
    return {{"naked", Naked},        {"old-records", OldRecords},
            {"managed", Managed},    {"every-storage", EveryStorage},
            {"odd-names", OddNames}, {"odd-lookups", OddLookups},
            {"patterns", Patterns},  {"long-paths", LongPaths},
            {"deep-tree", DeepTree}, {"many-files", ManyFiles},
            {"links", Links},        {"gone-after-the-start", GoneAfterTheStart}};
}
} // namespace Keld::Test::WholeTrace
