#pragma once

#include "Tools/TreeReader/ContentDigest.h"

namespace Keld::TreeWriter
{
using TreeReader::ContentDigest;
using TreeReader::DigestOf;
} // namespace Keld::TreeWriter
