// The system log page (item 6): the logger's level and remote logging.
#include <gtest/gtest.h>

#include "page_support.h"

static void setup(Sandbox& sb)
{
    sb.defaults();
    sb.write_doc("english/debug.tmpl", "{REMOTE_STATE}|{LEVEL_SELECT_1},{LEVEL_SELECT_2},{LEVEL_SELECT_3},"
                                       "{LEVEL_SELECT_4},{LEVEL_SELECT_5},{LEVEL_SELECT_6},{LEVEL_SELECT_7},"
                                       "{LEVEL_SELECT_8}|{REMOTE_IP_VALUE}|{REMOTE_PORT_VALUE}|"
                                       "{ENABLE_REMOTE_LOGGING}");
    result_page(sb, "cdebug_head:System log\ncdebug_rslt:Log settings saved\n");
}

static std::string log_file(const std::string& level, const std::string& remote, const std::string& host,
                     const std::string& port)
{
    return "# System logger.\nSYSLOGD_LOG_LEVEL='" + level + "'\nSYSLOGD_REMOTE_LOG='" + remote +
           "'\nSYSLOGD_REMOTE_HOST='" + host + "'\nSYSLOGD_REMOTE_PORT='" + port + "'\n";
}

TEST(SyslogPage, ShowSelectsTheFirstLevelThatBeginsTheStoredName)
{
    const struct {
        const char *level, *remote;  // level nullptr: no level line
        int selected;                // 4 ("Error") when no name begins the value
        bool on;
    } cases[] = {
        {nullptr, "yes", 4, true},    {"Emergency", "yesterday", 1, true}, {"Alert", "Yes", 2, false},
        {"Critical", "no", 3, false}, {"Critica", "no", 4, false},         {"Warning", "no", 5, false},
        {"Notice", "no", 6, false},   {"Informational", "no", 7, false},   {"Debug", "no", 8, false},
        {"debug", "no", 4, false},
    };
    Sandbox sb;
    setup(sb);
    for (const auto& c : cases) {
        sb.config("log.config", std::string(c.level ? "SYSLOGD_LOG_LEVEL='" + std::string(c.level) + "'\n" : "") +
                                    "SYSLOGD_REMOTE_LOG='" + c.remote + "'\nSYSLOGD_REMOTE_HOST='h'\n");
        std::string levels;
        for (int i = 1; i <= 8; ++i)
            levels += std::string(i > 1 ? "," : "") + (i == c.selected ? "selected" : "");
        EXPECT_EQ(sb.get("item=6").out, (c.on ? "checked|" : "|") + levels + "|h||" + (c.on ? "enabled" : "disabled"))
            << (c.level ? c.level : "-") << " " << c.remote;
    }
}

TEST(SyslogPage, ApplyStoresLevelAndRemoteHostOnlyWhenOn)
{
    const std::pair<std::string, std::string> cases[] = {
        {"loglevel=Debug&remoteLog=yesterday&syslog_remote_ip=10.0.0.9&syslog_remote_port=",
         log_file("Debug", "yes", "10.0.0.9", "")},
        // Off (unchecked, or not "yes..."): host and port keep their values.
        {"loglevel=Bogus&remoteLog=Yes&syslog_remote_ip=x&syslog_remote_port=1", log_file("Bogus", "no", "old", "600")},
        {"", log_file("", "no", "old", "600")},
    };
    for (const auto& [body, file] : cases) {
        Sandbox sb;
        setup(sb);
        sb.config("log.config", log_file("Error", "yes", "old", "600"));
        CgiResult r = sb.post("item=6&act=1", body);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, "System log\n|Log settings saved\n") << body;
        EXPECT_EQ(sb.config("log.config"), file) << body;
    }
}
