#include "Tools/morv/CommandLine.h"
#include "Tools/morv/Console.h"
#include "Tools/morv/Interrupt.h"

#include <cstdio>
#include <exception>
#include <new>

int main(int argumentCount, char **arguments)
{
    Keld::Morv::OccupyStandardDescriptors();
    try
    {
        return Keld::Morv::RunCommandLine(argumentCount, arguments);
    }
    catch (const Keld::Morv::Interrupted &interruption)
    {
        Keld::Morv::PrintError("interrupted: no release was made or changed");
        Keld::Morv::EndBySignal(interruption.GetSignal());
        return Keld::Morv::ExitRefused;
    }
    catch (const std::bad_alloc &)
    {
        std::fflush(stdout);
        Keld::Morv::PrintError("not enough memory: a file that is compressed is held in memory whole");
        return Keld::Morv::ExitRefused;
    }
    catch (const std::exception &error)
    {
        std::fflush(stdout);
        Keld::Morv::PrintError(error.what());
        return Keld::Morv::ExitRefused;
    }
}
