#include "Tools/TreeWriter/StoredFormCheck.h"

#include "Tools/Common/ParallelWork.h"
#include "Tools/TreeReader/DigestLanes.h"
#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeWriter/ContentDigest.h"

namespace Keld::TreeWriter
{
using TreeReader::TreeError;

namespace
{
/// Checks one stretch of the forms. Small contents wait in memory until their digests are made side by side.
class StretchCheck
{
public:
    StretchCheck(const PackRequest &request, const std::vector<PlannedFile> &plan, const std::vector<FormOfFile> &forms)
        : mRequest(request), mPlan(plan), mForms(forms)
    {
    }

    void Run(const Common::Stretch &stretch)
    {
        for (std::size_t index = stretch.begin; index < stretch.end; ++index)
        {
            if (mForms[index].second.contentSize > BatchSize)
            {
                CheckWaiting();
                CheckInPieces(index);
            }
            else
            {
                Hold(index);
            }
        }
        CheckWaiting();
    }

private:
    struct Waiting
    {
        std::size_t index;  ///< of the form
        std::size_t offset; ///< of its content, in mBytes
        std::size_t size;
    };

    void CheckInPieces(std::size_t index)
    {
        ContentDigest digest;
        Read(index,
             [&digest](std::string_view piece)
             {
                 digest.Update(piece);
             });
        Require(index, digest.Finish());
    }

    void Hold(std::size_t index)
    {
        const std::size_t offset = mBytes.size();
        try
        {
            Read(index,
                 [this](std::string_view piece)
                 {
                     mBytes.insert(mBytes.end(), piece.begin(), piece.end());
                 });
        }
        catch (const TreeError &)
        {
            CheckWaiting(); // the first failure counts
            throw;
        }
        mWaiting.push_back({index, offset, mBytes.size() - offset});
    }

    void CheckWaiting()
    {
        std::vector<std::string_view> contents;
        contents.reserve(mWaiting.size());
        for (const Waiting &waiting : mWaiting)
        {
            contents.emplace_back(mBytes.data() + waiting.offset, waiting.size);
        }
        const std::vector<TreeReader::Digest> digests = TreeReader::DigestsOf(contents);
        for (std::size_t at = 0; at < digests.size(); ++at)
        {
            Require(mWaiting[at].index, digests[at]);
        }
        mWaiting.clear();
        mBytes.clear();
    }

    void Read(std::size_t index, const StoredFormReader::Sink &sink)
    {
        mReader.Read(mForms[index].second,
                     [&](std::string_view piece)
                     {
                         mRequest.checkpoint();
                         sink(piece);
                         mRequest.advance(piece.size());
                     });
    }

    void Require(std::size_t index, const TreeReader::Digest &digest) const
    {
        const auto &[file, form] = mForms[index];
        if (digest != mPlan[file].entry.digest)
        {
            throw TreeError(form.file + ": what was written there reads back as another content");
        }
    }

    const PackRequest &mRequest;
    const std::vector<PlannedFile> &mPlan;
    const std::vector<FormOfFile> &mForms;
    StoredFormReader mReader;
    std::vector<char> mBytes; ///< the contents that wait, one behind another
    std::vector<Waiting> mWaiting;
};
} // namespace

void CheckStoredForms(const PackRequest &request, const std::vector<PlannedFile> &plan,
                      const std::vector<FormOfFile> &forms)
{
    uint64 size = 0;
    for (const auto &[file, form] : forms)
    {
        size += form.contentSize;
    }
    request.begin(PackPhase::Checking, size);
    const std::vector<Common::Stretch> stretches =
        Common::CutIntoStretches(forms.size(), {BatchSize, MostInBatch, request.threadCount},
                                 [&forms](std::size_t index)
                                 {
                                     return forms[index].second.contentSize;
                                 });
    Common::ForEachInParallel(request.threadCount, stretches.size(),
                              [&](std::size_t number)
                              {
                                  StretchCheck(request, plan, forms).Run(stretches[number]);
                              });
}
} // namespace Keld::TreeWriter
