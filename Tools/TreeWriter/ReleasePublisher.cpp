#include "Tools/TreeWriter/ReleasePublisher.h"

#include "Tools/TreeReader/DirectoryVisit.h"
#include "Tools/TreeReader/ShipListNames.h"
#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeWriter/DirectoryProtection.h"
#include "Tools/TreeWriter/DiskSync.h"
#include "Tools/TreeWriter/FileOutput.h"

#include "KeldMorvIO/TreeWords.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

namespace Keld::TreeWriter
{
namespace fs = std::filesystem;
using TreeReader::TreeError;

namespace
{
constexpr const char *Current = "current";
constexpr const char *Publishing = "publishing";
constexpr const char *Protection = "protect";

bool Exchange(const fs::path &left, const fs::path &right)
{
    return renameat2(AT_FDCWD, left.c_str(), AT_FDCWD, right.c_str(), RENAME_EXCHANGE) == 0;
}

/// A directory that moves to another one must be writable: its entry ".." changes.
void RequireExchanged(const fs::path &left, const fs::path &right)
{
    ProtectionLifted leftLifted(left);
    ProtectionLifted rightLifted(right);
    const bool exchanged = Exchange(left, right);
    if (exchanged)
    {
        leftLifted.MoveTo(right);
        rightLifted.MoveTo(left);
    }
    else
    {
        throw std::system_error(errno, std::generic_category(),
                                "cannot swap " + left.string() + " and " + right.string());
    }
}

bool IsThere(const fs::path &path)
{
    return fs::exists(fs::symlink_status(path));
}

/// And no link to one.
bool IsRealDirectory(const fs::path &path)
{
    return fs::is_directory(fs::symlink_status(path));
}
} // namespace

ReleasePublisher::ReleasePublisher(const TreeReader::TreePlaces &tree, const std::string &project, MorvVersion release,
                                   fs::path staging, Options options)
    : mStaging(std::move(staging)), mOptions(std::move(options)),
      mParts{Part{MORV::Reader::FileArchivesDirectory, tree.Archives(project, release), true},
             Part{MORV::Reader::ManagedFilesDirectory, tree.ManagedFiles(project, release), true},
             Part{MORV::Reader::DeployDirectory, tree.NakedFiles(project, release), true},
             Part{TreeReader::ShipListName, tree.Release(project, release) / TreeReader::ShipListName, false},
             Part{TreeReader::ShipListSignatureName, tree.Release(project, release) / TreeReader::ShipListSignatureName,
                  false},
             Part{MORV::Reader::ReleaseManifestName, tree.ReleaseManifest(project, release), false}}
{
}

void ReleasePublisher::Publish()
{
    NoteProtection();
    if (mOptions.sync)
    {
        SyncFileSystem(mStaging);
    }
    try
    {
        if (IsFree())
        {
            FillPlaces();
        }
        else
        {
            SwitchPlaces();
        }
    }
    catch (const std::exception &failure)
    {
        if (mIsInForce)
        {
            // Whoever removes the staging directory sets the rest right.
            throw TreeError("the release is made and in its place, but what then was to be done failed: " +
                            std::string(failure.what()));
        }
        SetRight();
        throw;
    }
}

void ReleasePublisher::SetRight()
{
    if (IsThere(mStaging / Current))
    {
        Settle();
    }
    else if (IsThere(mStaging / Publishing) && !IsThere(mParts.back().place))
    {
        EmptyPlaces();
    }
    else if (IsThere(mStaging / Publishing))
    {
        ProtectWhereNoted("new");
    }
}

/// For both contents: a process may end while it has the protection lifted. What was protected stays so.
void ReleasePublisher::NoteProtection() const
{
    const bool wasProtected = IsProtected(mParts.front().place);
    if (wasProtected)
    {
        WriteFile(mStaging / "old" / Protection, "");
    }
    if (wasProtected || mOptions.protect)
    {
        WriteFile(NewPart(Protection), "");
    }
}

/// \param which content is in its places
void ReleasePublisher::ProtectWhereNoted(const fs::path &which)
{
    const fs::path &archives = mParts.front().place;
    if (IsThere(mStaging / which / Protection) && IsRealDirectory(archives))
    {
        mOptions.step();
        Protect(archives);
    }
}

/// Whether there is nothing to replace. Empty directories are nothing.
bool ReleasePublisher::IsFree() const
{
    return std::all_of(mParts.begin(), mParts.end(),
                       [](const Part &part)
                       {
                           const bool emptyDirectory = part.isDirectory && IsRealDirectory(part.place) &&
                                                       TreeReader::RequireNames(part.place).empty();
                           return !IsThere(part.place) || emptyDirectory;
                       });
}

void ReleasePublisher::FillPlaces()
{
    mOptions.step();
    WriteFile(mStaging / Publishing, "");
    Sync(mStaging);
    for (const Part &part : mParts)
    {
        const fs::path content = NewPart(part.name);
        if (!IsThere(content))
        {
            continue;
        }
        if (!part.isDirectory)
        {
            SyncPlaces(); // the manifest vouches for the files, so their names must not be lost after it came
        }
        mOptions.step();
        fs::create_directories(part.place.parent_path());
        fs::rename(content, part.place); // takes the place of an empty directory, too
    }
    mIsInForce = true;
    ProtectWhereNoted("new");
    SyncPlaces();
}

void ReleasePublisher::EmptyPlaces()
{
    for (const Part &part : mParts)
    {
        if (part.isDirectory && IsRealDirectory(part.place)) // free places are filled with nothing else
        {
            RemoveTree(part.place);
        }
    }
}

void ReleasePublisher::SwitchPlaces()
{
    RequireExchange();
    mOptions.step();
    PointCurrentTo("old");
    fs::create_directories(mStaging / "old");
    for (const Part &part : mParts)
    {
        if (part.isDirectory)
        {
            fs::create_directory(NewPart(part.name)); // a link must resolve to something also where nothing is stored
        }
        else if (!IsThere(part.place) && !IsThere(NewPart(part.name)))
        {
            continue;
        }
        TurnIntoLink(part);
    }
    SyncPlaces();
    mOptions.step();
    PointCurrentTo("new");
    mIsInForce = true;
    Sync(mStaging);
    Settle();
}

/// The old content moves to the staging directory in the step in which the link takes its place.
void ReleasePublisher::TurnIntoLink(const Part &part)
{
    const fs::path old = mStaging / "old" / part.name;
    mOptions.step();
    fs::create_directories(part.place.parent_path());
    if (IsThere(part.place))
    {
        fs::create_symlink(LinkText(part), old);
        mOptions.step();
        RequireExchanged(part.place, old);
        return;
    }
    if (part.isDirectory)
    {
        fs::create_directory(old);
    }
    mOptions.step();
    fs::create_symlink(LinkText(part), part.place);
}

void ReleasePublisher::Settle()
{
    const fs::path which = fs::read_symlink(mStaging / Current);
    for (const Part &part : mParts)
    {
        if (IsOurLink(part))
        {
            mOptions.step();
            TurnIntoContent(part, mStaging / which / part.name);
        }
    }
    ProtectWhereNoted(which);
    SyncPlaces();
    fs::remove(mStaging / Current);
}

void ReleasePublisher::TurnIntoContent(const Part &part, const fs::path &content)
{
    const bool isNothing = !IsThere(content) || (part.isDirectory && TreeReader::RequireNames(content).empty() &&
                                                 part.name != std::string(MORV::Reader::DeployDirectory));
    if (isNothing)
    {
        fs::remove(part.place);
    }
    else
    {
        RequireExchanged(part.place, content);
    }
}

/// Relative, so that a tree can be moved with all that is in it.
fs::path ReleasePublisher::LinkText(const Part &part) const
{
    return (mStaging / Current / part.name).lexically_relative(part.place.parent_path());
}

bool ReleasePublisher::IsOurLink(const Part &part) const
{
    return fs::is_symlink(fs::symlink_status(part.place)) && fs::read_symlink(part.place) == LinkText(part);
}

void ReleasePublisher::PointCurrentTo(const char *which)
{
    const fs::path next = mStaging / "next";
    fs::create_symlink(which, next);
    fs::rename(next, mStaging / Current);
}

/// Before anything is touched: not every file system can swap two names.
void ReleasePublisher::RequireExchange()
{
    const fs::path left = mStaging / "left";
    const fs::path right = mStaging / "right";
    fs::create_symlink("x", left);
    fs::create_symlink("x", right);
    if (!Exchange(left, right))
    {
        throw TreeError("a release cannot be replaced here without a moment in which neither the old one nor the new "
                        "one is whole, since the file system of " +
                        mStaging.parent_path().string() + " cannot swap two names: pack under a new version instead");
    }
}

void ReleasePublisher::SyncPlaces() const
{
    Sync(mStaging);
    for (const Part &part : mParts)
    {
        const fs::path directory = part.place.parent_path();
        if (IsThere(directory))
        {
            Sync(directory);
            Sync(directory.parent_path());
        }
    }
}

void ReleasePublisher::Sync(const fs::path &directory) const
{
    if (mOptions.sync)
    {
        SyncDirectory(directory);
    }
}
} // namespace Keld::TreeWriter
