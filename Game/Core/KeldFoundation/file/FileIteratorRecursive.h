#pragma once

#include "KeldFoundation/file/FileIterator.h"

#include <boost/shared_ptr.hpp>

namespace Keld::File
{
/// A file iterator that goes down into subdirectories: all entries of a directory first, then its subdirectories in the
/// order in which they were met.
class FileIteratorRecursive : public FileIterator
{
public:
    virtual const char *GetDirectory() = 0; ///< the directory being walked
    virtual const char *GetFullPath() = 0;  ///< the path of the current entry
};

/// Walks all entries below `directory` whose names match `pattern` by `std_wildcard_match`. A directory that matches
/// is given and gone down into. Links are followed, and a directory that several paths lead to is given by each, up to
/// a bound that only loops of links reach. Not gone down into are names that the shell takes for patterns, and
/// directories whose entries' paths would have 1024 bytes or more.
///
/// Not to be used by two threads at once, whatever the iterators: see CreateFileIterator, which each directory calls.
boost::shared_ptr<FileIteratorRecursive> CreateRecursiveFileIterator(const char *directory, const char *pattern,
                                                                     int flags);
} // namespace Keld::File
