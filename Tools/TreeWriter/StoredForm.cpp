#include "Tools/TreeWriter/StoredForm.h"

#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeWriter/Compression.h"

#include "KeldMorvIO/blocks/CompressedFormat.h"

#include <libdeflate.h>
#include <lzma.h>
#include <zlib.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <new>
#include <string>

#include <fcntl.h>
#include <unistd.h>

namespace Keld::TreeWriter
{
using MORV::Reader::InputChunkSize;
using MORV::Reader::LzmaFileHeader;
using TreeReader::Compression;
using TreeReader::TreeError;

namespace
{
using Sink = StoredFormReader::Sink;

constexpr uint64 OutputPiece = uint64{1} << 18;
constexpr uint64 LargestHeldOnce = uint64{8} << 20; // above, content is handed on in pieces

[[noreturn]] void Refuse(const StoredForm &form, const std::string &cause)
{
    throw TreeError(form.file + ": what was written there cannot be read back: " + cause);
}

/// The bytes of a stored form, front to back.
class FormInput
{
public:
    /// \param buffer is used for what is read
    FormInput(const StoredForm &form, int descriptor, std::string &buffer)
        : mForm(form), mDescriptor(descriptor), mOffset(form.offset), mLeft(form.size), mBuffer(buffer)
    {
    }

    uint64 GetLeft() const { return mLeft; }

    /// The next bytes, `most` of them or what is left.
    std::string_view Next(uint64 most)
    {
        const uint64 size = std::min(most, mLeft);
        if (mBuffer.size() < size)
        {
            mBuffer.resize(size);
        }
        for (uint64 done = 0; done < size;)
        {
            const ssize_t count = pread(mDescriptor, mBuffer.data() + done, size - done, static_cast<off_t>(mOffset));
            if (count == 0 || (count < 0 && errno != EINTR))
            {
                Refuse(mForm, count == 0 ? "it ends early" : std::strerror(errno));
            }
            done += count > 0 ? static_cast<uint64>(count) : 0;
            mOffset += count > 0 ? static_cast<uint64>(count) : 0;
        }
        mLeft -= size;
        return {mBuffer.data(), size};
    }

private:
    const StoredForm &mForm;
    int mDescriptor;
    uint64 mOffset;
    uint64 mLeft;
    std::string &mBuffer;
};

void ReadPlain(FormInput &input, const Sink &sink)
{
    while (input.GetLeft() != 0)
    {
        sink(input.Next(OutputPiece));
    }
}

/// As the library does it: in chunks, and with an end that must be met before it would ask for one more.
void InflateInPieces(const StoredForm &form, FormInput &input, const Sink &sink)
{
    z_stream stream = {};
    if (inflateInit(&stream) != Z_OK)
    {
        throw std::bad_alloc();
    }
    const std::unique_ptr<z_stream, int (*)(z_stream *)> closer(&stream, inflateEnd);
    std::string output(OutputPiece, '\0');
    uint64 produced = 0;
    int result = Z_OK;
    while (result != Z_STREAM_END)
    {
        if (stream.avail_in == 0)
        {
            const std::string_view chunk = input.Next(InputChunkSize);
            stream.next_in = reinterpret_cast<Bytef *>(const_cast<char *>(chunk.data())); // zlib does not write there
            stream.avail_in = static_cast<uInt>(chunk.size());
        }
        const uint64 room = std::min<uint64>(output.size(), form.contentSize - produced);
        if (stream.avail_in == 0 || room == 0)
        {
            Refuse(form, "its zlib stream does not end where the library needs it to");
        }
        stream.next_out = reinterpret_cast<Bytef *>(output.data());
        stream.avail_out = static_cast<uInt>(room);
        result = inflate(&stream, Z_NO_FLUSH);
        if (result != Z_OK && result != Z_STREAM_END && result != Z_BUF_ERROR)
        {
            Refuse(form, "its zlib stream is damaged");
        }
        const uint64 made = room - stream.avail_out;
        produced += made;
        sink(std::string_view(output).substr(0, made));
    }
    if (produced != form.contentSize || stream.avail_in != 0 || input.GetLeft() != 0)
    {
        Refuse(form, "its zlib stream has another size than its content");
    }
}

void DecodeLzma(const StoredForm &form, FormInput &input, const Sink &sink)
{
    const std::string_view header = input.Next(sizeof(LzmaFileHeader));
    lzma_filter filters[] = {{LZMA_FILTER_LZMA2, nullptr}, {LZMA_VLI_UNKNOWN, nullptr}};
    const auto *property = reinterpret_cast<const uint8_t *>(header.data());
    if (header.size() != sizeof(LzmaFileHeader) || lzma_properties_decode(&filters[0], nullptr, property, 1) != LZMA_OK)
    {
        Refuse(form, "its LZMA header is damaged");
    }
    lzma_stream stream = LZMA_STREAM_INIT;
    const lzma_ret begun = lzma_raw_decoder(&stream, filters);
    free(filters[0].options); // liblzma's, from malloc
    const std::unique_ptr<lzma_stream, void (*)(lzma_stream *)> closer(&stream, lzma_end);
    if (begun != LZMA_OK)
    {
        throw std::bad_alloc();
    }
    std::string output(OutputPiece, '\0');
    lzma_ret result = LZMA_OK;
    while (result == LZMA_OK)
    {
        if (stream.avail_in == 0)
        {
            const std::string_view chunk = input.Next(InputChunkSize);
            stream.next_in = reinterpret_cast<const uint8_t *>(chunk.data());
            stream.avail_in = chunk.size();
        }
        stream.next_out = reinterpret_cast<uint8_t *>(output.data());
        stream.avail_out = output.size();
        result = lzma_code(&stream, LZMA_RUN);
        sink(std::string_view(output).substr(0, output.size() - stream.avail_out));
    }
    if (result != LZMA_STREAM_END || stream.avail_in != 0 || input.GetLeft() != 0 ||
        stream.total_out != form.contentSize)
    {
        Refuse(form, "its LZMA stream is damaged");
    }
}
} // namespace

StoredFormReader::~StoredFormReader()
{
    Close();
}

void StoredFormReader::DecoderFree::operator()(libdeflate_decompressor *decoder) const
{
    libdeflate_free_decompressor(decoder);
}

void StoredFormReader::Close()
{
    if (mDescriptor >= 0)
    {
        close(mDescriptor);
        mDescriptor = -1;
    }
}

void StoredFormReader::Open(const StoredForm &form)
{
    if (mDescriptor >= 0 && mFile == form.file)
    {
        return;
    }
    Close();
    mDescriptor = open(form.file.c_str(), O_RDONLY | O_CLOEXEC);
    if (mDescriptor < 0)
    {
        Refuse(form, std::strerror(errno));
    }
    mFile = form.file;
}

void StoredFormReader::InflateOnce(const StoredForm &form, std::string_view stored, const Sink &sink)
{
    if (mDecoder == nullptr)
    {
        mDecoder.reset(libdeflate_alloc_decompressor());
    }
    if (mDecoder == nullptr)
    {
        throw std::bad_alloc();
    }
    if (mContent.size() < form.contentSize)
    {
        mContent.resize(form.contentSize);
    }
    std::size_t used = 0;
    const libdeflate_result result = libdeflate_zlib_decompress_ex(mDecoder.get(), stored.data(), stored.size(),
                                                                   mContent.data(), form.contentSize, &used, nullptr);
    if (result != LIBDEFLATE_SUCCESS || used != stored.size())
    {
        Refuse(form, "its zlib stream is damaged");
    }
    sink(std::string_view(mContent).substr(0, form.contentSize));
}

void StoredFormReader::Read(const StoredForm &form, const Sink &sink)
{
    if (form.contentSize == 0)
    {
        return;
    }
    Open(form);
    FormInput input(form, mDescriptor, mStored);
    switch (form.compression)
    {
    case Compression::None:
        ReadPlain(input, sink);
        break;
    case Compression::Zlib:
    {
        const bool once =
            form.contentSize <= LargestHeldOnce && form.size <= 2 * LargestHeldOnce && !ZlibEndsAloneInChunk(form.size);
        once ? InflateOnce(form, input.Next(form.size), sink) : InflateInPieces(form, input, sink);
        break;
    }
    case Compression::Lzma:
        DecodeLzma(form, input, sink);
        break;
    }
}
} // namespace Keld::TreeWriter
