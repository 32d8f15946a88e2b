// Prints a file of a release:
//
//     ReadFile RELEASE_DIRECTORY PATH
#include <KeldMorvIO.hpp>

#include <iostream>

int main(int argumentCount, char **arguments)
{
    std::error_code error = Keld::MorvIO::Error::InvalidArgument;
    const Keld::MorvIO::Session session =
        argumentCount == 3 ? Keld::MorvIO::Session::Start(arguments[1], error) : Keld::MorvIO::Session();
    if (session)
    {
        std::cout << Keld::MorvIO::ReadText(arguments[2], error);
    }
    if (error)
    {
        std::cerr << error.message() << '\n';
    }
    return error ? 1 : 0;
}
