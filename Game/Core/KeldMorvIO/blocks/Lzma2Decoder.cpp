#include "KeldMorvIO/blocks/Lzma2Decoder.h"

#include "KeldFoundation/CStd/CStd.h"

#include <algorithm>
#include <memory>

namespace Keld::MORV::Reader
{
namespace
{
struct FreeDeleter
{
    void operator()(void *pointer) const { std_free(pointer); }
};
} // namespace

Lzma2Decoder::~Lzma2Decoder()
{
    lzma_end(&mStream);
}

bool Lzma2Decoder::Allocate(uint8 property, uint64 outputSize)
{
    lzma_filter filters[] = {{LZMA_FILTER_LZMA2, nullptr}, {LZMA_VLI_UNKNOWN, nullptr}};
    if (lzma_properties_decode(&filters[0], nullptr, &property, 1) != LZMA_OK)
    {
        return false;
    }
    const std::unique_ptr<lzma_options_lzma, FreeDeleter> options(static_cast<lzma_options_lzma *>(filters[0].options));
    const uint64 enough = std::max<uint64>(outputSize, LZMA_DICT_SIZE_MIN);
    options->dict_size = static_cast<uint32>(std::min<uint64>(options->dict_size, enough));
    return lzma_raw_decoder(&mStream, filters) == LZMA_OK;
}

Lzma2Decoder::Result Lzma2Decoder::Decode(void *output, uint32 outputSize, const void *input, uint32 inputSize,
                                          FinishMode mode)
{
    if (mFinished)
    {
        return {0, 0, Status::FinishedWithMark};
    }
    if (outputSize == 0 && mode == FinishMode::Any)
    {
        return {0, 0, Status::NotFinished};
    }
    mStream.next_out = static_cast<uint8 *>(output);
    mStream.avail_out = outputSize;
    mStream.next_in = static_cast<const uint8 *>(input);
    mStream.avail_in = inputSize;
    // A plain run in both modes: the library's own finishing mode refuses a last chunk that is fed a second time.
    const lzma_ret code = lzma_code(&mStream, LZMA_RUN);
    const auto written = static_cast<uint32>(outputSize - mStream.avail_out);
    const auto consumed = static_cast<uint32>(inputSize - mStream.avail_in);
    mFinished = code == LZMA_STREAM_END;
    if (mFinished)
    {
        return {written, consumed, Status::FinishedWithMark};
    }
    if (code != LZMA_OK && code != LZMA_BUF_ERROR) // the latter says no more than that nothing moved
    {
        return {written, consumed, Status::Bad};
    }
    return {written, consumed, mStream.avail_in == 0 ? Status::NeedsMoreInput : Status::NotFinished};
}
} // namespace Keld::MORV::Reader
