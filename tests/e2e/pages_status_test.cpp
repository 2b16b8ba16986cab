// The status pages through the real executable: the output of the device
// commands, whole and unchanged, under the page's headline.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sandbox.h"

namespace {

using Lines = std::vector<std::string>;

void status_page(const Sandbox& sb)
{
    sb.write_doc("english/ccstat.tmpl", "<h1>{HEADLINE}</h1><pre>{MESSAGE}</pre>");
    sb.write_doc("templates/resultpage.tmpl", "<h1>{HEADLINE}</h1><pre>{MESSAGE}</pre>");
    sb.write_doc("english/messages", "timstat_head:Time\nlogstat_head:Log\nnetstat_head:Network\n");
}

std::string page(const std::string& head, const std::string& output)
{
    return "<h1>" + head + "\n</h1><pre>" + output + "</pre>";
}

// A log far longer than any buffer, with markup in it; the last line has no
// newline.
std::string long_log()
{
    std::string log;
    for (int i = 1; log.size() < 100 * 1024; ++i)
        log += "Jan  5 07:04:09 gw daemon.info <b>line " + std::to_string(i) + "</b> & <i>more</i>\n";
    return log + "tail without newline";
}

}  // namespace

TEST(StatusPages, ShowTheWholeOutputUnderTheHeadline)
{
    const std::string log = long_log();
    const std::string network = "1: eth0 <BROADCAST,UP> inet 192.168.0.1/24\n\n2: eth1 inet 10.0.0.2/8\n\n"
                                "default via 10.0.0.1 dev eth1\n";
    const Lines network_commands = {"/sbin/ip addr show dev eth0", "/bin/echo", "/sbin/ip addr show dev eth1",
                                    "/bin/echo", "/sbin/ip route show"};
    const struct {
        const char* query;
        const char* head;
        std::string output;
        Lines commands;
    } cases[] = {
        {"item=44", "Time", "Mon Jan  5 07:04:09 UTC 2026 <b>&amp;</b>\n", {"date"}},
        {"item=44&act=1", "Time", "Mon Jan  5 07:04:09 UTC 2026 <b>&amp;</b>\n", {"date"}},
        {"item=43", "Log", log, {"logread"}},
        {"item=43&act=1", "Log", log, {"logread"}},
        {"item=22", "Network", network, network_commands},
        {"item=22&act=1", "Network", network, network_commands},
    };
    for (const auto& c : cases) {
        Sandbox sb;
        status_page(sb);
        sb.write("/tmp/log", log);
        // "date" and "logread" are found through the search path.
        sb.tool("/usr/bin/date", "echo 'Mon Jan  5 07:04:09 UTC 2026 <b>&amp;</b>'");
        sb.tool("/usr/bin/logread", "cat \"$GWADMIN_ROOT/tmp/log\"");
        sb.tool("/sbin/ip", "case \"$*\" in\n"
                            "'addr show dev eth0') echo '1: eth0 <BROADCAST,UP> inet 192.168.0.1/24';;\n"
                            "'addr show dev eth1') echo '2: eth1 inet 10.0.0.2/8';;\n"
                            "'route show') echo 'default via 10.0.0.1 dev eth1';;\n"
                            "esac");
        CgiResult r = sb.get(c.query);
        EXPECT_EQ(r.status, 0) << c.query;
        EXPECT_EQ(r.out.size(), page(c.head, c.output).size()) << c.query;
        EXPECT_TRUE(r.out == page(c.head, c.output)) << c.query;
        EXPECT_EQ(sb.commands(), c.commands) << c.query;
    }
}

TEST(StatusPages, FailingCommandsGiveWhatTheyPrinted)
{
    Sandbox sb;
    status_page(sb);
    // No eth1: its error goes to standard error, the blank lines stay.
    sb.tool("/sbin/ip", "case \"$*\" in\n"
                        "'addr show dev eth0') echo 'eth0 up';;\n"
                        "'addr show dev eth1') echo 'Device \"eth1\" does not exist.' >&2; exit 1;;\n"
                        "'route show') echo 'default via 10.0.0.1';;\n"
                        "esac");
    CgiResult net = sb.get("item=22");
    EXPECT_EQ(net.status, 0);
    EXPECT_EQ(net.out, page("Network", "eth0 up\n\n\ndefault via 10.0.0.1\n"));
    EXPECT_NE(net.err.find("Device \"eth1\" does not exist."), std::string::npos);

    // No log daemon: an empty message.
    sb.tool("/usr/bin/logread", "echo 'logread: no log daemon' >&2; exit 1");
    CgiResult log = sb.get("item=43");
    EXPECT_EQ(log.status, 0);
    EXPECT_EQ(log.out, page("Log", ""));
}
