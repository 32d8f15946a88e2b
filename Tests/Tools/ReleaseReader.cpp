#include "Tools/ReleaseReader.h"

#include "KeldMorvIO/Public/KeldMorvIO.h"

#include <algorithm>

namespace Keld::Test
{
ReleaseReader::ReleaseReader(const std::string &workingDirectory)
    : mStarted(MorvInitialize(0, 0, 0, workingDirectory.c_str()) >= 0)
{
}

ReleaseReader::~ReleaseReader()
{
    MorvShutdown();
}

bool ReleaseReader::Exists(const std::string &path) const
{
    return mStarted && MorvFileExists(path.c_str()) != 0;
}

std::string ReleaseReader::Read(const std::string &path, uint32 pieceSize) const
{
    OpenFileHandle *handle = mStarted ? MorvOpenFile(path.c_str()) : nullptr;
    if (handle == nullptr)
    {
        return "<cannot be opened>";
    }
    std::string content(static_cast<std::size_t>(MorvGetFileSize(handle)), '\0');
    bool complete = true;
    for (uint64 offset = 0; complete && offset < content.size();)
    {
        const auto wanted = static_cast<uint32>(std::min<uint64>(pieceSize, content.size() - offset));
        uint32 delivered = 0;
        complete = MorvRead(handle, offset, wanted, &delivered, content.data() + offset) >= 0 && delivered == wanted;
        offset += delivered;
    }
    MorvCloseFile(handle);
    return complete ? content : "<cannot be read>";
}

std::map<std::string, uint64> ReleaseReader::FindAll() const
{
    std::map<std::string, uint64> files;
    if (mStarted)
    {
        FindBelow("", files);
    }
    return files;
}

void ReleaseReader::FindBelow(const std::string &directory, std::map<std::string, uint64> &files) const
{
    FindHandle *search = MorvFindFirstFile((directory + "*").c_str());
    char name[1024];
    uint32 isDirectory = 0;
    uint64 size = 0;
    while (MorvFindNextFile(search, &isDirectory, &size, sizeof name, name) >= 0)
    {
        if (isDirectory != 0)
        {
            FindBelow(directory + name + "/", files);
        }
        else
        {
            files.emplace(directory + name, size);
        }
    }
    MorvFindClose(search);
}
} // namespace Keld::Test
