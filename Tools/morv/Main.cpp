#include "Tools/morv/CommandLine.h"
#include "Tools/morv/Console.h"
#include "Tools/morv/Interrupt.h"

#include <exception>
#include <new>
#include <system_error>

namespace
{
int Fail(const std::exception &error)
{
    Keld::Morv::PrintError(error.what());
    return Keld::Morv::ExitTrouble;
}
} // namespace

int main(int argumentCount, char **arguments)
{
    Keld::Morv::OccupyStandardDescriptors();
    Keld::Morv::IgnoreClosedPipes();
    try
    {
        return Keld::Morv::RunCommandLine(argumentCount, arguments);
    }
    catch (const Keld::Morv::OutputClosed &)
    {
        return Keld::Morv::ExitDone;
    }
    catch (const Keld::Morv::Interrupted &interruption)
    {
        Keld::Morv::PrintError(interruption.what());
        Keld::Morv::EndBySignal(interruption.GetSignal());
        return Keld::Morv::ExitTrouble;
    }
    catch (const std::bad_alloc &)
    {
        Keld::Morv::PrintError("not enough memory: a file that is compressed is held in memory whole");
        return Keld::Morv::ExitTrouble;
    }
    catch (const std::system_error &error)
    {
        if (error.code() == std::errc::broken_pipe)
        {
            return Keld::Morv::ExitDone; // of what prints, not all goes through WriteOutput
        }
        return Fail(error);
    }
    catch (const std::exception &error)
    {
        return Fail(error);
    }
}
