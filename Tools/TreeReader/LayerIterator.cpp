#include "Tools/TreeReader/LayerIterator.h"

namespace Keld::TreeReader
{
LayerIterator::LayerIterator(const Release &release, uint32 layer, EntryIndex directory)
    : mRelease(&release), mLayer(layer), mSubdirectories(release.GetTree().GetSubdirectories(directory)),
      mFiles(release.GetTree().GetFiles(directory))
{
    release.SettleDirectory(directory);
    SkipMissing();
}

EntryIndex LayerIterator::GetEntry() const
{
    return IsDirectory() ? mSubdirectories.first + mNext : mFiles.first + (mNext - mSubdirectories.count);
}

uint32 LayerIterator::GetSize() const
{
    return IsDirectory() ? 0 : uint32{mRelease->GetTree().GetFields(GetEntry()).size};
}

bool LayerIterator::Next()
{
    if (!IsValid())
    {
        return false;
    }
    ++mNext;
    SkipMissing();
    return IsValid();
}

void LayerIterator::SkipMissing()
{
    while (IsValid() && !IsDirectory() && !mRelease->IsPresent(GetEntry()))
    {
        ++mNext;
    }
}
} // namespace Keld::TreeReader
