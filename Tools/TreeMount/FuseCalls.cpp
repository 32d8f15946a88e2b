#include "Tools/TreeMount/FuseVersion.h"

#include "Tools/TreeMount/FuseCalls.h"

#include "Tools/TreeMount/FuseListing.h"
#include "Tools/TreeMount/FuseReplies.h"
#include "Tools/TreeMount/NodeProperties.h"

#include <cerrno>
#include <exception>
#include <new>
#include <string>

namespace Keld::TreeMount
{
using TreeReader::Hit;

namespace
{
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
