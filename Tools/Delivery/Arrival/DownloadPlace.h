#pragma once

#include "Tools/Delivery/Arrival/Arrival.h"

#include "KeldFoundation/CStd/BasicTypes.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Keld::Delivery
{
/// Where downloads come to: the files in the making of an Arrival, each with a tag that tells which file of the source
/// it is the beginning of, so that a later run goes on with it. Any thread may use it. Calls throw std::system_error.
class DownloadPlace
{
public:
    /// \param arrival must outlive this.
    explicit DownloadPlace(Arrival &arrival);

    Arrival &GetArrival() const { return mArrival; }

    /// Absolute path of a file that came, accepted or not.
    std::string GetPlace(const std::string &path) const;

    /// Bytes of what is there of a file, or nothing.
    std::optional<uint64> GetSize(const std::string &path) const;

    /// What identifies the source's file that a part is of, and the size that it had there. Empty where nobody knows.
    std::string GetTag(const std::string &path) const;
    void SetTag(const std::string &path, const std::string &tag) const;

    /// Takes away what came of a file.
    void Remove(const std::string &path) const;

    /// Puts a small file there whole.
    void Write(const std::string &path, std::string_view bytes) const;

    /// A directory of its own beside the files, for what is to be known about them; made where it is missing.
    Common::Descriptor OpenStaging(const std::string &name) const { return mStaging.OpenBelow(name); }

private:
    Common::Descriptor OpenTags() const { return OpenStaging("tags"); }

    Arrival &mArrival;
    Common::OutputDirectory mStaging;
};

/// A file on its way. What was written stays when the object goes.
class PartFile
{
public:
    /// Opens what an earlier run left of the file, or an empty one.
    PartFile(const DownloadPlace &place, std::string path);

    /// Bytes that are there.
    uint64 GetSize() const { return mSize; }

    /// Starts anew, for the file with this tag. An empty tag is for what is not worth going on with.
    void Restart(const std::string &tag);

    void Append(std::string_view bytes);

    /// Tells whether all of it could be written, by throwing where not.
    void Close();

private:
    [[noreturn]] void Fail() const;

    const DownloadPlace &mPlace;
    std::string mPath;
    Common::Descriptor mFile;
    uint64 mSize = 0;
};
} // namespace Keld::Delivery
