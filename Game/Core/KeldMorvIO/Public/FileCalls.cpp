#include "KeldMorvIO/Public/KeldMorvIO.h"
#include "KeldMorvIO/Public/MorvExportsMain.h"

namespace Reader = Keld::MORV::Reader;

uint32_t MorvFileExists(const char *)
{
    return 0;
}

OpenFileHandle *MorvOpenFile(const char *)
{
    return nullptr;
}

void MorvCloseFile(OpenFileHandle *) {}

int64_t MorvGetFileSize(OpenFileHandle *)
{
    return -1;
}

HRESULT MorvRead(OpenFileHandle *, uint64_t, uint32_t, uint32_t *, void *)
{
    return E_HANDLE;
}
