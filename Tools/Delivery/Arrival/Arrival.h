#pragma once

#include "Tools/Common/OutputDirectory.h"
#include "Tools/Delivery/Arrival/ArrivalJournal.h"
#include "Tools/Delivery/Text/TreePath.h"
#include "Tools/TreeWriter/WriteLocks.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Keld::Delivery
{
/// What is to arrive in a tree, and in which of its projects and solutions; all of them are locked meanwhile.
struct ArrivalPlan
{
    std::string root;    ///< the directory named "MORV"; made where it is missing
    std::string purpose; ///< one name, as "client-1.0.0.0": who uses the same again goes on where the other ended
    std::vector<std::string> projects;
    std::vector<std::string> solutions = {};
};

struct ArrivalOptions
{
    bool sync = true;                           ///< bring to disk what a loss of power could otherwise turn round
    std::function<void()> step = [] {};         ///< called before each step that changes the tree; for tests
    std::function<void()> whileWaiting = [] {}; ///< called while somebody else holds a lock; what it throws ends it
    bool protect = false;                       ///< let nobody write the directories of archives that came

    /// Where it is set, what stands in the way of a file is put aside, as WayClearing does it, and this is told of the
    /// path that it had below the root, and of the one that it has now. Else it is refused.
    std::function<void(const std::string &path, const std::string &aside)> putAside = {};
};

/// Files on their way into a tree.
///
/// They are collected in "<root>/arriving/<purpose>", where no reader looks, and come to their places when all are
/// there: each by one rename, in the order of FileRole, each group on the disk before the next begins. So no release is
/// seen before its files, also when the process ends between two steps. What a process leaves that was killed stays,
/// and the next Arrival of the same purpose has it.
///
/// Nothing is made outside the root, and no symbolic link below it is followed. Paths are those of ReadTreePath, and
/// others are refused by TreeError; what the disk refuses is thrown as std::system_error. Any thread may call all but
/// Publish and Discard.
class Arrival
{
public:
    /// Waits for the locks, and sets right what packs left that were killed.
    Arrival(const ArrivalPlan &plan, ArrivalOptions options);
    ~Arrival();

    Arrival(const Arrival &) = delete;
    Arrival &operator=(const Arrival &) = delete;

    /// Whether a file is here, whole and checked: by this process, or by an earlier one that a loss of power did not
    /// follow. Also when a process that was killed while it published has brought it to its place already.
    bool IsAccepted(const std::string &path) const;

    /// Opens a file in the making, for reading and writing, with all that was written into it before; its size tells
    /// how much. It counts for nothing until it is accepted.
    Common::Descriptor OpenPartial(const std::string &path) const;

    /// Forgets what was written into a file in the making.
    void RemovePartial(const std::string &path) const;

    /// Takes a file in the making as whole. The caller has checked every byte and closed it.
    void Accept(const std::string &path) const;

    /// Opens an accepted file for reading. The descriptor is not open where there is none.
    Common::Descriptor OpenAccepted(const std::string &path) const;

    // Absolute paths, for whoever reads by path: of the staging directory, of a file in the making, and of an accepted
    // one.
    std::string GetStaging() const { return mRoot + "/" + mStaging; }
    std::string GetPartialPlace(const std::string &path) const;
    std::string GetAcceptedPlace(const std::string &path) const;

    /// Brings accepted files to their places, where they replace what is there, and removes whatever else was collected
    /// for this purpose. After a failure nothing is seen of a release that lacks a file, and the next Arrival of the
    /// same purpose can go on.
    /// \param paths     all must be accepted. The order does not matter.
    /// \param withdrawn files that go from their places before others come; what is not there is passed over
    void Publish(const std::vector<std::string> &paths, const std::vector<std::string> &withdrawn = {});

    /// Removes everything that was collected for this purpose; more may be collected then.
    void Discard();

private:
    void WriteJournal(const std::vector<std::string> &paths);
    void SetAsideDoubtful();
    void TakeBackJournaled() const;
    void Clear();
    void Withdraw(const std::string &path) const;
    void BringAll(const std::vector<std::string> &paths) const;
    void Bring(const std::string &path) const;
    void Move(const std::string &path, const char *from, const char *to) const;
    bool IsInPlace(const std::string &path) const;
    std::string AreaPath(const char *area, const std::string &path) const;
    std::string PlaceOf(const char *area, const std::string &path) const;
    void RequireNoLink(const std::string &path) const;
    void Sync() const;

    static TreePath RequireTreePath(const std::string &path);

    const std::string mRoot;
    const std::string mStaging; ///< below the root
    const ArrivalOptions mOptions;
    std::unique_ptr<Common::OutputDirectory> mDirectory; ///< the root
    std::unique_ptr<TreeWriter::WriteLocks> mLocks;
    std::unique_ptr<ArrivalJournal> mJournal;
};
} // namespace Keld::Delivery
