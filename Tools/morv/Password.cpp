#include "Tools/morv/Password.h"

#include "Tools/morv/Interrupt.h"
#include "Tools/morv/Terminal.h"

#include <cerrno>
#include <cstdio>
#include <stdexcept>

#include <poll.h>
#include <termios.h>
#include <unistd.h>

namespace Keld::Morv
{
namespace
{
constexpr std::size_t LongestPassword = 1024; // bytes

/// While it lives, the terminal does not show what is typed.
class Silence
{
public:
    Silence() : mIsTerminal(tcgetattr(STDIN_FILENO, &mBefore) == 0)
    {
        if (mIsTerminal)
        {
            struct termios silent = mBefore;
            silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
            tcsetattr(STDIN_FILENO, TCSAFLUSH, &silent);
        }
    }

    ~Silence()
    {
        if (mIsTerminal)
        {
            tcsetattr(STDIN_FILENO, TCSAFLUSH, &mBefore);
            std::fputc('\n', stderr);
        }
    }

    Silence(const Silence &) = delete;
    Silence &operator=(const Silence &) = delete;

private:
    struct termios mBefore = {};
    const bool mIsTerminal;
};

/// One byte of standard input, or nothing at its end. A signal ends the waiting.
bool ReadPasswordByte(char &byte)
{
    for (;;)
    {
        struct pollfd input = {STDIN_FILENO, POLLIN, 0};
        poll(&input, 1, -1);
        InterruptGuard::Check();
        const ssize_t count = input.revents != 0 ? read(STDIN_FILENO, &byte, 1) : -1;
        if (count >= 0)
        {
            return count == 1;
        }
        if (input.revents != 0 && errno != EINTR && errno != EAGAIN)
        {
            return false;
        }
    }
}
} // namespace

std::string AskPassword(const std::string &prompt)
{
    const InterruptGuard guard;
    if (IsTerminal(STDIN_FILENO))
    {
        std::fputs(prompt.c_str(), stderr);
        std::fflush(stderr);
    }
    const Silence silence;
    std::string password;
    password.reserve(LongestPassword + 1); // so that none of it is left where it grew
    char byte = 0;
    while (ReadPasswordByte(byte) && byte != '\n')
    {
        password += byte;
        if (password.size() > LongestPassword)
        {
            throw std::runtime_error("the password is longer than any can be");
        }
    }
    if (password.empty())
    {
        throw std::runtime_error("the key is protected, and no password was given: type it, or send it to standard "
                                 "input as a line");
    }
    return password;
}
} // namespace Keld::Morv
