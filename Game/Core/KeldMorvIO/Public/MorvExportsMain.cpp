#include "KeldMorvIO/Public/MorvExportsMain.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldMorvIO/ReaderLog.h"
#include "KeldMorvIO/environment/RuntimeEnvironment.h"

namespace Keld::MORV::Reader
{
namespace
{
// Constant-initialised, since a static constructor of the consumer may make the first call.
constinit MorvExportsMain gExportsMain;
} // namespace

MorvExportsMain::~MorvExportsMain()
{
    Shutdown();
}

HRESULT MorvExportsMain::Initialize(const char *workingDirectory)
{
    constexpr const char *signature = "HRESULT Keld::MORV::Reader::MorvExportsMain::Initialize(const char *)";
    if (mRuntimeEnvironment.get() != nullptr)
    {
        LogError("%s: MORV library initialization failed because it was already initialized and must only be "
                 "initialized once.",
                 signature);
        return E_FAIL;
    }

    char currentDirectory[PathBufferSize];
    const char *directory = workingDirectory;
    if (directory != nullptr)
    {
        LogProgress("%s: MORV library initializing with specified working directory \"%s\".", signature, directory);
    }
    else
    {
        // When the process's directory has gone or does not fit, the start on "" refuses. The buffer says nothing then:
        // for a directory that is too deep the C library leaves the ends of its path there.
        if (!std_getcwd(sizeof currentDirectory, currentDirectory))
        {
            currentDirectory[0] = '\0';
        }
        directory = currentDirectory;
        LogProgress("%s: MORV library initializing with current working directory \"%s\".", signature, directory);
    }

    mRuntimeEnvironment = boost::shared_ptr<RuntimeEnvironment>(RuntimeEnvironment::Create(directory));
    if (mRuntimeEnvironment.get() == nullptr)
    {
        LogError("%s: MORV library initialization failed to create the runtime environment.", signature);
        return E_FAIL;
    }
    return S_OK;
}

void MorvExportsMain::Shutdown()
{
    // Emptied before anything is destroyed: a listing logs while it goes, and a logger may look at the slot.
    boost::shared_ptr<RuntimeEnvironment> released;
    released.swap(mRuntimeEnvironment);
}

MorvExportsMain &GetExportsMain()
{
    return gExportsMain;
}

RuntimeEnvironment *GetRuntimeEnvironment()
{
    if (gExportsMain.Get() == nullptr)
    {
        gExportsMain.Initialize(nullptr);
    }
    return gExportsMain.Get();
}
} // namespace Keld::MORV::Reader
