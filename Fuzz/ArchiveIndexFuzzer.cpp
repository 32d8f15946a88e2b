// An archive index: load it, and ask for everything that it says it holds.

#include "FuzzSupport.h"
#include "KeldMorvIO/archive/ArchiveFile.h"

extern "C" int LLVMFuzzerTestOneInput(const Keld::uint8 *data, std::size_t size)
{
    using namespace Keld;
    Fuzz::SilenceLog();
    const Fuzz::MemoryFile file(data, size);
    MORV::Reader::ArchiveFile archive(file.Name(), Fuzz::MemoryFile::Directory(), 0);
    bool invalid = false;
    const bool good = archive.Read(&invalid);
    Fuzz::Require(good != invalid, "a file that can be read is an archive or is none");
    Fuzz::Require(good || archive.GetEntryCount() == 0, "what is no archive holds nothing");
    Fuzz::Require(archive.GetEntryCount() <= size / 16, "all records lie in the file");

    std::vector<std::string> paths;
    archive.GetContents(paths);
    Fuzz::Require(paths.size() <= archive.GetEntryCount(), "no path without a record");
    paths.resize(std::min<std::size_t>(paths.size(), 64));
    for (const std::string &path : paths)
    {
        uint32 offset = 0;
        uint32 storedSize = 0;
        const bool found = archive.Search(path, offset, storedSize);
        Fuzz::Require(!found || archive.Find(path), "what has a place is there");
    }
    archive.Find("no such name");
    archive.FindEntryIndex(0, nullptr);
    return 0;
}
