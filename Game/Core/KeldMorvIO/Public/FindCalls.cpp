#include "KeldMorvIO/Public/KeldMorvIO.h"

FindHandle *MorvFindFirstFile(const char *)
{
    return nullptr;
}

HRESULT MorvFindNextFile(FindHandle *, uint32_t *, uint64_t *, uint32_t, char *)
{
    return E_HANDLE;
}

void MorvFindClose(FindHandle *) {}
