#include "Tools/TreeWriter/ArchiveSet.h"

#include <algorithm>
#include <cstdio>

namespace Keld::TreeWriter
{
namespace
{
std::string NumberedName(const char *kind, uint64 number)
{
    char name[40];
    std::snprintf(name, sizeof name, "%s-%04llu", kind, static_cast<unsigned long long>(number));
    return name;
}
} // namespace

ArchiveSet::ArchiveSet(std::filesystem::path directory, uint64 archiveSize)
    : mDirectory(std::move(directory)), mArchiveSize(std::min(archiveSize, ArchiveWriter::LargestSize))
{
}

ArchiveWriter &ArchiveSet::ForShared(uint64 storedSize)
{
    if (mShared != nullptr && mShared->GetSize() + storedSize > mArchiveSize)
    {
        Finish();
    }
    if (mShared == nullptr)
    {
        mShared = std::make_unique<ArchiveWriter>(mDirectory, NumberedName("files", ++mSharedCount));
    }
    return *mShared;
}

void ArchiveSet::AddAlone(const std::string &path, std::string_view stored)
{
    ArchiveWriter archive(mDirectory, NumberedName("lzma", ++mAloneCount));
    archive.Begin(path);
    archive.Append(stored);
    archive.Finish();
}

bool ArchiveSet::AddEmpty(const std::string &path)
{
    if (mShared == nullptr)
    {
        return false;
    }
    mShared->Begin(path);
    return true;
}

void ArchiveSet::Finish()
{
    if (mShared != nullptr)
    {
        mShared->Finish();
        mShared.reset();
    }
}
} // namespace Keld::TreeWriter
