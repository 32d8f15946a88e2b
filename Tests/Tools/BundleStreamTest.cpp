#include "Support/TempTree.h"

#include "Tools/Common/OutputDirectory.h"
#include "Tools/Delivery/Bundles/BundleStream.h"
#include "Tools/TreeReader/TreeError.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <numeric>

#include <fcntl.h>

namespace Keld::Test
{
namespace
{
constexpr std::size_t TarBlock = 512; // bytes

void PutOctal(std::string &header, std::size_t offset, std::size_t width, std::size_t number)
{
    char digits[16];
    std::snprintf(digits, sizeof digits, "%0*zo", static_cast<int>(width - 1), number);
    header.replace(offset, width - 1, digits, width - 1);
}

/// A tar of one file in the form that GNU has for files with holes: one piece from the start on, and a size of the file
/// that need not be that of the piece.
std::string MakeSparseTar(const std::string &name, std::size_t fileSize, std::size_t pieceSize)
{
    std::string header(TarBlock, '\0');
    header.replace(0, name.size(), name);
    PutOctal(header, 100, 8, 0644); // mode
    PutOctal(header, 108, 8, 0);    // user
    PutOctal(header, 116, 8, 0);    // group
    PutOctal(header, 124, 12, pieceSize);
    PutOctal(header, 136, 12, 0); // time
    header[156] = 'S';
    header.replace(257, 7, "ustar  ");
    PutOctal(header, 386, 12, 0);         // where the piece begins
    PutOctal(header, 398, 12, pieceSize); // and how long it is
    PutOctal(header, 483, 12, fileSize);
    header.replace(148, 8, "        ");
    const std::size_t sum = std::accumulate(header.begin(), header.end(), std::size_t(0),
                                            [](std::size_t total, char byte)
                                            {
                                                return total + static_cast<unsigned char>(byte);
                                            });
    PutOctal(header, 148, 7, sum);
    header[154] = '\0';
    const std::size_t padding = (TarBlock - pieceSize % TarBlock) % TarBlock;
    return header + std::string(pieceSize, 'x') + std::string(padding + 2 * TarBlock, '\0');
}

class BundleStreamTest : public testing::Test
{
protected:
    Common::Descriptor Open(const std::string &tar) const
    {
        return Common::Descriptor(open(mTree.Write("bundle", tar).c_str(), O_RDONLY | O_CLOEXEC));
    }

    TempTree mTree;
};

TEST_F(BundleStreamTest, AFileThatIsLongerThanItSaysIsRefusedBeforeMoreOfItIsTaken)
{
    constexpr std::size_t fileSize = 10;
    const Common::Descriptor file = Open(MakeSparseTar("text", fileSize, std::size_t(1) << 20));
    Delivery::BundleInput input(file.Get(), "the bundle", [] {});
    ASSERT_TRUE(input.Next());
    ASSERT_EQ(input.GetFileSize(), fileSize);
    std::size_t taken = 0;
    std::string refusal;
    try
    {
        input.Read(
            [&taken](std::string_view bytes)
            {
                taken += bytes.size();
            });
    }
    catch (const TreeReader::TreeError &error)
    {
        refusal = error.what();
    }
    EXPECT_EQ(refusal, "the bundle: holds a file that is longer than it says: text");
    EXPECT_LE(taken, fileSize);
}

TEST_F(BundleStreamTest, AFileInPiecesIsTakenWhereNothingOfItLacks)
{
    const Common::Descriptor file = Open(MakeSparseTar("text", 1000, 1000));
    Delivery::BundleInput input(file.Get(), "the bundle", [] {});
    ASSERT_TRUE(input.Next());
    EXPECT_EQ(input.ReadText(1000), std::string(1000, 'x'));
    EXPECT_FALSE(input.Next());
}
} // namespace
} // namespace Keld::Test
