#include "Benchmarks/Comparison/Content.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <numeric>
#include <random>
#include <stdexcept>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>
#include <zlib.h>

namespace Keld::Benchmarks
{
namespace
{
namespace fs = std::filesystem;

std::string Gather(const fs::path &directory, const std::string &extension, std::size_t size)
{
    std::vector<fs::path> files;
    for (const fs::directory_entry &entry :
         fs::recursive_directory_iterator(directory, fs::directory_options::skip_permission_denied))
    {
        if (entry.path().extension() == extension && entry.is_regular_file())
        {
            files.push_back(entry.path());
        }
    }
    std::sort(files.begin(), files.end());
    std::string text;
    for (std::size_t index = 0; text.size() < size && !files.empty(); ++index)
    {
        std::ifstream stream(files[index % files.size()], std::ios::binary);
        text.append(std::istreambuf_iterator<char>(stream), {});
    }
    if (text.size() < size)
    {
        throw std::runtime_error("there is nothing to measure with in " + directory.string());
    }
    return text;
}

constexpr std::size_t CorpusSize = std::size_t{16} << 20;

const std::string &Text()
{
    static const auto *const text = new std::string(Gather("/usr/include", ".h", CorpusSize));
    return *text;
}

const std::string &Code()
{
    static const auto *const code = new std::string(Gather("/usr/lib", ".so", CorpusSize));
    return *code;
}
} // namespace

std::vector<std::string> MakePaths(uint32 count, uint32 filesPerDirectory)
{
    std::vector<std::string> paths;
    paths.reserve(count);
    for (uint32 index = 0; index < count; ++index)
    {
        const uint32 directory = index / filesPerDirectory;
        char path[96];
        std::snprintf(path, sizeof path, "Content/Area%03u/Set%02u/Texture%04u.dds", directory / 100, directory % 100,
                      index % filesPerDirectory);
        paths.emplace_back(path);
    }
    return paths;
}

std::vector<ContentFile> MakeContent(uint32 count, uint32 size)
{
    std::vector<ContentFile> files;
    std::mt19937 generator(5);
    for (std::string &path : MakePaths(count))
    {
        files.push_back({std::move(path), CorpusText(CorpusSize).substr(generator() % (CorpusSize - size), size)});
    }
    return files;
}

std::string_view CorpusText(std::size_t size)
{
    return std::string_view(Text()).substr(0, size);
}

std::string_view CorpusCode(std::size_t size)
{
    return std::string_view(Code()).substr(0, size);
}

std::string ZlibStream(std::string_view plain)
{
    for (const int level : {6, 7, 8, 9, 5, 4})
    {
        uLongf size = compressBound(plain.size());
        std::string stream(size, '\0');
        const int result = compress2(reinterpret_cast<Bytef *>(stream.data()), &size,
                                     reinterpret_cast<const Bytef *>(plain.data()), plain.size(), level);
        const uLongf behindChunk = size % 65536;
        if (result == Z_OK && (behindChunk == 0 || behindChunk > 8))
        {
            stream.resize(size);
            return stream;
        }
    }
    throw std::runtime_error("no level of compression gives a size that the library reads");
}

Questions::Questions(const std::vector<std::string> &paths, bool present)
{
    std::vector<std::size_t> order(paths.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::shuffle(order.begin(), order.end(), std::mt19937(1));
    for (const std::size_t index : order)
    {
        mOffsets.push_back(mTexts.size());
        mTexts += paths[index];
        if (!present)
        {
            mTexts[mTexts.size() - 5] = 'x'; // the last digit of the name
        }
        mTexts += '\0';
    }
}

void WriteQuickly(const std::string &path, std::string_view bytes)
{
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    const bool written = file >= 0 && write(file, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    if (file < 0 || close(file) != 0 || !written)
    {
        throw std::system_error(errno, std::generic_category(), path);
    }
}
} // namespace Keld::Benchmarks
