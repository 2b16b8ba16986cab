#include <gtest/gtest.h>

#include "device/device.h"

TEST(ShellQuote, EveryTextBecomesOneWord)
{
    EXPECT_EQ(sh_quote("abc"), "'abc'");
    EXPECT_EQ(sh_quote(""), "");  // no word, as a bare empty text gives none
    EXPECT_EQ(sh_quote("a'b"), "'a'\\''b'");
    EXPECT_EQ(sh_quote("$(reboot); `x` \"y\""), "'$(reboot); `x` \"y\"'");
}
