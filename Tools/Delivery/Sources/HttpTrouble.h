#pragma once

// What may go well when it is tried again.
namespace Keld::Delivery
{
/// \param code how a transfer ended, in libcurl's words
bool IsPassingCode(int code);

/// \param status of the server's answer
bool IsPassingStatus(long status);
} // namespace Keld::Delivery
