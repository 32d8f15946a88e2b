#include "Tools/ToolRun.h"

#include "Support/TempTree.h"

#include <stdexcept>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Keld::Test
{
namespace
{
void Redirect(int descriptor, const std::string &path)
{
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (file < 0 || dup2(file, descriptor) < 0)
    {
        _exit(126);
    }
}
} // namespace

ToolResult RunMorv(const std::string &directory, const std::vector<std::string> &arguments)
{
    const TempTree files;
    const std::string outPath = files.Path("out");
    const std::string errorPath = files.Path("error");
    std::vector<std::string> words{KELD_MORV_PROGRAM};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char *> pointers;
    for (std::string &word : words)
    {
        pointers.push_back(word.data());
    }
    pointers.push_back(nullptr);

    const pid_t child = fork();
    if (child < 0)
    {
        throw std::runtime_error("cannot fork");
    }
    if (child == 0)
    {
        Redirect(STDOUT_FILENO, outPath);
        Redirect(STDERR_FILENO, errorPath);
        if (chdir(directory.c_str()) == 0)
        {
            execv(pointers[0], pointers.data());
        }
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return ToolResult{WIFEXITED(status) ? WEXITSTATUS(status) : -1, files.Read("out"), files.Read("error")};
}
} // namespace Keld::Test
