#pragma once

#include "Tools/Delivery/Keys/SecretKey.h"
#include "Tools/Delivery/Sums/WorkCalls.h"
#include "Tools/TreeReader/TreeSet.h"

#include <string>
#include <vector>

namespace Keld::Delivery
{
struct PublishRequest
{
    std::string root;
    std::vector<TreeReader::ReleaseName> releases;
    const SecretKey *key = nullptr; ///< to sign with; without one nothing is signed
    bool check = true;              ///< decode everything first, so that no damage is vouched for
    bool sync = true;               ///< bring to disk what a loss of power could otherwise take
    unsigned threadCount = 1;
    WorkCalls calls = {};
};

enum class SignatureState
{
    None,   ///< there is none
    Kept,   ///< there was one, over the same list
    Made,   ///< there is a new one
    Removed ///< there was one, over another list
};

/// "none", "kept", "made", "removed".
const char *NameOf(SignatureState state);

struct PublishedRelease
{
    TreeReader::ReleaseName name;
    std::string path;  ///< of the shiplist, below the root
    uint64 files = 0;  ///< that are listed
    uint64 bytes = 0;  ///< of them
    bool isNew = true; ///< false where the same list was there
    SignatureState signature = SignatureState::None;
};

/// Writes the shiplist of each release beside its manifest, and signs it where a key is given. A signature over another
/// list goes before the new list comes. Holds the locks of all projects and solutions concerned. Throws TreeError for
/// releases that are not whole; nothing is written then.
std::vector<PublishedRelease> PublishShipLists(const PublishRequest &request);
} // namespace Keld::Delivery
