// Starts that fail, starts by themselves, shutdowns with open files, and processes that just end.

#include "Consumer/WholeTrace/Scenario.h"

#include "Support/TestTree.h"

namespace Keld::Test::WholeTrace
{
namespace
{
constexpr const char *ReleasePath = "MORV/projects/atlas/releases/1.0.0.0";

TraceRelease Sample()
{
    return {.files = {{"naked", "naked"},
                      {"dir/managed", "managed", Storage::Managed},
                      {"stored", "stored", Storage::Stored},
                      {"zlib", "zlib zlib zlib", Storage::Zlib, "1.0.0.1"},
                      {"lzma", "lzma lzma lzma", Storage::Lzma, "1.0.0.2"}}};
}

void FailingStarts(TraceTree &tree, TracedLibrary &library)
{
    library.SetLogger();
    tree.Release(Sample());
    for (const char *const below : {"",
                                    "MORV",
                                    "MORV/",
                                    "MORV/projects",
                                    "MORV/projects/",
                                    "MORV/projects/atlas",
                                    "MORV/projects/atlas/",
                                    "MORV/projects/atlas/releases",
                                    "MORV/projects/atlas/releases/",
                                    "MORV/projects/atlas/releases/1.0.0",
                                    "MORV/projects/atlas/releases/1.0.0.0.0",
                                    "MORV/projects/atlas/releases/latest",
                                    "MORV/projects/atlas/releases/1.0.0.256",
                                    "MORV/projects/atlas/releases/-1.0.0.0",
                                    "MORV/projects/atlas/Releases/1.0.0.0",
                                    "MORV/Projects/atlas/releases/1.0.0.0",
                                    "morv/projects/atlas/releases/1.0.0.0",
                                    "MORV/solutions/",
                                    "MORV/solutions/suite",
                                    "MORV/solutions/suite/releases/1.0.0.0",
                                    "MORV/solutions/suite/releases/1.0.0.0/deploy",
                                    "MORV/projects/other/releases/1.0.0.0",
                                    "MORV/projects/atlas/releases/2.0.0.0"})
    {
        library.Start(tree.Path(below));
        library.Exists("naked");
        library.Stop();
    }
    for (const char *const directory : {"", "/", ".", "x", "/MORV/projects/x/releases/1.2.3.4", "releases/1.2.3.4"})
    {
        library.Start(directory);
        library.Stop();
    }
}

void ManyWaysToSayIt(TraceTree &tree, TracedLibrary &library)
{
    library.SetLogger();
    tree.Release(Sample());
    const std::string release = tree.Path(ReleasePath);
    std::string backslashes = release;
    for (char &character : backslashes)
    {
        character = character == '/' ? '\\' : character;
    }
    for (const std::string &directory :
         {release + "/", release + "//deploy///", release + "/deploy/any/thing", backslashes, "/" + release,
          tree.Path("MORV//projects/atlas/releases/1.0.0.0"), tree.Path("MORV/projects/atlas/x/y/releases/1.0.0.0"),
          tree.Path("MORV/projects/atlas/releases/01.000.0.0"), tree.Path("MORV/./projects/atlas/releases/1.0.0.0"),
          tree.Path("MORV/solutions/s/projects/atlas/releases/1.0.0.0"),
          tree.Path("MORV/projects/atlas/releases/1.0.0.0/projects/atlas/releases/1.0.0.0"),
          tree.Path("MORV/projects/x/releases/9.9.9.9/MORV/projects/atlas/releases/1.0.0.0")})
    {
        library.Start(directory);
        library.Exists("naked");
        library.Visit("dir/managed");
        library.Stop();
    }
}

void LongDirectories(TraceTree &tree, TracedLibrary &library)
{
    library.SetLogger();
    for (const char *const kind : {"projects", "solutions"})
    {
        const std::string end = std::string("/MORV/") + kind + "/x/releases/1.2.3.4";
        for (const std::size_t length : {990U, 1001U, 1002U, 1006U, 1007U, 1008U, 1009U, 1022U, 1023U, 1024U, 3000U})
        {
            const std::string directory = tree.Path("");
            library.Start(directory + std::string(length - directory.size() - end.size(), 'd') + end);
            library.Stop();
            library.Start(
                tree.Path(std::string("MORV/") + kind + "/" + std::string(length, 'n') + "/releases/1.2.3.4"));
            library.Stop();
        }
    }
}

void ByThemselves(TraceTree &tree, TracedLibrary &library)
{
    library.SetLogger();
    const std::string release = tree.Release(Sample());
    {
        const WorkingDirectory nowhere(tree.Path(""));
        library.Exists("naked");
        library.Open("naked");
        library.FindFirst("*");
        library.StartHere();
        library.Start("MORV/projects/atlas/releases/1.0.0.0"); // relative
        library.Visit("naked");
        library.Stop();
    }
    const WorkingDirectory here(release);
    library.Exists("naked");
    library.StartHere();
    library.Start(release);
    library.Visit("naked");
    library.Stop();
    library.Visit("dir/managed");
    library.Stop();
    library.List("*");
    library.Stop();
    library.StartHere();
    library.Stop();
    library.Stop();
    library.Size(-1);
    library.Read(-1, 0, 1);
}

void OpenAtTheStop(TraceTree &tree, TracedLibrary &library)
{
    library.SetLogger();
    const std::string release = tree.Release(Sample());
    for (int round = 0; round < 2; ++round)
    {
        library.Start(release);
        for (const char *const path : {"naked", "dir/managed", "stored", "zlib", "lzma", "naked", "zlib"})
        {
            library.Open(path);
        }
        library.Close(library.Open("stored"));
        library.ShowDescriptors();
        library.Stop();
        library.ShowDescriptors();
    }
    library.Start(release);
    library.Visit("naked");
}

void OpenAtTheExit(TraceTree &tree, TracedLibrary &library)
{
    library.SetLogger();
    library.Start(tree.Release(Sample()));
    library.Open("naked");
    library.Open("zlib");
    library.Read(library.Open("stored"), 1, 3);
}

void ManyOpens(TraceTree &tree, TracedLibrary &library)
{
    library.SetLogger();
    library.Start(tree.Release(Sample()));
    for (const char *const path : {"naked", "dir/managed", "stored", "zlib", "lzma"})
    {
        std::vector<int> handles;
        handles.reserve(5);
        for (int count = 0; count < 5; ++count)
        {
            handles.push_back(library.Open(path));
        }
        library.ShowDescriptors();
        for (const int handle : handles)
        {
            library.Read(handle, 1, 3);
            library.Close(handle);
        }
        library.ShowDescriptors();
        library.Visit(path);
    }
}

void Loggers(TraceTree &tree, TracedLibrary &library)
{
    const std::string release = tree.Release(Sample());
    library.Start(release); // by the library's own logger, to which an orderly start tells nothing
    library.SetLogger(true);
    library.Start(release);
    library.SetLogger(false);
    library.SetNoLogger();
    library.Start(release);
    library.Stop();
}
} // namespace

std::vector<Scenario> LifetimeScenarios()
{
    return {{"failing-starts", FailingStarts},
            {"many-ways-to-say-it", ManyWaysToSayIt},
            {"long-directories", LongDirectories},
            {"by-themselves", ByThemselves},
            {"open-at-the-stop", OpenAtTheStop},
            {"open-at-the-exit", OpenAtTheExit},
            {"many-opens", ManyOpens},
            {"loggers", Loggers}};
}
} // namespace Keld::Test::WholeTrace
