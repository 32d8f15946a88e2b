#pragma once

#include "KeldMorvIO/ReaderTypes.h"

#include <boost/shared_ptr.hpp>

namespace Keld::MORV::Reader
{
class RuntimeEnvironment;

/// What the exported calls to start and stop work on: the slot of the one environment of the process. There is one
/// static instance, and its destructor at process exit releases what is still loaded, as `Shutdown` does.
///
/// The slot has no lock: starting and stopping are the consumer's to keep apart from all other calls.
class MorvExportsMain
{
public:
    constexpr MorvExportsMain() = default;
    ~MorvExportsMain();

    MorvExportsMain(const MorvExportsMain &) = delete;
    MorvExportsMain &operator=(const MorvExportsMain &) = delete;

    /// \param workingDirectory null means the process's working directory.
    /// \returns S_OK; E_FAIL when an environment is loaded already, which stays, or when none could be made.
    HRESULT Initialize(const char *workingDirectory);

    /// Releases the environment. While that runs, the slot is empty already.
    void Shutdown();

    /// The environment, borrowed and not counted, or null.
    RuntimeEnvironment *Get() const { return mRuntimeEnvironment.get(); }

private:
    boost::shared_ptr<RuntimeEnvironment> mRuntimeEnvironment;
};

/// The instance behind the exported calls.
MorvExportsMain &GetExportsMain();

/// The environment, borrowed. If there is none, one is made from the process's working directory. Null when that
/// fails, which leaves no mark: the next call tries again.
RuntimeEnvironment *GetRuntimeEnvironment();
} // namespace Keld::MORV::Reader
