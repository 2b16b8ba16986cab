// The time page through the real executable: NTP settings, setting the clock
// by hand, the OpenVPN restart after a change and the page's placeholders.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <ctime>
#include <map>
#include <string>
#include <vector>

#include "sandbox.h"

namespace {

using Lines = std::vector<std::string>;

const std::string kTime = "# Clock and NTP.\nNTP_ON_BOOT='keep'\nNTP_REMOTE_1_IP='old1'\nNTP_REMOTE_2_IP='old2'\n"
                          "NTP_TIME_INFO='old'\nNTP_TZ_IDX='3'\nOPT_NTP='keep'\n";

// kTime with some keys changed.
std::string time_config(const std::map<std::string, std::string>& changes)
{
    std::string text = kTime;
    for (const auto& [key, value] : changes) {
        size_t start = text.find("\n" + key + "='") + key.size() + 3;
        text.replace(start, text.find('\'', start) - start, value);
    }
    return text;
}

std::string url(const std::string& text)
{
    std::string out;
    for (unsigned char ch : text) {
        char hex[4];
        snprintf(hex, sizeof hex, "%%%02X", ch);
        out += isalnum(ch) ? std::string(1, char(ch)) : std::string(hex);
    }
    return out;
}

const char kResult[] = "Time\n|Time settings stored\n";
const char kRestart[] = "/usr/bin/sudo -i /etc/init.d/S95openvpn restart";
const char kDate[] = "/usr/bin/sudo /bin/date -s '2026'.'01'.'05'-'07':'04'";
const char kClock[] = "jahr=2026&monat=01&tag=05&std=07&min=04&sek=09";

// A sandbox with the time page's files; the stand-in date records its
// arguments, the VPN start script that it ran.
void time_sandbox(const Sandbox& sb, const char* ovpn = "OVPN_MODE='none'\n", int date_status = 0)
{
    sb.config("time.config", kTime);
    if (ovpn)
        sb.config("openvpn.config", ovpn);
    sb.write_doc("templates/resultpage.tmpl", "{HEADLINE}|{MESSAGE}");
    sb.write_doc("english/messages", "cctime_head:Time\ncctime_rslt:Time settings stored\n");
    sb.tool("/usr/bin/sudo", "[ \"$1\" = -i ] && shift; exec \"$@\"");
    sb.tool("/bin/date", "printf '%s\\n' \"$#\" \"$@\" >> \"$GWADMIN_ROOT/var/log/date\"; exit " +
                             std::to_string(date_status));
    sb.tool("/etc/init.d/S95openvpn", "echo \"$*\" >> \"$GWADMIN_ROOT/var/log/openvpn\"");
}

// Submits the time form; a form body ("a=b&c=d") sent as multipart keeps
// its values' trailing blanks, which the urlencoded path trims.
CgiResult submit(const Sandbox& sb, const std::string& body, bool multipart)
{
    if (!multipart)
        return sb.post("item=2&act=1", body);
    std::vector<Part> parts = {{"item", "2", "", false}, {"act", "1", "", false}};
    for (size_t start = 0; start < body.size();) {
        size_t end = std::min(body.find('&', start), body.size()), eq = body.find('=', start);
        parts.push_back({body.substr(start, eq - start), body.substr(eq + 1, end - eq - 1), "", false});
        start = end + 1;
    }
    return sb.post_multipart("TimeForm", multipart_body("TimeForm", parts));
}

}  // namespace

TEST(TimePage, ApplyStoresNtpOrSetsTheClock)
{
    const struct {
        std::string body;
        std::string config;  // time.config afterwards
        bool date;           // the clock was set
        bool multipart = false;
    } cases[] = {
        // NTP: on at boot whatever time_clt says, the zone built into the rule.
        {"timemode=ntp&tsvr1=pool.ntp.example&tsvr2=10.0.0.2&tzone=-1&tzidx=7&time_service=yes",
         time_config({{"NTP_ON_BOOT", "yes"}, {"NTP_REMOTE_1_IP", "pool.ntp.example"}, {"NTP_REMOTE_2_IP", "10.0.0.2"},
                      {"NTP_TIME_INFO", "UCT-1UCST,M3.5.0,M10.5.0"}, {"NTP_TZ_IDX", "7"}, {"OPT_NTP", "yes"}}),
         false},
        {"time_clt=yes&timemode=ntp&tsvr1=a&tsvr2=&tzone=5&tzidx=12&time_service=yes1",
         time_config({{"NTP_ON_BOOT", "yes"}, {"NTP_REMOTE_1_IP", "a"}, {"NTP_REMOTE_2_IP", ""},
                      {"NTP_TIME_INFO", "UCT5UCST,M3.5.0,M10.5.0"}, {"NTP_TZ_IDX", "12"}, {"OPT_NTP", "no"}}),
         false},
        // By hand: NTP at boot left alone only when time_clt is exactly yes.
        {std::string("time_clt=yes&timemode=man&") + kClock, kTime, true},
        {std::string("timemode=man&") + kClock, time_config({{"NTP_ON_BOOT", "no"}}), true},
        {std::string("time_clt=yes1&timemode=man&") + kClock, time_config({{"NTP_ON_BOOT", "no"}}), true},
        // Neither mode: only time_clt counts.
        {"time_clt=yes&timemode=NTP&tsvr1=x&time_service=yes&" + std::string(kClock), kTime, false},
        {"timemode=ntp &tsvr1=x&" + std::string(kClock), time_config({{"NTP_ON_BOOT", "no"}}), false, true},
        {"timemode=man &" + std::string(kClock), time_config({{"NTP_ON_BOOT", "no"}}), false, true},
        {"timemode=man&" + std::string(kClock), time_config({{"NTP_ON_BOOT", "no"}}), true, true},
    };
    for (const auto& c : cases) {
        Sandbox sb;
        time_sandbox(sb);
        CgiResult r = submit(sb, c.body, c.multipart);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, kResult) << c.body;
        EXPECT_EQ(sb.config("time.config"), c.config) << c.body;
        EXPECT_EQ(sb.commands(), c.date ? Lines{kDate} : Lines{}) << c.body;
        // "-s" and the moment as one word, seconds dropped.
        EXPECT_EQ(sb.read("/var/log/date"), c.date ? "2\n-s\n2026.01.05-07:04\n" : "") << c.body;
        EXPECT_EQ(sb.messages(), c.date ? Lines{"6 setting system time: date returns 0"} : Lines{}) << c.body;
    }

    // The status system() gave is logged as it is.
    Sandbox sb;
    time_sandbox(sb, "OVPN_MODE='none'\n", 3);
    sb.post("item=2&act=1", std::string("time_clt=yes&timemode=man&") + kClock);
    EXPECT_EQ(sb.messages(), Lines{"6 setting system time: date returns 768"});
}

TEST(TimePage, HostileClockFieldsReachDateAsText)
{
    for (std::string year : {"2026;reboot", "$(reboot)", "`reboot`", "2026' ; reboot ; '", "2026 && reboot #",
                             "2026\nreboot"}) {
        Sandbox sb;
        time_sandbox(sb);
        CgiResult r = sb.post("item=2&act=1", "timemode=man&jahr=" + url(year) + "&monat=01&tag=05&std=07&min=04");
        EXPECT_EQ(r.out, kResult) << year;
        std::string quoted = "'";
        for (char ch : year)
            quoted += ch == '\'' ? std::string("'\\''") : std::string(1, ch);
        EXPECT_EQ(sb.read("/var/log/commands"), "/usr/bin/sudo /bin/date -s " + quoted + "'.'01'.'05'-'07':'04'\n")
            << year;
        EXPECT_EQ(sb.read("/var/log/date"), "2\n-s\n" + year + ".01.05-07:04\n") << year;
        EXPECT_FALSE(sb.exists("/var/log/reboots")) << year;
    }
}

TEST(TimePage, OpenVpnRestartsUnlessItIsOff)
{
    const struct {
        const char* ovpn;  // openvpn.config, nullptr: no file
        bool restart;
    } cases[] = {
        {"OVPN_MODE='none'\n", false}, {"OVPN_MODE='none-old'\n", false}, {"OVPN_MODE='server'\n", true},
        {"OVPN_MODE='non'\n", true},   {"OVPN_MODE='None'\n", true},      {"OVPN_MODE=''\n", true},
        {"# OpenVPN.\n", true},        {nullptr, true},
    };
    for (const auto& c : cases) {
        Sandbox sb;
        time_sandbox(sb, c.ovpn);
        CgiResult r = sb.post("item=2&act=1", "time_clt=yes&timemode=off");
        std::string reported = c.ovpn ? "" : error_page("in file conf line 36", "No such file or directory");
        EXPECT_EQ(r.out, reported + kResult) << (c.ovpn ? c.ovpn : "-");
        EXPECT_EQ(sb.commands(), c.restart ? Lines{kRestart} : Lines{}) << (c.ovpn ? c.ovpn : "-");
        EXPECT_EQ(sb.read("/var/log/openvpn"), c.restart ? "restart\n" : "") << (c.ovpn ? c.ovpn : "-");
        EXPECT_EQ(sb.config("time.config"), kTime);
    }
}

TEST(TimePage, ShowFillsTheSettingsAndTheClock)
{
    const struct {
        const char* config;
        const char* settings;  // CHECK_C|ALLOW|TSVR|TSVR2|IDX|CHECK_S
    } cases[] = {
        {"NTP_ON_BOOT='yes'\nNTP_REMOTE_1_IP='pool.example'\nNTP_REMOTE_2_IP='10.0.0.2'\nNTP_TZ_IDX='7'\nOPT_NTP='yes'\n",
         "checked|enabled|pool.example|10.0.0.2|7|checked"},
        {"NTP_ON_BOOT='yes1'\nOPT_NTP='yesno'\n", "|disabled||||"},
        {"NTP_ON_BOOT='YES'\nOPT_NTP='Yes'\nNTP_TZ_IDX='0'\n", "|disabled|||0|"},
        {"NTP_ON_BOOT='no'\nOPT_NTP=''\n", "|disabled||||"},
    };
    for (const auto& c : cases) {
        Sandbox sb;
        sb.config("time.config", c.config);
        sb.write_doc("english/time.tmpl", "{CHECK_C}|{ALLOW}|{TSVR}|{TSVR2}|{IDX}|{CHECK_S}\n"
                                          "{YEAR}|{MONTH}|{DAY}|{HOUR}|{MIN}|{SEC}|{SYSTEMZEIT}");
        time_t before = time(nullptr);
        CgiResult r = sb.get("item=2");
        time_t after = time(nullptr);
        EXPECT_EQ(r.status, 0);
        size_t nl = r.out.find('\n');
        EXPECT_EQ(r.out.substr(0, nl), c.settings) << c.config;

        // The clock as numbers: years since 1900 and months from 0, the
        // system time in the same moment.
        std::string clock = nl == std::string::npos ? "" : r.out.substr(nl + 1);
        struct tm tm = {};
        int used = 0;
        ASSERT_EQ(sscanf(clock.c_str(), "%d|%d|%d|%d|%d|%d|%n", &tm.tm_year, &tm.tm_mon, &tm.tm_mday, &tm.tm_hour,
                         &tm.tm_min, &tm.tm_sec, &used),
                  6)
            << clock;
        char system_time[64];
        snprintf(system_time, sizeof system_time, "%.2d.%.2d.%d, %.2d:%.2d:%.2d", tm.tm_mday, tm.tm_mon + 1,
                 tm.tm_year + 1900, tm.tm_hour, tm.tm_min, tm.tm_sec);
        EXPECT_EQ(clock.substr(size_t(used)), system_time);
        // time() may lag the clock the program reads by a tick: a second of slack
        time_t shown = timegm(&tm);
        EXPECT_TRUE(shown >= before - 1 && shown <= after + 1) << clock;
    }
}
