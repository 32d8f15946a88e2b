#pragma once

#include "Tools/TreeWriter/ArchiveInput.h"

#include "KeldFoundation/CStd/BasicTypes.h"

#include <exception>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

struct archive;
struct archive_entry;

// A bundle as the tar stream that it is: plain files, one after the other.
namespace Keld::Delivery
{
/// What takes bytes. What it throws ends the work.
using BundleSink = std::function<void(std::string_view)>;

class BundleOutput
{
public:
    /// \param sink must outlive this
    explicit BundleOutput(const BundleSink &sink);
    ~BundleOutput();

    BundleOutput(const BundleOutput &) = delete;
    BundleOutput &operator=(const BundleOutput &) = delete;

    /// A file of `size` bytes, which Write then gives.
    void Begin(const std::string &name, uint64 size);
    void Write(std::string_view bytes);

    /// To be called at the end.
    void Close();

private:
    struct Closer
    {
        void operator()(archive *stream) const;
    };

    void Require(long long result);

    const BundleSink &mSink;
    std::exception_ptr mFailure; ///< what the sink threw
    std::unique_ptr<archive, Closer> mStream;
};

/// All calls throw TreeError where the stream is no tar, ends early, or holds anything but plain files.
class BundleInput
{
public:
    /// \param descriptor borrowed
    /// \param name       for messages
    /// \param checkpoint called several times a second while nothing comes; what it throws comes through
    BundleInput(int descriptor, std::string name, const std::function<void()> &checkpoint);
    ~BundleInput();

    BundleInput(const BundleInput &) = delete;
    BundleInput &operator=(const BundleInput &) = delete;

    /// Goes to the next file. False at the end.
    bool Next();

    const std::string &GetFileName() const { return mFileName; }
    uint64 GetFileSize() const { return mFileSize; }

    /// The content of the file, once. The sink never gets more than GetFileSize tells.
    void Read(const BundleSink &sink);

    /// The same as a text of at most `limit` bytes.
    std::string ReadText(uint64 limit);

    /// Refuses the bundle as a whole.
    [[noreturn]] void Refuse(const std::string &why) const;

private:
    struct Closer
    {
        void operator()(archive *stream) const;
    };

    void Require(int result) const;

    const std::string mName;
    TreeWriter::ArchiveInput mInput;
    std::unique_ptr<archive, Closer> mStream; ///< reads from mInput
    std::string mFileName;
    uint64 mFileSize = 0;
};
} // namespace Keld::Delivery
