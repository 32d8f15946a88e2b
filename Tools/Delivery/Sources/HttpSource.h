#pragma once

#include "KeldFoundation/CStd/LargeVector.h"

#include "Tools/Delivery/Sources/HttpTransfer.h"
#include "Tools/Delivery/Sources/Source.h"

namespace Keld::Delivery
{
/// A deployment tree as a web server gives it out.
class HttpSource final : public Source
{
public:
    /// Refuses, by TreeError, what is no URL of a directory.
    HttpSource(const std::string &url, const SourceOptions &options);

    const std::string &GetName() const override { return mName; }
    std::optional<LargeVector<char>> ReadWhole(const std::string &path, uint64 limit) override;
    void ReadRanges(const std::string &path, const std::vector<ByteRange> &ranges, const RangeSink &sink) override;
    std::optional<uint64> GetSize(const std::string &path) override;

    /// Where the server shows a page with the names, as nginx does with "autoindex".
    std::optional<std::vector<std::string>> ListNames(const std::string &directory) override;
    void Bring(std::vector<Download> &downloads, const DownloadPlace &place, const DownloadCalls &calls) override;

private:
    const SourceOptions mOptions;
    const std::string mName;
    HttpTransfer mTransfer;
};
} // namespace Keld::Delivery
