#include "KeldMorvIO/blocks/LzmaInFile.h"

#include "KeldMorvIO/blocks/AsyncRequest.h"
#include "KeldMorvIO/blocks/ReportedOpen.h"

#include <algorithm>

namespace Keld::MORV::Reader
{
LzmaInFile::~LzmaInFile()
{
    if (mOpenedHere)
    {
        AsyncClose(mFile);
    }
    else
    {
        AsyncCloseKeepingNumber(mFile);
    }
}

bool LzmaInFile::Initialize(const char *path, uint64 offset, uint32 size)
{
    constexpr const char *signature =
        "bool Keld::MORV::Reader::LzmaInFile::Initialize(const char *, Keld::uint64, Keld::uint32)";
    const AsyncFile file = OpenOrReport(signature, path);
    if (file == AsyncFile::Null)
    {
        return false;
    }
    Initialize(file, offset, size);
    mOpenedHere = true;
    return true;
}

void LzmaInFile::Initialize(AsyncFile file, uint64 offset, uint32 size)
{
    mFile = file;
    mSize = size;
    mConsumed = 0;
    mStart = offset;
    mOpenedHere = false;
}

bool LzmaInFile::Read(const void *&data, uint32 &size)
{
    const uint32 chunk = std::min(GetRemaining(), InputChunkSize);
    uint32 bytesRead = 0;
    if (!AsyncRead(mFile, mStart + mConsumed, chunk, &bytesRead, mBuffer) || bytesRead != chunk)
    {
        return false;
    }
    mConsumed += chunk;
    data = mBuffer;
    size = chunk;
    return true;
}
} // namespace Keld::MORV::Reader
