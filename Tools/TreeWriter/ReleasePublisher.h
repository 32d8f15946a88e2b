#pragma once

#include "Tools/TreeReader/TreePlaces.h"

#include <array>
#include <filesystem>
#include <functional>
#include <string>

namespace Keld::TreeWriter
{
/// Brings a release from its staging directory to its places, or takes it back.
///
/// A release lies in four places: its archives, its managed files, its naked files, and its manifest. Where none of
/// them is taken, the four are moved there, the manifest last. A shiplist of the old release, and the signature over
/// it, go with it. Where a release is replaced, each place first becomes a symbolic link into the staging directory
/// that resolves to what was there; the links lead through one more link, which is turned from the old release to the
/// new one in a single step; then each link gives way to what it resolves to. So whoever looks finds the old release or
/// the new one, whole, at every moment, also when the process ends between two steps. The next one that holds the
/// project's lock sets right what such an end left.
///
/// The staging directory has this form:
///   new/{filearchives,managedfiles,deploy,releasemanifest}   what is to be published
///   old/...                                                  what was replaced
///   current                                                  a link to "old" or "new", while places are links
///   publishing                                               there while free places are filled
///   new/protect, old/protect                                 there where the archives of that are to be protected
class ReleasePublisher
{
public:
    struct Options
    {
        bool sync = true;                   ///< bring to disk what a loss of power could otherwise take
        bool protect = false;               ///< leave the archives in a directory that nobody may write,
                                            ///< as they are left anyway where they lay in one
        std::function<void()> step = [] {}; ///< called before each step that changes the tree; for tests
    };

    ReleasePublisher(const TreeReader::TreePlaces &tree, const std::string &project, MorvVersion release,
                     std::filesystem::path staging, Options options);

    std::filesystem::path NewPart(const char *name) const { return mStaging / "new" / name; }

    /// After a failure the old release, or the lack of one, is back. What fails when the new release is in force
    /// already is told as such, by TreeError.
    void Publish();

    /// Takes back what an earlier process began in this staging directory, or ends it where the new release was in
    /// force already. The directory can be removed then.
    void SetRight();

private:
    struct Part
    {
        const char *name;
        std::filesystem::path place;
        bool isDirectory;
    };

    bool IsFree() const;
    void FillPlaces();
    void SwitchPlaces();
    void NoteProtection() const;
    void ProtectWhereNoted(const std::filesystem::path &which);
    void TurnIntoLink(const Part &part);
    void TurnIntoContent(const Part &part, const std::filesystem::path &content);
    void Settle();
    void EmptyPlaces();
    std::filesystem::path LinkText(const Part &part) const;
    bool IsOurLink(const Part &part) const;
    void PointCurrentTo(const char *which);
    void RequireExchange();
    void SyncPlaces() const;
    void Sync(const std::filesystem::path &directory) const;

    std::filesystem::path mStaging;
    Options mOptions;
    bool mIsInForce = false;    ///< the new release is what everybody sees
    std::array<Part, 6> mParts; ///< the manifest last
};
} // namespace Keld::TreeWriter
