#include "Tools/TreeWriter/Compression.h"

#include "Support/TempTree.h"

#include "KeldFoundation/CStd/BasicTypes.h"
#include "KeldMorvIO/blocks/ZlibAdapter.h"
#include "Tools/TreeWriter/ContentDigest.h"

#include <gtest/gtest.h>

#include <lzma.h>
#include <zlib.h>

#include <random>

namespace Keld::Test
{
namespace
{
using TreeWriter::LzmaEncoder;
using TreeWriter::ZlibCompressor;
using TreeWriter::ZlibEndsAloneInChunk;
using TreeWriter::ZlibJoiner;

std::string Noise(std::size_t size)
{
    std::mt19937 random(1);
    std::string noise(size, '\0');
    for (char &character : noise)
    {
        character = static_cast<char>(random());
    }
    return noise;
}

/// Few symbols of uneven frequency, so that the code for the end of a block is a long one.
std::string SkewedNoise(uint32 spread, std::size_t size)
{
    std::mt19937 random(spread);
    std::string noise(size, '\0');
    for (char &character : noise)
    {
        const uint32 value = static_cast<uint32>(random() % 1000);
        character = static_cast<char>(value * value / (spread * 1000 + 7000));
    }
    return noise;
}

std::string Inflate(const std::string &stream, std::size_t size)
{
    std::string content(size, '\0');
    uLongf length = size;
    const int result = uncompress(reinterpret_cast<Bytef *>(content.data()), &length,
                                  reinterpret_cast<const Bytef *>(stream.data()), static_cast<uLong>(stream.size()));
    content.resize(result == Z_OK ? length : 0);
    return content;
}

std::string CompressZlib(const std::string &content)
{
    return ZlibCompressor(TreeWriter::DefaultLevel).Compress(content);
}

/// One stream made of pieces.
std::string Joined(const std::string &content, std::size_t pieceSize, int level = TreeWriter::DefaultLevel)
{
    std::string stream;
    ZlibJoiner joiner(level,
                      [&stream](std::string_view bytes)
                      {
                          stream += bytes;
                      });
    const std::string_view all = content;
    for (std::size_t offset = 0; offset < all.size(); offset += pieceSize)
    {
        const std::size_t before = std::min(offset, TreeWriter::ZlibWindow);
        const bool isLast = offset + pieceSize >= all.size();
        joiner.Add(TreeWriter::CompressPiece(all.substr(offset - before, before), all.substr(offset, pieceSize), isLast,
                                             level),
                   isLast);
    }
    EXPECT_EQ(joiner.GetSize(), stream.size());
    return stream;
}

std::string CompressLzma(const std::string &content, int level = TreeWriter::DefaultLevel)
{
    std::string stored;
    LzmaEncoder encoder(content.size(), level,
                        [&stored](std::string_view bytes)
                        {
                            stored += bytes;
                        });
    encoder.Add(std::string_view(content).substr(0, content.size() / 3));
    encoder.Add(std::string_view(content).substr(content.size() / 3));
    encoder.Finish();
    return stored;
}

/// Whether the library's own adapter gives the content back.
bool ReaderTakes(const TempTree &tree, const std::string &stream, const std::string &content)
{
    const std::string path = tree.Write("stream", stream);
    std::string inflated(content.size(), '\0');
    return MORV::Reader::DecompressZlib(path.c_str(), 0, static_cast<uint32>(stream.size()), inflated.data(),
                                        static_cast<uint32>(content.size())) &&
           inflated == content;
}

TEST(CompressionTest, AZlibStreamInflatesToItsContent)
{
    for (const std::size_t size : {std::size_t{1}, std::size_t{65536}, std::size_t{300'000}})
    {
        const std::string content(size, 'x');
        EXPECT_EQ(Inflate(CompressZlib(content), size), content);
    }
}

TEST(CompressionTest, KnowsTheSizesWhoseEndLiesAloneInAChunk)
{
    for (const std::size_t chunks : {std::size_t{1}, std::size_t{2}, std::size_t{100}})
    {
        EXPECT_FALSE(ZlibEndsAloneInChunk(chunks * 65536));
        for (std::size_t rest = 1; rest <= 8; ++rest)
        {
            EXPECT_TRUE(ZlibEndsAloneInChunk(chunks * 65536 + rest));
        }
        EXPECT_FALSE(ZlibEndsAloneInChunk(chunks * 65536 + 9));
    }
    EXPECT_FALSE(ZlibEndsAloneInChunk(8));
}

TEST(CompressionTest, NoZlibStreamEndsAloneInAChunk)
{
    for (std::size_t size = 65500; size < 65530; ++size)
    {
        const std::string content = Noise(size);
        const std::string stream = CompressZlib(content);
        EXPECT_FALSE(ZlibEndsAloneInChunk(stream.size())) << size;
        EXPECT_EQ(Inflate(stream, size), content);
    }
}

TEST(CompressionTest, TheReaderTakesAStreamWhoseBlockEndsWithALongCodeAtAChunk)
{
    // zlib at its default level gives each of these six bytes behind its content in the second chunk.
    const std::pair<uint32, std::size_t> lengths[] = {{1, 78534}, {2, 80366}, {4, 83574}, {12, 92550}, {14, 94303}};
    const TempTree tree;
    for (const auto &[spread, length] : lengths)
    {
        const std::string content = SkewedNoise(spread, length);
        const std::string stream = CompressZlib(content);
        const std::string path = tree.Write("stream", stream);
        std::string inflated(length, '\0');
        EXPECT_TRUE(MORV::Reader::DecompressZlib(path.c_str(), 0, static_cast<uint32>(stream.size()), inflated.data(),
                                                 static_cast<uint32>(length)))
            << stream.size();
        EXPECT_TRUE(inflated == content);
    }
}

TEST(CompressionTest, TheReaderTakesEveryStreamWhoseSizeLiesAroundAChunk)
{
    const TempTree tree;
    std::size_t padded = 0;
    for (std::size_t size = 65480; size < 65545; ++size)
    {
        const std::string content = Noise(size);
        for (const std::string &stream : {CompressZlib(content), Joined(content, size / 2), Joined(content, 1000)})
        {
            EXPECT_FALSE(ZlibEndsAloneInChunk(stream.size())) << size;
            EXPECT_TRUE(ReaderTakes(tree, stream, content)) << size << ", " << stream.size();
            padded += stream.find(std::string("\0\0\0\xff\xff", 5)) == 2 ? 1U : 0U;
        }
    }
    EXPECT_GE(padded, 4u); // some were lengthened
}

TEST(CompressionTest, PiecesJoinToOneStreamThatTheReaderTakes)
{
    const TempTree tree;
    std::string content;
    for (uint64 number = 0; content.size() < 3'000'000; ++number)
    {
        content += "line " + std::to_string(number * number) + "\n";
    }
    for (const std::size_t pieceSize : {std::size_t{100'000}, std::size_t{1} << 20, content.size()})
    {
        for (const int level : {1, 6, 12})
        {
            const std::string stream = Joined(content, pieceSize, level);
            EXPECT_LT(stream.size(), content.size() / 2);
            EXPECT_TRUE(Inflate(stream, content.size()) == content);
            EXPECT_TRUE(ReaderTakes(tree, stream, content)) << pieceSize;
        }
    }
    // A piece refers to what stands before it: joining costs next to nothing.
    EXPECT_LT(Joined(content, 100'000).size(), Joined(content, content.size()).size() * 102 / 100);
}

TEST(CompressionTest, EveryLevelGivesAStreamThatTheReaderTakes)
{
    const TempTree tree;
    const std::string content = SkewedNoise(4, 200'000);
    for (int level = TreeWriter::LeastLevel; level <= TreeWriter::MostLevel; ++level)
    {
        EXPECT_TRUE(ReaderTakes(tree, ZlibCompressor(level).Compress(content), content)) << level;
    }
}

TEST(CompressionTest, AnLzmaFormIsNineBytesAndARawStreamWithItsEndMark)
{
    const std::string content(300'000, 'y');
    const std::string stored = CompressLzma(content);
    ASSERT_GT(stored.size(), 10u);
    EXPECT_LE(static_cast<unsigned char>(stored[0]), 40);
    EXPECT_EQ(stored.substr(1, 8), std::string("\xE0\x93\x04\0\0\0\0\0", 8)); // 300,000
    EXPECT_EQ(stored.back(), '\0');

    lzma_filter filters[] = {{LZMA_FILTER_LZMA2, nullptr}, {LZMA_VLI_UNKNOWN, nullptr}};
    const auto *bytes = reinterpret_cast<const uint8_t *>(stored.data());
    ASSERT_EQ(lzma_properties_decode(&filters[0], nullptr, bytes, 1), LZMA_OK);
    std::string decoded(content.size(), '\0');
    std::size_t from = 9;
    std::size_t to = 0;
    EXPECT_EQ(lzma_raw_buffer_decode(filters, nullptr, bytes, &from, stored.size(),
                                     reinterpret_cast<uint8_t *>(decoded.data()), &to, decoded.size()),
              LZMA_OK);
    free(filters[0].options);
    EXPECT_EQ(from, stored.size());
    EXPECT_EQ(decoded, content);
}

TEST(CompressionTest, TheLzmaDictionaryIsNoLargerThanTheContentNeeds)
{
    EXPECT_EQ(CompressLzma("z")[0], 0);                                     // 4 KiB
    EXPECT_EQ(CompressLzma(std::string(65536, 'z'))[0], 8);                 // 64 KiB
    EXPECT_EQ(CompressLzma(std::string(std::size_t{5} << 22, 'z'))[0], 22); // 8 MiB, the default
}

TEST(ContentDigestTest, IsMd5)
{
    EXPECT_EQ(TreeReader::DigestText(TreeWriter::DigestOf("")), "d41d8cd98f00b204e9800998ecf8427e");
    TreeWriter::ContentDigest digest;
    digest.Update("ab");
    digest.Update("c");
    EXPECT_EQ(TreeReader::DigestText(digest.Finish()), "900150983cd24fb0d6963f7d28e17f72");
}
} // namespace
} // namespace Keld::Test
