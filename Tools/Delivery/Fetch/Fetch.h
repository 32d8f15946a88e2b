#pragma once

#include "Tools/Delivery/Fetch/ReleaseFetch.h"
#include "Tools/Delivery/Sources/Source.h"
#include "Tools/TreeReader/TreeSet.h"

#include <functional>
#include <string>
#include <vector>

namespace Keld::Delivery
{
enum class FetchPhase
{
    Comparing,
    Downloading,
    Checking
};

struct FetchRequest
{
    TreeReader::ReleaseName wanted;
    std::string root;          ///< the tree to bring it to; made where it is missing
    bool decode = true;        ///< hold all that comes against its digests
    bool allowPartial = false; ///< make new archives of parts of large ones

    /// What comes has to be told of by a shiplist that is signed with this key. Null asks for no signature. Parts of
    /// archives cannot be proved so, and none are made then.
    const PublicKey *key = nullptr;

    bool protect = false;     ///< leave the archives in directories that nobody may write
    bool sync = true;         ///< bring to disk what a loss of power could otherwise take
    unsigned threadCount = 1; ///< for comparing and checking

    /// Called at the begin of each phase, with the bytes to be gone through, or 0 where nobody knows.
    std::function<void(FetchPhase, uint64)> begin = [](FetchPhase, uint64) {};

    /// Told of bytes that were gone through. By any thread.
    std::function<void(uint64)> advance = [](uint64) {};

    /// Called again and again, by any thread. What it throws ends the work; what came stays for the next run.
    std::function<void()> checkpoint = [] {};

    /// As ArrivalOptions::putAside.
    std::function<void(const std::string &path, const std::string &aside)> putAside = {};

    /// Asked about a release or a solution that is here with another manifest than the source has: whether that is
    /// taken as damage, and replaced. Where it is not set, or says no, the fetch is refused.
    std::function<bool(const TreeReader::ReleaseName &name, const LargeVector<char> &theirs)> mayReplace = {};

    /// Called before each step that changes the tree; for tests.
    std::function<void()> step = [] {};
};

/// What became of one release.
struct FetchedRelease
{
    TreeReader::ReleaseName name;
    bool wasThere = false; ///< whole, and was left alone
};

struct FetchReport
{
    std::vector<FetchedRelease> releases; ///< the projects', then the solution
    FetchNumbers numbers;

    bool WasThere() const;
};

/// Brings a release, and with a solution those that it uses, from a source into a tree: what lacks is collected where
/// no reader looks, proved, and then brought to its places, the manifests last. What is here is used; what is whole is
/// left alone. Throws SourceError, TreeError and std::system_error; whatever ends it, nothing is seen of a release that
/// lacks a file, and the next fetch of it goes on where it ended.
FetchReport Fetch(Source &source, const FetchRequest &request);
} // namespace Keld::Delivery
