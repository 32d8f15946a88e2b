#include "Tools/morv/CommandLine.h"
#include "Tools/morv/Console.h"

#include <cstdio>
#include <exception>

int main(int argumentCount, char **arguments)
{
    Keld::Morv::OccupyStandardDescriptors();
    try
    {
        return Keld::Morv::RunCommandLine(argumentCount, arguments);
    }
    catch (const std::exception &error)
    {
        std::fflush(stdout);
        Keld::Morv::PrintError(error.what());
        return Keld::Morv::ExitRefused;
    }
}
