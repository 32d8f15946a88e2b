// Files of a file system: loose ones on the disk, and those of images that the kernel mounts.

#include "Benchmarks/Comparison/Neighbour.h"

#include <set>
#include <stdexcept>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Keld::Benchmarks
{
namespace
{
class LooseFile : public NeighbourFile
{
public:
    explicit LooseFile(int file) : mFile(file) {}
    ~LooseFile() override { close(mFile); }
    LooseFile(const LooseFile &) = delete;
    LooseFile &operator=(const LooseFile &) = delete;

    std::size_t Read(uint64 offset, std::size_t size, char *buffer) override
    {
        return static_cast<std::size_t>(pread(mFile, buffer, size, static_cast<off_t>(offset)));
    }

private:
    int mFile;
};

/// Relative to the directory of the files, as a program that lives there would ask.
class LooseFiles : public Neighbour
{
public:
    explicit LooseFiles(const std::string &directory) : mDirectory(open(directory.c_str(), O_RDONLY | O_DIRECTORY)) {}
    ~LooseFiles() override { close(mDirectory); }
    LooseFiles(const LooseFiles &) = delete;
    LooseFiles &operator=(const LooseFiles &) = delete;

    bool Exists(const char *path) override { return faccessat(mDirectory, path, F_OK, 0) == 0; }

    std::size_t ReadWhole(const char *path, char *buffer) override
    {
        const int file = openat(mDirectory, path, O_RDONLY | O_CLOEXEC);
        struct stat status = {};
        fstat(file, &status);
        const ssize_t count = pread(file, buffer, static_cast<std::size_t>(status.st_size), 0);
        close(file);
        return static_cast<std::size_t>(count);
    }

    std::unique_ptr<NeighbourFile> Open(const char *path) override
    {
        return std::make_unique<LooseFile>(openat(mDirectory, path, O_RDONLY | O_CLOEXEC));
    }

    std::size_t List(const char *path) override
    {
        DIR *const directory = fdopendir(openat(mDirectory, path, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        std::size_t count = 0;
        while (const dirent *const entry = readdir(directory))
        {
            count += entry->d_name[0] != '.' ? 1U : 0U;
        }
        closedir(directory);
        return count;
    }

private:
    int mDirectory;
};

/// The same in an image that is mounted for as long as this lives.
class MountedImage : public LooseFiles
{
public:
    explicit MountedImage(const std::string &directory) : LooseFiles(directory), mMount(directory) {}
    ~MountedImage() override { RunsWell("umount -l " + mMount); }
    MountedImage(const MountedImage &) = delete;
    MountedImage &operator=(const MountedImage &) = delete;

private:
    std::string mMount;
};

void WriteLoose(const std::string &directory, const std::vector<ContentFile> &files, bool)
{
    std::set<std::string> made;
    for (const ContentFile &file : files)
    {
        const std::string path = directory + "/" + file.path;
        const std::string parent = path.substr(0, path.rfind('/'));
        if (made.insert(parent).second)
        {
            std::filesystem::create_directories(parent);
        }
        WriteQuickly(path, file.bytes);
    }
}

void WriteImage(const std::string &directory, const std::vector<ContentFile> &files, const std::string &command)
{
    WriteLoose(directory + "/files", files, false);
    if (!RunsWell("cd " + directory + " && " + command))
    {
        throw std::runtime_error("cannot make an image by: " + command);
    }
    std::filesystem::remove_all(directory + "/files");
    std::filesystem::create_directory(directory + "/mount");
}

std::unique_ptr<Neighbour> Mount(const std::string &directory, const std::string &type)
{
    const std::string mount = directory + "/mount";
    if (!RunsWell("mount -t " + type + " -o loop,ro " + directory + "/image " + mount))
    {
        throw std::runtime_error("mounting " + type + " is not allowed here");
    }
    return std::make_unique<MountedImage>(mount);
}
} // namespace

NeighbourKind LooseFilesKind()
{
    return {"loose files", false, WriteLoose,
            [](const std::string &directory)
            {
                return std::unique_ptr<Neighbour>(std::make_unique<LooseFiles>(directory));
            }};
}

NeighbourKind SquashfsKind()
{
    return {"squashfs", true,
            [](const std::string &directory, const std::vector<ContentFile> &files, bool compressed)
            {
                WriteImage(directory, files,
                           std::string("mksquashfs files image -quiet -no-progress ") +
                               (compressed ? "-comp gzip" : "-noI -noD -noF -noX"));
            },
            [](const std::string &directory)
            {
                return Mount(directory, "squashfs");
            }};
}

NeighbourKind ErofsKind()
{
    return {"EROFS", false,
            [](const std::string &directory, const std::vector<ContentFile> &files, bool)
            {
                WriteImage(directory, files, "mkfs.erofs image files");
            },
            [](const std::string &directory)
            {
                return Mount(directory, "erofs");
            }};
}
} // namespace Keld::Benchmarks
