#pragma once

#include "Tools/TreeReader/ReleaseParts.h"

#include <string>
#include <vector>

namespace Keld::TreeReader
{
/// A release that somebody has: its view, and the root of the tree that it lies in.
struct HeldRelease
{
    const View *view = nullptr;
    std::string root;
};

/// The files that somebody lacks who has some releases and wants one more, in the order in which to bring them: the
/// manifests last.
///
/// Within one tree a file is held when a held release is served from it: a published file never changes. Between two
/// trees it is held when it has the same path and size and the manifests tell the same digests for all that is in it;
/// indexes and manifests are compared byte by byte.
class ShippingList
{
public:
    /// The wanted release must be whole.
    ShippingList(const std::vector<HeldRelease> &held, const HeldRelease &wanted, unsigned threadCount);

    const std::vector<ReleasePart> &GetParts() const { return mParts; }

    /// Names of the wanted release that lead out of the tree, and so cannot be shipped.
    const std::vector<std::string> &GetOutside() const { return mOutside; }

    /// Files of the wanted release of which the system did not tell whether they are there; they may lack here.
    const std::vector<Fault> &GetDoubts() const { return mDoubts; }

private:
    std::vector<ReleasePart> mParts;
    std::vector<std::string> mOutside;
    std::vector<Fault> mDoubts;
};
} // namespace Keld::TreeReader
