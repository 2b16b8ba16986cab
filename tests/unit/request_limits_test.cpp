// The bounds of a request's variables, at their edges, including a query
// string of several megabytes as only an in-process caller can pass it (the
// kernel hands no program an environment text over 128 KiB).
#include "unit_support.h"

namespace {
struct RequestLimits : SandboxTest {};

std::string variables(int count)
{
    std::string text;
    for (int i = 0; i < count; ++i)
        text += "v" + std::to_string(i) + "=%41+&";
    return text;
}
size_t stored()
{
    size_t count = 0;
    for (const HListNode* node = g_request.variables; node; node = node->next)
        ++count;
    return count - 1;  // the sentinel
}
}  // namespace

TEST_F(RequestLimits, QueryStringsPastTheirBoundsAreRefusedWhole)
{
    const std::string refusal = "<html><head></head><body>Error <b>in file http line 258</b>: <b>" +
                                std::string(strerror(ENOMEM)) +
                                "</b> <br>Please contact the customer support. </body></html>";
    const std::string megabytes = "lang=de&" + std::string(4 << 20, '&') + "item=47&act=1&v=1";
    const std::string at_most = variables(1000) + "lang=de&item=47&act=1&" + std::string(20000, '&');
    ASSERT_LE(at_most.size(), 64u * 1024);
    const struct {
        std::string query;
        bool refused;
    } cases[] = {
        {at_most, false},                                      // 1,000 variables, 64 KiB at most
        {variables(1001) + "item=47&act=1", true},             // one variable too many
        {at_most + std::string(64 * 1024 - at_most.size() + 1, '&'), true},  // one byte too long
        {megabytes, true},
    };
    for (const auto& c : cases) {
        testing::internal::CaptureStdout();
        request(c.query.c_str());
        EXPECT_EQ(testing::internal::GetCapturedStdout(), c.refused ? refusal : "") << c.query.size();
        EXPECT_EQ(http_item(), c.refused ? 0 : 47);
        EXPECT_EQ(http_act(), c.refused ? 0 : 1);
        EXPECT_STREQ(g_request.lang, c.refused ? "" : "de");
        EXPECT_EQ(stored(), c.refused ? 0u : 1000u);
        EXPECT_STREQ(http_var("v999"), c.refused ? "" : "A");
        http_free();
    }
    unsetenv("QUERY_STRING");
}
