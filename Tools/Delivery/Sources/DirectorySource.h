#pragma once

#include "KeldFoundation/CStd/LargeVector.h"

#include "Tools/Delivery/Sources/Source.h"

namespace Keld::Delivery
{
/// A deployment tree on a disk of this machine, or on what is mounted here.
class DirectorySource final : public Source
{
public:
    /// \param name      as it was typed
    /// \param directory the root of the tree
    DirectorySource(std::string name, std::string directory, const SourceOptions &options);

    const std::string &GetName() const override { return mName; }
    std::string GetDirectory() const override { return mDirectory; }
    std::optional<LargeVector<char>> ReadWhole(const std::string &path, uint64 limit) override;
    void ReadRanges(const std::string &path, const std::vector<ByteRange> &ranges, const RangeSink &sink) override;
    std::optional<uint64> GetSize(const std::string &path) override;
    std::optional<std::vector<std::string>> ListNames(const std::string &directory) override;
    void Bring(std::vector<Download> &downloads, const DownloadPlace &place, const DownloadCalls &calls) override;

private:
    std::string Place(const std::string &path) const { return mDirectory + "/" + path; }
    void BringOne(Download &download, const DownloadPlace &place, const DownloadCalls &calls) const;

    std::string mName;
    std::string mDirectory;
    SourceOptions mOptions;
};
} // namespace Keld::Delivery
