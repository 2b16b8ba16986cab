// A query string of several megabytes, as only an in-process caller can pass
// it (the kernel hands no program an environment text over 128 KiB).
#include "unit_support.h"

namespace {
struct RequestLimits : SandboxTest {};
}  // namespace

TEST_F(RequestLimits, MultiMegabyteQueryStringIsParsedWhole)
{
    std::string query = "lang=" + std::string(1 << 20, 'x') + "&";
    for (int i = 0; i < 200000; ++i)
        query += "v" + std::to_string(i) + "=%41+" + std::string(i % 7, 'y') + "&&";
    query += "item=47&" + std::string(1 << 20, '&');
    ASSERT_GT(query.size(), 4u << 20);
    request(query.c_str());
    EXPECT_EQ(http_item(), 47);
    EXPECT_STREQ(g_request.lang, "xxxxxx");
    EXPECT_STREQ(http_var("v0"), "A");
    EXPECT_STREQ(http_var("v199999"), "A yy");
    EXPECT_STREQ(http_var("missing"), "");
    size_t count = 0;
    for (const HListNode* node = g_request.variables; node; node = node->next)
        ++count;
    EXPECT_EQ(count, 200001u);  // and the sentinel
    unsetenv("QUERY_STRING");
}
