#pragma once

#include "Tools/RandomTree.h"

#include "Support/ReaderLogCapture.h"
#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Keld::Test
{
/// The same random tree twice, with the same damage: the library may do to the one what it does to damaged trees, and
/// the other is for the reading core, which must give the same answers and change nothing. The parameter is the seed.
class DamagedTwins : public testing::TestWithParam<uint32>
{
protected:
    DamagedTwins();

    /// Takes files away and changes bytes, in anything below "projects" of `mTree`.
    void Damage(uint32 times);

    /// Makes the library's tree anew.
    void CopyTwin();

    /// The releases in both trees, relative to them.
    static std::vector<std::string> Places();

    RandomTree mRandom;
    TempTree mTree;
    TempTree mTwin;
    ReaderLogCapture mLog;

private:
    std::vector<std::string> ListFiles() const;
};
} // namespace Keld::Test
