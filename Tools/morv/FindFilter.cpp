#include "Tools/morv/FindFilter.h"

#include "Tools/morv/CommandSet.h"
#include "Tools/morv/PackOptions.h"

#include <charconv>

namespace Keld::Morv
{
using TreeReader::Compression;
using TreeReader::Storage;

namespace
{
std::string CheckedName(const std::string &pattern)
{
    if (pattern == "." || pattern == ".." || pattern.find_first_of("/\\") != std::string::npos)
    {
        throw UsageError("--name \"" + pattern + "\": a pattern is for names and has no separator; --glob takes paths");
    }
    return pattern.empty() ? "*" : pattern;
}

Common::Glob ParsePathGlob(const std::string &pattern)
{
    try
    {
        return Common::Glob(pattern);
    }
    catch (const Common::GlobError &error)
    {
        throw UsageError("--glob \"" + pattern + "\": " + error.what());
    }
}
} // namespace

FindFilter::FindFilter(const FindConditions &conditions, bool throughLibrary)
    : mName(CheckedName(conditions.name)), mType(conditions.type)
{
    if (throughLibrary && (!conditions.storage.empty() || !conditions.version.empty()))
    {
        throw UsageError("the library's exported calls do not tell how a file is stored: leave out --through-library");
    }
    if (!conditions.glob.empty())
    {
        mGlob = ParsePathGlob(conditions.glob);
    }
    if (!conditions.size.empty())
    {
        ParseSize(conditions.size);
    }
    if (!conditions.storage.empty())
    {
        ParseStorage(conditions.storage);
    }
    if (!conditions.version.empty())
    {
        mVersion = ParseVersionOption(conditions.version);
    }
}

void FindFilter::ParseSize(const std::string &text)
{
    SizeTest test;
    const bool isSigned = text.front() == '+' || text.front() == '-';
    test.sign = isSigned ? text.front() : '\0';
    const char *begin = text.data() + (isSigned ? 1 : 0);
    const char *end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(begin, end, test.bytes);
    const std::string unit(rest, end);
    const std::size_t power = unit.empty() ? 0 : std::string(" KMG").find(unit);
    const bool isValid = error == std::errc() && unit.size() <= 1 && power != std::string::npos && unit != " " &&
                         test.bytes <= ~uint64{0} >> (10 * power);
    if (!isValid)
    {
        throw UsageError("--size \"" + text +
                         "\": a number of bytes, with K, M or G for powers of 1024, and + or - in front for larger or "
                         "smaller files, as in +64K");
    }
    test.bytes <<= 10 * power;
    mSize = test;
}

void FindFilter::ParseStorage(const std::string &text)
{
    const std::size_t colon = text.find(':');
    mStorage = TreeReader::ParseStorage(text.substr(0, colon));
    if (colon != std::string::npos)
    {
        mCompression = TreeReader::ParseCompression(text.substr(colon + 1));
    }
    const bool isValid = mStorage && (colon == std::string::npos || (mCompression && *mStorage == Storage::Archive));
    if (!isValid)
    {
        throw UsageError("--storage \"" + text +
                         "\": naked, managed or archive, or archive:none, archive:zlib or archive:lzma");
    }
}

bool FindFilter::TakesKind(bool isDirectory) const
{
    const bool isForFiles = mSize || mStorage || mVersion;
    return mType.empty() ? !(isDirectory && isForFiles) : (mType == "d") == isDirectory;
}

bool FindFilter::TakesSize(uint64 size) const
{
    switch (mSize->sign)
    {
    case '+':
        return size > mSize->bytes;
    case '-':
        return size < mSize->bytes;
    default:
        return size == mSize->bytes;
    }
}

bool FindFilter::TakesStorage(const MORV::Reader::FileTableFields &fields) const
{
    return (!mStorage || TreeReader::StorageOf(fields.flags) == *mStorage) &&
           (!mCompression || TreeReader::CompressionOf(fields.flags) == *mCompression) &&
           (!mVersion || fields.version == *mVersion);
}

bool FindFilter::Takes(const FileSystem::Entry &entry, const std::string &path) const
{
    if (!TakesKind(entry.isDirectory) || (mSize && (entry.isDirectory || !TakesSize(entry.size))))
    {
        return false;
    }
    const bool asksForStorage = mStorage || mVersion;
    if (asksForStorage && (entry.fields == nullptr || !TakesStorage(*entry.fields)))
    {
        return false;
    }
    return !mGlob || ((entry.isDirectory || !mGlob->IsForDirectories()) && mGlob->Matches(path));
}
} // namespace Keld::Morv
