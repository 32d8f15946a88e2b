#include "KeldMorvIO/blocks/Lzma2Decoder.h"

#include "Support/CompressedStream.h"

#include <gtest/gtest.h>

#include <string>

namespace Keld::MORV::Reader
{
namespace
{
using Status = Lzma2Decoder::Status;
using FinishMode = Lzma2Decoder::FinishMode;

class Lzma2DecoderTest : public testing::Test
{
protected:
    Lzma2DecoderTest() { EXPECT_TRUE(mDecoder.Allocate(10, 1000)); }

    Lzma2Decoder::Result Decode(uint32 room, std::string_view input, FinishMode mode)
    {
        mRoom.assign(room, '#');
        return mDecoder.Decode(mRoom.data(), room, input.data(), static_cast<uint32>(input.size()), mode);
    }

    static void Expect(const Lzma2Decoder::Result &result, uint32 written, uint32 consumed, Status status)
    {
        EXPECT_EQ(result.written, written);
        EXPECT_EQ(result.consumed, consumed);
        EXPECT_EQ(result.status, status);
    }

    Lzma2Decoder mDecoder;
    std::string mRoom;
    const std::string mStream = Keld::Test::StoredLzma2Chunk("plain", 1) + std::string(1, '\0');
};

TEST_F(Lzma2DecoderTest, TakesPropertiesFromZeroToForty)
{
    for (int property = 0; property < 256; ++property)
    {
        Lzma2Decoder decoder;
        EXPECT_EQ(decoder.Allocate(static_cast<uint8>(property), 1), property <= 40) << property;
    }
}

TEST_F(Lzma2DecoderTest, SaysThatTheStreamIsFinishedEachTimeItIsAsked)
{
    Expect(Decode(10, mStream, FinishMode::End), 5, 9, Status::FinishedWithMark);
    EXPECT_EQ(mRoom, "plain#####");
    Expect(Decode(10, mStream, FinishMode::End), 0, 0, Status::FinishedWithMark);
    Expect(Decode(0, mStream, FinishMode::Any), 0, 0, Status::FinishedWithMark);
    Expect(Decode(0, "", FinishMode::End), 0, 0, Status::FinishedWithMark);
}

TEST_F(Lzma2DecoderTest, AsksForMoreInput)
{
    Expect(Decode(10, mStream.substr(0, 6), FinishMode::Any), 3, 6, Status::NeedsMoreInput);
    Expect(Decode(10, "", FinishMode::End), 0, 0, Status::NeedsMoreInput);
    Expect(Decode(10, "", FinishMode::End), 0, 0, Status::NeedsMoreInput);
    Expect(Decode(10, mStream.substr(6), FinishMode::End), 2, 3, Status::FinishedWithMark);
}

TEST_F(Lzma2DecoderTest, StopsWhenTheRoomIsUsedUp)
{
    Expect(Decode(2, mStream, FinishMode::Any), 2, 5, Status::NotFinished);
    Expect(Decode(0, mStream.substr(5), FinishMode::Any), 0, 0, Status::NotFinished);
    Expect(Decode(0, mStream.substr(5), FinishMode::End), 0, 0, Status::NotFinished);
    Expect(Decode(3, mStream.substr(5, 3), FinishMode::Any), 3, 3, Status::NeedsMoreInput);
}

TEST_F(Lzma2DecoderTest, GoesOnToTheEndMarkWithoutRoomOnlyOnTheLastInput)
{
    Expect(Decode(5, mStream.substr(0, 8), FinishMode::Any), 5, 8, Status::NeedsMoreInput);
    Expect(Decode(0, mStream.substr(8), FinishMode::Any), 0, 0, Status::NotFinished);
    Expect(Decode(0, mStream.substr(8), FinishMode::End), 0, 1, Status::FinishedWithMark);
}

TEST_F(Lzma2DecoderTest, SaysThatADamagedStreamIsBad)
{
    EXPECT_EQ(Decode(10, "\x03", FinishMode::End).status, Status::Bad);
    Lzma2Decoder withoutReset;
    char room[10];
    const std::string stream = Keld::Test::StoredLzma2Chunk("plain", 2);
    EXPECT_EQ(withoutReset.Allocate(10, 10), true);
    EXPECT_EQ(withoutReset.Decode(room, 10, stream.data(), 8, FinishMode::End).status, Status::Bad);
}
} // namespace
} // namespace Keld::MORV::Reader
