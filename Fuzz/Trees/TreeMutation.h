#pragma once

#include "Mutation/Random.h"
#include "Trees/TreeInput.h"

namespace Keld::Fuzz
{
/// Changes a tree: files by their formats, their places, which there are, and what is asked of it.
void MutateTree(TreeInput &input, Random &random);

/// Puts files of one tree into another.
void CrossTrees(TreeInput &input, TreeInput other, Random &random);

/// Of those fuzzers that have one: mends what changes have made untrue and a reader would refuse at once.
__attribute__((weak)) void MendTree(TreeInput &input);
} // namespace Keld::Fuzz
