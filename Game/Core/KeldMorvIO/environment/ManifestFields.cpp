#include "KeldMorvIO/environment/ManifestFields.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldMorvIO/ReaderLog.h"

#include <cerrno>
#include <limits>

namespace Keld::MORV::Reader
{
namespace
{
constexpr SIZE_T NumberLineSize = 256;

bool IsLineEnd(char character)
{
    return character == '\r' || character == '\n';
}

bool HasMinusSign(const char *text)
{
    const char *const blanks = " \t\n\v\f\r";
    while (*text != '\0' && std_strchr(blanks, *text) != nullptr)
    {
        ++text;
    }
    return *text == '-';
}

// `strtoul` where the type has 32 bits, on a platform where it has 64: saturates, with ERANGE, and negates what stands
// behind a minus sign within 32 bits.
DWORD ParseDWORD(const char *text, char **end)
{
    const bool negative = HasMinusSign(text);
    const uint64 value = std_strtoul(text, end, 0);
    const uint64 magnitude = negative ? 0 - value : value;
    if (magnitude > std::numeric_limits<DWORD>::max())
    {
        errno = ERANGE;
        return std::numeric_limits<DWORD>::max();
    }
    return static_cast<DWORD>(value);
}
} // namespace

bool ReadLine(FILE *const file, char *line, SIZE_T size, const char *signature)
{
    std_memset(line, 0, size);
    if (std_fgets(line, static_cast<int>(size), file) != nullptr)
    {
        return true;
    }
    const int error = std_errno();
    LogErrorText(signature, error);
    return error == 0;
}

HRESULT ReadString(FILE *const file, std::string &value, const SIZE_T limit)
{
    constexpr const char *signature =
        "HRESULT Keld::MORV::Reader::ReadString(FILE *const, std::string &, const SIZE_T)";
    // Zeros and not just room: at the end of the file the previous text must not come back.
    value.assign(limit, '\0');
    if (std_fgets(value.data(), static_cast<int>(limit), file) == nullptr && std_ferror(file) != 0)
    {
        // The error number is what the stream's test returns, not what the system said.
        LogErrorText(signature, std_ferror(file));
        LogError("%s: fgets failed", signature);
        value.clear();
        return E_FAIL;
    }
    uint_size length = std_strnlen(value.data(), limit);
    while (length > 0 && IsLineEnd(value[length - 1]))
    {
        --length;
    }
    value.resize(length);
    return S_OK;
}

namespace
{
bool ReadNumberLine(FILE *const file, char (&line)[NumberLineSize], const char *signature)
{
    if (!ReadLine(file, line, sizeof line, signature))
    {
        LogError("%s: fgets failed", signature);
        return false;
    }
    return true;
}
} // namespace

HRESULT ReadDWORD(FILE *const file, DWORD &value)
{
    constexpr const char *signature = "HRESULT Keld::MORV::Reader::ReadDWORD(FILE *const, DWORD &)";
    char line[NumberLineSize];
    if (!ReadNumberLine(file, line, signature))
    {
        return E_FAIL;
    }
    char *end = nullptr;
    value = ParseDWORD(line, &end);
    if (end == line)
    {
        LogError("%s: Could not convert string to number", signature);
        return E_FAIL;
    }
    return S_OK;
}

HRESULT ReadVersion(FILE *const file, uint32 &value)
{
    constexpr const char *signature = "HRESULT Keld::MORV::Reader::ReadVersion(FILE *const, uint32 &)";
    char line[NumberLineSize];
    if (!ReadNumberLine(file, line, signature))
    {
        return E_FAIL;
    }
    // A text that is no version leaves 0, which the caller's comparison refuses.
    ParseVersion(line, &value);
    return S_OK;
}

HRESULT ReadMorvVersion(FILE *const file, MorvVersion &value)
{
    constexpr const char *signature = "HRESULT Keld::MORV::Reader::ReadMorvVersion(FILE *const, MorvVersion &)";
    char line[NumberLineSize];
    if (!ReadNumberLine(file, line, signature))
    {
        return E_FAIL;
    }
    if (!ParseVersion(line, &value))
    {
        LogError("%s: Failed to convert version string \"%s\".", signature, line);
        return E_FAIL;
    }
    return S_OK;
}
} // namespace Keld::MORV::Reader
