#pragma once

#include "Tools/TreeWriter/Compression.h"
#include "Tools/TreeWriter/InputFile.h"
#include "Tools/TreeWriter/PackPlan.h"
#include "Tools/TreeWriter/ReleaseStaging.h"
#include "Tools/TreeWriter/TwinTable.h"

#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace Keld::TreeWriter
{
/// One step on the way of a file into the release: the file as a whole, or one piece of a large one.
struct ContentTask
{
    std::size_t file = 0; ///< index in the plan
    uint64 offset = 0;    ///< of the piece in the content
    uint64 size = 0;      ///< of the piece, or of the file
    bool isPiece = false;
    bool isLast = true; ///< of the file's pieces
};

/// What came of a step.
struct MadeContent
{
    enum class Kind
    {
        Kept,     ///< the base has the bytes already
        Twin,     ///< an earlier file has the same bytes
        Plain,    ///< written to its place, naked or managed
        Stored,   ///< `bytes` are the stored form, compressed as `compression` says
        Alone,    ///< an LZMA form lies in an archive of its own
        Rejected, ///< the LZMA form of a large file is no smaller than its content: to be stored as it is
        Piece     ///< of a large file: `bytes` are the content, and `deflated` its compressed form if it is to have one
    };

    Kind kind = Kind::Kept;
    TreeReader::Digest digest = {}; ///< of the content, but for pieces and twins that are large
    std::size_t twin = 0;
    TreeReader::Compression compression = TreeReader::Compression::None;
    std::string bytes = {};
    ZlibPiece deflated = {};
    uint64 storedSize = 0; ///< of a form that lies alone
};

/// Reads, hashes and compresses content. May be used by many threads at once; what it gives for a task does not depend
/// on the others, but that a twin may be found or not.
class ContentMaker
{
public:
    ContentMaker(const PackRequest &request, const ReleaseStaging &staging, const std::vector<PlannedFile> &plan);
    ~ContentMaker();

    /// The tasks of the whole plan, in order.
    std::vector<ContentTask> ListTasks() const;

    /// The tasks that store one file, whatever twins it has.
    std::vector<ContentTask> ListStoringTasks(std::size_t file) const;

    /// \param findTwins false stores a file though an earlier one has the same bytes
    MadeContent Make(const ContentTask &task, bool findTwins = true);

    /// The same for neighbouring tasks, in their order. The digests of small files are made side by side.
    std::vector<MadeContent> MakeAll(std::span<const ContentTask> tasks);

    /// Bytes that a task counts for where BatchSize is the most that is to be made together. What takes long by itself
    /// fills a batch.
    uint64 SizeInBatch(const ContentTask &task) const;

    /// Name of the archive that an LZMA file has to itself, without its ending.
    static std::string NameOfAlone(const PlannedFile &file);

    /// Gives up what is held for a large file. To be called when its last piece was consumed: only then has no thread
    /// anything of it to read any more, and the file must be what it was when it was opened. Throws TreeError.
    void Forget(std::size_t file);

    /// Bytes of memory that a task takes.
    static uint64 Weigh(const ContentTask &task);

private:
    using Sink = std::function<void(std::string_view)>;
    using Feed = std::function<void(const Sink &)>; ///< hands a content on

    void MakeHeld(std::span<const ContentTask> tasks, std::vector<MadeContent> &made);
    MadeContent MakeWhole(std::size_t index, std::string content, const TreeReader::Digest &digest, bool findTwins);
    MadeContent MakePiece(const PlannedFile &file, const ContentTask &task);
    MadeContent MakeAlone(const PlannedFile &file, const Feed &feed);
    MadeContent MakeLargeAlone(const PlannedFile &file);
    void MakeStored(const PlannedFile &file, std::string content, MadeContent &made);
    std::optional<std::size_t> FindTwin(const PlannedFile &file, std::size_t index, const std::string &content,
                                        const TreeReader::Digest &digest);
    std::shared_ptr<InputFile> OpenLarge(const PlannedFile &file, std::size_t index);
    std::unique_ptr<ZlibCompressor> TakeCompressor();
    void GiveBack(std::unique_ptr<ZlibCompressor> compressor);

    const PackRequest &mRequest;
    const ReleaseStaging &mStaging;
    const std::vector<PlannedFile> &mPlan;
    TwinTable mTwins;
    std::mutex mMutex; // guards the two below
    std::map<std::size_t, std::shared_ptr<InputFile>> mOpenFiles;
    std::vector<std::unique_ptr<ZlibCompressor>> mIdleCompressors;
};
} // namespace Keld::TreeWriter
