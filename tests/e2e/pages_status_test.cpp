// The status pages: the device commands' output, whole and escaped, under the headline.
#include <gtest/gtest.h>

#include "page_support.h"

static void setup(const Sandbox& sb)
{
    sb.write_doc("english/ccstat.tmpl", "{HEADLINE}|{MESSAGE}");
    result_page(sb, "timstat_head:Time\nlogstat_head:Log\nnetstat_head:Network\n");
}

TEST(StatusPages, ShowTheWholeOutputUnderTheHeadline)
{
    // A log far longer than any buffer, with markup in it (shown escaped); the last line has no newline.
    std::string log, shown;
    for (int i = 1; log.size() < 100 * 1024; ++i) {
        log += "Jan  5 07:04:09 gw daemon.info <b>line " + std::to_string(i) + "</b> & <i>more</i>\n";
        shown += "Jan  5 07:04:09 gw daemon.info &lt;b&gt;line " + std::to_string(i) +
                 "&lt;/b&gt; &amp; &lt;i&gt;more&lt;/i&gt;\n";
    }
    log += "tail without newline";
    shown += "tail without newline";
    const struct {
        const char* query;
        std::string head, output;
        Lines commands;
    } cases[] = {
        {"item=44", "Time", "Mon Jan  5 07:04:09 UTC 2026 &lt;b&gt;&amp;amp;&lt;/b&gt;\n", {"date"}},
        {"item=43&act=1", "Log", shown, {"logread"}},
        {"item=22", "Network", kNetworkOutput, kNetworkCommands},
    };
    for (const auto& c : cases) {
        Sandbox sb;
        setup(sb);
        sb.write("/tmp/log", log);
        // "date" and "logread" are found through the search path.
        sb.tool("/usr/bin/date", "echo 'Mon Jan  5 07:04:09 UTC 2026 <b>&amp;</b>'");
        sb.tool("/usr/bin/logread", "cat \"$GWADMIN_ROOT/tmp/log\"");
        ip_tool(sb);
        CgiResult r = sb.get(c.query);
        EXPECT_EQ(r.status, 0) << c.query;
        const std::string page = c.head + "\n|" + c.output;
        EXPECT_EQ(r.out.size(), page.size()) << c.query;
        EXPECT_TRUE(r.out == page) << c.query;  // not printed: the log is long
        EXPECT_EQ(sb.commands(), c.commands) << c.query;
    }
}
