// The system log page (item 6): the logger's level and remote logging.

#include "page_support.h"

static std::string log_file(const std::string& level, const std::string& remote, const std::string& port = "600",
                            const std::string& host = "old")
{
    return "# System logger.\nSYSLOGD_LOG_LEVEL='" + level + "'\nSYSLOGD_REMOTE_LOG='" + remote +
           "'\nSYSLOGD_REMOTE_HOST='" + host + "'\nSYSLOGD_REMOTE_PORT='" + port + "'\n";
}

TEST(SyslogPage, ShowSelectsTheFirstLevelThatBeginsTheStoredNameAndApplyStoresTheHostOnlyWhenOn)
{
    // {level ("-": no line), remote logging, the level selected (4, "Error", when no name begins the value)}
    const Lines cases[] = {{"-", "yes", "4"},       {"Emergency", "yesterday", "1"}, {"Alert", "Yes", "2"},
                           {"Critical", "no", "3"}, {"Critica", "no", "4"},          {"Warning", "no", "5"},
                           {"Notice", "no", "6"},   {"Informational", "no", "7"},    {"Debug", "no", "8"},
                           {"debug", "no", "4"}};
    Sandbox sb;
    page_setup(sb, "debug", "{REMOTE_STATE}|{LEVEL_SELECT_1},{LEVEL_SELECT_2},{LEVEL_SELECT_3},{LEVEL_SELECT_4},"
                            "{LEVEL_SELECT_5},{LEVEL_SELECT_6},{LEVEL_SELECT_7},{LEVEL_SELECT_8}|{REMOTE_IP_VALUE}|"
                            "{REMOTE_PORT_VALUE}|{ENABLE_REMOTE_LOGGING}",
               "cdebug_head:System log\ncdebug_rslt:Log settings saved\n");
    for (const Lines& c : cases) {
        sb.config("log.config", edit_conf(log_file(c[0], c[1], "", "h"), {{"SYSLOGD_LOG_LEVEL", c[0]}}));
        const bool on = c[1].rfind("yes", 0) == 0;
        std::string levels = ",,,,,,,";
        levels.insert(std::stoul(c[2]) - 1, "selected");
        EXPECT_EQ(sb.get("item=6").out, (on ? "checked|" : "|") + levels + "|h||" + (on ? "enabled" : "disabled"))
            << c[0] << " " << c[1];
    }
    const Lines applies[] = {  // {body, file after}
        {"loglevel=Debug&remoteLog=yesterday&syslog_remote_ip=10.0.0.9&syslog_remote_port=",
         log_file("Debug", "yes", "", "10.0.0.9")},
        // Off (unchecked, or not "yes..."): host and port keep their values.
        {"loglevel=Bogus&remoteLog=Yes&syslog_remote_ip=x&syslog_remote_port=1", log_file("Bogus", "no")},
        {"", log_file("", "no")},
    };
    for (const Lines& c : applies) {
        sb.config("log.config", log_file("Error", "yes"));
        EXPECT_EQ(applied(sb, "6", c[0], "log.config"), "System log\n|Log settings saved\n|" + c[1]) << c[0];
    }
}
