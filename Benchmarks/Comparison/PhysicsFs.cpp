#include "Benchmarks/Comparison/Neighbour.h"

#include <stdexcept>

#include <physfs.h>

namespace Keld::Benchmarks
{
namespace
{
class PhysicsFsFile : public NeighbourFile
{
public:
    explicit PhysicsFsFile(PHYSFS_File *file) : mFile(file) {}
    ~PhysicsFsFile() override { PHYSFS_close(mFile); }
    PhysicsFsFile(const PhysicsFsFile &) = delete;
    PhysicsFsFile &operator=(const PhysicsFsFile &) = delete;

    std::size_t Read(uint64 offset, std::size_t size, char *buffer) override
    {
        PHYSFS_seek(mFile, offset);
        return static_cast<std::size_t>(PHYSFS_readBytes(mFile, buffer, size));
    }

private:
    PHYSFS_File *mFile;
};

/// A zip file, mounted in the process. The library exists once in it.
class PhysicsFs : public Neighbour
{
public:
    explicit PhysicsFs(const std::string &path)
    {
        if (PHYSFS_init(nullptr) == 0 || PHYSFS_mount(path.c_str(), nullptr, 1) == 0)
        {
            throw std::runtime_error("PhysicsFS does not mount " + path);
        }
    }
    ~PhysicsFs() override { PHYSFS_deinit(); }
    PhysicsFs(const PhysicsFs &) = delete;
    PhysicsFs &operator=(const PhysicsFs &) = delete;

    bool Exists(const char *path) override { return PHYSFS_exists(path) != 0; }

    std::size_t ReadWhole(const char *path, char *buffer) override
    {
        PHYSFS_File *const file = PHYSFS_openRead(path);
        if (file == nullptr)
        {
            return 0;
        }
        const PHYSFS_sint64 size = PHYSFS_fileLength(file);
        const PHYSFS_sint64 count = PHYSFS_readBytes(file, buffer, static_cast<PHYSFS_uint64>(size));
        PHYSFS_close(file);
        return static_cast<std::size_t>(count);
    }

    std::unique_ptr<NeighbourFile> Open(const char *path) override
    {
        return std::make_unique<PhysicsFsFile>(PHYSFS_openRead(path));
    }

    std::size_t List(const char *directory) override
    {
        char **const names = PHYSFS_enumerateFiles(directory);
        std::size_t count = 0;
        while (names[count] != nullptr)
        {
            ++count;
        }
        PHYSFS_freeList(names);
        return count;
    }
};
} // namespace

NeighbourKind PhysicsFsKind()
{
    return {"PhysicsFS", true,
            [](const std::string &directory, const std::vector<ContentFile> &files, bool compressed)
            {
                WriteZip(directory + "/files.zip", files, compressed);
            },
            [](const std::string &directory)
            {
                return std::unique_ptr<Neighbour>(std::make_unique<PhysicsFs>(directory + "/files.zip"));
            }};
}
} // namespace Keld::Benchmarks
