#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <string>
#include <string_view>
#include <vector>

namespace Keld::Fuzz
{
/// One thing that an input puts on the disk.
struct TreeEntry
{
    enum Kind : char
    {
        File = 'f',
        Directory = 'd',
        Fifo = 'p',
        Link = 'l',   ///< symbolic, to another name in its directory
        WayOut = 'o', ///< symbolic, to the directory "outside" beside all that an input makes
        Script = 's'  ///< not on the disk: what is to be done, line by line
    };

    Kind kind = File;
    std::string path;  ///< relative
    std::string bytes; ///< of a file its content, of a link the name that it leads to
};

/// An input that is a small tree. Its form is a row of entries, each of them
///
///     kind (1 byte)   path   NUL   size of the bytes (4 bytes, lowest first)   bytes
///
/// Whatever bytes come are such a row: the last entry ends where they end, and unknown kinds are files.
struct TreeInput
{
    std::string script;
    std::vector<TreeEntry> entries; ///< but for the script

    static TreeInput Parse(std::string_view bytes);
    std::string Bytes() const;

    /// The bytes of the first file of this path, or null.
    const std::string *Find(std::string_view path) const;
};

/// Whether a path leads to a place below the directory that it is relative to: plain names with '/' between.
bool IsPlainPath(std::string_view path);

/// What stands behind the last '/'.
std::string_view NameOfPath(std::string_view path);
} // namespace Keld::Fuzz
