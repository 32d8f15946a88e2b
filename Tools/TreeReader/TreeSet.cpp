#include "Tools/TreeReader/TreeSet.h"

#include "KeldFoundation/CStd/PathLimit.h"
#include "KeldFoundation/path/Path.h"
#include "KeldMorvIO/LogCapture.h"
#include "KeldMorvIO/TreeWords.h"
#include "KeldMorvIO/environment/WorkingDirectory.h"

#include <filesystem>
#include <optional>
#include <system_error>

namespace Keld::TreeReader
{
namespace
{
constexpr const char *SolutionPrefix = "solution:";

constexpr const char *Advice =
    "change to ROOT/MORV/projects/NAME/releases/VERSION or ROOT/MORV/solutions/NAME/releases/VERSION, or name it "
    "with -C";

/// A text of the form "NAME/VERSION", which names a release whether or not there is one.
std::optional<ReleaseName> ParseReleaseName(std::string text)
{
    ReleaseName name;
    name.isSolution = text.starts_with(SolutionPrefix);
    if (name.isSolution)
    {
        text.erase(0, std::string(SolutionPrefix).size());
    }
    const std::size_t slash = text.find('/');
    const bool isPair = slash != std::string::npos && slash > 0 && text.find('/', slash + 1) == std::string::npos;
    if (!isPair || !ParseVersion(text.c_str() + slash + 1, &name.version) ||
        FormatVersion(name.version) != text.substr(slash + 1))
    {
        return std::nullopt; // what stands behind a version is not ignored: "1.0.0.1O" is no 1.0.0.1
    }
    name.name = text.substr(0, slash);
    const bool isDirectoryWord = name.name == "." || name.name == "..";
    return isDirectoryWord ? std::nullopt : std::optional<ReleaseName>(name);
}

/// The release around a directory that somebody typed, "../1.0.0.1" or a link to one. The rules for a working directory
/// go by the text of a path, so it is resolved first. A root may be a link to a directory of another name: then the
/// text is all there is.
Result<Reference> ResolveTypedDirectory(const std::string &directory)
{
    std::error_code error;
    const std::filesystem::path resolved = std::filesystem::canonical(directory, error);
    if (!error)
    {
        Result<Reference> reference = ResolveDirectory(resolved.string());
        if (reference)
        {
            return reference;
        }
    }
    return ResolveDirectory(std::filesystem::path(directory).lexically_normal().string());
}
} // namespace

Result<Reference> ResolveDirectory(const std::string &directory)
{
    char path[PathBufferSize];
    auto type = MORV::Reader::RuntimeTypeProject;
    Reference reference;
    const MORV::Reader::LogCapture quiet;
    const bool resolved =
        CanonicalizePathBounded(directory.c_str(), path, sizeof path, 0) &&
        MORV::Reader::GetProjectTypeNameAndVersion(path, type, reference.name.name, reference.name.version);
    if (!resolved)
    {
        return Fault{FaultKind::NoRelease, directory, std::string("lies in no release: ") + Advice};
    }
    reference.name.isSolution = type == MORV::Reader::RuntimeTypeSolution;
    reference.root = MORV::Reader::GetMorvRootDirectory(path);
    if (!reference.root.ends_with(MORV::Reader::RootDirectory))
    {
        return Fault{FaultKind::NoRelease, directory,
                     std::string("lies in no directory named ") + MORV::Reader::RootDirectory +
                         ", and by that name alone the library finds a tree: rename its root"};
    }
    return reference;
}

Result<Reference> ResolveReference(const std::string &text, const std::string &workingDirectory,
                                   const std::string &root)
{
    if (text.empty())
    {
        return ResolveDirectory(workingDirectory);
    }
    const std::optional<ReleaseName> name = ParseReleaseName(text);
    if (!name)
    {
        const std::string directory = text.front() == '/' ? text : workingDirectory + "/" + text;
        std::error_code error;
        if (!std::filesystem::is_directory(directory, error))
        {
            return Fault{FaultKind::NoRelease, text,
                         "is neither a directory nor a release, as client/1.0.0.0 or solution:suite/0.0.1.0"};
        }
        return ResolveTypedDirectory(directory);
    }
    const std::string found = root.empty() ? Tree::FindRoot(workingDirectory) : root;
    if (found.empty())
    {
        return Fault{FaultKind::NoRelease, text,
                     "names a release of a tree, but " + workingDirectory + " lies in none: name one with -C"};
    }
    return Reference{found, *name};
}

Tree &TreeSet::GetTree(const std::string &root)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    std::unique_ptr<Tree> &tree = mTrees[root];
    if (tree == nullptr)
    {
        tree = std::make_unique<Tree>(root);
    }
    return *tree;
}

Result<View> TreeSet::Open(const Reference &reference)
{
    return View::Open(GetTree(reference.root), reference.name);
}

Result<View> TreeSet::Open(const std::string &text, const std::string &workingDirectory, const std::string &root)
{
    const Result<Reference> reference = ResolveReference(text, workingDirectory, root);
    return reference ? Open(*reference) : Result<View>(reference.GetFault());
}
} // namespace Keld::TreeReader
