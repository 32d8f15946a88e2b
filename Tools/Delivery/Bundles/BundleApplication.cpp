#include "Tools/Delivery/Bundles/BundleApplication.h"

#include "Tools/Common/ParallelWork.h"
#include "Tools/Delivery/Arrival/Arrival.h"
#include "Tools/Delivery/Arrival/FileWriting.h"
#include "Tools/Delivery/Bundles/BundleStream.h"
#include "Tools/Delivery/Sums/FileSums.h"
#include "Tools/TreeReader/ShipListNames.h"
#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeWriter/DirectoryProtection.h"

#include "KeldMorvIO/TreeWords.h"

#include <algorithm>
#include <cerrno>
#include <set>

#include <sys/stat.h>

namespace Keld::Delivery
{
using TreeReader::FaultKind;
using TreeReader::ReleaseName;
using TreeReader::Result;
using TreeReader::TreeError;

namespace
{
enum class FilePresence
{
    Missing,
    Same,
    Other ///< something else is in its place
};

class BundleApplication
{
public:
    explicit BundleApplication(const ApplyRequest &request)
        : mRequest(request), mInput(request.bundle, request.bundleName, request.calls.checkpoint)
    {
    }

    ApplyReport Apply()
    {
        ReadHead();
        RequireFits();
        Lock();
        try
        {
            RequireBase();
            FindLacking();
            Collect();
            mArrival->Publish(mComing, mWithdrawn);
            ProtectArchives();
        }
        catch (...)
        {
            Forget();
            throw;
        }
        return std::move(mReport);
    }

private:
    void ReadHead()
    {
        const std::string headText = RequireText(BundleHead::HeadEntry, BundleHead::SizeLimit);
        mReport.head = Require(BundleHead::Parse(headText, mRequest.bundleName));
        mListText = RequireText(BundleHead::ListEntry, ShipList::SizeLimit);
        mList.emplace(Require(ShipList::Parse(mListText, mRequest.bundleName + ": " + BundleHead::ListEntry)));
        mHasFile = mInput.Next();
        if (mHasFile && mInput.GetFileName() == BundleHead::SignatureEntry)
        {
            mSignature = mInput.ReadText(SignatureSizeLimit);
            mHasFile = mInput.Next();
        }
        if (mRequest.key != nullptr)
        {
            if (mSignature.empty())
            {
                mInput.Refuse("is not signed, and only what is signed is taken");
            }
            mReport.signedComment = Require(mRequest.key->Check(mListText, mSignature, mRequest.bundleName));
        }
    }

    std::string RequireText(const char *name, uint64 limit)
    {
        if (!mInput.Next() || mInput.GetFileName() != name)
        {
            mInput.Refuse("is no bundle: it should begin with \"" + std::string(name) + "\"");
        }
        return mInput.ReadText(limit);
    }

    template <class Value>
    static Value Require(Result<Value> result)
    {
        if (!result)
        {
            throw TreeError(result.GetFault().GetMessage());
        }
        return std::move(*result);
    }

    /// Head and list must tell of one release, and the list of all of it.
    void RequireFits()
    {
        const BundleHead &head = mReport.head;
        uint64 bytes = 0;
        for (const std::string &path : head.files)
        {
            const ShippedFile *file = mList->Find(path);
            if (file == nullptr)
            {
                mInput.Refuse("carries a file that the release does not need: " + path);
            }
            bytes += file->size;
        }
        const std::string directory =
            PathOfShipList(head.target)
                .substr(0, PathOfShipList(head.target).size() - std::string_view(TreeReader::ShipListName).size());
        const char *manifest =
            head.target.isSolution ? MORV::Reader::SolutionManifestName : MORV::Reader::ReleaseManifestName;
        const bool isComplete = head.base.has_value() || head.files.size() == mList->GetFiles().size();
        if (mList->GetRelease() != head.target || bytes != head.bytes || mList->Find(directory + manifest) == nullptr ||
            !isComplete)
        {
            mInput.Refuse("contradicts itself: its head and its list do not tell of the same");
        }
    }

    void Lock()
    {
        const ReleaseName &target = mReport.head.target;
        ArrivalPlan plan;
        plan.root = mRequest.root;
        plan.purpose = std::string(target.isSolution ? "apply-solution-" : "apply-") + target.name + "-" +
                       FormatVersion(target.version);
        std::set<std::string> projects;
        std::set<std::string> solutions;
        for (const ShippedFile &file : mList->GetFiles())
        {
            const TreePath path = *ReadTreePath(file.path); // the list has refused all others
            (path.name.isSolution ? solutions : projects).insert(path.name.name);
        }
        plan.projects.assign(projects.begin(), projects.end());
        plan.solutions.assign(solutions.begin(), solutions.end());
        ArrivalOptions options;
        options.protect = mRequest.protect;
        options.sync = mRequest.sync;
        options.step = mRequest.step;
        options.whileWaiting = mRequest.calls.checkpoint;
        mArrival.emplace(plan, std::move(options));
        mArrival->Discard(); // what an earlier run collected is in this bundle again
    }

    /// What was collected comes again with the next run.
    void Forget()
    {
        try
        {
            mArrival->Discard();
        }
        catch (const std::exception &)
        {
            // The next run removes it, and what hindered this one is worth more to tell.
        }
    }

    FilePresence Look(const ShippedFile &file) const
    {
        struct stat status = {};
        const std::string place = mRequest.root + "/" + file.path;
        if (lstat(place.c_str(), &status) != 0 && (errno == ENOENT || errno == ENOTDIR))
        {
            return FilePresence::Missing;
        }
        if (S_ISREG(status.st_mode) && static_cast<uint64>(status.st_size) != file.size)
        {
            return FilePresence::Other;
        }
        const Result<ShippedFile> present = SumFile(place, file.path, mRequest.calls);
        return present && present->size == file.size && present->sum == file.sum ? FilePresence::Same
                                                                                 : FilePresence::Other;
    }

    /// Looks at several files at once.
    std::vector<FilePresence> LookAtAll(const std::vector<const ShippedFile *> &files) const
    {
        uint64 total = 0;
        for (const ShippedFile *file : files)
        {
            total += file->size;
        }
        mRequest.calls.begin("checking", total);
        std::vector<FilePresence> presences(files.size());
        Common::ForEachInParallel(mRequest.threadCount, files.size(),
                                  [&](uint_size index)
                                  {
                                      presences[index] = Look(*files[index]);
                                  });
        return presences;
    }

    /// Everything that is needed and not carried must be here.
    void RequireBase() const
    {
        const BundleHead &head = mReport.head;
        const std::set<std::string> carried(head.files.begin(), head.files.end());
        std::vector<const ShippedFile *> needed;
        for (const ShippedFile &file : mList->GetFiles())
        {
            if (carried.count(file.path) == 0)
            {
                needed.push_back(&file);
            }
        }
        const std::vector<FilePresence> presences = LookAtAll(needed);
        const auto lacking = std::find_if(presences.begin(), presences.end(),
                                          [](FilePresence presence)
                                          {
                                              return presence != FilePresence::Same;
                                          });
        if (lacking == presences.end())
        {
            return;
        }
        const std::string &path = needed[static_cast<uint_size>(lacking - presences.begin())]->path;
        throw TreeError("this bundle leads from " + head.base->GetText() + " to " + head.target.GetText() +
                        ", and the tree does not have that base: " + mRequest.root + "/" + path +
                        (*lacking == FilePresence::Missing ? " is missing" : " has other bytes"));
    }

    /// A file that is here already need not come again; but whose bytes are others is not ours to replace.
    void FindLacking()
    {
        std::vector<const ShippedFile *> files;
        for (const std::string &path : mReport.head.files)
        {
            files.push_back(mList->Find(path));
        }
        const std::vector<FilePresence> presences = LookAtAll(files);
        for (uint_size index = 0; index < files.size(); ++index)
        {
            if (presences[index] == FilePresence::Other)
            {
                throw TreeError(mRequest.root + "/" + files[index]->path +
                                ": is here already with other bytes than in the bundle, and is not replaced: is it "
                                "another release of this version, or damaged (morv verify)?");
            }
            if (presences[index] == FilePresence::Missing)
            {
                mLacking.insert(files[index]->path);
                mReport.bytes += files[index]->size;
            }
        }
        mReport.files = mLacking.size();
    }

    /// Reads the rest of the bundle, all of it, and takes what lacks.
    void Collect()
    {
        mRequest.calls.begin("reading", mReport.head.bytes);
        for (const std::string &path : mReport.head.files)
        {
            if (!mHasFile || mInput.GetFileName() != path)
            {
                mInput.Refuse(mHasFile ? "carries " + mInput.GetFileName() + " where its head says " + path
                                       : "ends early: it lacks " + path);
            }
            TakeFile(*mList->Find(path));
            mHasFile = mInput.Next();
        }
        if (mHasFile)
        {
            mInput.Refuse("carries a file that its head does not name: " + mInput.GetFileName());
        }
        if (!mComing.empty())
        {
            TakeTexts();
        }
    }

    void TakeFile(const ShippedFile &file)
    {
        if (mInput.GetFileSize() != file.size)
        {
            RefuseDamaged(file);
        }
        const bool isWanted = mLacking.count(file.path) != 0;
        const Common::Descriptor output = isWanted ? mArrival->OpenPartial(file.path) : Common::Descriptor();
        ContentSummer summer;
        uint64 end = 0;
        mInput.Read(
            [&](std::string_view bytes)
            {
                mRequest.calls.checkpoint();
                summer.Update(bytes);
                if (isWanted)
                {
                    WriteAllAt(output.Get(), end, bytes, "what arrives of " + file.path);
                }
                end += bytes.size();
                mRequest.calls.advance(bytes.size());
            });
        if (summer.Finish() != file.sum)
        {
            RefuseDamaged(file);
        }
        if (isWanted)
        {
            Accept(file.path);
        }
    }

    [[noreturn]] void RefuseDamaged(const ShippedFile &file) const
    {
        mInput.Refuse("is damaged: it does not carry " + file.path + " as it was sent");
    }

    /// The list and the signature over it. One over another list goes first.
    void TakeTexts()
    {
        const std::string list = PathOfShipList(mReport.head.target);
        const std::string signature = PathOfShipListSignature(mReport.head.target);
        if (!HoldsText(mRequest.root + "/" + list, mListText))
        {
            mWithdrawn.push_back(signature);
        }
        TakeText(list, mListText);
        TakeText(signature, mSignature);
    }

    void TakeText(const std::string &path, const std::string &text)
    {
        if (!text.empty())
        {
            WriteAllAt(mArrival->OpenPartial(path).Get(), 0, text, "what arrives of " + path);
            Accept(path);
        }
    }

    /// Also those that were here: a run that was killed may have brought them.
    void ProtectArchives() const
    {
        for (const ShippedFile &file : mRequest.protect ? mList->GetFiles() : std::vector<ShippedFile>())
        {
            const std::string directory = mRequest.root + "/" + file.path.substr(0, file.path.rfind('/'));
            if (ReadTreePath(file.path)->role == FileRole::ArchiveIndex && !TreeWriter::IsProtected(directory))
            {
                TreeWriter::Protect(directory);
            }
        }
    }

    void Accept(const std::string &path)
    {
        mArrival->Accept(path);
        mComing.push_back(path);
    }

    const ApplyRequest &mRequest;
    BundleInput mInput;
    ApplyReport mReport;
    std::string mListText;
    std::string mSignature; ///< empty where there is none
    std::optional<ShipList> mList;
    bool mHasFile = false; ///< the input stands before a file
    std::optional<Arrival> mArrival;
    std::set<std::string> mLacking;
    std::vector<std::string> mComing;
    std::vector<std::string> mWithdrawn;
};
} // namespace

ApplyReport ApplyBundle(const ApplyRequest &request)
{
    return BundleApplication(request).Apply();
}
} // namespace Keld::Delivery
