#include "Consumer/WholeTrace/Trace.h"

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <stdexcept>

#include <unistd.h>

namespace Keld::Test::WholeTrace
{
namespace
{
constexpr std::size_t LongestText = 150; ///< shown in full, in bytes
constexpr std::size_t ShownOfLong = 50;  ///< at both ends of a longer one
constexpr int LargestErrorNumber = 133;

Trace *gTrace = nullptr;

std::string Format(const char *format, ...) __attribute__((format(printf, 1, 2)));

__attribute__((format(printf, 1, 0))) std::string FormatList(const char *format, va_list arguments)
{
    va_list measured;
    va_copy(measured, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, measured);
    va_end(measured);
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, arguments);
    text.pop_back();
    return text;
}

std::string Format(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    std::string text = FormatList(format, arguments);
    va_end(arguments);
    return text;
}

void ReplaceAll(std::string &text, const std::string &from, const std::string &to)
{
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
    {
        text.replace(at, from.size(), to);
    }
}

void NameErrorNumber(std::string &text)
{
    for (int error = 0; error <= LargestErrorNumber; ++error)
    {
        const std::string meaning = std::strerror(error);
        const bool isAll = text == meaning;
        if (isAll || text.ends_with(" " + meaning))
        {
            text.replace(text.size() - meaning.size(), meaning.size(), Format("<error %d>", error));
            return;
        }
    }
}

std::string Escaped(std::string_view text)
{
    std::string escaped;
    for (const char character : text)
    {
        const auto byte = static_cast<unsigned char>(character);
        const bool prints = byte >= 0x20 && byte < 0x7F && character != '"' && character != '\\';
        escaped += prints ? std::string(1, character) : Format("\\x%02x", byte);
    }
    return escaped;
}

KeldGroupMask RegisterGroup(const char *tag)
{
    gTrace->Registered(tag);
    return KeldGroupMask{0x100, 0x40}; // bits in both words, to prove that both go out
}

__attribute__((format(printf, 4, 0))) void LogAndKeep(std::int32_t severity, std::uint32_t groupLow,
                                                      std::uint32_t groupHigh, const char *format, va_list arguments)
{
    const int before = errno;
    gTrace->Record(severity, groupLow, groupHigh, format, arguments);
    errno = before;
}

__attribute__((format(printf, 4, 0))) void LogAndSpoil(std::int32_t severity, std::uint32_t groupLow,
                                                       std::uint32_t groupHigh, const char *format, va_list arguments)
{
    gTrace->Record(severity, groupLow, groupHigh, format, arguments);
    errno = EDOM;
}

// The library calls two slots of the table. A call of any other ends the process, which the trace tells.
constexpr IKeldLogger MakeTable(bool keepsErrno)
{
    IKeldLogger table{};
    table.RegisterGroup = RegisterGroup;
    table.Log = keepsErrno ? LogAndKeep : LogAndSpoil;
    return table;
}

constexpr IKeldLogger KeepingTable = MakeTable(true);
constexpr IKeldLogger SpoilingTable = MakeTable(false);
} // namespace

Trace::Trace(int descriptor) : mDescriptor(descriptor)
{
    gTrace = this;
}

void Trace::Replace(std::string text, std::string placeholder)
{
    mReplacements.emplace(mReplacements.begin(), std::move(text), std::move(placeholder));
}

void Trace::Begin(std::string call)
{
    WritePending();
    mPending = std::move(call);
}

void Trace::End(const std::string &answer)
{
    Write(mPending + " = " + answer);
    mPending.clear();
}

void Trace::Line(const std::string &text)
{
    WritePending();
    Write(text);
}

std::string Trace::Quoted(std::string_view text) const
{
    return '"' + Shown(text) + '"';
}

std::string Trace::Shown(std::string_view text) const
{
    std::string shown(text);
    for (const auto &[from, to] : mReplacements)
    {
        ReplaceAll(shown, from, to);
    }
    if (shown.size() <= LongestText)
    {
        return Escaped(shown);
    }
    const std::string middle = Format("<%zu bytes, ", shown.size()) + Digest(shown) + ">";
    return Escaped(shown.substr(0, ShownOfLong)) + middle + Escaped(shown.substr(shown.size() - ShownOfLong));
}

const IKeldLogger *Trace::Logger(bool keepsErrno)
{
    return keepsErrno ? &KeepingTable : &SpoilingTable;
}

void Trace::Registered(const char *tag)
{
    Line("  registers " + Quoted(tag));
}

void Trace::Record(std::int32_t severity, std::uint32_t groupLow, std::uint32_t groupHigh, const char *format,
                   va_list arguments)
{
    WritePending();
    std::string signature;
    if (std::strncmp(format, "%s: ", 4) == 0)
    {
        va_list copy;
        va_copy(copy, arguments);
        signature = va_arg(copy, const char *);
        va_end(copy);
    }
    std::string text = FormatList(format, arguments);
    if (!signature.empty() && text.starts_with(signature + ": "))
    {
        text.erase(0, signature.size() + 2);
    }
    const std::string fields = Format("%d/%x+%x ", severity, groupLow, groupHigh);
    const std::string mark = Mark(fields + '"' + Escaped(format) + "\" " + signature);
    const bool isPlain = text == std::string_view(format).substr(signature.empty() ? 0 : 4);
    NameErrorNumber(text);
    Write("  " + mark + (isPlain ? "" : " " + Shown(text)));
}

// Severity, groups, format and signature are long and come together again and again: they are told once and numbered.
// The text follows the number where the format does not tell it.
std::string Trace::Mark(const std::string &kind)
{
    const auto [found, isNew] = mMarks.emplace(kind, mMarks.size() + 1);
    const std::string mark = Format("#%zu", found->second);
    if (isNew)
    {
        Write("  " + mark + " is " + kind);
    }
    return mark;
}

void Trace::WritePending()
{
    if (!mPending.empty())
    {
        Write(mPending);
        mPending = " ";
    }
}

void Trace::Write(const std::string &line) const
{
    const std::string ended = line + '\n';
    if (line != " " && write(mDescriptor, ended.data(), ended.size()) != static_cast<ssize_t>(ended.size()))
    {
        throw std::runtime_error("cannot write the trace");
    }
}

std::string Digest(std::string_view bytes)
{
    std::uint64_t hash = 0xCBF29CE484222325;
    for (const char character : bytes)
    {
        hash = (hash ^ static_cast<unsigned char>(character)) * 0x100000001B3;
    }
    return Format("%016llx", static_cast<unsigned long long>(hash));
}
} // namespace Keld::Test::WholeTrace
