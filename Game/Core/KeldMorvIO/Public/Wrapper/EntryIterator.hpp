/// \file
/// The iterator of Directory and RecursiveDirectory. Included by them.
#ifndef KELD_MORV_IO_WRAPPER_ENTRY_ITERATOR_HPP
#define KELD_MORV_IO_WRAPPER_ENTRY_ITERATOR_HPP

#include <cstddef>
#include <iterator>
#include <utility>

/// \cond internal
namespace Keld::MorvIO::Detail
{
/// An input iterator over a range that has `bool Next(Value &)`. It holds the entry that it stands on; all iterators of
/// one range step the same walk.
template <class Range, class Value>
class EntryIterator
{
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = Value;
    using difference_type = std::ptrdiff_t;
    using pointer = const Value *;
    using reference = const Value &;

    /// The end.
    EntryIterator() = default;

    explicit EntryIterator(Range &range) : mRange(&range) { ++*this; }

    reference operator*() const { return mValue; }
    pointer operator->() const { return &mValue; }

    EntryIterator &operator++()
    {
        if (!mRange->Next(mValue))
        {
            mRange = nullptr;
        }
        return *this;
    }

    /// The entry before the step, which is all that is left of it.
    class Former
    {
    public:
        explicit Former(Value value) : mValue(std::move(value)) {}
        const Value &operator*() const { return mValue; }

    private:
        Value mValue;
    };

    Former operator++(int)
    {
        Former former(mValue);
        ++*this;
        return former;
    }

    friend bool operator==(const EntryIterator &left, const EntryIterator &right)
    {
        return left.mRange == right.mRange;
    }
    friend bool operator!=(const EntryIterator &left, const EntryIterator &right) { return !(left == right); }

private:
    Range *mRange = nullptr; ///< null at the end
    Value mValue;
};
} // namespace Keld::MorvIO::Detail
/// \endcond

#endif
