#pragma once

#include <gtest/gtest.h>

#include <unistd.h>

namespace Keld::Test
{
/// Until its end the process may do what anybody may: permissions count, also where the tests run as root.
class AsNobody
{
public:
    AsNobody() : mUser(geteuid()) { EXPECT_EQ(seteuid(mUser == 0 ? 65534 : mUser), 0); }
    ~AsNobody() { EXPECT_EQ(seteuid(mUser), 0); }

    AsNobody(const AsNobody &) = delete;
    AsNobody &operator=(const AsNobody &) = delete;

private:
    const uid_t mUser;
};
} // namespace Keld::Test
