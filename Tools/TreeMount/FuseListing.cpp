#include "Tools/TreeMount/FuseListing.h"

#include "Tools/TreeMount/DirectoryWalk.h"
#include "Tools/TreeMount/FuseReplies.h"

#include <algorithm>
#include <vector>

namespace Keld::TreeMount
{
using TreeReader::Hit;

namespace
{
// Places in a directory: behind "." and ".." each child's is that of its number.
constexpr off_t BehindDot = 1;
constexpr off_t BehindDots = 2;

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

    fuse_req *const mRequest;
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
} // namespace

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
} // namespace Keld::TreeMount
