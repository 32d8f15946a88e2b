#include "Tools/TreeReader/ProjectArchives.h"

#include "KeldMorvIO/TreeWords.h"

namespace Keld::TreeReader
{
const VersionArchives &ProjectArchives::GetVersion(MorvVersion version) const
{
    Slot *slot = nullptr;
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        std::unique_ptr<Slot> &place = mVersions[version];
        if (place == nullptr)
        {
            place = std::make_unique<Slot>();
        }
        slot = place.get();
    }
    // Other versions can be read meanwhile.
    std::call_once(slot->read,
                   [&]
                   {
                       slot->archives = std::make_unique<const VersionArchives>(
                           mProjectRoot + "/" + MORV::Reader::FileArchivesDirectory + "/" + FormatVersion(version));
                   });
    return *slot->archives;
}
} // namespace Keld::TreeReader
