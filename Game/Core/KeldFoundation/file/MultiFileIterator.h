#pragma once

#include "KeldFoundation/file/FileIterator.h"

#include <vector>

namespace Keld::File
{
/// The iterators of several providers, one after another. An entry that two of them give appears twice. Without an
/// iterator it is invalid, has an empty name, and is nothing else.
class MultiFileIterator : public FileIterator
{
public:
    MultiFileIterator() = default;
    ~MultiFileIterator() override;

    MultiFileIterator(const MultiFileIterator &) = delete;
    MultiFileIterator &operator=(const MultiFileIterator &) = delete;

    /// Asks the registered providers, and the default provider if none of them has a match. Where one iterator is all
    /// that came, gives it to the caller, who owns it then; otherwise keeps what came and gives null.
    FileIterator *SetUp(const char *pattern, int flags);

    bool IsValid() override { return !mIterators.empty(); }
    void Next() override;
    const char *GetName() override { return IsValid() ? mIterators.front()->GetName() : ""; }
    bool IsDirectory() override { return IsValid() && mIterators.front()->IsDirectory(); }
    bool IsOwnerReadable() override { return IsValid() && mIterators.front()->IsOwnerReadable(); }

private:
    void Keep(FileIterator *created);

    std::vector<FileIterator *> mIterators; ///< owned; the first is the current one
};
} // namespace Keld::File
