// The status pages: the device commands' output, whole and escaped, under the headline.

#include "page_support.h"

TEST(StatusPages, ShowTheWholeOutputUnderTheHeadline)
{
    // Markup in the output is shown escaped; the last line has no newline. (Output longer than any buffer: the
    // unit tests of the capture.)
    const std::string log = "Jan  5 gw daemon.info <b>line</b> & <i>more</i>\ntail without newline";
    const std::string shown = "Jan  5 gw daemon.info &lt;b&gt;line&lt;/b&gt; &amp; &lt;i&gt;more&lt;/i&gt;\n"
                              "tail without newline";
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
        sb.write_doc("english/ccstat.tmpl", "{HEADLINE}|{MESSAGE}");
        result_page(sb, "timstat_head:Time\nlogstat_head:Log\nnetstat_head:Network\n");
        sb.write("/tmp/log", log);
        // "date" and "logread" are found through the search path.
        sb.tool("/usr/bin/date", "echo 'Mon Jan  5 07:04:09 UTC 2026 <b>&amp;</b>'");
        sb.tool("/usr/bin/logread", "cat \"$GWADMIN_ROOT/tmp/log\"");
        ip_tool(sb);
        EXPECT_EQ(sb.get(c.query).out, c.head + "\n|" + c.output);
        EXPECT_EQ(sb.commands(), c.commands) << c.query;
    }
}
