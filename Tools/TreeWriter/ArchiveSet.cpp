#include "Tools/TreeWriter/ArchiveSet.h"

#include <algorithm>
#include <cstdio>

namespace Keld::TreeWriter
{
namespace
{
std::string NumberedName(std::size_t number)
{
    char name[40];
    std::snprintf(name, sizeof name, "files-%04zu", number);
    return name;
}
} // namespace

ArchiveSet::ArchiveSet(std::filesystem::path directory, uint64 archiveSize)
    : mDirectory(std::move(directory)), mArchiveSize(std::min(archiveSize, ArchiveWriter::LargestSize))
{
}

ArchiveWriter &ArchiveSet::ForShared(uint64 storedSize)
{
    const bool fits = !mArchives.empty() && mArchives.back()->GetSize() + storedSize <= mArchiveSize &&
                      mArchives.back()->HasRoom(storedSize);
    const bool isUnused = !mArchives.empty() && mArchives.back()->GetSize() == 0;
    return fits || isUnused ? *mArchives.back() : Next();
}

ArchiveWriter &ArchiveSet::ForStream(uint64 mostSize)
{
    const bool fits =
        !mArchives.empty() && mArchives.back()->GetSize() < mArchiveSize && mArchives.back()->HasRoom(mostSize);
    const bool isUnused = !mArchives.empty() && mArchives.back()->GetSize() == 0;
    return fits || isUnused ? *mArchives.back() : Next();
}

bool ArchiveSet::AddEmpty(const std::string &path)
{
    if (mArchives.empty() || mArchives.back()->GetSize() == 0)
    {
        return false;
    }
    mArchives.back()->Begin(path);
    return true;
}

void ArchiveSet::Finish()
{
    if (!mArchives.empty() && mArchives.back()->GetSize() == 0)
    {
        mArchives.back()->Abandon(); // all that it had was dropped again
        mArchives.pop_back();
    }
    for (const std::unique_ptr<ArchiveWriter> &archive : mArchives)
    {
        archive->Finish();
    }
}

ArchiveWriter &ArchiveSet::Next()
{
    if (!mArchives.empty())
    {
        mArchives.back()->CloseData();
    }
    return *mArchives.emplace_back(std::make_unique<ArchiveWriter>(mDirectory, NumberedName(mArchives.size() + 1)));
}
} // namespace Keld::TreeWriter
