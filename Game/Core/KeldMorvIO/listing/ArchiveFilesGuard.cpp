#include "KeldMorvIO/listing/ArchiveFilesGuard.h"

#include <algorithm>

namespace Keld::MORV::Reader
{
ArchiveFilesGuard::~ArchiveFilesGuard()
{
    if (mMetadata == nullptr)
    {
        return;
    }
    std::sort(mMetadata->begin(), mMetadata->end(),
              [](const FileArchiveMetadata &lhs, const FileArchiveMetadata &rhs)
              {
                  return lhs.file < rhs.file;
              });
    AsyncFile previous = AsyncFile::Null;
    for (const FileArchiveMetadata &found : *mMetadata)
    {
        if (found.file != AsyncFile::Null && found.file != previous)
        {
            AsyncClose(found.file);
        }
        previous = found.file;
    }
}
} // namespace Keld::MORV::Reader
