#include "Trees/TreeCase.h"

#include "FuzzSupport.h"
#include "Mutation/ByteMutation.h"

#include <algorithm>

namespace Keld::Fuzz
{
namespace
{
constexpr std::size_t FewestLines = 2;

TreeOnDisk &GetSharedDisk()
{
    static TreeOnDisk disk;
    return disk;
}
} // namespace

TreeCase::TreeCase(const uint8 *data, std::size_t size, std::string_view elsewhere)
    : mInput(TreeInput::Parse({reinterpret_cast<const char *>(data), size})), mLines(SplitLines(mInput.script)),
      mDisk(GetSharedDisk())
{
    SilenceLog();
    mLines.resize(std::max(mLines.size(), FewestLines));
    mDisk.Become(mInput, elsewhere);
    mFree = FindFreeDescriptor();
}

TreeCase::~TreeCase()
{
    Require(FindFreeDescriptor() == mFree, "all descriptors are given back");
}

std::vector<std::string> TreeCase::GetLinesBehind(std::size_t count) const
{
    return {mLines.begin() + static_cast<std::ptrdiff_t>(std::min(count, mLines.size())), mLines.end()};
}
} // namespace Keld::Fuzz
