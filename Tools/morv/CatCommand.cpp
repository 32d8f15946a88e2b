#include "Tools/TreeReader/TreeError.h"
#include "Tools/morv/Absence.h"
#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Commands.h"
#include "Tools/morv/OptionChecks.h"
#include "Tools/morv/ReadReport.h"
#include "Tools/morv/Road.h"

namespace Keld::Morv
{
using TreeReader::TreeError;

namespace
{
constexpr const char *CatFooter = R"(
What is written is held against the digest in the release's manifest: a file that is not what was
packed is told at its end, with status 1. A part of a file that is not compressed cannot be held
against anything.

Examples:
  morv cat docs/readme.txt
  morv cat textures/sky.dds > sky.dds
  morv cat --offset 128 --length 16 textures/sky.dds | xxd)";

struct CatOptions
{
    std::vector<std::string> paths;
    FileSystem::Range range;
    bool noCheck = false;
    FileSystemOptions road;
};

void CatOne(FileSystem &files, const std::string &typed, const std::string &path, const CatOptions &options,
            const FileSystem::Sink &sink)
{
    if (!files.Exists(path))
    {
        throw TreeError(AbsenceText(typed, files.ExplainAbsence(path)));
    }
    files.ReadFile(path, options.range, sink);
}

/// Goes on behind a file that cannot be read.
FailureList ForEachPath(const FileSystem &files, const CatOptions &options,
                        const std::function<void(const std::string &typed, const std::string &path)> &read)
{
    FailureList failures;
    for (const std::string &typed : options.paths)
    {
        const std::string path = files.ResolveTyped(typed);
        try
        {
            read(typed, path);
        }
        catch (const TreeError &error)
        {
            failures.Add(path, error.what());
        }
    }
    return failures;
}

FailureList CatIntoDocument(FileSystem &files, const CatOptions &options)
{
    Json document = NewReadDocument("cat", files.GetReference());
    AddDamage(document, files);
    document["files"] = Json::array();
    const auto read = [&](const std::string &typed, const std::string &path)
    {
        std::string content;
        CatOne(files, typed, path, options,
               [&content](std::string_view bytes)
               {
                   content += bytes;
               });
        document["files"].push_back(
            {{"path", TextValue(path)}, {"bytes", content.size()}, {"content", TextValue(content)}});
    };
    FailureList failures = ForEachPath(files, options, read);
    document["errors"] = failures.GetDocument();
    PrintDocument(document);
    return failures;
}

FailureList CatIntoOutput(FileSystem &files, const CatOptions &options)
{
    return ForEachPath(files, options,
                       [&](const std::string &typed, const std::string &path)
                       {
                           CatOne(files, typed, path, options, WriteOutput);
                       });
}

ExitCode Cat(const CommonOptions &common, const CatOptions &options)
{
    FileSystemOptions road = options.road;
    road.checkDigests = !options.noCheck;
    const std::unique_ptr<FileSystem> files = OpenFileSystem(common, road);
    const FailureList failures = common.json ? CatIntoDocument(*files, options) : CatIntoOutput(*files, options);
    return ResultOf(failures, files->IsDamaged());
}
} // namespace

void AddCatCommand(CommandSet &commands)
{
    const auto options = std::make_shared<CatOptions>();
    const CommandWords words{.name = "cat",
                             .description = "Write the content of files to standard output",
                             .footer = CatFooter,
                             .writesJson = true};
    CLI::App &command = commands.Add(words,
                                     [&commands, options]
                                     {
                                         return Cat(commands.GetCommon(), *options);
                                     });
    command.add_option("PATH", options->paths, "Virtual paths of files; case does not count")->required();
    command.add_option("--offset", options->range.offset, "Begin at this byte of each file")
        ->type_name("BYTES")
        ->transform(WholeNumber());
    command.add_option("--length", options->range.length, "Write at most so many bytes of each file")
        ->type_name("BYTES")
        ->transform(WholeNumber());
    command.add_flag("--no-check", options->noCheck, "Do not hold the content against the manifest's digest");
    AddFileSystemOptions(command, options->road);
}
} // namespace Keld::Morv
