#include "Tools/morv/BackgroundProcess.h"
#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Commands.h"
#include "Tools/morv/HelpFormatter.h"
#include "Tools/morv/MountOptions.h"
#include "Tools/morv/MountPoint.h"
#include "Tools/morv/OptionChecks.h"
#include "Tools/morv/Quantity.h"
#include "Tools/morv/TreeChoice.h"

#include "Tools/TreeMount/FuseSession.h"
#include "Tools/TreeReader/Census.h"
#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeReader/TreeSet.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>

#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

namespace Keld::Morv
{
using TreeReader::TreeError;

namespace
{
constexpr const char *MountFooter = R"(
Shows a release as a read-only file system, so that any program can read its files. DIR is an empty
directory. The command returns when the mount answers; a process in the background serves it until
"fusermount3 -u DIR", or until it gets a signal to end. Case does not count in the names that
programs ask for; directories show the names as they were packed. Everything has the owner of whoever
mounts, and the time of the release's manifest.

Options behind -o, with commas between them:
  allow_other        other users may read it (the file /etc/fuse.conf must permit it)
  uid=N, gid=N       the owner that everything shows
  umask=OCTAL        the permissions that nobody has, as 077
  subdir=PATH        this directory of the release becomes the root of the mount
  nonempty           mount also where files lie, which are hidden meanwhile

A compressed file is decoded whole and checked against its digest when it is first read; a damaged one
gives an input/output error, and a line on standard error (--foreground) or in the system log.
"getfattr -d FILE" shows project, version, storage, archive, offset, compression and digest of a file.

Exit status: 0 mounted; 1 mounted, but files of the release are missing, as was told; 2 not mounted.

Examples:
  morv mount client/1.0.0.0 /mnt/client
  morv mount --root /srv/MORV solution:suite/0.0.1.0 /mnt/suite -o allow_other,umask=022
  morv mount . textures --foreground -o subdir=data/textures
  fusermount3 -u /mnt/client)";

constexpr unsigned FewestThreads = 4; // by default: who decodes a large file should hold nobody up

struct MountWords
{
    std::string release;
    std::string directory;
    std::string root;
    bool foreground = false;
    bool skipDigests = false;
    std::vector<std::string> options;
    std::string cacheSize = "256M";
    unsigned threadCount = 0; ///< 0 stands for a number that fits the machine
};

/// A line about a file that cannot be read goes where somebody may find it.
class MountLog
{
public:
    explicit MountLog(bool foreground) : mForeground(foreground)
    {
        if (!mForeground)
        {
            openlog("morv", LOG_PID, LOG_USER);
        }
    }

    void Report(const std::string &line) const
    {
        if (mForeground)
        {
            PrintError(line);
        }
        else
        {
            syslog(LOG_ERR, "%s", line.c_str());
        }
    }

private:
    const bool mForeground;
};

/// Opens what is to be mounted and tells what is to be known about it.
TreeReader::View OpenView(TreeReader::TreeSet &trees, const TreeReader::Reference &reference)
{
    auto view = trees.Open(reference);
    if (!view)
    {
        throw TreeError(view.GetFault().GetMessage());
    }
    if (const TreeReader::Failure failure = view->CheckServable())
    {
        throw TreeError(failure->GetMessage());
    }
    for (const std::string &note : view->GetNotes())
    {
        PrintNote(note);
    }
    return std::move(*view);
}

TreeMount::MountedTree MakeTree(const TreeReader::View &view, const MountOptions &options)
{
    auto tree = TreeMount::MountedTree::Make(view, view.ResolveTyped(options.subdirectory).path);
    if (!tree)
    {
        throw TreeError("-o subdir=" + options.subdirectory + ": " + tree.GetFault().text);
    }
    if (const uint64 count = tree->CountUnshown(); count != 0)
    {
        PrintNote("names that a file system cannot show are left out: " + CountText(count, "entry"));
    }
    return std::move(*tree);
}

/// Says once what is missing. Gives the status of a command that serves the rest.
ExitCode TellCensus(const TreeReader::View &view, unsigned threadCount)
{
    const TreeReader::Census census = TreeReader::TakeCensus(view, threadCount);
    if (census.IsWhole())
    {
        return ExitDone;
    }
    PrintError(census.GetSummary());
    return ExitNo;
}

std::string SourceName(const TreeReader::ReleaseName &name)
{
    return "morv:" + std::string(name.isSolution ? "solution:" : "") + name.name + "/" + FormatVersion(name.version);
}

/// \param process that serves in the background; null in the foreground.
ExitCode Serve(const CommonOptions &common, const MountWords &words, BackgroundProcess *process)
{
    const MountOptions options = ParseMountOptions(words.options);
    const uint64 cacheSize = ParseCacheSize(words.cacheSize);
    const std::string mountPoint = CheckMountPoint(words.directory, options.allowNonEmpty);
    const unsigned threadCount =
        words.threadCount != 0 ? words.threadCount : std::max(FewestThreads, common.GetThreadCount());

    const auto reference = ResolveNamed(words.release, common, words.root);
    if (!reference)
    {
        throw TreeError(reference.GetFault().GetMessage());
    }
    CheckApart(mountPoint, reference->root);
    TreeReader::TreeSet trees;
    const TreeReader::View view = OpenView(trees, *reference);
    const ExitCode result = TellCensus(view, threadCount);

    const MountLog log(process == nullptr);
    const auto report = [&log](const std::string &line)
    {
        log.Report(line);
    };
    const TreeMount::ReadingRules rules{cacheSize, !words.skipDigests, threadCount > 1};
    TreeMount::MountedFileSystem fileSystem(MakeTree(view, options), options.ownership, rules, report);
    TreeMount::FuseSession session(fileSystem,
                                   {mountPoint, SourceName(view.GetName()), options.allowOther, threadCount});
    const auto whenReady = [process, result, &mountPoint]
    {
        if (process == nullptr)
        {
            PrintNote("mounted on " + mountPoint + "; an interrupt or \"fusermount3 -u\" ends it");
        }
        else if (!process->Detach(result))
        {
            kill(getpid(), SIGTERM); // whoever wanted the mount has been stopped
        }
    };
    try
    {
        session.Serve(whenReady);
    }
    catch (const std::exception &error)
    {
        if (process != nullptr)
        {
            report(mountPoint + ": " + error.what()); // by now the standard error leads nowhere
        }
        throw;
    }
    return result;
}

ExitCode Mount(const CommonOptions &common, const MountWords &typed)
{
    MountWords words = typed;
    if (words.directory.empty())
    {
        std::swap(words.directory, words.release); // one word is the directory to mount on
    }
    if (words.directory.empty())
    {
        throw UsageError("the directory to mount on is missing");
    }
    if (words.foreground)
    {
        return Serve(common, words, nullptr);
    }
    ParseMountOptions(words.options);
    ParseCacheSize(words.cacheSize); // what is typed wrongly is told before there are two processes
    BackgroundProcess process;
    if (!process.IsParent())
    {
        return Serve(common, words, &process);
    }
    bool serves = false;
    const ExitCode result = process.Wait(serves);
    struct stat status = {};
    if (serves && stat(words.directory.c_str(), &status) != 0)
    {
        throw TreeError(words.directory + ": was mounted, but does not answer: " + std::strerror(errno));
    }
    return result;
}
} // namespace

void AddMountCommand(CommandSet &commands)
{
    const auto words = std::make_shared<MountWords>();
    CLI::App &command = commands.Add({"mount", "Show a release as a read-only file system", MountFooter},
                                     [&commands, words]
                                     {
                                         return Mount(commands.GetCommon(), *words);
                                     });
    command.add_option("RELEASE", words->release,
                       "client/1.0.0.0, solution:suite/0.0.1.0 or a directory in a release; without it, the release "
                       "around the working directory");
    ShowAsRequired(*command.add_option("DIR", words->directory, "The empty directory to mount on"));
    command.add_flag("-f,--foreground", words->foreground, "Serve from this process until it is interrupted");
    command.add_option("-o,--options", words->options, "Options with commas between them, as told below")
        ->type_name("WHAT")
        ->allow_extra_args(false)
        ->take_all();
    command
        .add_option("--cache-size", words->cacheSize,
                    "Memory for decoded files, as 64M (default: 256M); a larger file is decoded into $TMPDIR or "
                    "/var/tmp")
        ->type_name("BYTES");
    command.add_option("--root", words->root, TreeOptionHelp)->type_name("DIR");
    command.add_flag("--no-check", words->skipDigests, "Do not hold decoded files against their digests");
    command
        .add_option("-j,--jobs", words->threadCount,
                    "Answer on so many threads (default: one per processor, and at least 4)")
        ->type_name("N")
        ->transform(WholeNumber())
        ->check(CLI::Range(1U, 256U));
}
} // namespace Keld::Morv
