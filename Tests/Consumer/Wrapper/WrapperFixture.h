#pragma once

#include "KeldMorvIO.hpp"
#include "Support/TestTree.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Keld::Test
{
/// One release seen through the C++ wrapper. What the library logs is dropped. The library is stopped before the tree
/// goes.
class WrapperFixture : public testing::Test
{
protected:
    WrapperFixture();
    ~WrapperFixture() override;

    WrapperFixture(const WrapperFixture &) = delete;
    WrapperFixture &operator=(const WrapperFixture &) = delete;

    /// Starts, or fails the test.
    void Start(const std::string &directory);

    /// Starts in a release that holds "data/text", of this content, once for each storage: "naked/text",
    /// "managed/text", "stored/text", "zlib/text", "lzma/text". The tool has packed it.
    void StartInEveryStorage(const std::string &content);

    /// The folders of that release.
    static const std::vector<std::string> &Storages();

    TestTree mTree;
    MorvIO::Session mSession;
};
} // namespace Keld::Test
