#pragma once

#include "Mutation/Random.h"

#include <string>
#include <vector>

namespace Keld::Fuzz
{
/// Changes a release manifest record by record: numbers, flags, versions, names, whole records. Counts and sizes that
/// a change makes untrue are mended most of the time, so that it is found out by those who look deeper. What is no
/// manifest is changed byte by byte.
/// \param words that names may become
void MutateManifest(std::string &bytes, Random &random, const std::vector<std::string> &words);

/// Whether a manifest counts more strings than any vector can hold: the library throws through the start then.
bool CountsTooManyStrings(const std::string &bytes);
} // namespace Keld::Fuzz
