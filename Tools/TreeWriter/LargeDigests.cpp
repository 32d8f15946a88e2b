#include "Tools/TreeWriter/LargeDigests.h"

#include "Tools/Common/ParallelWork.h"
#include "Tools/TreeWriter/SourceContent.h"
#include "Tools/TreeWriter/TwinTable.h"

namespace Keld::TreeWriter
{
void ReadLargeDigests(const PackRequest &request, std::vector<PlannedFile> &plan)
{
    std::vector<PlannedFile *> files;
    for (PlannedFile &planned : plan)
    {
        if (planned.IsLarge() && (planned.canBeKept || planned.mayHaveTwin))
        {
            files.push_back(&planned);
        }
    }
    if (files.empty())
    {
        return;
    }
    uint64 size = 0;
    for (const PlannedFile *planned : files)
    {
        size += planned->entry.size;
    }
    request.begin(PackPhase::Comparing, size);
    Common::ForEachInParallel(request.threadCount, files.size(),
                              [&](std::size_t index)
                              {
                                  files[index]->knownDigest = DigestOfFile(*files[index], request.checkpoint);
                                  request.advance(files[index]->entry.size);
                              });

    TwinTable twins;
    for (PlannedFile *planned : files)
    {
        const bool isKept = planned->canBeKept && planned->IsUnchanged(*planned->knownDigest);
        if (planned->mayHaveTwin && !isKept)
        {
            const auto index = static_cast<std::size_t>(planned - plan.data());
            const auto earlier =
                twins.FindEarlier({*planned->knownDigest, planned->entry.size, planned->choice.compression}, index);
            if (earlier && HaveSameContent(plan[*earlier], *planned, request.checkpoint))
            {
                planned->twin = earlier;
            }
        }
    }
}
} // namespace Keld::TreeWriter
