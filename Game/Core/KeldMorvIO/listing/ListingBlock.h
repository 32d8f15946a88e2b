#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <memory>

namespace Keld::MORV::Reader
{
/// The one block of memory that a listing lies in, zeroed at first. It does not move while it is passed on. A large one
/// asks the platform for huge pages: a lookup touches a few places far apart, and each would cost a search of the page
/// tables of its own.
class ListingBlock
{
public:
    ListingBlock() = default;

    /// \throws std::bad_alloc
    explicit ListingBlock(uint_size size);

    char *GetData() const { return mData.get(); }

private:
    /// How the bytes were got, and so how they are given back.
    struct Release
    {
        void operator()(char *data) const;

        uint_size mMappedSize; ///< bytes, of a mapping; 0 for a block from the heap
    };

    std::unique_ptr<char[], Release> mData;
};
} // namespace Keld::MORV::Reader
