#include "KeldMorvIO/listing/ManifestParsing.h"

#include "KeldFoundation/file/ByteView.h"
#include "KeldMorvIO/listing/ReleaseManifestFormat.h"
#include "KeldMorvIO/listing/ReleaseManifestTemplate.h"

#include <algorithm>
#include <iterator>

namespace Keld::MORV::Reader
{
namespace
{
template <class EntryType>
ParsedImage MakeManifest(LargeVector<char> &image)
{
    auto manifest = std::make_unique<ReleaseManifestTemplate<EntryType>>(image);
    ParsedImage parsed;
    parsed.refusal = manifest->IsValid() ? ManifestRefusal::None : ManifestRefusal::Damaged;
    parsed.tables = manifest.get();
    parsed.manifest = std::move(manifest);
    return parsed;
}

struct AcceptedVersion
{
    uint32 version;
    ParsedImage (*make)(LargeVector<char> &);
};

constexpr AcceptedVersion AcceptedVersions[] = {
    {ReleaseManifestVersionV0, MakeManifest<FileTableEntryV0>},
    {ReleaseManifestVersion, MakeManifest<FileTableEntry>},
};

ParsedImage Refuse(ManifestRefusal refusal, uint32 version = 0)
{
    ParsedImage parsed;
    parsed.refusal = refusal;
    parsed.version = version;
    return parsed;
}
} // namespace

ParsedImage ParseReleaseManifest(LargeVector<char> &image)
{
    if (image.size() < ManifestLeadSize)
    {
        return Refuse(ManifestRefusal::TooShort);
    }
    const ByteView view(image.data(), image.size());
    if (*view.At<Little32>(offsetof(ReleaseManifestHeader, magic)) != ReleaseManifestMagic)
    {
        return Refuse(ManifestRefusal::WrongMagic);
    }
    const uint32 version = *view.At<Little32>(offsetof(ReleaseManifestHeader, version));
    const auto *const accepted = std::find_if(std::begin(AcceptedVersions), std::end(AcceptedVersions),
                                              [version](const AcceptedVersion &candidate)
                                              {
                                                  return candidate.version == version;
                                              });
    if (accepted == std::end(AcceptedVersions))
    {
        return Refuse(ManifestRefusal::UnknownVersion, version);
    }
    ParsedImage parsed = accepted->make(image);
    parsed.version = version;
    return parsed.refusal == ManifestRefusal::None ? std::move(parsed) : Refuse(parsed.refusal, version);
}
} // namespace Keld::MORV::Reader
