#pragma once

#include <boost/shared_ptr.hpp>

namespace Keld::File
{
/// Walks the entries of one wildcard path, forward only, in the order of the file system. It stands on its first entry
/// from creation on:
///
///     for (; iterator->IsValid(); iterator->Next()) { ... iterator->GetName() ... }
///
/// Used by one thread at a time. Once invalid it stays so. The order of the operations is part of the interface.
class FileIterator
{
public:
    virtual bool IsValid() = 0; ///< there is a current entry
    virtual void Next() = 0;

    // Of the current entry; to be called only while there is one.
    virtual const char *GetName() = 0; ///< the last component of its path
    virtual bool IsDirectory() = 0;
    virtual bool IsOwnerReadable() = 0;

    virtual ~FileIterator() = default;
};

/// As enumeration flags: gives directories only. No other bit has an effect.
inline constexpr int FileIteratorDirectoriesOnly = 1;

/// Walks what all registered providers hold under `pattern`, one provider after the other, or what the file system
/// holds when none of them has anything. Wildcards are those of the shell, in the last component and in at most
/// two before it; backslashes count as slashes. Never null: where nothing matches the iterator is invalid from the
/// start.
///
/// Not to be called by two threads at once: the pattern passes through one buffer of the process.
boost::shared_ptr<FileIterator> CreateFileIterator(const char *pattern, int flags);
} // namespace Keld::File
