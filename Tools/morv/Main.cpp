#include "Tools/morv/CommandLine.h"
#include "Tools/morv/Console.h"

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
