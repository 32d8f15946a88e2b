#pragma once

#include "Oracle/ListingRules.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Keld::Test::Oracle
{
/// What one step of an enumeration shows.
struct FoundEntry
{
    bool isDirectory = false;
    std::uint32_t size = 0;
    std::string name;
};

/// One directory of all listings that have it, walked side by side.
class MergedWalk
{
public:
    /// \param directories in the order of the search
    MergedWalk(const std::vector<const ListedEntry *> &directories, std::string pattern);

    /// Nothing at the end.
    std::optional<FoundEntry> Next();

private:
    struct Place
    {
        const ListedEntry *directory;
        std::size_t position;

        bool IsAtEnd() const { return position >= directory->children.size(); }
        const ListedEntry &Entry() const { return *directory->children[position]; }
    };

    void Choose();
    void Step(std::size_t place);

    std::vector<Place> mPlaces; ///< none of them at its end
    std::size_t mChosen = 0;
    std::string mPattern;
};

/// An answer, or word that the rules have none: which of several entries is found whose paths differ in case alone, and
/// how they follow each other, is not settled.
template <class Answer>
struct Ruled
{
    bool isSettled = true;
    Answer answer = {};
};

/// The eleven calls, but for the logger's.
class LibraryRules
{
public:
    explicit LibraryRules(Disk &disk) : mDisk(disk) {}

    bool IsStarted() const { return mIsStarted; }

    /// \returns whether the call succeeds
    bool Initialize(const std::string &directory);
    void Shutdown();

    /// Path calls start the library in this directory, if nobody has.
    void WorkIn(const std::string &directory) { mWorkingDirectory = directory; }

    bool Exists(const std::string &path);

    /// An entry of null is a failure.
    Ruled<ListedEntry *> Open(const std::string &path);
    static void Close(ListedEntry &entry) { ListingRules::Close(entry); }

    /// A walk of null is a failure.
    Ruled<std::shared_ptr<MergedWalk>> FindFirst(const std::string &path);

    /// What is loaded.
    std::string Text() const;
    const std::vector<std::unique_ptr<ListingRules>> &Listings() const { return mListings; }

private:
    static constexpr std::size_t LongestPath = 1023;

    bool StartIfNeeded();
    bool Load(const std::string &directory);
    bool LoadSolution(const std::string &root, const std::string &release);

    /// The entries of the first listing that has the path.
    std::vector<ListedEntry *> Find(const std::string &path) const;

    Disk &mDisk;
    std::string mWorkingDirectory;
    bool mIsStarted = false;
    std::vector<std::unique_ptr<ListingRules>> mListings;
};
} // namespace Keld::Test::Oracle
