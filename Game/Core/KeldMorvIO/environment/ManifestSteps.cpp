#include "KeldMorvIO/environment/ManifestSteps.h"

#include "KeldMorvIO/ReaderLog.h"

namespace Keld::MORV::Reader
{
bool ManifestSteps::Take(HRESULT result, const char *line)
{
    if (result >= 0)
    {
        return true;
    }
    LogError(line, mSignature);
    mResult = result;
    return false;
}

bool ManifestSteps::Require(bool holds, const char *line)
{
    return Take(holds ? S_OK : E_FAIL, line);
}
} // namespace Keld::MORV::Reader
