#include "KeldFoundation/logger/Log.h"
#include "KeldMorvIO/Public/KeldMorvIO.h"
#include "KeldMorvIO/Public/MorvExportsMain.h"
#include "KeldMorvIO/ReaderLog.h"

#include <type_traits>

namespace Reader = Keld::MORV::Reader;

// The consumer's header is C and has names of its own for what the reader calls by the same names.
static_assert(std::is_same_v<HRESULT, Reader::HRESULT>);
static_assert(S_OK == Reader::S_OK && E_FAIL == Reader::E_FAIL && E_HANDLE == Reader::E_HANDLE);

HRESULT MorvInitialize(uint32_t, uint32_t, uint32_t, const char *workingDirectory)
{
    return Reader::GetExportsMain().Initialize(workingDirectory);
}

void MorvShutdown()
{
    Reader::GetExportsMain().Shutdown();
}

void MorvSetLogger(const IKeldLogger *logger)
{
    if (logger == nullptr)
    {
        return;
    }
    // Current first: what the table logs from inside its RegisterGroup goes to the table itself.
    Keld::SetCurrentLogger(logger);
    const KeldGroupMask mask = logger->RegisterGroup("MRV");
    Reader::gMorvLogGroups.store(Keld::JoinWords(mask.low, mask.high), std::memory_order_relaxed);
}
