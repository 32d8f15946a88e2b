#include "Tools/Delivery/Sums/CheckedReleases.h"

namespace Keld::Delivery
{
TreeChecker::CheckReport CheckReleases(const std::string &root, const std::vector<TreeReader::ReleaseName> &releases,
                                       unsigned threadCount, const WorkCalls &calls)
{
    TreeReader::Tree tree(root);
    TreeChecker::CheckOptions options;
    options.threadCount = threadCount;
    options.checkpoint = calls.checkpoint;
    options.advance = calls.advance;
    options.begin = [&calls](uint64 total)
    {
        calls.begin("checking", total);
    };
    return TreeChecker::CheckTree(tree, releases, options);
}
} // namespace Keld::Delivery
