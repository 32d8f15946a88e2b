#pragma once

#include "Tools/morv/Console.h"

#include <functional>

namespace Keld::Morv
{
/// A process that goes on serving after the command that started it has ended. The command waits until the process
/// serves, or has ended because it cannot; what it says until then goes where the command's own words go.
class BackgroundProcess
{
public:
    /// Splits the process. In the new one `isParent` is false.
    BackgroundProcess();
    ~BackgroundProcess();

    BackgroundProcess(const BackgroundProcess &) = delete;
    BackgroundProcess &operator=(const BackgroundProcess &) = delete;

    bool IsParent() const { return mChild != 0; }

    /// In the command: waits. Gives what the new process handed over, or how it ended; it has said why itself.
    /// \param serves set to whether it serves.
    ExitCode Wait(bool &serves);

    /// In the new process: leaves the terminal, the directory and the standard descriptors behind, and tells the
    /// command that it serves. False when the command is gone, and nobody waits for what is served.
    bool Detach(ExitCode result);

private:
    int mPipe = -1; ///< the end that this process has
    int mChild = 0; ///< 0 in the new process
};
} // namespace Keld::Morv
