#pragma once

#include "Tools/TreeReader/ReleaseContents.h"
#include "Tools/TreeWriter/ArchiveWriter.h"

#include "KeldMorvIO/archive/ArchiveFile.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <vector>

namespace Keld::Test
{
/// What an archive index holds, in the order of its records, by the reader's own parser.
inline std::vector<TreeWriter::ArchivedFile> ReadArchiveIndex(const std::filesystem::path &path)
{
    const std::string bytes = TreeReader::ReadWholeFile(path);
    LargeVector<char> image(bytes.begin(), bytes.end());
    MORV::Reader::ArchiveFile index;
    EXPECT_TRUE(index.Adopt(image)) << path;
    std::vector<TreeWriter::ArchivedFile> files;
    for (uint32 number = 0; number < index.GetEntryCount(); ++number)
    {
        const auto &record = *index.GetEntry(number);
        files.push_back({index.GetEntryPath(number), record.dataOffset, record.size});
    }
    return files;
}
} // namespace Keld::Test
