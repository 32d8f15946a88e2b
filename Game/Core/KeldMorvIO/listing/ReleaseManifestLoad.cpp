#include "KeldMorvIO/listing/ReleaseManifest.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/CStd/FileStatus.h"
#include "KeldFoundation/file/ByteView.h"
#include "KeldFoundation/file/StreamCloser.h"
#include "KeldMorvIO/ReaderLog.h"
#include "KeldMorvIO/listing/ReleaseManifestFormat.h"
#include "KeldMorvIO/listing/ReleaseManifestTemplate.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <limits>
#include <memory>
#include <vector>

namespace Keld::MORV::Reader
{
namespace
{
constexpr const char *LoadSignature =
    "static Keld::MORV::Reader::ReleaseManifest *Keld::MORV::Reader::ReleaseManifest::Load(const char *)";

/// Magic and version word, in bytes. They are checked before anything else; a shorter file has no header.
constexpr uint32 LeadSize = 8;

/// What a stream reports as its error once a read has failed.
constexpr int StreamErrorIndicator = 1;

template <class EntryType>
std::unique_ptr<ReleaseManifest> MakeManifest(std::vector<char> &image)
{
    return std::make_unique<ReleaseManifestTemplate<EntryType>>(image);
}

struct AcceptedVersion
{
    uint32 version;
    std::unique_ptr<ReleaseManifest> (*make)(std::vector<char> &);
};

constexpr AcceptedVersion AcceptedVersions[] = {
    {ReleaseManifestVersionV0, MakeManifest<FileTableEntryV0>},
    {ReleaseManifestVersion, MakeManifest<FileTableEntry>},
};

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
    return fileSize <= largestSize ? fileSize : LeadSize;
}

/// Reads at least the lead. The unknown size of a missing file is the highest number, so that it fails when opened.
bool ReadImage(const char *filename, std::vector<char> &image)
{
    const uint32 size = std_file_size(filename);
    if (size < LeadSize)
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
} // namespace

ReleaseManifest *ReleaseManifest::Load(const char *filename)
{
    LogProgress("%s: (\"%s\")", LoadSignature, filename);

    std::vector<char> image;
    if (!ReadImage(filename, image))
    {
        return nullptr;
    }
    const ByteView view(image.data(), image.size());
    const uint32 magic = *view.At<Little32>(offsetof(ReleaseManifestHeader, magic));
    if (magic != ReleaseManifestMagic)
    {
        LogError("%s: Failed to find magic value", LoadSignature);
        return nullptr;
    }
    const uint32 version = *view.At<Little32>(offsetof(ReleaseManifestHeader, version));
    const auto *const accepted = std::find_if(std::begin(AcceptedVersions), std::end(AcceptedVersions),
                                              [version](const AcceptedVersion &candidate)
                                              {
                                                  return candidate.version == version;
                                              });
    if (accepted == std::end(AcceptedVersions))
    {
        LogError("%s: Invalid version.  Current version is 0x%08lx, found 0x%08lx", LoadSignature,
                 static_cast<unsigned long>(ReleaseManifestVersion), static_cast<unsigned long>(version));
        return nullptr;
    }
    std::unique_ptr<ReleaseManifest> manifest = accepted->make(image);
    if (!manifest->IsValid())
    {
        LogError("%s: The release manifest is invalid.  The file may be truncated.", LoadSignature);
        return nullptr;
    }
    return manifest.release();
}
} // namespace Keld::MORV::Reader
