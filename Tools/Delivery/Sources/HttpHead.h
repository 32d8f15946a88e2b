#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <optional>
#include <string>
#include <string_view>

namespace Keld::Delivery
{
// Of what a server may say, that it gives a file, or the part of it that was asked for.
constexpr long WholeFile = 200;
constexpr long PartOfFile = 206;

/// What a server said before it gave a body.
struct HttpHead
{
    long status = 0;
    std::optional<uint64> length = {};     ///< bytes of the body
    std::optional<uint64> rangeBegin = {}; ///< what part of the file the body is
    std::optional<uint64> total = {};      ///< bytes of the file, where the body is a part of it
    std::string identity = {};             ///< what "If-Range" takes; empty where there is nothing that it would
    std::string contentType = {};
    unsigned retryAfter = 0; ///< seconds that the server asks to wait
};

/// Takes one line of an answer's head, its end included. A status line begins a new answer, as after a redirect.
void ReadHeaderLine(std::string_view line, HttpHead &head);
} // namespace Keld::Delivery
