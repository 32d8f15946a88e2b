#include "Tools/TreeReader/ContentDigest.h"

namespace Keld::TreeReader
{
Digest ContentDigest::Finish()
{
    Digest digest;
    mRun.Finish(digest.data());
    return digest;
}

Digest DigestOf(std::string_view content)
{
    ContentDigest digest;
    digest.Update(content);
    return digest.Finish();
}
} // namespace Keld::TreeReader
