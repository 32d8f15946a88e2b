#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <lzma.h>

namespace Keld::MORV::Reader
{
/// One LZMA2 stream on its way through liblzma's raw decoder, call by call, for the adapter of compressed files.
class Lzma2Decoder
{
public:
    enum class Status
    {
        FinishedWithMark, ///< the end mark of the stream was met, by this call or before
        NotFinished,      ///< the room is used up, and the stream goes on
        NeedsMoreInput,   ///< the input is used up
        Bad               ///< the stream is damaged, or memory ran out
    };

    /// What is to happen when the room is used up.
    enum class FinishMode
    {
        Any, ///< stop there: more input will come
        End  ///< go on to the end mark: this is the last input
    };

    struct Result
    {
        uint32 written;
        uint32 consumed;
        Status status;
    };

    Lzma2Decoder() = default;
    ~Lzma2Decoder();

    Lzma2Decoder(const Lzma2Decoder &) = delete;
    Lzma2Decoder &operator=(const Lzma2Decoder &) = delete;

    /// \param property   the dictionary size, as the stream's header has it: 0 to 40
    /// \param outputSize bytes that the stream may decode to. No distance of a good stream reaches farther back, so
    ///                   no larger dictionary is reserved, whatever the property demands.
    /// \returns false for a property outside its range and when memory runs out.
    bool Allocate(uint8 property, uint64 outputSize);

    Result Decode(void *output, uint32 outputSize, const void *input, uint32 inputSize, FinishMode mode);

private:
    lzma_stream mStream = LZMA_STREAM_INIT;
    bool mFinished = false;
};
} // namespace Keld::MORV::Reader
