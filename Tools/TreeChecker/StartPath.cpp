#include "Tools/TreeChecker/StartPath.h"

#include "Tools/TreeReader/TreeText.h"

#include "KeldFoundation/CStd/PathLimit.h"
#include "KeldFoundation/path/Path.h"
#include "KeldMorvIO/LogCapture.h"
#include "KeldMorvIO/TreeWords.h"
#include "KeldMorvIO/environment/WorkingDirectory.h"

#include <sstream>

namespace Keld::TreeChecker
{
using TreeReader::Fault;
using TreeReader::FaultKind;

namespace
{
constexpr const char *Advice = "start the program in ROOT/MORV/projects/NAME/releases/VERSION or "
                               "ROOT/MORV/solutions/NAME/releases/VERSION, or below";

/// The directory on the way that is a word of the tree but for its case, or an empty text.
std::string FindMisspelled(const std::string &path, const std::string &word)
{
    std::istringstream stream(path);
    std::string name;
    while (std::getline(stream, name, '/'))
    {
        if (name != word && TreeReader::EqualsIgnoringCase(name, word))
        {
            return name;
        }
    }
    return "";
}

/// By the library's own first words about a path without a release.
StartCause ExplainPath(const std::string &path, const std::string &log)
{
    const auto make = [&](const std::string &text, const std::string &remedy)
    {
        return StartCause{{FaultKind::NoRelease, path, text}, remedy, log};
    };
    if (log.starts_with("Did not find keywords"))
    {
        for (const char *word : {MORV::Reader::ProjectsDirectory, MORV::Reader::SolutionsDirectory})
        {
            const std::string name = FindMisspelled(path, word);
            if (!name.empty())
            {
                return make("lies in a directory \"" + name + "\", which the library knows as \"" + word + "\" alone",
                            "rename that directory to \"" + std::string(word) + "\"");
            }
        }
        return make("lies in no project and in no solution", Advice);
    }
    if (log.starts_with("Invalid release format"))
    {
        return make("lies in a release that is no version: four numbers from 0 to 255 with dots between",
                    "rename the directory below \"releases\" to the release's version");
    }
    return make("lies in a project or solution, but in no release of it", Advice);
}

/// Where the word stands that tells project from solution: behind the root, or by accident in front of it.
bool IsWordInFrontOfRoot(const StartPath &path)
{
    const std::string word =
        std::string(path.name.isSolution ? MORV::Reader::SolutionsDirectory : MORV::Reader::ProjectsDirectory) + "/";
    const std::size_t place = path.canonical.rfind(word);
    return place != std::string::npos && place < path.root.size();
}

StartCause ExplainRoot(const StartPath &path, const Fault &fault)
{
    const std::string name = FindMisspelled(path.canonical, MORV::Reader::RootDirectory);
    if (!name.empty())
    {
        return {{FaultKind::NoRelease, path.canonical,
                 "lies in a tree whose root is called \"" + name +
                     "\", and the library knows it as \"MORV\" alone: it "
                     "looks for " +
                     fault.path},
                "rename the root to \"MORV\"",
                ""};
    }
    return {{FaultKind::NoRelease, path.canonical,
             "lies in no directory called \"MORV\", by which the library finds the root of a tree: it looks for " +
                 fault.path},
            "put the tree's \"projects\" and \"solutions\" into a directory called \"MORV\"",
            ""};
}
} // namespace

bool ReadStartPath(const std::string &directory, StartPath &path, StartCause &cause)
{
    char canonical[PathBufferSize];
    if (!CanonicalizePathBounded(directory.c_str(), canonical, sizeof canonical, 0))
    {
        cause = {{FaultKind::PathTooLong, directory, "is a path of 1,024 bytes or more, which the library refuses"},
                 "move the tree to a place with a shorter path",
                 ""};
        return false;
    }
    path.canonical = canonical;
    path.root = MORV::Reader::GetMorvRootDirectory(canonical);
    auto type = MORV::Reader::RuntimeTypeProject;
    const MORV::Reader::LogCapture log;
    const bool isRead = MORV::Reader::GetProjectTypeNameAndVersion(canonical, type, path.name.name, path.name.version);
    path.name.isSolution = type == MORV::Reader::RuntimeTypeSolution;
    if (!isRead)
    {
        cause = ExplainPath(path.canonical, log.GetFailures().front());
    }
    return isRead;
}

StartCause ExplainAbsence(const StartPath &path, const std::string &expected, const Fault &fault)
{
    if (!path.root.ends_with(MORV::Reader::RootDirectory))
    {
        return ExplainRoot(path, fault);
    }
    const char *kind = path.name.isSolution ? "solution" : "project";
    const std::string reading = std::string("is taken for release ") + FormatVersion(path.name.version) + " of the " +
                                kind + " \"" + path.name.name + "\": the library looks for " + fault.path;
    if (IsWordInFrontOfRoot(path))
    {
        return {{FaultKind::NoRelease, path.canonical,
                 reading + ", as a directory above the root ends in \"" + kind + "s\""},
                std::string("move the tree out of the directory whose name ends in \"") + kind + "s\"",
                ""};
    }
    if (!(path.canonical + "/").starts_with(expected + "/"))
    {
        return {{FaultKind::NoRelease, path.canonical, reading + ", which is another place"},
                "rename or move directories, so that the release lies in " + expected,
                ""};
    }
    return {fault,
            std::string("pack or copy release ") + FormatVersion(path.name.version) + " of the " + kind + " \"" +
                path.name.name + "\" into the tree again",
            ""};
}
} // namespace Keld::TreeChecker
