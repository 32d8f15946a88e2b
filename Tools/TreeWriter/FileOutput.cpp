#include "Tools/TreeWriter/FileOutput.h"

#include <cerrno>
#include <system_error>

#include <unistd.h>

namespace Keld::TreeWriter
{
namespace
{
/// Made anew also where something of its name stands, so that nothing is written through a link.
std::FILE *OpenNew(const std::filesystem::path &path)
{
    constexpr const char *mode = "wbx"; // fails for a name that is there
    std::FILE *stream = std::fopen(path.c_str(), mode);
    const bool isTaken = stream == nullptr && errno == EEXIST;
    return isTaken && unlink(path.c_str()) == 0 ? std::fopen(path.c_str(), mode) : stream;
}
} // namespace

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
    mStream.reset(OpenNew(mPath));
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

void FileOutput::SetSize(uint64 size)
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
