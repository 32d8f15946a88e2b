#include "Tools/TreeReader/ProjectArchives.h"

#include "KeldMorvIO/TreeWords.h"

namespace Keld::TreeReader
{
const VersionArchives &ProjectArchives::GetVersion(MorvVersion version) const
{
    // Mostly one version is asked for many thousand times in a row, by several threads.
    if (const Slot *last = mLast.load(std::memory_order_acquire); last != nullptr && last->version == version)
    {
        return *last->archives;
    }
    Slot *slot = nullptr;
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        std::unique_ptr<Slot> &place = mVersions[version];
        if (place == nullptr)
        {
            place = std::make_unique<Slot>(version);
        }
        slot = place.get();
    }
    // Other versions can be read meanwhile.
    std::call_once(slot->read,
                   [&]
                   {
                       const std::string directory =
                           std::string("/") + MORV::Reader::FileArchivesDirectory + "/" + FormatVersion(version);
                       slot->archives =
                           std::make_unique<const VersionArchives>(mIndexRoot + directory, mDataRoot + directory);
                   });
    mLast.store(slot, std::memory_order_release);
    return *slot->archives;
}
} // namespace Keld::TreeReader
