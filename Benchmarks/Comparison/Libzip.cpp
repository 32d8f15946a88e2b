#include "Benchmarks/Comparison/Neighbour.h"

#include <stdexcept>

#include <zip.h>

namespace Keld::Benchmarks
{
namespace
{
class LibzipFile : public NeighbourFile
{
public:
    explicit LibzipFile(zip_file_t *file) : mFile(file) {}
    ~LibzipFile() override { zip_fclose(mFile); }
    LibzipFile(const LibzipFile &) = delete;
    LibzipFile &operator=(const LibzipFile &) = delete;

    std::size_t Read(uint64 offset, std::size_t size, char *buffer) override
    {
        zip_fseek(mFile, static_cast<zip_int64_t>(offset), SEEK_SET);
        return static_cast<std::size_t>(zip_fread(mFile, buffer, size));
    }

private:
    zip_file_t *mFile;
};

class Libzip : public Neighbour
{
public:
    explicit Libzip(const std::string &path) : mZip(zip_open(path.c_str(), ZIP_RDONLY, nullptr))
    {
        if (mZip == nullptr)
        {
            throw std::runtime_error("libzip does not open " + path);
        }
    }
    ~Libzip() override { zip_discard(mZip); }
    Libzip(const Libzip &) = delete;
    Libzip &operator=(const Libzip &) = delete;

    bool Exists(const char *path) override { return zip_name_locate(mZip, path, 0) >= 0; }

    std::size_t ReadWhole(const char *path, char *buffer) override
    {
        const zip_int64_t found = zip_name_locate(mZip, path, 0);
        if (found < 0)
        {
            return 0;
        }
        const auto index = static_cast<zip_uint64_t>(found);
        zip_stat_t status;
        zip_stat_index(mZip, index, 0, &status);
        zip_file_t *const file = zip_fopen_index(mZip, index, 0);
        const zip_int64_t count = zip_fread(file, buffer, status.size);
        zip_fclose(file);
        return static_cast<std::size_t>(count);
    }

    std::unique_ptr<NeighbourFile> Open(const char *path) override
    {
        return std::make_unique<LibzipFile>(zip_fopen(mZip, path, 0));
    }

private:
    zip_t *mZip;
};
} // namespace

NeighbourKind LibzipKind()
{
    return {"libzip", true,
            [](const std::string &directory, const std::vector<ContentFile> &files, bool compressed)
            {
                WriteZip(directory + "/files.zip", files, compressed);
            },
            [](const std::string &directory)
            {
                return std::unique_ptr<Neighbour>(std::make_unique<Libzip>(directory + "/files.zip"));
            }};
}
} // namespace Keld::Benchmarks
