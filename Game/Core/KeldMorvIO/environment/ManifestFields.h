#pragma once

#include "KeldFoundation/version/MorvVersion.h"
#include "KeldMorvIO/ReaderTypes.h"

#include <cstdio>
#include <string>

// The fields of the text manifests, one to a line, read from where the stream stands. Each call logs its own failure
// and leaves the stream open; the caller adds which field it was.
//
// When a read brings nothing, ReadString and the others do not judge it alike. ReadString asks the stream, and the end
// of the file is an empty text. The others ask `errno`: the end of a file does not set it, and they never clear it, so
// that an old error number makes them fail there. Both is kept on purpose.
namespace Keld::MORV::Reader
{
/// What every caller of ReadString passes as the limit: a longer line goes on in the next field.
inline constexpr SIZE_T ManifestLineLimit = 1024;

/// Reads at most `limit` - 1 characters of a line, without its line end. Blanks stay.
HRESULT ReadString(FILE *const file, std::string &value, const SIZE_T limit);

/// Reads a number: decimal, hexadecimal behind 0x, octal behind 0. What follows it does not matter. A number that
/// needs more than 32 bits is 0xFFFFFFFF. `value` is 0 when there is none, which is a failure.
HRESULT ReadDWORD(FILE *const file, DWORD &value);

/// Reads a version; a text that is none gives 0 and S_OK.
HRESULT ReadVersion(FILE *const file, uint32 &value);

/// Reads a version; a text that is none gives 0 and is a failure.
HRESULT ReadMorvVersion(FILE *const file, MorvVersion &value);

/// Reads a line, its end included, into a zeroed buffer of `size` bytes. When none comes, `errno` decides: its text is
/// logged in the name of `signature`, and unless it is 0 the result is false. The caller then logs what failed.
bool ReadLine(FILE *const file, char *line, SIZE_T size, const char *signature);
} // namespace Keld::MORV::Reader
