#include "Oracle/RandomArchives.h"

#include "Support/CompressedStream.h"

namespace Keld::Test::Oracle
{
void RandomArchives::Add(const std::string &version, const std::string &path, const std::string &stored,
                         std::uint32_t statedSize, bool isAlone)
{
    Archive &archive = Choose(mVersions[version], isAlone);
    if (mDice.OneIn(5))
    {
        archive.data += RandomBytes(mDice.Below(40), mDice.Word()); // a gap that belongs to nobody
    }
    archive.index.File(path, static_cast<std::uint32_t>(archive.data.size()), statedSize);
    archive.data += stored;
}

RandomArchives::Archive &RandomArchives::Choose(std::vector<Archive> &archives, bool isAlone)
{
    std::vector<std::size_t> shared;
    for (std::size_t index = 0; index < archives.size(); ++index)
    {
        if (archives[index].isShared)
        {
            shared.push_back(index);
        }
    }
    if (isAlone || shared.empty() || mDice.OneIn(15))
    {
        static const std::string prefixes[] = {"archive", "Maps", "a b", "x.y", "data-"};
        archives.push_back({mDice.Of(prefixes) + std::to_string(archives.size()), {}, {}, !isAlone});
        return archives.back();
    }
    return archives[mDice.Of(shared)];
}

void RandomArchives::Write(Disk &disk, const std::string &projectRoot)
{
    for (const auto &[version, archives] : mVersions)
    {
        const std::string directory = projectRoot + "/filearchives/" + version;
        for (const Archive &archive : archives)
        {
            const std::string path = directory + "/" + archive.name + ".vka";
            disk.Write(path, mDice.OneIn(20) ? Damaged(archive.index) : archive.index.Bytes());
            std::string data = archive.data;
            if (mDice.OneIn(40))
            {
                data.resize(mDice.Below(static_cast<std::uint32_t>(data.size()) + 1));
            }
            if (!mDice.OneIn(40))
            {
                disk.Write(path + ".dat", data);
            }
        }
        if (mDice.OneIn(6))
        {
            AddOddities(disk, directory);
        }
    }
}

// Images that are refused, and some that only look as if.
std::string RandomArchives::Damaged(const ArchiveImage &index)
{
    ByteImage image = index.Image();
    const auto size = static_cast<std::uint32_t>(image.Size());
    switch (mDice.Below(10))
    {
    case 0:
        return image.Bytes().substr(0, mDice.Below(size));
    case 1:
        return image.Word(0, mDice.Word()).Bytes();
    case 2:
        return image.Word(4, 2 + mDice.Below(5)).Bytes();
    case 3:
        return image.Word(8, mDice.Word()).Bytes(); // nobody reads this word
    case 4:
        return image.Word(mDice.OneIn(2) ? 12 : 16, size - mDice.Below(3)).Bytes();
    case 5:
        return image.Word(ArchiveImage::FileListOffset, 0x10000000 + mDice.Below(9)).Bytes();
    case 6:
        return ArchiveImage().Bytes();
    case 7:
        return ArchiveImage().File("nothing", 0, 0).File("more", 5, 0).Bytes();
    case 8:
        return image.Bytes() + RandomBytes(mDice.Below(90), mDice.Word()); // bytes behind the end do not matter
    default:
        // A record that has no path, or takes any.
        return image.Word(ArchiveImage::RecordOffset(0) + 12, mDice.OneIn(2) ? 0xFFFFFFFF : 0x00FFFFFF).Bytes();
    }
}

void RandomArchives::AddOddities(Disk &disk, const std::string &directory)
{
    disk.MakeDirectory(directory + "/folder.vka");
    disk.Write(directory + "/.hidden.vka", "not an archive");
    disk.Write(directory + "/LOUD.VKA", "not an archive");
    disk.Write(directory + "/empty.vka", "");
    disk.Link(directory + "/nowhere.vka", directory + "/not-there");
}
} // namespace Keld::Test::Oracle
