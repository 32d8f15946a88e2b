#include "Tools/Delivery/Arrival/ArrivalJournal.h"

#include "Tools/Common/OutputDirectory.h"
#include "Tools/Delivery/Text/PathText.h"
#include "Tools/TreeReader/DiskFile.h"
#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeWriter/FileOutput.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <sstream>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Keld::Delivery
{
namespace
{
constexpr uint64 JournalLimit = uint64(1) << 30; // bytes
} // namespace

std::optional<FileMark> FindFileMark(const std::string &place)
{
    struct stat status = {};
    if (lstat(place.c_str(), &status) != 0)
    {
        if (errno != ENOENT && errno != ENOTDIR)
        {
            throw TreeReader::TreeError(place + ": cannot be looked at: " + std::strerror(errno));
        }
        return std::nullopt;
    }
    if (!S_ISREG(status.st_mode))
    {
        return std::nullopt;
    }
    constexpr int64_t nanoseconds = 1'000'000'000;
    return FileMark{status.st_ino, static_cast<uint64>(status.st_size),
                    static_cast<int64_t>(status.st_mtim.tv_sec) * nanoseconds + status.st_mtim.tv_nsec};
}

std::string IdentifyBoot()
{
    const Common::Descriptor file(open("/proc/sys/kernel/random/boot_id", O_RDONLY | O_CLOEXEC));
    char text[64];
    const ssize_t length = file.IsOpen() ? read(file.Get(), text, sizeof text) : 0;
    return length > 0 ? std::string(text, static_cast<std::size_t>(length)) : std::string();
}

/// Each line tells inode, size and time of an accepted file, and its path.
ArrivalJournal::ArrivalJournal(std::string file) : mFile(std::move(file))
{
    const auto image = TreeReader::ReadFileImage(mFile, JournalLimit);
    std::istringstream lines(image ? std::string(image->begin(), image->end()) : std::string());
    for (std::string line; std::getline(lines, line);)
    {
        unsigned long long inode = 0;
        unsigned long long size = 0;
        long long modified = 0;
        int end = 0;
        std::string path;
        const bool isRead = std::sscanf(line.c_str(), "%llu %llu %lld %n", &inode, &size, &modified, &end) == 3;
        if (!isRead || !ReadEscapedPath(line.substr(static_cast<std::size_t>(end)), path))
        {
            mMarks.clear();
            return;
        }
        mMarks[path] = {inode, size, modified};
    }
}

const FileMark *ArrivalJournal::Find(const std::string &path) const
{
    const auto found = mMarks.find(path);
    return found != mMarks.end() ? &found->second : nullptr;
}

void ArrivalJournal::Write(std::unordered_map<std::string, FileMark> marks)
{
    std::string text;
    for (const auto &[path, mark] : marks)
    {
        text += std::to_string(mark.inode) + " " + std::to_string(mark.size) + " " + std::to_string(mark.modified) +
                " " + EscapePath(path) + "\n";
    }
    TreeWriter::ReplaceFile(mFile, text);
    mMarks = std::move(marks);
}
} // namespace Keld::Delivery
