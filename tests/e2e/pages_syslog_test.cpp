// The system log page (item 6) through the real executable: the logger's
// level and remote logging in "log.config".
#include <gtest/gtest.h>

#include <string>

#include "sandbox.h"

namespace {

const char* const kResult = "System log\n|Log settings saved\n";

void setup(Sandbox& sb)
{
    sb.defaults();
    sb.write_doc("english/debug.tmpl",
                 "R={REMOTE_STATE}\nL={LEVEL_SELECT_1},{LEVEL_SELECT_2},{LEVEL_SELECT_3},{LEVEL_SELECT_4},"
                 "{LEVEL_SELECT_5},{LEVEL_SELECT_6},{LEVEL_SELECT_7},{LEVEL_SELECT_8}\n"
                 "H={REMOTE_IP_VALUE}\nP={REMOTE_PORT_VALUE}\nE={ENABLE_REMOTE_LOGGING}");
    sb.write_doc("templates/resultpage.tmpl", "{HEADLINE}|{MESSAGE}");
    sb.write_doc("english/messages", "cdebug_head:System log\ncdebug_rslt:Log settings saved\n");
}

std::string log_file(const std::string& level, const std::string& remote, const std::string& host,
                     const std::string& port)
{
    return "# System logger.\nSYSLOGD_LOG_LEVEL='" + level + "'\nSYSLOGD_REMOTE_LOG='" + remote +
           "'\nSYSLOGD_REMOTE_HOST='" + host + "'\nSYSLOGD_REMOTE_PORT='" + port + "'\n";
}

// The show page with level n (1 to 8) selected.
std::string page(bool remote, int level, const std::string& host, const std::string& port)
{
    std::string levels;
    for (int i = 1; i <= 8; ++i)
        levels += std::string(i > 1 ? "," : "") + (i == level ? "selected" : "");
    return std::string("R=") + (remote ? "checked" : "") + "\nL=" + levels + "\nH=" + host + "\nP=" + port +
           "\nE=" + (remote ? "enabled" : "disabled");
}

}  // namespace

TEST(SyslogPage, ShowSelectsTheFirstLevelThatBeginsTheStoredName)
{
    struct Case {
        const char* level;  // nullptr: no level line
        int selected;
    } cases[] = {
        {nullptr, 4},     {"Emerg", 1},   {"Emergency", 1}, {"Alert", 2},  {"Critical", 3},
        {"Critica", 4},   {"Error", 4},   {"Errors", 4},    {"Err", 4},    {"Warning", 5},
        {"Notice", 6},    {"Info", 7},    {"Informational", 7},            {"Debug", 8},
        {"debug", 4},     {"", 4},        {"Bogus", 4},
    };
    for (const Case& c : cases) {
        Sandbox sb;
        setup(sb);
        std::string file = "SYSLOGD_REMOTE_LOG='no'\nSYSLOGD_REMOTE_HOST='h'\nSYSLOGD_REMOTE_PORT='1'\n";
        if (c.level)
            file += "SYSLOGD_LOG_LEVEL='" + std::string(c.level) + "'\n";
        sb.config("log.config", file);
        CgiResult r = sb.get("item=6");
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, page(false, c.selected, "h", "1")) << (c.level ? c.level : "(none)");
    }
}

TEST(SyslogPage, ShowRemoteState)
{
    struct Case {
        std::string file, out;
    } cases[] = {
        {log_file("Info", "yes", "10.0.0.9", "1514"), page(true, 7, "10.0.0.9", "1514")},
        {log_file("Info", "yesterday", "h", "p"), page(true, 7, "h", "p")},
        {log_file("Info", "Yes", "h", "p"), page(false, 7, "h", "p")},
        {log_file("Info", "no", "10.0.0.9", "1514"), page(false, 7, "10.0.0.9", "1514")},
        {"# nothing\n", page(false, 4, "", "")},
    };
    for (const Case& c : cases) {
        Sandbox sb;
        setup(sb);
        sb.config("log.config", c.file);
        EXPECT_EQ(sb.get("item=6").out, c.out) << c.file;
    }
}

TEST(SyslogPage, ApplyStoresLevelAndRemoteHostOnlyWhenOn)
{
    struct Case {
        std::string body, file;
    } cases[] = {
        {"loglevel=Debug&remoteLog=yes&syslog_remote_ip=10.0.0.9&syslog_remote_port=1514",
         log_file("Debug", "yes", "10.0.0.9", "1514")},
        {"loglevel=Info&remoteLog=yesterday&syslog_remote_ip=h&syslog_remote_port=",
         log_file("Info", "yes", "h", "")},
        // Off (unchecked, or not "yes..."): host and port keep their values.
        {"loglevel=Warning&syslog_remote_ip=10.0.0.9&syslog_remote_port=1514", log_file("Warning", "no", "old", "600")},
        {"loglevel=Bogus&remoteLog=Yes&syslog_remote_ip=x", log_file("Bogus", "no", "old", "600")},
        {"", log_file("", "no", "old", "600")},
    };
    for (const Case& c : cases) {
        Sandbox sb;
        setup(sb);
        sb.config("log.config", log_file("Error", "yes", "old", "600"));
        CgiResult r = sb.post("item=6&act=1", c.body);
        EXPECT_EQ(r.status, 0) << c.body;
        EXPECT_EQ(r.out, kResult) << c.body;
        EXPECT_EQ(sb.config("log.config"), c.file) << c.body;
    }
}

TEST(SyslogPage, RemoteOffStillShowsHostAndPort)
{
    Sandbox sb;
    setup(sb);
    sb.post("item=6&act=1", "loglevel=Notice&remoteLog=yes&syslog_remote_ip=10.1.1.1&syslog_remote_port=600");
    EXPECT_EQ(sb.get("item=6").out, page(true, 6, "10.1.1.1", "600"));
    sb.post("item=6&act=1", "loglevel=Notice&syslog_remote_ip=&syslog_remote_port=");
    EXPECT_EQ(sb.config("log.config"), log_file("Notice", "no", "10.1.1.1", "600"));
    EXPECT_EQ(sb.get("item=6").out, page(false, 6, "10.1.1.1", "600"));
}
