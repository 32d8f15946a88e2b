#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Commands.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace Keld::Morv
{
namespace
{
constexpr const char *SolutionFooter = R"(
Where projects hold the same path, the one with the highest priority wins.

Example:
  morv solution --root /srv/MORV --name suite --release 0.0.1.0 --project client=1.0.0.7:10 \
      --project data=1.2.0.3:20 --configuration default=client,data --use client,data)";
} // namespace

void AddSolutionCommand(CommandSet &commands)
{
    const auto options = std::make_shared<SolutionOptions>();
    CLI::App &command =
        commands.Add({"solution", "Bind releases of several projects into one file system", SolutionFooter},
                     [options]
                     {
                         return MakeSolution(*options);
                     });
    command.add_option("--root", options->root, "The deployment tree, a directory named MORV")
        ->type_name("DIR")
        ->required();
    command.add_option("--name", options->name, "The solution's name")->type_name("NAME")->required();
    command.add_option("--release", options->release, "The solution's release, as in 0.0.1.0")
        ->type_name("VERSION")
        ->required();
    command
        .add_option("--project", options->projects, "A project; the higher its priority, the earlier it is searched")
        ->type_name("NAME=VERSION:PRIORITY")
        ->allow_extra_args(false)
        ->required();
    command.add_option("--configuration", options->configurations, "A named set of the projects")
        ->type_name("NAME=PROJECT,...")
        ->allow_extra_args(false);
    command
        .add_option("--use", options->use,
                    "The projects in use here; without it those of the first configuration, or all")
        ->type_name("PROJECT,...");
    command.add_flag("--force", options->force, "Replace a release of the solution that is already there");
}
} // namespace Keld::Morv
