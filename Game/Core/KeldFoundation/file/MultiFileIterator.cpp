#include "KeldFoundation/file/MultiFileIterator.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/file/FileProviderList.h"
#include "KeldFoundation/path/Path.h"

#include <memory>
#include <string>

namespace Keld::File
{
MultiFileIterator::~MultiFileIterator()
{
    for (const FileIterator *iterator : mIterators)
    {
        delete iterator;
    }
}

FileIterator *MultiFileIterator::SetUp(const char *pattern, int flags)
{
    std::string path = pattern;
    NormalizeSeparators(path);
    for (uint32 index = 0; index < gFileProviders.mCount; ++index)
    {
        Keep(gFileProviders.mProviders[index]->CreateIterator(path.c_str(), flags));
    }
    if (mIterators.empty())
    {
        Keep(GetDefaultProvider()->CreateIterator(path.c_str(), flags));
    }
    if (mIterators.size() != 1)
    {
        return nullptr;
    }
    FileIterator *const single = mIterators.front();
    mIterators.clear();
    return single;
}

// Takes over an iterator that stands on an entry, and destroys one that does not.
void MultiFileIterator::Keep(FileIterator *created)
{
    std::unique_ptr<FileIterator> iterator(created);
    if (iterator != nullptr && iterator->IsValid())
    {
        mIterators.push_back(iterator.get());
        static_cast<void>(iterator.release());
    }
}

void MultiFileIterator::Next()
{
    if (mIterators.empty())
    {
        return;
    }
    FileIterator *const first = mIterators.front();
    first->Next();
    if (!first->IsValid())
    {
        mIterators.erase(mIterators.begin());
        delete first;
    }
}

boost::shared_ptr<FileIterator> CreateFileIterator(const char *pattern, int flags)
{
    auto merged = boost::shared_ptr<MultiFileIterator>(new MultiFileIterator);
    FileIterator *const single = merged->SetUp(TextOrEmpty(pattern), flags);
    if (single != nullptr)
    {
        return boost::shared_ptr<FileIterator>(single);
    }
    return merged;
}
} // namespace Keld::File
