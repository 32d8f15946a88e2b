#pragma once

#include "Tools/morv/Console.h"
#include "Tools/morv/PackOptions.h"

#include <string>
#include <vector>

namespace Keld::Morv
{
struct SolutionOptions
{
    std::string root;
    std::string name;
    std::string release;
    std::vector<std::string> projects;
    std::vector<std::string> configurations;
    std::string use;
    bool force = false;
};

struct ListOptions
{
    std::vector<std::string> paths;
    bool details = false;
};

struct FindOptions
{
    std::string path;
    std::string pattern = "*";
    std::string type;
    bool endWithNul = false;
};

// The commands. Each prints what it found or did to standard output and what it refuses to standard error; what ends it
// early is an exception. The working directory is absolute, without symbolic links.

ExitCode Pack(const PackOptions &options);
ExitCode MakeSolution(const SolutionOptions &options);
ExitCode Info(const std::string &workingDirectory);
ExitCode List(const std::string &workingDirectory, const ListOptions &options);
ExitCode Tree(const std::string &workingDirectory, const std::string &typed);
ExitCode Find(const std::string &workingDirectory, const FindOptions &options);
ExitCode Cat(const std::string &workingDirectory, const std::vector<std::string> &typed);
ExitCode Stat(const std::string &workingDirectory, const std::vector<std::string> &paths);
} // namespace Keld::Morv
