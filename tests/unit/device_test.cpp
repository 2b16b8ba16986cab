#include <gtest/gtest.h>

#include "device/device.h"

TEST(ShellQuote, EveryTextBecomesOneWord)
{
    EXPECT_EQ(sh_quote("abc"), "'abc'");
    EXPECT_EQ(sh_quote(""), "''");
    EXPECT_EQ(sh_quote("a'b"), "'a'\\''b'");
    EXPECT_EQ(sh_quote("$(reboot); `x` \"y\""), "'$(reboot); `x` \"y\"'");
}
