#include "KeldMorvIO/blocks/WholeFile.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/CStd/ReadyFiles.h"
#include "KeldFoundation/file/StreamCloser.h"
#include "KeldMorvIO/ReaderLog.h"

namespace Keld::MORV::Reader
{
namespace
{
constexpr uint_size ErrorTextSize = 4096;
constexpr const char *CheckedOpenSignature =
    "errno_t Keld::MORV::Reader::morv_fopen_s(FILE **, const char *, const char *)";

// Reports an open that failed, under the signature of the call that the user made. Gives the error number.
errno_t ReportFailedOpen(const char *signature, const char *path, const char *mode)
{
    const errno_t error = std_errno();
    if (error == 0)
    {
        return 0;
    }
    LogErrorText(signature, std_errno());
    char text[ErrorTextSize];
    LogError("%s: (\"%s\", \"%s\") failed: %s", signature, path, mode, std_error_text(error, text, sizeof text));
    return error;
}

// What the stream itself says. A stream that never came to be has no error, but its line is written all the same.
void LogStreamError(const char *signature, FILE *stream)
{
    LogErrorText(signature, stream != nullptr ? std_ferror(stream) : 0);
}

// The system's and the stream's account of a step that failed. False when the system holds no error at all: the step
// then counts as done, and its own last line is left out.
bool ReportFailedStep(const char *signature, FILE *stream)
{
    const int error = std_errno();
    LogErrorText(signature, error);
    if (error == 0)
    {
        return false;
    }
    LogStreamError(signature, stream);
    return true;
}

HRESULT ReadBlock(const char *signature, FILE *stream, uint32 size, LargeVector<char> &buffer)
{
    buffer.resize(size);
    const uint_size readSize = std_fread(buffer.data(), 1, size, stream);
    if (readSize < size)
    {
        std_memset(buffer.data() + readSize, 0, size - readSize);
        LogStreamError(signature, stream);
        LogError("%s: fread failed", signature);
        return E_FAIL;
    }
    return S_OK;
}
} // namespace

FILE *morv_fopen(const char *path, const char *mode)
{
    constexpr const char *signature = "FILE *Keld::MORV::Reader::morv_fopen(const char *, const char *)";
    FILE *const stream = std_fopen(path, mode);
    if (stream == nullptr)
    {
        ReportFailedOpen(signature, path, mode);
    }
    return stream;
}

errno_t morv_fopen_s(FILE **stream, const char *path, const char *mode)
{
    *stream = std_fopen(path, mode);
    return *stream != nullptr ? 0 : ReportFailedOpen(CheckedOpenSignature, path, mode);
}

errno_t morv_fopen_ready_s(FILE **stream, const char *path, const char *mode)
{
    *stream = std_fopen_ready(path);
    return *stream != nullptr ? 0 : ReportFailedOpen(CheckedOpenSignature, path, mode);
}

HRESULT ReadFileBlockIntoBuffer(const std::string &path, const DWORD offset, const DWORD size,
                                LargeVector<char> &buffer)
{
    constexpr const char *signature = "HRESULT Keld::MORV::Reader::ReadFileBlockIntoBuffer(const std::string &, "
                                      "const DWORD, const DWORD, std::vector<char> &)";
    LogTrace("%s: (%s, %d, %d)", signature, path.c_str(), static_cast<int>(offset), static_cast<int>(size));

    FILE *opened = nullptr;
    morv_fopen_s(&opened, path.c_str(), "rb");
    const Stream stream(opened);
    if (stream == nullptr)
    {
        if (ReportFailedStep(signature, nullptr))
        {
            LogError("%s: Failed to open \"%s\".", signature, path.c_str());
        }
        return E_FAIL; // never on with a null stream, whatever `errno` says
    }
    if (std_fseek(stream.get(), static_cast<long>(offset), SEEK_SET) != 0 && ReportFailedStep(signature, stream.get()))
    {
        LogError("%s: Failed to fseek to offset.", signature);
        return E_FAIL;
    }
    return ReadBlock(signature, stream.get(), size, buffer);
}

HRESULT ReadFileIntoBuffer(const std::string &path, LargeVector<char> &buffer)
{
    constexpr const char *signature =
        "HRESULT Keld::MORV::Reader::ReadFileIntoBuffer(const std::string &, std::vector<char> &)";
    LogTrace("%s: (%s)", signature, path.c_str());

    const uint32 size = std_file_size(path.c_str());
    if (size == FileSizeUnknown)
    {
        LogError("%s: Failed to get size of \"%s\".", signature, path.c_str());
        return E_FAIL;
    }
    const HRESULT result = ReadFileBlockIntoBuffer(path, 0, size, buffer);
    if (result < 0)
    {
        LogError("%s: Failed to read \"%s\".", signature, path.c_str()); // the cause stands one line above
    }
    return result;
}

HRESULT QueryFileSize(const std::string &path, uint32 &size)
{
    size = std_file_size(path.c_str());
    return size == FileSizeUnknown ? E_FAIL : S_OK;
}
} // namespace Keld::MORV::Reader
