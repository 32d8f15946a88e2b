#pragma once

#include "Mutation/Random.h"

#include <string>
#include <vector>

namespace Keld::Fuzz
{
/// Changes an archive index record by record: places, sizes, paths, whole records. Most of the time the hashes are
/// mended and the records put in order again, so that what was changed is found. What is no index is changed byte by
/// byte.
/// \param words that paths may become
void MutateIndex(std::string &bytes, Random &random, const std::vector<std::string> &words);
} // namespace Keld::Fuzz
