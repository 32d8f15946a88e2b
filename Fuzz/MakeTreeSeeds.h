#pragma once

#include <functional>
#include <string>

namespace Keld::Fuzz
{
/// Takes a seed: the fuzzer that it is for, its name, its bytes.
using SeedSink = std::function<void(const char *fuzzer, const char *name, const std::string &bytes)>;

/// Makes the seeds of all fuzzers whose input is a tree, and of those beside them that read what is delivered.
void MakeTreeSeeds(const SeedSink &write);
} // namespace Keld::Fuzz
