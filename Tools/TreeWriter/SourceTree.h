#pragma once

#include "Tools/Common/Glob.h"

#include "KeldFoundation/CStd/BasicTypes.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace Keld::TreeWriter
{
struct SourceFile
{
    std::string path; ///< virtual: relative to the source folder, '/' between names
    uint64 size = 0;
    std::string disk = {}; ///< where its bytes lie; empty: at the virtual path below the root
};

/// What is to be packed, directories before what is in them, in ascending order without regard to case.
struct SourceTree
{
    std::filesystem::path root;
    std::vector<std::string> directories;
    std::vector<SourceFile> files;
    uint64 excluded = 0;                 ///< files and whole directories that patterns left out
    uint64 skippedLinks = 0;             ///< symbolic links left out
    std::vector<std::string> notes = {}; ///< what is worth knowing, one sentence each

    std::string DiskPath(const SourceFile &file) const;
};

/// What becomes of symbolic links.
enum class LinkPolicy
{
    Refuse,
    Follow, ///< what they name is packed under their name
    Skip
};

struct SourceOptions
{
    LinkPolicy links = LinkPolicy::Refuse;
    std::vector<Common::Glob> excludes = {}; ///< files, and directories with all that is in them, to leave out
    /// Paths below the folder to take, directories with all that is in them; without it, everything.
    std::optional<std::vector<std::string>> only = {};
};
} // namespace Keld::TreeWriter
