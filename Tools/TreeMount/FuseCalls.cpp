#include "Tools/TreeMount/FuseVersion.h"

#include "Tools/TreeMount/FuseCalls.h"

#include "Tools/TreeMount/DirectoryWalk.h"
#include "Tools/TreeMount/NodeProperties.h"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <new>
#include <string>
#include <vector>

namespace Keld::TreeMount
{
using TreeReader::Hit;

namespace
{
// Nothing that a mount shows ever changes, so the kernel may keep what it knows.
constexpr double KeepSeconds = 1e9;

// Places in a directory: behind "." and ".." each child's is that of its number.
constexpr off_t BehindDot = 1;
constexpr off_t BehindDots = 2;

FuseContext &ContextOf(fuse_req_t request)
{
    return *static_cast<FuseContext *>(fuse_req_userdata(request));
}

MountedFileSystem &FileSystemOf(fuse_req_t request)
{
    return ContextOf(request).fileSystem;
}

/// A node that the kernel names, or nothing after an answer that there is none.
Hit NodeOf(fuse_req_t request, fuse_ino_t number)
{
    const Hit node = FileSystemOf(request).GetTree().GetNode(number);
    if (!node)
    {
        fuse_reply_err(request, ESTALE);
    }
    return node;
}

/// A directory that the kernel names, or nothing after an answer that there is none.
Hit DirectoryOf(fuse_req_t request, fuse_ino_t number)
{
    const Hit node = NodeOf(request, number);
    if (node && !FileSystemOf(request).GetTree().IsDirectory(node))
    {
        fuse_reply_err(request, ENOTDIR);
        return {};
    }
    return node;
}

/// What the kernel is told of a name. Without a node it keeps in mind that there is none.
fuse_entry_param EntryOf(const MountedFileSystem &fileSystem, const Hit &node)
{
    fuse_entry_param entry = {};
    entry.entry_timeout = KeepSeconds;
    if (node)
    {
        entry.ino = fileSystem.GetTree().GetNumber(node);
        entry.attr = fileSystem.GetStatus().Get(node);
        entry.attr_timeout = KeepSeconds;
    }
    return entry;
}

void Begin(void *userData, fuse_conn_info *connection)
{
    // Data goes out from memory, and requests are short: pipes would only add calls.
    connection->want &= ~static_cast<unsigned>(FUSE_CAP_SPLICE_READ | FUSE_CAP_SPLICE_WRITE | FUSE_CAP_SPLICE_MOVE);
    connection->want &= ~static_cast<unsigned>(FUSE_CAP_AUTO_INVAL_DATA); // nothing ever changes
    connection->want |= connection->capable & FUSE_CAP_READDIRPLUS;
    connection->want &= ~static_cast<unsigned>(FUSE_CAP_READDIRPLUS_AUTO); // what is told in full is decided here
    connection->want |= connection->capable & FUSE_CAP_PARALLEL_DIROPS;
    FuseContext &context = *static_cast<FuseContext *>(userData);
    context.opensFiles = (connection->capable & FUSE_CAP_NO_OPEN_SUPPORT) == 0;
    context.opensDirectories = (connection->capable & FUSE_CAP_NO_OPENDIR_SUPPORT) == 0;
    context.whenReady();
}

void LookUp(fuse_req_t request, fuse_ino_t parent, const char *name)
{
    const Hit directory = DirectoryOf(request, parent);
    if (!directory)
    {
        return;
    }
    const MountedFileSystem &fileSystem = FileSystemOf(request);
    const MountedTree &tree = fileSystem.GetTree();
    const Hit child = tree.FindChild(directory, name);
    if (child && !tree.IsDirectory(child))
    {
        ContextOf(request).listingAdvice.NoteLookup();
    }
    const fuse_entry_param entry = EntryOf(fileSystem, child);
    fuse_reply_entry(request, &entry);
}

/// Numbers are computed and nothing is counted, so that there is nothing to give up.
void Forget(fuse_req_t request, fuse_ino_t, uint64_t)
{
    fuse_reply_none(request);
}

void ForgetMany(fuse_req_t request, size_t, fuse_forget_data *)
{
    fuse_reply_none(request);
}

void GetAttributes(fuse_req_t request, fuse_ino_t number, fuse_file_info *)
{
    if (const Hit node = NodeOf(request, number))
    {
        const struct stat status = FileSystemOf(request).GetStatus().Get(node);
        fuse_reply_attr(request, &status, KeepSeconds);
    }
}

/// A kernel that can do without opening and closing never asks again once it was told that there is no such call.
void Open(fuse_req_t request, fuse_ino_t, fuse_file_info *file)
{
    if (!ContextOf(request).opensFiles)
    {
        fuse_reply_err(request, ENOSYS);
        return;
    }
    file->keep_cache = 1;
    fuse_reply_open(request, file);
}

void OpenDirectory(fuse_req_t request, fuse_ino_t, fuse_file_info *directory)
{
    if (!ContextOf(request).opensDirectories)
    {
        fuse_reply_err(request, ENOSYS);
        return;
    }
    directory->keep_cache = 1;
    directory->cache_readdir = 1;
    fuse_reply_open(request, directory);
}

void Read(fuse_req_t request, fuse_ino_t number, size_t size, off_t offset, fuse_file_info *)
{
    const Hit file = NodeOf(request, number);
    if (!file)
    {
        return;
    }
    MountedFileSystem &fileSystem = FileSystemOf(request);
    if (fileSystem.GetTree().IsDirectory(file))
    {
        fuse_reply_err(request, EISDIR);
        return;
    }
    fileSystem.GetFiles().Read(file, static_cast<uint64>(offset), size,
                               [request](const TreeReader::Result<std::string_view> &bytes)
                               {
                                   if (bytes)
                                   {
                                       fuse_reply_buf(request, bytes->data(), bytes->size());
                                   }
                                   else
                                   {
                                       fuse_reply_err(request, EIO);
                                   }
                               });
}

/// What is told of the children of a directory beside their names.
enum class Detail
{
    None,
    Directories, ///< all of directories, which whoever walks a tree looks up; of files only that they are some
    All
};

/// Fills the kernel's buffer with names, or with names and what is known of them.
class DirectoryFiller
{
public:
    DirectoryFiller(fuse_req_t request, size_t size, Detail detail)
        : mRequest(request), mFileSystem(FileSystemOf(request)), mBuffer(GetThreadBuffer()), mDetail(detail)
    {
        mBuffer.resize(size);
    }

    /// False when there is no room left.
    bool AddDots(const Hit &directory, off_t &place)
    {
        if (place < BehindDot && !Add(".", directory, BehindDot))
        {
            return false;
        }
        if (place < BehindDots && !Add("..", directory, BehindDots))
        {
            return false;
        }
        place = std::max(place, BehindDots);
        return true;
    }

    bool AddChild(const Hit &child)
    {
        const MountedTree &tree = mFileSystem.GetTree();
        return Add(tree.GetName(child), child, static_cast<off_t>(tree.GetNumber(child)) + BehindDots);
    }

    void Reply() { fuse_reply_buf(mRequest, mBuffer.data(), mFilled); }

private:
    static std::vector<char> &GetThreadBuffer()
    {
        thread_local std::vector<char> buffer;
        return buffer;
    }

    bool Add(const char *name, const Hit &node, off_t place)
    {
        char *const begin = mBuffer.data() + mFilled;
        const size_t room = mBuffer.size() - mFilled;
        fuse_entry_param entry = EntryOf(mFileSystem, node);
        if (mDetail == Detail::Directories && !S_ISDIR(entry.attr.st_mode))
        {
            entry.ino = 0; // the name alone
        }
        const size_t needed = mDetail == Detail::None
                                  ? fuse_add_direntry(mRequest, begin, room, name, &entry.attr, place)
                                  : fuse_add_direntry_plus(mRequest, begin, room, name, &entry, place);
        mFilled += needed <= room ? needed : 0;
        return needed <= room;
    }

    const fuse_req_t mRequest;
    const MountedFileSystem &mFileSystem;
    std::vector<char> &mBuffer;
    const Detail mDetail;
    size_t mFilled = 0;
};

/// \param place behind which to go on; 0 from the start.
void ListDirectory(fuse_req_t request, const Hit &directory, size_t size, off_t place, Detail detail)
{
    const MountedTree &tree = FileSystemOf(request).GetTree();
    DirectoryFiller filler(request, size, detail);
    if (filler.AddDots(directory, place))
    {
        const auto lastNumber = static_cast<NodeNumber>(place - BehindDots);
        const Hit last = lastNumber != 0 ? tree.GetNode(lastNumber) : Hit{};
        DirectoryWalk walk(tree, directory, last);
        while (walk.IsValid() && filler.AddChild(walk.GetCurrent()))
        {
            walk.Next();
        }
    }
    filler.Reply();
}

void ReadDirectory(fuse_req_t request, fuse_ino_t number, size_t size, off_t place, fuse_file_info *)
{
    if (const Hit directory = DirectoryOf(request, number))
    {
        ListDirectory(request, directory, size, place, Detail::None);
    }
}

void ReadDirectoryPlus(fuse_req_t request, fuse_ino_t number, size_t size, off_t place, fuse_file_info *)
{
    if (const Hit directory = DirectoryOf(request, number))
    {
        const uint32 fileCount = FileSystemOf(request).GetTree().GetManifest(directory).GetFiles(directory.entry).count;
        const bool tellsAll = ContextOf(request).listingAdvice.ShouldTellAll(fileCount);
        ListDirectory(request, directory, size, place, tellsAll ? Detail::All : Detail::Directories);
    }
}

/// As the calls for extended attributes want it: a size of 0 asks how much room is needed.
void ReplySized(fuse_req_t request, const std::string &bytes, size_t size)
{
    if (size == 0)
    {
        fuse_reply_xattr(request, bytes.size());
    }
    else if (size < bytes.size())
    {
        fuse_reply_err(request, ERANGE);
    }
    else
    {
        fuse_reply_buf(request, bytes.data(), bytes.size());
    }
}

void GetExtendedAttribute(fuse_req_t request, fuse_ino_t number, const char *name, size_t size)
{
    const Hit node = NodeOf(request, number);
    if (!node)
    {
        return;
    }
    const std::optional<std::string> value = FindProperty(FileSystemOf(request).GetTree(), node, name);
    if (value)
    {
        ReplySized(request, *value, size);
    }
    else
    {
        fuse_reply_err(request, ENODATA);
    }
}

void ListExtendedAttributes(fuse_req_t request, fuse_ino_t number, size_t size)
{
    const Hit node = NodeOf(request, number);
    if (!node)
    {
        return;
    }
    std::string names;
    for (const NodeProperty &property : GetProperties(FileSystemOf(request).GetTree(), node))
    {
        names.append(property.name).push_back('\0');
    }
    ReplySized(request, names, size);
}

void GetFileSystemStatus(fuse_req_t request, fuse_ino_t)
{
    const struct statvfs totals = FileSystemOf(request).GetStatus().GetTotals();
    fuse_reply_statfs(request, &totals);
}

template <class... Arguments>
void RefuseChange(fuse_req_t request, Arguments...)
{
    fuse_reply_err(request, EROFS);
}

/// A call that must not let an exception out, since libfuse is C.
template <auto Call>
struct Guarded;

template <class... Arguments, void (*Call)(fuse_req_t, Arguments...)>
struct Guarded<Call>
{
    static void Run(fuse_req_t request, Arguments... arguments)
    {
        try
        {
            Call(request, arguments...);
        }
        catch (const std::bad_alloc &)
        {
            fuse_reply_err(request, ENOMEM);
        }
        catch (const std::exception &)
        {
            fuse_reply_err(request, EIO);
        }
    }
};

fuse_lowlevel_ops MakeFuseCalls()
{
    fuse_lowlevel_ops calls = {};
    calls.init = Begin;
    calls.lookup = Guarded<LookUp>::Run;
    calls.forget = Forget;
    calls.forget_multi = ForgetMany;
    calls.getattr = Guarded<GetAttributes>::Run;
    calls.open = Open;
    calls.opendir = OpenDirectory;
    calls.read = Guarded<Read>::Run;
    calls.readdir = Guarded<ReadDirectory>::Run;
    calls.readdirplus = Guarded<ReadDirectoryPlus>::Run;
    calls.getxattr = Guarded<GetExtendedAttribute>::Run;
    calls.listxattr = Guarded<ListExtendedAttributes>::Run;
    calls.statfs = Guarded<GetFileSystemStatus>::Run;

    calls.setattr = RefuseChange;
    calls.mknod = RefuseChange;
    calls.mkdir = RefuseChange;
    calls.unlink = RefuseChange;
    calls.rmdir = RefuseChange;
    calls.symlink = RefuseChange;
    calls.rename = RefuseChange;
    calls.link = RefuseChange;
    calls.write = RefuseChange;
    calls.setxattr = RefuseChange;
    calls.removexattr = RefuseChange;
    calls.create = RefuseChange;
    calls.fallocate = RefuseChange;
    return calls;
}
} // namespace

const fuse_lowlevel_ops &GetFuseCalls()
{
    static const fuse_lowlevel_ops calls = MakeFuseCalls();
    return calls;
}
} // namespace Keld::TreeMount
