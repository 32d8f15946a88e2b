#pragma once

#include "Trees/TreeInput.h"
#include "Trees/TreeOnDisk.h"

#include <string>
#include <string_view>
#include <vector>

namespace Keld::Fuzz
{
/// What every fuzzer of trees begins with: an input, read and laid out on the disk that all inputs of the process
/// share, one after the other. The library's messages go nowhere.
class TreeCase
{
public:
    /// \param elsewhere entries below it are not put on the disk, as "there/"; empty for none
    TreeCase(const uint8 *data, std::size_t size, std::string_view elsewhere = {});

    /// Requires that all descriptors are given back, so whatever uses the tree ends before.
    ~TreeCase();

    TreeCase(const TreeCase &) = delete;
    TreeCase &operator=(const TreeCase &) = delete;

    const TreeInput &GetInput() const { return mInput; }

    /// The script's; at least two, empty ones where it has fewer.
    const std::vector<std::string> &GetLines() const { return mLines; }

    /// Those behind the first `count`.
    std::vector<std::string> GetLinesBehind(std::size_t count) const;

    TreeOnDisk &GetDisk() const { return mDisk; }

private:
    const TreeInput mInput;
    std::vector<std::string> mLines;
    TreeOnDisk &mDisk;
    int mFree; ///< the descriptor that was free at first
};
} // namespace Keld::Fuzz
