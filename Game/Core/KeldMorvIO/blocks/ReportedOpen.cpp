#include "KeldMorvIO/blocks/ReportedOpen.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldMorvIO/ReaderLog.h"

namespace Keld::MORV::Reader
{
AsyncFile OpenOrReport(const char *signature, const char *path)
{
    const AsyncFile file = AsyncOpen(path);
    if (file == AsyncFile::Null)
    {
        LogError("%s: Failed to open: %s", signature, path);
        LogErrorText(signature, std_errno());
    }
    return file;
}
} // namespace Keld::MORV::Reader
