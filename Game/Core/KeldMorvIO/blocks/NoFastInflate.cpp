#include "KeldMorvIO/blocks/FastInflate.h"

namespace Keld::MORV::Reader
{
FastInflateResult InflateFast(ChunkedInput &, const UncompressedBlock *, uint32, uint64)
{
    return FastInflateResult::NotTaken;
}
} // namespace Keld::MORV::Reader
