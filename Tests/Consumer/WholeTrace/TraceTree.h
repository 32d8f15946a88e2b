#pragma once

#include "Consumer/WholeTrace/Trace.h"
#include "Support/ManifestImage.h"
#include "Support/TempTree.h"

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace Keld::Test::WholeTrace
{
enum class Storage
{
    Naked,
    Managed,
    Stored, ///< in an archive, as are the next two
    Zlib,
    Lzma
};

/// A file of a release, and what is wrong with it.
struct TraceFile
{
    std::string path;
    std::string content = {};
    Storage storage = Storage::Naked;
    std::string version = "1.0.0.0";
    unsigned archive = 0;                         ///< which of its version's archives, in the file system's order
    bool missing = false;                         ///< in the manifest, but neither on disk nor in an index
    std::optional<std::uint32_t> size = {};       ///< what the manifest says
    std::optional<std::string> stored = {};       ///< what lies in the archive
    std::optional<std::uint32_t> storedSize = {}; ///< what the index says
};

struct TraceRelease
{
    std::string project = "atlas";
    std::string version = "1.0.0.0";
    std::vector<TraceFile> files;
    std::vector<std::string> emptyDirectories = {};
    ManifestImage::Record record = ManifestImage::Record::Current;
};

/// A deployment tree whose root has the same length on every machine, since the library's limits count its bytes.
///
/// Archives of one version are read in the order that the file system gives. The tree finds that order out and lays the
/// archives accordingly: archive 0 is the one that comes first. Their names in the trace tell the version and the
/// place.
class TraceTree
{
public:
    static constexpr std::size_t RootLength = 120; ///< of the directory that holds "MORV"

    /// \param disk an empty directory, removed by its owner
    TraceTree(const TempTree &disk, Trace &trace);

    /// An absolute path below the directory that holds "MORV".
    std::string Path(const std::string &relative) const { return mRoot + "/" + relative; }
    std::string Write(const std::string &relative, std::string_view bytes) const;
    std::string Read(const std::string &relative) const;
    void MakeDirectory(const std::string &relative) const;
    void Remove(const std::string &relative) const;

    /// Cuts a file, or patches a word of it.
    void Cut(const std::string &relative, std::size_t size) const;
    void Patch(const std::string &relative, std::size_t offset, std::uint32_t word) const;

    /// Writes a release with all that belongs to it. Gives its directory's absolute path.
    std::string Release(const TraceRelease &release);

    /// The manifest alone, for tests that patch it.
    static ManifestImage Manifest(const TraceRelease &release);

    /// Relative path of an archive's index.
    std::string Index(const std::string &project, const std::string &version, unsigned archive = 0) const;

    /// A solution's directory with both text manifests as they are given.
    std::string Solution(const std::string &solutionManifest, const std::string &configurationManifest);

    /// Tells what has changed below a directory since the last look, and a digest of everything there.
    void ShowChanges(const std::string &relative);

private:
    void WriteArchives(const TraceRelease &release);
    std::vector<std::string> MakeArchives(const std::string &directory, unsigned count);

    const TempTree &mDisk;
    Trace &mTrace;
    std::string mBelowDisk;
    std::string mRoot;
    unsigned mArchiveCount = 0;
    std::set<std::string> mShown;
    std::map<std::string, std::vector<std::string>> mArchives; ///< by directory: indexes in order, without extension
};

/// Lines with their ends.
std::string Lines(const std::vector<std::string> &lines, const std::string &end = "\n");
} // namespace Keld::Test::WholeTrace
