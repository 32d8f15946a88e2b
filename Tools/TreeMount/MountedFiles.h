#pragma once

#include "Tools/TreeMount/DecodedFiles.h"
#include "Tools/TreeMount/MountedTree.h"
#include "Tools/TreeMount/ReadingOrder.h"

#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_set>

namespace Keld::TreeMount
{
/// How files are read.
struct ReadingRules
{
    uint64 cacheSize = uint64{256} << 20; ///< bytes of memory for decoded files
    bool checkDigest = true;              ///< holds what was decoded against the manifest's digest

    /// Whoever has answered a read goes on and decodes what is likely to be read next. Only for those who have other
    /// threads to answer meanwhile.
    bool readsAhead = false;
};

/// Reads the files of a mounted tree at any place. What is not compressed comes from the disk as it stands there. A
/// compressed file is decoded whole before a byte of it is given out, as the library does when it is opened, so that
/// a damaged one cannot be read in part. Any thread may read.
class MountedFiles
{
public:
    /// Takes the bytes, which are gone after the call, or the failure.
    using Answer = std::function<void(const TreeReader::Result<std::string_view> &)>;

    /// Is told a line for the log about a file that cannot be read. From any thread, once for each file.
    using Report = std::function<void(const std::string &)>;

    MountedFiles(const MountedTree &tree, const ReadingRules &rules, Report report);

    /// Answers with the bytes from `offset` on, fewer than `size` only where the content ends. The answer is given
    /// before the call returns, or later by another thread that is decoding the same file. What the call throws it
    /// throws before that, and then there is no answer.
    /// \param answer called once; throws nothing
    void Read(const TreeReader::Hit &file, uint64 offset, uint_size size, Answer answer);

private:
    void ReadStored(const TreeReader::Hit &file, const TreeReader::StoredFile &stored, uint64 offset, uint_size size,
                    const Answer &answer);
    void ReadDecoded(const TreeReader::Hit &file, const TreeReader::StoredFile &stored, uint64 offset, uint_size size,
                     Answer answer);
    TreeReader::Failure Decode(const TreeReader::Hit &file, const TreeReader::StoredFile &stored,
                               const TreeReader::ContentSink &sink) const;
    void ReadAhead(const TreeReader::Hit &file);
    void Prepare(const TreeReader::Hit &file);
    void ReportOnce(const TreeReader::Hit &file, const TreeReader::Fault &fault);

    const MountedTree &mTree;
    const ReadingRules mRules;
    const Report mReport;
    DecodedFiles mDecoded;
    ReadingOrder mOrder;
    std::mutex mReportedMutex; ///< guards mReported
    std::unordered_set<NodeNumber> mReported;
};
} // namespace Keld::TreeMount
