#pragma once

#include "Tools/TreeReader/ManifestTree.h"
#include "Tools/TreeReader/View.h"

#include <mutex>

namespace Keld::TreeMount
{
/// Guesses which files are read next. Programs that read a tree take the files of a directory in the order in which it
/// shows them, one after the other; what follows the first file, or follows two in a row, is likely to come. One thread
/// at a time works ahead of the readers, a few files at most. Any thread may ask.
class ReadingOrder
{
public:
    /// A file was read to its end.
    /// \param siblings the files of its directory.
    /// \returns true when the caller is to work ahead: then it takes files until there is none.
    bool BeginAhead(const TreeReader::Hit &file, const TreeReader::EntryRange &siblings);

    /// The next file to work on; nothing when the readers are not close behind any more, and the work is at its end.
    TreeReader::Hit TakeNext();

private:
    std::mutex mMutex;                     ///< guards what follows
    TreeReader::Hit mLast;                 ///< the file that was read last
    TreeReader::EntryIndex mEnd = 0;       ///< of the files of its directory
    TreeReader::EntryIndex mNextAhead = 0; ///< the file to be worked on next, in the layer of the last one
    bool mIsWorking = false;
};
} // namespace Keld::TreeMount
