#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"
#include "KeldFoundation/CStd/PathLimit.h"

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
} // namespace Keld::MORV::Reader
