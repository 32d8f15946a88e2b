#pragma once

#include "Tools/TreeReader/HashRun.h"

#include <array>
#include <string>
#include <string_view>

namespace Keld::Delivery
{
/// SHA-256 over all bytes of a file on disk: what shiplists and bundles tell of a file, and what nobody can forge. (The
/// digest in a manifest is over the content, uncompressed, and guards against accidents alone.)
using ContentSum = std::array<unsigned char, 32>;

class ContentSummer
{
public:
    void Update(std::string_view bytes) { mRun.Update(bytes); }
    ContentSum Finish();

private:
    TreeReader::HashRun mRun{TreeReader::HashRun::Function::Sha256};
};

ContentSum SumOf(std::string_view bytes);

/// Two hexadecimal digits for each byte, in lower case.
std::string FormatSum(const ContentSum &sum);

/// False for anything but that form.
bool ReadSum(std::string_view text, ContentSum &sum);
} // namespace Keld::Delivery
