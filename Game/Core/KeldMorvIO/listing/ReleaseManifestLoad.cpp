#include "KeldMorvIO/listing/ReleaseManifest.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/CStd/FileStatus.h"
#include "KeldFoundation/file/StreamCloser.h"
#include "KeldMorvIO/ReaderLog.h"
#include "KeldMorvIO/listing/ManifestParsing.h"
#include "KeldMorvIO/listing/ReleaseManifestFormat.h"

#include <cstdio>
#include <limits>

namespace Keld::MORV::Reader
{
namespace
{
constexpr const char *LoadSignature =
    "static Keld::MORV::Reader::ReleaseManifest *Keld::MORV::Reader::ReleaseManifest::Load(const char *)";

/// What a stream reports as its error once a read has failed.
constexpr int StreamErrorIndicator = 1;

bool ReportReadFailure(int streamError)
{
    LogErrorText(LoadSignature, streamError);
    LogError("%s: Failure while reading header", LoadSignature);
    return false;
}

/// Whether the name is taken by something without a size, such as a directory or a FIFO. These must not be opened: a
/// directory opens as a stream, and a FIFO waits for its writer.
bool IsNoFile(const char *filename, uint32 size)
{
    if (size != FileSizeUnknown)
    {
        return false;
    }
    const FileStatus status = GetFileStatus(filename);
    return status.exists && !IsRegularMode(status.mode);
}

/// How much of a file to read. One of 2^31 bytes or more is never valid: its lead is enough to find the log line.
uint32 GetImageSize(uint32 fileSize)
{
    constexpr uint32 largestSize = std::numeric_limits<int32>::max();
    return fileSize <= largestSize ? fileSize : ManifestLeadSize;
}

/// Reads at least the lead. The unknown size of a missing file is the highest number, so that it fails when opened.
bool ReadImage(const char *filename, LargeVector<char> &image)
{
    const uint32 size = std_file_size(filename);
    if (size < ManifestLeadSize)
    {
        LogError("%s: Failure while reading header", LoadSignature);
        return false;
    }
    if (IsNoFile(filename, size))
    {
        return ReportReadFailure(StreamErrorIndicator);
    }
    const Stream stream(std_fopen(filename, "rb"));
    if (stream == nullptr)
    {
        LogError("%s: Failed to open \"%s\".", LoadSignature, filename);
        return false;
    }
    image.resize(GetImageSize(size));
    if (std_fread(image.data(), 1, image.size(), stream.get()) != image.size())
    {
        return ReportReadFailure(std_ferror(stream.get()));
    }
    return true;
}

void LogRefusal(const ParsedImage &parsed)
{
    switch (parsed.refusal)
    {
    case ManifestRefusal::None:
    case ManifestRefusal::TooShort: // told when it was read
        break;
    case ManifestRefusal::WrongMagic:
        LogError("%s: Failed to find magic value", LoadSignature);
        break;
    case ManifestRefusal::UnknownVersion:
        LogError("%s: Invalid version.  Current version is 0x%08lx, found 0x%08lx", LoadSignature,
                 static_cast<unsigned long>(ReleaseManifestVersion), static_cast<unsigned long>(parsed.version));
        break;
    case ManifestRefusal::Damaged:
        LogError("%s: The release manifest is invalid.  The file may be truncated.", LoadSignature);
        break;
    }
}
} // namespace

ReleaseManifest *ReleaseManifest::Load(const char *filename)
{
    LogProgress("%s: (\"%s\")", LoadSignature, filename);

    LargeVector<char> image;
    if (!ReadImage(filename, image))
    {
        return nullptr;
    }
    ParsedImage parsed = ParseReleaseManifest(image);
    LogRefusal(parsed);
    return parsed.manifest.release();
}
} // namespace Keld::MORV::Reader
