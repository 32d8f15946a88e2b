#include "Tools/TreeWriter/FileOutput.h"

#include <cerrno>
#include <system_error>

#include <unistd.h>

namespace Keld::TreeWriter
{
void WriteFile(const std::filesystem::path &path, std::string_view bytes)
{
    FileOutput output(path);
    output.Write(bytes);
    output.Close();
}

void ReplaceFile(const std::filesystem::path &path, std::string_view bytes)
{
    const std::filesystem::path unfinished = path.string() + ".new";
    WriteFile(unfinished, bytes);
    std::filesystem::rename(unfinished, path);
}

FileOutput::FileOutput(std::filesystem::path path) : mPath(std::move(path))
{
    if (mPath.has_parent_path())
    {
        std::filesystem::create_directories(mPath.parent_path());
    }
    mStream.reset(std::fopen(mPath.c_str(), "wb"));
    if (mStream == nullptr)
    {
        Fail();
    }
}

void FileOutput::Write(std::string_view bytes)
{
    if (std::fwrite(bytes.data(), 1, bytes.size(), mStream.get()) != bytes.size())
    {
        Fail();
    }
    mSize += bytes.size();
}

void FileOutput::CutTo(uint64 size)
{
    const auto offset = static_cast<off_t>(size);
    if (std::fflush(mStream.get()) != 0 || ftruncate(fileno(mStream.get()), offset) != 0 ||
        fseeko(mStream.get(), offset, SEEK_SET) != 0)
    {
        Fail();
    }
    mSize = size;
}

void FileOutput::Close()
{
    if (std::fclose(mStream.release()) != 0)
    {
        Fail();
    }
}

void FileOutput::Fail() const
{
    throw std::system_error(errno, std::generic_category(), "cannot write " + mPath.string());
}
} // namespace Keld::TreeWriter
