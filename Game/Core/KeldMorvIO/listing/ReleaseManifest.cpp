#include "KeldMorvIO/listing/ReleaseManifest.h"

namespace Keld::MORV::Reader
{
ReleaseManifest::~ReleaseManifest() = default;
} // namespace Keld::MORV::Reader
