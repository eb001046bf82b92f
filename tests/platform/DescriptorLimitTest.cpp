#include "platform/DescriptorLimit.h"

#include <gtest/gtest.h>

namespace {

rlimit currentLimit() {
    rlimit limit{};
    EXPECT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    return limit;
}

TEST(DescriptorLimit, IsRaisedAndPutBack) {
    const rlimit before = currentLimit();
    rlimit low = before;
    low.rlim_cur = 256;
    ASSERT_LT(low.rlim_cur, low.rlim_max);
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &low), 0);
    {
        const DescriptorLimit limit;
        EXPECT_EQ(currentLimit().rlim_cur, before.rlim_max);
        limit.restore();
        EXPECT_EQ(currentLimit().rlim_cur, 256U);
        EXPECT_EQ(currentLimit().rlim_max, before.rlim_max);
    }
    setrlimit(RLIMIT_NOFILE, &before);
}

} // namespace
