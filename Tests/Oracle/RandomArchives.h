#pragma once

#include "Oracle/Disk.h"
#include "Support/ArchiveImage.h"
#include "Support/Dice.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace Keld::Test::Oracle
{
/// The archives of one project: files are put into them version by version, and then all of them are written, some
/// damaged.
class RandomArchives
{
public:
    explicit RandomArchives(Dice &dice) : mDice(dice) {}

    /// \param statedSize  what the index says of the stored form
    /// \param isAlone     in an archive that holds nothing else
    void Add(const std::string &version, const std::string &path, const std::string &stored, std::uint32_t statedSize,
             bool isAlone);

    void Write(Disk &disk, const std::string &projectRoot);

private:
    struct Archive
    {
        std::string name;
        ArchiveImage index;
        std::string data;
        bool isShared = true;
    };

    Archive &Choose(std::vector<Archive> &archives, bool isAlone);
    std::string Damaged(const ArchiveImage &index);
    void AddOddities(Disk &disk, const std::string &directory);

    Dice &mDice;
    std::map<std::string, std::vector<Archive>> mVersions;
};
} // namespace Keld::Test::Oracle
