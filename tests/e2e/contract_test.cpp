#include <gtest/gtest.h>

#include "sandbox.h"

TEST(SandboxContract, RefusesToRunWithoutAnAbsoluteRoot)
{
    Sandbox sb;
    sb.write_doc("english/intro.tmpl", "hello");
    for (const char* root : {"", "relative/folder"}) {
        CgiResult r = sb.run({{"GWADMIN_ROOT", root}, {"REQUEST_METHOD", "GET"}});
        EXPECT_EQ(r.status, 1) << root;
        EXPECT_EQ(r.out, "") << root;
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
    }
    EXPECT_FALSE(sb.exists("/var/log"));
}
