#pragma once

#include "Tools/TreeReader/ContentReader.h"
#include "Tools/morv/Absence.h"
#include "Tools/morv/FileSystem.h"
#include "Tools/morv/OpenView.h"

namespace Keld::Morv
{
/// The road through the reading core.
class CoreFileSystem final : public FileSystem
{
public:
    /// The view of `opened` must have been opened from `trees`. Takes the census, and tells what is damaged.
    CoreFileSystem(std::unique_ptr<TreeReader::TreeSet> trees, OpenedView opened, unsigned threadCount,
                   bool checkDigests);

    bool Exists(const std::string &path) const override { return static_cast<bool>(mView.Find(path)); }
    bool IsDirectory(const std::string &path) const override { return mView.Enumerate(path) != nullptr; }
    bool Enumerate(const std::string &directory, const std::string &pattern, const Visit &visit) const override;
    void ReadFile(const std::string &path, const Range &range, const Sink &sink) override;
    std::string ExplainAbsence(const std::string &path) const override { return Morv::ExplainAbsence(mView, path); }
    bool IsDamaged() const override { return !mCensus.IsWhole(); }
    const TreeReader::Census *GetCensus() const override { return &mCensus; }
    std::string ResolveTyped(const std::string &typed) const override;

private:
    const std::unique_ptr<TreeReader::TreeSet> mTrees;
    const TreeReader::View mView;
    TreeReader::ContentReader mReader;
    const bool mCheckDigests;
    TreeReader::Census mCensus;
};
} // namespace Keld::Morv
