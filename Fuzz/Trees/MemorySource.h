#pragma once

#include "Trees/TreeInput.h"

#include "Tools/Delivery/Sources/Source.h"

#include <string>
#include <vector>

namespace Keld::Fuzz
{
/// A source that answers with what an input holds below "there/MORV", without a network. It can be made to lie.
class MemorySource final : public Delivery::Source
{
public:
    /// What it does otherwise than a good server.
    enum Lie : unsigned
    {
        WrongSizes = 1,    ///< sizes that are off by one
        NoRanges = 2,      ///< whole files alone
        NoNames = 4,       ///< it does not tell what is in a directory
        ForbidsMissing = 8 ///< what is not there it does not allow to read
    };

    /// \param input borrowed
    /// \param names in each directory, beside those of the input
    MemorySource(const TreeInput &input, unsigned lies, std::vector<std::string> names);

    const std::string &GetName() const override { return mName; }
    std::optional<LargeVector<char>> ReadWhole(const std::string &path, uint64 limit) override;
    void ReadRanges(const std::string &path, const std::vector<Delivery::ByteRange> &ranges,
                    const Delivery::RangeSink &sink) override;
    std::optional<uint64> GetSize(const std::string &path) override;
    std::optional<std::vector<std::string>> ListNames(const std::string &directory) override;
    void Bring(std::vector<Delivery::Download> &downloads, const Delivery::DownloadPlace &place,
               const Delivery::DownloadCalls &calls) override;

    /// Below which its tree stands in an input.
    static constexpr const char *Prefix = "there/MORV/";

private:
    const std::string *Find(const std::string &path) const;
    void BringOne(Delivery::Download &download, const Delivery::DownloadPlace &place,
                  const Delivery::DownloadCalls &calls) const;

    const std::string mName = "memory";
    const TreeInput &mInput;
    const unsigned mLies;
    const std::vector<std::string> mNames;
};
} // namespace Keld::Fuzz
