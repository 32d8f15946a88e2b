#pragma once

namespace Keld::Fuzz
{
/// Sends the library's messages to a logger such as a consumer has: it formats every one of them, and holds it against
/// what the library promises of all.
void UseConsumerLog();
} // namespace Keld::Fuzz
