#pragma once

#include "Tools/TreeReader/Census.h"
#include "Tools/TreeReader/TreeSet.h"

#include "KeldFoundation/CStd/BasicTypes.h"
#include "KeldMorvIO/listing/ReleaseManifestFormat.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Keld::Morv
{
/// The file system of a release, by one of two roads that give the same answers: the reading core, or the library's
/// exported calls. Paths are canonical virtual paths; the empty one is the root.
class FileSystem
{
public:
    struct Entry
    {
        std::string name;
        bool isDirectory = false;
        uint64 size = 0;

        /// What the manifest says; null for a directory, and for everything through the library. Lives as long as the
        /// file system.
        const MORV::Reader::FileTableFields *fields = nullptr;
    };

    using Visit = std::function<void(const Entry &)>;
    using Sink = std::function<void(std::string_view)>;

    /// The part of a file that is wanted.
    struct Range
    {
        uint64 offset = 0;
        uint64 length = ~uint64{0};
    };

    explicit FileSystem(TreeReader::Reference reference) : mReference(std::move(reference)) {}
    virtual ~FileSystem() = default;

    FileSystem(const FileSystem &) = delete;
    FileSystem &operator=(const FileSystem &) = delete;

    /// The release, and the tree that it lies in.
    const TreeReader::Reference &GetReference() const { return mReference; }

    virtual bool Exists(const std::string &path) const = 0;
    virtual bool IsDirectory(const std::string &path) const = 0;

    /// Walks a directory's entries whose names match the library's wildcard pattern. False when there is no such
    /// directory.
    virtual bool Enumerate(const std::string &directory, const std::string &pattern, const Visit &visit) const = 0;

    /// Hands a file's content on in pieces. Throws TreeError when it is a directory, cannot be opened, is damaged or
    /// ends early, or when the range begins behind its end. Of several layers the first that has the path decides what
    /// it is, though IsDirectory is true where any has such a directory.
    virtual void ReadFile(const std::string &path, const Range &range, const Sink &sink) = 0;

    /// Why nothing has a path, as ExplainAbsence, as far as the road can tell.
    virtual std::string ExplainAbsence(const std::string &path) const = 0;

    /// Whether something is missing or damaged, so that not all can be served. It has been told.
    virtual bool IsDamaged() const = 0;

    /// What is missing, as far as the road can tell: null through the library.
    virtual const TreeReader::Census *GetCensus() const = 0;

    /// A path as it is typed in a shell. One that begins with "/" or "./" means what it means behind that, which a note
    /// says.
    virtual std::string ResolveTyped(const std::string &typed) const = 0;

    /// All entries of a directory, or nothing when there is no such directory.
    std::optional<std::vector<Entry>> List(const std::string &directory) const;

    /// The entry of a path other than the root, with its name as the release spells it, or nothing.
    std::optional<Entry> FindEntry(const std::string &path) const;

protected:
    [[noreturn]] static void RefuseDirectory(const std::string &path);

private:
    const TreeReader::Reference mReference;
};

/// Whether an entry of a directory is a subdirectory that can be asked for by its name. A damaged release can list
/// names that are empty, double, or paths, and such a name leads to another entry, which may be the very directory that
/// lists it. \param entries of one directory, in its order, with all subdirectories.
bool LeadsDown(const std::vector<FileSystem::Entry> &entries, std::size_t index);

/// "directory/name", or the name alone in the root.
std::string JoinVirtual(const std::string &directory, const std::string &name);
} // namespace Keld::Morv
