#include "Oracle/ReleaseManifestRules.h"

#include <set>

namespace Keld::Test::Oracle
{
namespace
{
class ManifestReading
{
public:
    explicit ManifestReading(const std::string &bytes) : mBytes(bytes) {}

    std::optional<ReleaseManifestWords> Run()
    {
        if (mBytes.size() < 8 || mBytes.compare(0, 4, "QVMF") != 0)
        {
            return std::nullopt;
        }
        const std::uint32_t format = WordAt(mBytes, 4);
        if ((format != 0x10001 && format != 0x10002) || !FindTables(format == 0x10001 ? 44 : 36))
        {
            return std::nullopt;
        }
        IndexStrings();
        ReadTables();
        mRead.project = StringAt(8);
        mRead.version = WordAt(mBytes, 12);
        return mIsGood ? std::optional(mRead) : std::nullopt;
    }

private:
    static constexpr std::size_t DirectorySize = 20;

    bool FindTables(std::size_t fileSize)
    {
        const std::size_t size = mBytes.size();
        if (size <= 31)
        {
            return false;
        }
        mFileSize = fileSize;
        mDirectoryCount = WordAt(mBytes, 16);
        mFiles = 24 + DirectorySize * mDirectoryCount;
        if (mFiles > size)
        {
            return false;
        }
        mFileCount = WordAt(mBytes, mFiles - 4);
        const std::size_t counts = mFiles + mFileSize * mFileCount;
        if (counts + 8 > size)
        {
            return false;
        }
        mStrings = counts + 8;
        mStringSize = WordAt(mBytes, counts + 4);
        return mStrings + mStringSize <= size && mDirectoryCount > 0;
    }

    // Texts are counted to the end of the bytes; one that ends behind the stated size serves nobody.
    void IndexStrings()
    {
        std::size_t start = mStrings;
        for (std::size_t end = mBytes.find('\0', start); end != std::string::npos; end = mBytes.find('\0', start))
        {
            mTexts.emplace_back(mBytes.substr(start, end - start), end < mStrings + mStringSize);
            start = end + 1;
        }
    }

    std::string StringAt(std::size_t offset)
    {
        const std::uint32_t index = WordAt(mBytes, offset);
        if (index >= mTexts.size() || !mTexts[index].second)
        {
            mIsGood = false;
            return {};
        }
        return mTexts[index].first;
    }

    std::vector<std::uint32_t> Range(std::size_t offset, std::size_t count, std::set<std::uint32_t> &reached)
    {
        const std::uint64_t first = WordAt(mBytes, offset);
        const std::uint64_t many = WordAt(mBytes, offset + 4);
        std::vector<std::uint32_t> children;
        if (many == 0)
        {
            return children;
        }
        mIsGood = mIsGood && first + many <= count;
        for (std::uint64_t index = first; mIsGood && index < first + many; ++index)
        {
            mIsGood = reached.insert(static_cast<std::uint32_t>(index)).second;
            children.push_back(static_cast<std::uint32_t>(index));
        }
        return children;
    }

    void ReadTables()
    {
        std::set<std::uint32_t> directories = {0};
        std::set<std::uint32_t> files;
        for (std::size_t index = 0; index < mDirectoryCount; ++index)
        {
            const std::size_t offset = 20 + DirectorySize * index;
            mRead.directories.push_back({StringAt(offset), Range(offset + 4, mDirectoryCount, directories),
                                         Range(offset + 12, mFileCount, files)});
        }
        for (std::size_t index = 0; index < mFileCount; ++index)
        {
            const std::size_t offset = mFiles + mFileSize * index;
            mRead.files.push_back({StringAt(offset), WordAt(mBytes, offset + 4), WordAt(mBytes, offset + 24),
                                   WordAt(mBytes, offset + 28)});
        }
    }

    const std::string &mBytes;
    ReleaseManifestWords mRead;
    bool mIsGood = true;
    std::size_t mFileSize = 0;
    std::size_t mDirectoryCount = 0;
    std::size_t mFiles = 0;
    std::size_t mFileCount = 0;
    std::size_t mStrings = 0;
    std::size_t mStringSize = 0;
    std::vector<std::pair<std::string, bool>> mTexts;
};
} // namespace

std::uint32_t WordAt(const std::string &bytes, std::size_t offset)
{
    std::uint32_t word = 0;
    for (std::size_t index = 4; index > 0; --index)
    {
        word = word << 8 | static_cast<unsigned char>(bytes[offset + index - 1]);
    }
    return word;
}

std::optional<ReleaseManifestWords> ReadReleaseManifest(const std::string &bytes)
{
    return ManifestReading(bytes).Run();
}
} // namespace Keld::Test::Oracle
