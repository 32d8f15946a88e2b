#pragma once

#include "Tools/TreeReader/HashRun.h"
#include "Tools/TreeReader/ReleaseContents.h"

#include <string_view>

namespace Keld::TreeReader
{
/// The digest that the writer gives a file: MD5 over its content. The reader never interprets it; delta releases
/// compare by it.
class ContentDigest
{
public:
    void Update(std::string_view bytes) { mRun.Update(bytes); }
    Digest Finish();

private:
    HashRun mRun{HashRun::Function::Md5};
};

Digest DigestOf(std::string_view content);
} // namespace Keld::TreeReader
