#include "Tools/TreeReader/Fault.h"

namespace Keld::TreeReader
{
const char *NameOf(FaultKind kind)
{
    switch (kind)
    {
    case FaultKind::NoRelease:
        return "no-release";
    case FaultKind::NotThere:
        return "not-there";
    case FaultKind::WrongKind:
        return "wrong-kind";
    case FaultKind::NotAllowed:
        return "not-allowed";
    case FaultKind::NoDescriptors:
        return "no-descriptors";
    case FaultKind::ReadError:
        return "read-error";
    case FaultKind::PathTooLong:
        return "path-too-long";
    case FaultKind::BadManifest:
        return "bad-manifest";
    case FaultKind::BadSolution:
        return "bad-solution";
    case FaultKind::BadIndex:
        return "bad-index";
    case FaultKind::EmptyIndex:
        return "empty-index";
    case FaultKind::UnreadableIndex:
        return "unreadable-index";
    case FaultKind::NoArchives:
        return "no-archives";
    case FaultKind::NotInArchives:
        return "not-in-archives";
    case FaultKind::EndsEarly:
        return "ends-early";
    case FaultKind::WrongSize:
        return "wrong-size";
    case FaultKind::DamagedData:
        return "damaged-data";
    case FaultKind::WrongDigest:
        return "wrong-digest";
    case FaultKind::WrongName:
        return "wrong-name";
    case FaultKind::UnsafeName:
        return "unsafe-name";
    case FaultKind::DuplicateName:
        return "duplicate-name";
    case FaultKind::Unreachable:
        return "unreachable";
    case FaultKind::OtherSpelling:
        return "other-spelling";
    case FaultKind::BadRecord:
        return "bad-record";
    case FaultKind::Overlap:
        return "overlap";
    case FaultKind::UnusedData:
        return "unused-data";
    case FaultKind::NotReferred:
        break;
    }
    return "not-referred";
}

bool IsDoubt(FaultKind kind)
{
    return kind == FaultKind::NotAllowed || kind == FaultKind::NoDescriptors || kind == FaultKind::ReadError;
}
} // namespace Keld::TreeReader
