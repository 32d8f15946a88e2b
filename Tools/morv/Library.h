#pragma once

#include "Tools/morv/Absence.h"
#include "Tools/morv/FileSystem.h"

#include <memory>
#include <string>
#include <vector>

struct OpenFileHandle;

namespace Keld::Morv
{
/// The road through the library, started in the directory of a release and used by its exported calls alone. One at a
/// time. What is missing the library logs, line by line.
class Library final : public FileSystem
{
public:
    /// Throws TreeError that says what to do when nothing can be served from there.
    explicit Library(TreeReader::Reference reference);
    ~Library() override;

    bool Exists(const std::string &path) const override;
    bool IsDirectory(const std::string &path) const override;
    bool Enumerate(const std::string &directory, const std::string &pattern, const Visit &visit) const override;
    void ReadFile(const std::string &path, const Range &range, const Sink &sink) override;
    std::string ExplainAbsence(const std::string &) const override { return NotFoundText; }
    bool IsDamaged() const override { return mIsDamaged; }
    const TreeReader::Census *GetCensus() const override { return nullptr; }
    std::string ResolveTyped(const std::string &typed) const override;

private:
    struct FileCloser
    {
        void operator()(OpenFileHandle *handle) const;
    };
    using OpenFile = std::unique_ptr<OpenFileHandle, FileCloser>;

    void KeepOpen(OpenFile file);

    /// A file that is compressed with LZMA cannot be opened twice, so the last few are kept for those who ask again.
    std::vector<OpenFile> mKeptOpen;
    bool mIsDamaged = false;
};
} // namespace Keld::Morv
