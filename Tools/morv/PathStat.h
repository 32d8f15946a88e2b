#pragma once

#include "Tools/TreeReader/ContentReader.h"
#include "Tools/TreeReader/View.h"
#include "Tools/morv/Json.h"

#include <string>

namespace Keld::Morv
{
/// What "morv stat" tells of one path that was found.
struct PathStat
{
    std::string path; ///< as the release spells it
    const TreeReader::Layer *layer = nullptr;
    bool isDirectory = false;

    uint64 entries = 0; ///< of a directory

    // Of a file.
    const MORV::Reader::FileTableFields *fields = nullptr; ///< lives as long as the view
    TreeReader::StoredFile stored;
    bool isChecked = false;
    TreeReader::Failure damage; ///< what the check has found
};

/// Looks at an entry that was found. Reads the content of a file only when it is to be checked.
/// \param reader for the check; null for none
TreeReader::Result<PathStat> LookAt(const TreeReader::View &view, const TreeReader::Hit &hit,
                                    TreeReader::ContentReader *reader);

/// Adds lines for a person.
void AppendText(const PathStat &stat, std::string &text);

/// The same for a document.
Json MakeValue(const PathStat &stat);
} // namespace Keld::Morv
