#pragma once

#include "KeldMorvIO/blocks/BlockRow.h"
#include "KeldMorvIO/blocks/Descriptors.h"
#include "KeldMorvIO/blocks/LzmaAdapter.h"
#include "Support/CompressedStream.h"
#include "Support/ReaderLogCapture.h"
#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <string>

namespace Keld::Test
{
/// What an LZMA2 stream ends with.
inline const std::string EndMark(1, '\0');

/// Decodes through the LZMA adapter, and holds every line that it logs.
class LzmaAdapterFixture : public testing::Test
{
protected:
    MORV::Reader::AsyncFile Open(std::string_view bytes)
    {
        const MORV::Reader::AsyncFile file = MORV::Reader::AsyncOpen(mTree.Write("data", bytes).c_str());
        EXPECT_NE(file, MORV::Reader::AsyncFile::Null);
        return file;
    }

    /// The handle form over a range of a file of these bytes; the file must be closed afterwards, and its number not
    /// free.
    bool DecodeRange(std::string_view bytes, uint64 offset, uint32 size, BlockRow &blocks)
    {
        const MORV::Reader::AsyncFile file = Open(bytes);
        const bool result = MORV::Reader::DecompressLzma(file, offset, size, blocks.Data(), blocks.Count());
        EXPECT_TRUE(IsClosedButTaken(file));
        return result;
    }

    bool Decode(const std::string &bytes, BlockRow &blocks) { return DecodeRange(bytes, 0, SizeOf(bytes), blocks); }

    static bool DecodeMemory(const std::string &bytes, std::string &room)
    {
        return MORV::Reader::DecompressLzma(bytes.data(), SizeOf(bytes), room.data(), SizeOf(room));
    }

    ReaderLogCapture mLog;
    TempTree mTree;
};
} // namespace Keld::Test
