#include "Tools/morv/Extraction.h"

#include "Tools/Common/Pool.h"
#include "Tools/TreeReader/ContentDigest.h"
#include "Tools/TreeReader/DigestQueue.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <mutex>
#include <optional>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Keld::Morv
{
using Common::Descriptor;
using Common::NewFile;
using Common::OutputDirectory;
using TreeReader::Failure;
using TreeReader::Release;
using TreeReader::View;

namespace
{
constexpr std::size_t ExtractionPieceSize = 1 << 18;

// What a thread takes at once.
constexpr uint64 BytesAtOnce = 8 << 20;
constexpr std::size_t FilesAtOnce = 256;

/// What one thread keeps from file to file.
struct Worker
{
    TreeReader::DigestQueue<const PlannedFile *> queue;
    std::vector<char> piece; ///< of a file that --update looks at
    std::optional<uint32> openDirectory;
    Descriptor directory;
};

/// What no further file would be spared.
bool EndsAll(int error)
{
    return error == ENOSPC || error == EDQUOT || error == EROFS;
}

/// The reason first, then what the system says, but for what the reason says in full.
std::string TextOf(const std::system_error &error)
{
    const int number = error.code().value();
    std::string text = error.what();
    const std::string suffix = ": " + error.code().message();
    const bool saysAll = number == ENOTDIR || number == ELOOP || number == EISDIR || number == ENOTEMPTY;
    if (saysAll && text.ends_with(suffix))
    {
        text.resize(text.size() - suffix.size());
    }
    return text;
}

class Extraction
{
public:
    Extraction(const View &view, ExtractPlan plan, const OutputDirectory &target, const ExtractOptions &options)
        : mView(view), mPlan(std::move(plan)), mTarget(target), mOptions(options)
    {
        mReport.failures = std::move(mPlan.refused);
    }

    ExtractReport Run()
    {
        MakeDirectories();
        const std::vector<Common::Stretch> stretches =
            Common::CutIntoStretches(mPlan.files.size(), {BytesAtOnce, FilesAtOnce, mOptions.threadCount},
                                     [this](std::size_t index)
                                     {
                                         return uint64{FieldsOf(mPlan.files[index]).size};
                                     });
        Common::ForEachStretchInPlaces<Worker>(
            mOptions.threadCount, stretches,
            [this](Worker &worker, const Common::Stretch &stretch)
            {
                RunStretch(worker, stretch);
            },
            [this](Worker &worker)
            {
                WriteWaiting(worker);
            });
        std::sort(mReport.failures.begin(), mReport.failures.end(),
                  [](const ExtractFailure &left, const ExtractFailure &right)
                  {
                      return left.path < right.path;
                  });
        return std::move(mReport);
    }

private:
    void MakeDirectories()
    {
        for (const std::string &directory : mPlan.directories)
        {
            mOptions.checkpoint();
            try
            {
                mReport.leftovers += Common::RemoveLeftovers(mTarget.OpenBelow(directory).Get());
            }
            catch (const std::system_error &error)
            {
                AddFailure(directory + "/", error);
            }
        }
    }

    void RunStretch(Worker &worker, const Common::Stretch &stretch)
    {
        for (std::size_t index = stretch.begin; index < stretch.end; ++index)
        {
            const PlannedFile &file = mPlan.files[index];
            RunOne(file,
                   [&]
                   {
                       Begin(file, worker);
                   });
            if (worker.queue.IsFull())
            {
                WriteWaiting(worker);
            }
        }
    }

    /// One step with one file, unless all has ended. Trouble with the target is told.
    template <class Step>
    void RunOne(const PlannedFile &file, const Step &step)
    {
        mOptions.checkpoint();
        if (mIsStopped)
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            ++mReport.notBegun;
            return;
        }
        try
        {
            step();
        }
        catch (const std::system_error &error)
        {
            AddFailure(mView.GetPath(file.hit), error);
        }
    }

    /// Writes a file, or decodes it to wait for others, where its digest costs less.
    void Begin(const PlannedFile &file, Worker &worker)
    {
        const uint32 size = FieldsOf(file).size;
        if (mOptions.update && IsThere(OpenDirectory(file.directory, worker), file, worker))
        {
            mOptions.advance(size);
            Count(mReport.kept, size);
            return;
        }
        if (!mOptions.checkDigests || !worker.queue.IsSmall(size))
        {
            WriteAlone(file, worker);
            return;
        }
        const Release &release = mView.GetRelease(file.hit.layer);
        const auto stored = release.Locate(file.hit.entry);
        const Failure failure =
            stored ? worker.queue.Add(release, file.hit.entry, *stored, &file) : Failure(stored.GetFault());
        if (failure)
        {
            AddFailure(file, *failure);
        }
    }

    /// A content with the wrong digest is read once more, by whoever tells that in words.
    void WriteWaiting(Worker &worker)
    {
        worker.queue.SettleAll(
            [&](const PlannedFile *file, std::string_view content, bool isRight)
            {
                RunOne(*file,
                       [&]
                       {
                           if (isRight)
                           {
                               WriteWhole(*file, content, worker);
                           }
                           else
                           {
                               WriteAlone(*file, worker);
                           }
                       });
            });
    }

    void WriteWhole(const PlannedFile &file, std::string_view content, Worker &worker)
    {
        NewFile output(OpenDirectory(file.directory, worker), file.name);
        output.Write(content);
        mOptions.advance(content.size());
        output.Publish();
        Count(mReport.written, content.size());
    }

    void WriteAlone(const PlannedFile &file, Worker &worker)
    {
        NewFile output(OpenDirectory(file.directory, worker), file.name);
        TreeReader::ReadOptions options;
        options.checkDigest = mOptions.checkDigests;
        const Release &release = mView.GetRelease(file.hit.layer);
        const Failure failure = worker.queue.GetReader().Read(release, file.hit.entry, options,
                                                              [&](std::string_view bytes)
                                                              {
                                                                  mOptions.checkpoint();
                                                                  output.Write(bytes);
                                                                  mOptions.advance(bytes.size());
                                                              });
        if (failure)
        {
            AddFailure(file, *failure);
            return;
        }
        output.Publish();
        Count(mReport.written, FieldsOf(file).size);
    }

    int OpenDirectory(uint32 index, Worker &worker)
    {
        if (worker.openDirectory != index)
        {
            worker.openDirectory.reset();
            worker.directory = mTarget.OpenBelow(mPlan.directories[index]);
            worker.openDirectory = index;
        }
        return worker.directory.Get();
    }

    /// Whether the file is there with the size and the digest that the manifest tells. One that cannot be read is not.
    bool IsThere(int directory, const PlannedFile &file, Worker &worker)
    {
        const Descriptor there(openat(directory, file.name.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        struct stat status = {};
        const auto &fields = FieldsOf(file);
        if (!there.IsOpen() || fstat(there.Get(), &status) != 0 || !S_ISREG(status.st_mode) ||
            static_cast<uint64>(status.st_size) != fields.size)
        {
            return false;
        }
        worker.piece.resize(ExtractionPieceSize);
        TreeReader::ContentDigest digest;
        for (uint64 done = 0; done < fields.size;)
        {
            mOptions.checkpoint();
            const ssize_t count = read(there.Get(), worker.piece.data(), ExtractionPieceSize);
            if (count == 0 || (count < 0 && errno != EINTR))
            {
                return false;
            }
            const std::size_t bytes = count > 0 ? static_cast<std::size_t>(count) : 0;
            digest.Update(std::string_view(worker.piece.data(), bytes));
            done += bytes;
        }
        const TreeReader::Digest found = digest.Finish();
        return std::equal(found.begin(), found.end(), std::begin(fields.digest));
    }

    const MORV::Reader::FileTableFields &FieldsOf(const PlannedFile &file) const
    {
        return mView.GetRelease(file.hit.layer).GetTree().GetFields(file.hit.entry);
    }

    void Count(ExtractCount &count, uint64 bytes)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        ++count.files;
        count.bytes += bytes;
    }

    void AddFailure(const std::string &path, const std::system_error &error)
    {
        AddFailure({path, "not-written", TextOf(error)});
        if (EndsAll(error.code().value()))
        {
            const std::lock_guard<std::mutex> lock(mMutex);
            mReport.stopped = error.code().message();
            mIsStopped = true;
        }
    }

    void AddFailure(const PlannedFile &file, const TreeReader::Fault &fault)
    {
        AddFailure({mView.GetPath(file.hit), TreeReader::NameOf(fault.kind), fault.GetMessage()});
    }

    void AddFailure(ExtractFailure failure)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mReport.failures.push_back(std::move(failure));
    }

    const View &mView;
    ExtractPlan mPlan;
    const OutputDirectory &mTarget;
    const ExtractOptions &mOptions;
    std::atomic<bool> mIsStopped{false};
    std::mutex mMutex; ///< guards mReport
    ExtractReport mReport;
};
} // namespace

ExtractReport Extract(const View &view, ExtractPlan plan, const OutputDirectory &target, const ExtractOptions &options)
{
    return Extraction(view, std::move(plan), target, options).Run();
}
} // namespace Keld::Morv
