#include "Tools/Delivery/Bundles/BundleStream.h"

#include "Tools/TreeReader/TreeError.h"

#include <archive.h>
#include <archive_entry.h>

#include <new>
#include <stdexcept>

#include <sys/stat.h>

namespace Keld::Delivery
{
using TreeReader::TreeError;

namespace
{
constexpr mode_t TarFileMode = 0644;

struct TarEntryCloser
{
    void operator()(archive_entry *entry) const { archive_entry_free(entry); }
};
using TarEntry = std::unique_ptr<archive_entry, TarEntryCloser>;

/// libarchive gives null when memory runs out.
template <class Object>
Object *RequireMade(Object *made)
{
    if (made == nullptr)
    {
        throw std::bad_alloc();
    }
    return made;
}

std::string CauseOf(archive *stream)
{
    const char *cause = archive_error_string(stream);
    return cause != nullptr ? cause : "it cannot be read";
}
} // namespace

void BundleOutput::Closer::operator()(archive *stream) const
{
    archive_write_free(stream);
}

BundleOutput::BundleOutput(const BundleSink &sink) : mSink(sink), mStream(RequireMade(archive_write_new()))
{
    // The form of GNU leaves the bytes of names as they are, and knows large files and long names.
    Require(archive_write_set_format_gnutar(mStream.get()));
    const auto write = [](archive *, void *context, const void *bytes, size_t size) -> la_ssize_t
    {
        auto &output = *static_cast<BundleOutput *>(context);
        try
        {
            output.mSink({static_cast<const char *>(bytes), size});
            return static_cast<la_ssize_t>(size);
        }
        catch (...)
        {
            output.mFailure = std::current_exception(); // must not pass through the library, which is C
            return -1;
        }
    };
    Require(archive_write_open(mStream.get(), this, nullptr, write, nullptr));
}

BundleOutput::~BundleOutput()
{
    archive_write_fail(mStream.get()); // unless it is closed, nothing more is written
}

void BundleOutput::Begin(const std::string &name, uint64 size)
{
    const TarEntry entry(RequireMade(archive_entry_new()));
    archive_entry_copy_pathname(entry.get(), name.c_str());
    archive_entry_set_size(entry.get(), static_cast<la_int64_t>(size));
    archive_entry_set_filetype(entry.get(), AE_IFREG);
    archive_entry_set_perm(entry.get(), TarFileMode);
    archive_entry_set_mtime(entry.get(), 0, 0);
    Require(archive_write_header(mStream.get(), entry.get()));
}

void BundleOutput::Write(std::string_view bytes)
{
    Require(archive_write_data(mStream.get(), bytes.data(), bytes.size()));
}

void BundleOutput::Close()
{
    Require(archive_write_close(mStream.get()));
}

void BundleOutput::Require(long long result)
{
    if (mFailure != nullptr)
    {
        std::rethrow_exception(mFailure);
    }
    if (result < ARCHIVE_OK)
    {
        throw std::runtime_error("the bundle cannot be written: " + CauseOf(mStream.get()));
    }
}

void BundleInput::Closer::operator()(archive *stream) const
{
    archive_read_free(stream);
}

BundleInput::BundleInput(int descriptor, std::string name, const std::function<void()> &checkpoint)
    : mName(std::move(name)), mInput(descriptor, checkpoint), mStream(RequireMade(archive_read_new()))
{
    Require(archive_read_support_format_tar(mStream.get()));
    Require(mInput.Open(mStream.get()));
}

BundleInput::~BundleInput() = default;

bool BundleInput::Next()
{
    archive_entry *entry = nullptr;
    const int result = archive_read_next_header(mStream.get(), &entry);
    if (result == ARCHIVE_EOF)
    {
        return false;
    }
    Require(result);
    const char *name = archive_entry_pathname(entry);
    const bool isPlain = archive_entry_filetype(entry) == AE_IFREG && archive_entry_hardlink(entry) == nullptr &&
                         archive_entry_size_is_set(entry) != 0 && archive_entry_size(entry) >= 0;
    if (name == nullptr || !isPlain)
    {
        Refuse("holds something that is no file" + (name != nullptr ? ": " + std::string(name) : std::string()));
    }
    mFileName = name;
    mFileSize = static_cast<uint64>(archive_entry_size(entry));
    return true;
}

void BundleInput::Read(const BundleSink &sink)
{
    uint64 end = 0;
    for (;;)
    {
        const void *bytes = nullptr;
        size_t size = 0;
        la_int64_t offset = 0;
        const int result = archive_read_data_block(mStream.get(), &bytes, &size, &offset);
        if (result == ARCHIVE_EOF)
        {
            break;
        }
        Require(result);
        if (static_cast<uint64>(offset) != end)
        {
            Refuse("holds a file with holes: " + mFileName);
        }
        if (size > mFileSize - end)
        {
            Refuse("holds a file that is longer than it says: " + mFileName);
        }
        end += size;
        sink({static_cast<const char *>(bytes), size});
    }
    if (end != mFileSize)
    {
        Refuse("ends within " + mFileName);
    }
}

std::string BundleInput::ReadText(uint64 limit)
{
    if (mFileSize > limit)
    {
        Refuse("begins with a text that is longer than any can be: " + mFileName);
    }
    std::string text;
    Read(
        [&text](std::string_view bytes)
        {
            text += bytes;
        });
    return text;
}

void BundleInput::Refuse(const std::string &why) const
{
    throw TreeError(mName + ": " + why);
}

void BundleInput::Require(int result) const
{
    if (result != ARCHIVE_OK && result != ARCHIVE_WARN)
    {
        mInput.ThrowFailure();
        Refuse("is no bundle, or is damaged: " + CauseOf(mStream.get()));
    }
}
} // namespace Keld::Delivery
