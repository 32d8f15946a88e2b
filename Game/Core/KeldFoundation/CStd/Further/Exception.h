#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <exception>

namespace Keld
{
/// An exception that carries its text inside, so that making one allocates nothing.
class std_exception : public std::exception
{
public:
    std_exception();

    /// A text of 1024 characters or more is cut to 1023. A null is an assertion.
    explicit std_exception(const char *what);
    std_exception(const std_exception &) = default;
    std_exception &operator=(const std_exception &) = default;
    ~std_exception() override;

    const char *what() const noexcept override;

private:
    static constexpr uint_size WhatCapacity = 1024; // bytes, the NUL included

    char mWhat[WhatCapacity];
};
} // namespace Keld
