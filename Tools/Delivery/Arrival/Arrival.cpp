#include "Tools/Delivery/Arrival/Arrival.h"

#include "Tools/Delivery/Arrival/WayClearing.h"
#include "Tools/TreeReader/DirectoryVisit.h"
#include "Tools/TreeReader/DiskFile.h"
#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeWriter/ArrivalLeftovers.h"
#include "Tools/TreeWriter/DirectoryProtection.h"
#include "Tools/TreeWriter/DiskSync.h"
#include "Tools/TreeWriter/FileOutput.h"
#include "Tools/TreeWriter/ReleaseStaging.h"

#include "KeldMorvIO/TreeWords.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <system_error>
#include <unordered_map>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Keld::Delivery
{
namespace fs = std::filesystem;
using Common::Descriptor;
using TreeReader::TreeError;

namespace
{
// What stands in the staging directory.
constexpr const char *Partial = "partial";    // files in the making, by their path in the tree
constexpr const char *Whole = "whole";        // accepted files
constexpr const char *Doubtful = "doubtful";  // accepted before the machine was started anew: they may lack bytes
constexpr const char *Journal = "publishing"; // what is to come to its place; there until all of it is
constexpr const char *BootFile = "boot";      // which run of the machine accepted what is whole
constexpr uint64 BootTextLimit = 4096;        // bytes

constexpr mode_t FileMode = 0666; // less what the mask of the process says

std::string ParentOf(const std::string &path)
{
    return path.substr(0, path.rfind('/'));
}

std::string NameIn(const std::string &path)
{
    return path.substr(path.rfind('/') + 1);
}

[[noreturn]] void Fail(const std::string &what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

/// Whoever removes files from under a publication: what is left stays, so that the next run brings what lacks.
[[noreturn]] void FailOfVanished(const std::string &path)
{
    throw TreeError(path + ": had arrived, and somebody took it away before it came to its place");
}

std::string ReadText(const std::string &path)
{
    const TreeReader::Result<LargeVector<char>> image = TreeReader::ReadFileImage(path, BootTextLimit);
    return image ? std::string(image->begin(), image->end()) : std::string();
}

void RequireName(const std::string &name)
{
    if (const TreeReader::Failure failure = CheckDirectoryName(name))
    {
        throw TreeError(failure->GetMessage());
    }
}

std::optional<struct stat> StatusOf(const std::string &path)
{
    struct stat status = {};
    if (lstat(path.c_str(), &status) != 0)
    {
        return std::nullopt;
    }
    return status;
}

bool HoldsAnyFile(const std::string &directory)
{
    bool holds = false;
    const TreeReader::Failure failure =
        TreeReader::VisitTree(directory,
                              [&](const std::string &path, const struct stat &status)
                              {
                                  holds = !S_ISDIR(status.st_mode) && path != directory + "/" + BootFile;
                                  return !holds;
                              });
    return holds || (failure && failure->kind != TreeReader::FaultKind::NotThere); // what cannot be read may hold some
}
} // namespace

Arrival::Arrival(const ArrivalPlan &plan, ArrivalOptions options)
    : mRoot(plan.root), mStaging(std::string(TreeWriter::ArrivingDirectory) + "/" + plan.purpose),
      mOptions(std::move(options))
{
    RequireName(plan.purpose);
    mDirectory = std::make_unique<Common::OutputDirectory>(mRoot);
    for (const std::string &project : plan.projects)
    {
        RequireName(project);
        RequireNoLink(std::string(MORV::Reader::ProjectsDirectory) + "/" + project);
    }
    for (const std::string &solution : plan.solutions)
    {
        RequireName(solution);
        RequireNoLink(std::string(MORV::Reader::SolutionsDirectory) + "/" + solution);
    }
    RequireNoLink(mStaging);
    mLocks = std::make_unique<TreeWriter::WriteLocks>(mRoot, plan.projects, plan.solutions, mOptions.whileWaiting);
    mLocks->Take(mRoot + "/" + mStaging, mOptions.whileWaiting).RemoveWhenEmpty();
    for (const std::string &project : plan.projects)
    {
        TreeWriter::RemoveLeftovers(TreeReader::TreePlaces(mRoot), project, mOptions.sync);
    }
    mJournal = std::make_unique<ArrivalJournal>(mRoot + "/" + mStaging + "/" + Journal);
    SetAsideDoubtful();
}

Arrival::~Arrival()
{
    try
    {
        if (!HoldsAnyFile(mRoot + "/" + mStaging))
        {
            Clear();
        }
    }
    catch (const std::exception &)
    {
        // What stays the next one goes on with, or removes.
    }
}

bool Arrival::IsAccepted(const std::string &path) const
{
    return FindFileMark(PlaceOf(Whole, path)).has_value() || IsInPlace(path);
}

Descriptor Arrival::OpenPartial(const std::string &path) const
{
    RequireTreePath(path);
    const Descriptor directory = mDirectory->OpenBelow(ParentOf(AreaPath(Partial, path)));
    if (!FindFileMark(PlaceOf(Partial, path)) && FindFileMark(PlaceOf(Doubtful, path)))
    {
        Move(path, Doubtful, Partial);
    }
    constexpr int flags = O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC;
    Descriptor file(openat(directory.Get(), NameIn(path).c_str(), flags, FileMode));
    if (!file.IsOpen())
    {
        Fail("cannot make " + PlaceOf(Partial, path));
    }
    return file;
}

void Arrival::RemovePartial(const std::string &path) const
{
    RequireTreePath(path);
    for (const char *area : {Partial, Doubtful})
    {
        const std::string place = PlaceOf(area, path);
        if (unlink(place.c_str()) != 0 && errno != ENOENT)
        {
            Fail("cannot remove " + place);
        }
    }
}

void Arrival::Accept(const std::string &path) const
{
    RequireTreePath(path);
    Move(path, Partial, Whole);
}

Descriptor Arrival::OpenAccepted(const std::string &path) const
{
    RequireTreePath(path);
    return Descriptor(open(GetAcceptedPlace(path).c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
}

std::string Arrival::GetPartialPlace(const std::string &path) const
{
    return PlaceOf(Partial, path);
}

std::string Arrival::GetAcceptedPlace(const std::string &path) const
{
    return IsInPlace(path) ? mRoot + "/" + path : PlaceOf(Whole, path);
}

void Arrival::Publish(const std::vector<std::string> &paths, const std::vector<std::string> &withdrawn)
{
    std::vector<std::vector<std::string>> byRole(static_cast<uint_size>(FileRole::SolutionManifest) + 1);
    for (const std::string &path : paths)
    {
        byRole[static_cast<uint_size>(RequireTreePath(path).role)].push_back(path);
        if (!IsAccepted(path))
        {
            throw TreeError(path + ": did not arrive");
        }
    }
    mOptions.step();
    Sync();
    WriteJournal(paths);
    Sync();
    for (const std::string &path : withdrawn)
    {
        Withdraw(path);
    }
    for (const std::vector<std::string> &group : byRole)
    {
        BringAll(group);
    }
    Clear();
}

void Arrival::Discard()
{
    Clear();
    TreeWriter::ReplaceFile(mRoot + "/" + mStaging + "/" + BootFile, IdentifyBoot());
}

void Arrival::Clear()
{
    mJournal->Forget();
    RequireNoDoubt(TreeReader::VisitDirectory(mRoot + "/" + mStaging,
                                              [](const std::string &path, const struct stat &status)
                                              {
                                                  if (S_ISDIR(status.st_mode))
                                                  {
                                                      TreeWriter::RemoveTree(path);
                                                  }
                                                  else
                                                  {
                                                      fs::remove(path);
                                                  }
                                                  return true;
                                              }));
}

/// Brings files of one role to their places; what counts on them may follow then.
void Arrival::BringAll(const std::vector<std::string> &paths) const
{
    bool moved = false;
    for (const std::string &path : paths)
    {
        if (FindFileMark(PlaceOf(Whole, path)))
        {
            mOptions.step();
            Bring(path);
            moved = true;
        }
        else if (!IsInPlace(path))
        {
            FailOfVanished(path);
        }
        if (mOptions.protect && RequireTreePath(path).role == FileRole::ArchiveIndex)
        {
            TreeWriter::Protect(mRoot + "/" + ParentOf(path));
        }
    }
    if (moved)
    {
        Sync();
    }
}

void Arrival::Bring(const std::string &path) const
{
    const FileRole role = RequireTreePath(path).role;
    const bool isManifest = role == FileRole::ReleaseManifest || role == FileRole::SolutionManifest;
    // The place that programs start in is there also when nothing is stored in it.
    const std::string start = isManifest ? ParentOf(path) + "/" + MORV::Reader::DeployDirectory : "";
    if (mOptions.putAside)
    {
        const WayClearing clearing(*mDirectory, mRoot, mOptions.putAside);
        clearing.ClearWayTo(isManifest ? start + "/" : path);
        clearing.ClearPlaceOf(path);
    }
    if (isManifest)
    {
        mDirectory->OpenBelow(start);
    }
    const Descriptor directory = mDirectory->OpenBelow(ParentOf(path));
    const TreeWriter::ProtectionLifted lifted(mRoot + "/" + ParentOf(path));
    if (renameat(AT_FDCWD, PlaceOf(Whole, path).c_str(), directory.Get(), NameIn(path).c_str()) != 0)
    {
        Fail("cannot bring " + path + " to its place");
    }
}

/// Takes a file from its place in the tree, for good.
void Arrival::Withdraw(const std::string &path) const
{
    RequireTreePath(path);
    if (!StatusOf(mRoot + "/" + path))
    {
        return;
    }
    mOptions.step();
    const Descriptor directory = mDirectory->OpenBelow(ParentOf(path));
    if (unlinkat(directory.Get(), NameIn(path).c_str(), 0) != 0 && errno != ENOENT)
    {
        Fail("cannot remove " + mRoot + "/" + path);
    }
    Sync();
}

void Arrival::WriteJournal(const std::vector<std::string> &paths)
{
    std::unordered_map<std::string, FileMark> marks;
    for (const std::string &path : paths)
    {
        const std::optional<FileMark> staged = FindFileMark(PlaceOf(Whole, path));
        if (!staged && !IsInPlace(path))
        {
            FailOfVanished(path);
        }
        marks[path] = staged ? *staged : *mJournal->Find(path);
    }
    mJournal->Write(std::move(marks));
}

/// What was accepted in another run of the machine may never have reached the disk, unless a publication had begun.
void Arrival::SetAsideDoubtful()
{
    const std::string staging = mRoot + "/" + mStaging + "/";
    const std::string boot = IdentifyBoot();
    if (!boot.empty() && ReadText(staging + BootFile) == boot)
    {
        return;
    }
    TakeBackJournaled(); // of a run that was killed right here
    if (StatusOf(staging + Whole))
    {
        TreeWriter::RemoveTree(staging + Doubtful);
        fs::rename(staging + Whole, staging + Doubtful);
        TakeBackJournaled();
    }
    TreeWriter::ReplaceFile(staging + BootFile, boot);
}

/// The journal was written when all that it tells of was on the disk.
void Arrival::TakeBackJournaled() const
{
    for (const auto &[path, mark] : mJournal->GetMarks())
    {
        if (FindFileMark(PlaceOf(Doubtful, path)) == mark)
        {
            Move(path, Doubtful, Whole);
        }
    }
}

bool Arrival::IsInPlace(const std::string &path) const
{
    const FileMark *mark = mJournal->Find(path);
    return mark != nullptr && !FindFileMark(PlaceOf(Whole, path)) && FindFileMark(mRoot + "/" + path) == *mark;
}

void Arrival::Move(const std::string &path, const char *from, const char *to) const
{
    const Descriptor directory = mDirectory->OpenBelow(ParentOf(AreaPath(to, path)));
    if (renameat(AT_FDCWD, PlaceOf(from, path).c_str(), directory.Get(), NameIn(path).c_str()) != 0)
    {
        Fail("cannot move " + PlaceOf(from, path));
    }
}

/// Below the root.
std::string Arrival::AreaPath(const char *area, const std::string &path) const
{
    return mStaging + "/" + area + "/" + path;
}

std::string Arrival::PlaceOf(const char *area, const std::string &path) const
{
    return mRoot + "/" + AreaPath(area, path);
}

TreePath Arrival::RequireTreePath(const std::string &path)
{
    TreeReader::Result<TreePath> place = ReadTreePath(path);
    if (!place)
    {
        throw TreeError(place.GetFault().GetMessage());
    }
    return std::move(*place);
}

void Arrival::RequireNoLink(const std::string &path) const
{
    for (std::size_t end = 0; end < path.size();)
    {
        end = std::min(path.find('/', end + 1), path.size());
        const std::string place = mRoot + "/" + path.substr(0, end);
        const std::optional<struct stat> status = StatusOf(place);
        if (status && S_ISLNK(status->st_mode))
        {
            throw TreeError(place + ": is a symbolic link, and files are not brought through one");
        }
    }
}

void Arrival::Sync() const
{
    if (mOptions.sync)
    {
        TreeWriter::SyncFileSystem(mRoot);
    }
}
} // namespace Keld::Delivery
