#include "Tools/TreeReader/DiskFileCache.h"

namespace Keld::TreeReader
{
Result<std::shared_ptr<const DiskFile>> DiskFileCache::Open(const std::string &path)
{
    if (std::shared_ptr<const DiskFile> kept = FindKept(path))
    {
        return kept;
    }
    Result<DiskFile> opened = DiskFile::Open(path);
    if (!opened && opened.GetFault().kind == FaultKind::NoDescriptors)
    {
        GiveUpAll();
        opened = DiskFile::Open(path);
    }
    if (!opened)
    {
        return opened.GetFault();
    }
    auto file = std::make_shared<const DiskFile>(std::move(*opened));
    Keep(file);
    return std::shared_ptr<const DiskFile>(file);
}

std::shared_ptr<const DiskFile> DiskFileCache::FindKept(const std::string &path)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    const auto place = mByPath.find(path);
    if (place == mByPath.end())
    {
        return nullptr;
    }
    mFiles.splice(mFiles.begin(), mFiles, place->second);
    return mFiles.front();
}

/// Of two threads that opened one file at once, the first one's is kept.
void DiskFileCache::Keep(const std::shared_ptr<const DiskFile> &file)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    if (mByPath.find(file->GetPath()) != mByPath.end())
    {
        return;
    }
    mFiles.push_front(file);
    mByPath.emplace(file->GetPath(), mFiles.begin());
    if (mFiles.size() > mCapacity)
    {
        mByPath.erase(mFiles.back()->GetPath());
        mFiles.pop_back();
    }
}

void DiskFileCache::GiveUpAll()
{
    const std::lock_guard<std::mutex> lock(mMutex);
    mByPath.clear();
    mFiles.clear();
}
} // namespace Keld::TreeReader
