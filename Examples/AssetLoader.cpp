// Loads all assets of a release on several threads:
//
//     AssetLoader RELEASE_DIRECTORY THREADS
//
// One thread finds what is there; then each takes the next path, opens it and reads it whole. What was loaded is
// printed with its size and a checksum, in the order in which it was found.
#include <KeldMorvIO.hpp>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace
{
namespace MorvIO = Keld::MorvIO;

struct Asset
{
    std::string path;
    std::vector<std::byte> content;
    std::error_code error; ///< why there is no content, or not all of it
};

std::vector<Asset> FindAssets(std::error_code &error)
{
    std::vector<Asset> assets;
    for (const MorvIO::WalkedEntry &entry : MorvIO::RecursiveDirectory("", error))
    {
        if (!entry.isDirectory)
        {
            assets.push_back({entry.path, {}, {}});
        }
    }
    return assets;
}

/// Takes assets until none is left. Any number of threads may be in here at once; no two get the same asset.
void LoadNext(std::vector<Asset> &assets, std::atomic<std::size_t> &next)
{
    for (std::size_t index = next++; index < assets.size(); index = next++)
    {
        Asset &asset = assets[index];
        asset.content = MorvIO::ReadAll(asset.path, asset.error);
    }
}

void LoadAll(std::vector<Asset> &assets, unsigned threadCount)
{
    std::atomic<std::size_t> next{0};
    std::vector<std::thread> threads;
    for (unsigned thread = 0; thread < threadCount; ++thread)
    {
        threads.emplace_back(
            [&]
            {
                LoadNext(assets, next);
            });
    }
    for (std::thread &thread : threads)
    {
        thread.join();
    }
}

/// FNV-1a, so that two runs can be compared.
std::uint32_t Checksum(const std::vector<std::byte> &content)
{
    std::uint32_t sum = 2166136261u;
    for (const std::byte byte : content)
    {
        sum = (sum ^ std::to_integer<std::uint32_t>(byte)) * 16777619u;
    }
    return sum;
}

int Print(const std::vector<Asset> &assets)
{
    int failed = 0;
    for (const Asset &asset : assets)
    {
        std::printf("%8zu  %08x  %s%s\n", asset.content.size(), static_cast<unsigned>(Checksum(asset.content)),
                    asset.path.c_str(), asset.error ? (": " + asset.error.message()).c_str() : "");
        failed += asset.error ? 1 : 0;
    }
    return failed == 0 ? 0 : 1;
}
} // namespace

int main(int argumentCount, char **arguments)
{
    const int threadCount = argumentCount == 3 ? std::atoi(arguments[2]) : 0;
    if (threadCount < 1 || threadCount > 64)
    {
        std::fprintf(stderr, "usage: %s RELEASE_DIRECTORY THREADS\n", arguments[0]);
        return 2;
    }
    std::error_code error;
    const MorvIO::Session session = MorvIO::Session::Start(arguments[1], error);
    std::vector<Asset> assets;
    if (!error)
    {
        assets = FindAssets(error);
    }
    if (error)
    {
        std::fprintf(stderr, "%s: %s\n", arguments[1], error.message().c_str());
        return 1;
    }
    LoadAll(assets, static_cast<unsigned>(threadCount));
    return Print(assets);
}
