#include "KeldFoundation/file/SparseFileProvider.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/file/FileIteratorMacOSX.h"
#include "KeldFoundation/file/IFile.h"
#include "KeldFoundation/file/StreamCloser.h"

#include <cstdio>
#include <memory>
#include <string>

#include <sys/stat.h>

namespace Keld::File
{
namespace
{
constexpr uint_size StreamBufferSize = 64000;

struct TextFreer
{
    void operator()(char *text) const { std_free(text); }
};

class SparseFile : public IFile
{
public:
    SparseFile(Stream stream, const char *name);

    const char *GetName() override { return mName.c_str(); }
    uint32 GetSize() override { return mSize; }
    bool IsOpen() override { return mStream != nullptr; }
    const char *GetContents() override;
    long Tell() override { return mStream != nullptr ? std_ftell(mStream.get()) : 0; }
    int IsEof() override { return mStream != nullptr ? std_feof(mStream.get()) : 0; }
    int Seek(long offset, int origin) override;
    char *GetLine(char *buffer, int size) override;
    uint_size Read(void *buffer, uint_size size, uint_size count) override;
    uint_size Write(const void *buffer, uint_size size, uint_size count) override;

private:
    Stream mStream;
    std::unique_ptr<char, TextFreer> mContents; ///< null until asked for
    uint32 mSize;                               ///< bytes
    std::string mName;
};

/// The size of what can tell its end, 0 of what cannot. The position stays.
uint32 MeasureStream(FILE *stream)
{
    const long position = std_ftell(stream);
    if (position < 0 || std_fseek(stream, 0, SEEK_END) != 0)
    {
        return 0;
    }
    const long end = std_ftell(stream);
    std_fseek(stream, position, SEEK_SET);
    return end > 0 ? static_cast<uint32>(end) : 0;
}

SparseFile::SparseFile(Stream stream, const char *name) : mStream(std::move(stream)), mSize(0), mName(name)
{
    std_setvbuf(mStream.get(), nullptr, _IOFBF, StreamBufferSize);
    mSize = MeasureStream(mStream.get());
}

const char *SparseFile::GetContents()
{
    if (mContents == nullptr && mStream != nullptr)
    {
        mContents.reset(static_cast<char *>(std_calloc(uint_size{mSize} + 1, 1)));
        if (mContents != nullptr)
        {
            std_fread(mContents.get(), mSize, 1, mStream.get()); // zeros stand for whatever does not come
            mContents.get()[mSize] = '\0';
        }
    }
    return mContents.get();
}

int SparseFile::Seek(long offset, int origin)
{
    return mStream != nullptr ? std_fseek(mStream.get(), offset, origin) : 0;
}

char *SparseFile::GetLine(char *buffer, int size)
{
    return mStream != nullptr ? std_fgets(buffer, size, mStream.get()) : nullptr;
}

uint_size SparseFile::Read(void *buffer, uint_size size, uint_size count)
{
    return mStream != nullptr ? std_fread(buffer, size, count, mStream.get()) : 0;
}

uint_size SparseFile::Write(const void *buffer, uint_size size, uint_size count)
{
    return std_fwrite(buffer, size, count, mStream.get());
}

/// A stream opens on a directory here, and would then claim a size without a bound.
bool IsDirectoryStream(FILE *stream)
{
    struct stat status = {};
    return fstat(fileno(stream), &status) == 0 && S_ISDIR(status.st_mode);
}
} // namespace

IFile *SparseFileProvider::Open(const char *path, const char *mode)
{
    Stream stream(std_fopen(path, mode));
    if (stream == nullptr || IsDirectoryStream(stream.get()))
    {
        return nullptr;
    }
    return new SparseFile(std::move(stream), path);
}

int SparseFileProvider::Access(const char *path, int mode)
{
    return std_access(path, mode) ? 0 : -1;
}

FileIterator *SparseFileProvider::CreateIterator(const char *pattern, int flags)
{
    return CreateFileIteratorMacOSX(pattern, flags);
}
} // namespace Keld::File
