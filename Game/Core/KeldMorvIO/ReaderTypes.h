#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

namespace Keld::MORV::Reader
{
/// A 32-bit status: negative means failure. The public C header declares the same values for consumers, and the
/// exported calls hold the two together by assertion.
using HRESULT = int32;

inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005u);   ///< any failure of an operation
inline constexpr HRESULT E_HANDLE = static_cast<HRESULT>(0x80070006u); ///< a null handle

using DWORD = uint32;
using SIZE_T = uint_size;
using errno_t = int;

/// Every path and error-text buffer of the reader, in bytes, the NUL included. A longer path is refused, never cut.
inline constexpr uint32 PathBufferSize = 1024;
} // namespace Keld::MORV::Reader
