#pragma once

#include <stdexcept>

namespace Keld::TreeReader
{
/// What a tool refuses, and why, in words for the person at the keyboard. Several problems stand on a line each.
class TreeError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};
} // namespace Keld::TreeReader
