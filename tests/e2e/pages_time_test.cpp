// The time page (item 2): NTP settings, the clock set by hand (each field one quoted word), the OpenVPN restart
// after a change, and the page's placeholders.

#include "page_support.h"

// time.config: NTP at boot, then the two servers, the zone rule, its index and OPT_NTP.
static std::string time_config(const std::string& on_boot = "keep",
                               const Lines& ntp = {"old1", "old2", "old", "3", "keep"})
{
    return "# Clock and NTP.\nNTP_ON_BOOT='" + on_boot + "'\nNTP_REMOTE_1_IP='" + ntp[0] + "'\nNTP_REMOTE_2_IP='" +
           ntp[1] + "'\nNTP_TIME_INFO='" + ntp[2] + "'\nNTP_TZ_IDX='" + ntp[3] + "'\nOPT_NTP='" + ntp[4] + "'\n";
}

const char kResult[] = "Time\n|Time settings stored\n";
const char kDate[] = "/usr/bin/sudo /bin/date -s '2026'.'01'.'05'-'07':'04'";
const char kRestart[] = "/usr/bin/sudo -i /etc/init.d/S95openvpn restart";

// The stand-in date records its arguments, the VPN start script and reboot that they ran.
static void setup(const Sandbox& sb, const char* ovpn = "OVPN_MODE='none'\n")
{
    sb.config("time.config", time_config());
    if (ovpn)
        sb.config("openvpn.config", ovpn);
    result_page(sb, "cctime_head:Time\ncctime_rslt:Time settings stored\n");
    sb.tool("/usr/bin/sudo", "[ \"$1\" = -i ] && shift; exec \"$@\"");
    sb.tool("/bin/date", "printf '%s\\n' \"$#\" \"$@\" >> \"$GWADMIN_ROOT/var/log/ran\"");
    sb.tool("/etc/init.d/S95openvpn", "echo \"openvpn $*\" >> \"$GWADMIN_ROOT/var/log/ran\"");
    sb.tool("/usr/bin/reboot", "echo reboot >> \"$GWADMIN_ROOT/var/log/ran\"");
}

TEST(TimePage, ApplyStoresNtpSetsTheClockAndRestartsOpenVpn)
{
    const std::string clock = "&jahr=2026&monat=01&tag=05&std=07&min=04&sek=09", off = "time_clt=yes&timemode=off";
    const struct {
        std::string body, config;  // time.config afterwards
        Lines commands = {};
        const char* ovpn = "OVPN_MODE='none'\n";  // openvpn.config, nullptr: no file
    } cases[] = {
        // NTP: on at boot whatever time_clt says, the zone built into the rule.
        {"timemode=ntp&tsvr1=pool.ntp.example&tsvr2=10.0.0.2&tzone=-1&tzidx=7&time_service=yes",
         time_config("yes", {"pool.ntp.example", "10.0.0.2", "UCT-1UCST,M3.5.0,M10.5.0", "7", "yes"})},
        {"time_clt=yes&timemode=ntp&tsvr1=a&tsvr2=&tzone=5&tzidx=12&time_service=yes1",
         time_config("yes", {"a", "", "UCT5UCST,M3.5.0,M10.5.0", "12", "no"})},
        // By hand: NTP at boot is left alone only when time_clt is exactly yes.
        {"time_clt=yes&timemode=man" + clock, time_config(), {kDate}},
        {"time_clt=yes1&timemode=man" + clock, time_config("no"), {kDate}},
        // Neither mode (compared exactly): only time_clt counts.
        {"time_clt=yes&timemode=NTP&tsvr1=x&time_service=yes" + clock, time_config()},
        {"timemode=ntpd&tsvr1=x" + clock, time_config("no")},
        {"timemode=manual" + clock, time_config("no")},
        // Tunnels restart after every change unless OpenVPN is "none..." (four characters).
        {off, time_config(), {}, "OVPN_MODE='none-old'\n"},
        {off, time_config(), {kRestart}, "OVPN_MODE='non'\n"},
        {off, time_config(), {kRestart}, "OVPN_MODE='None'\n"},
        {off, time_config(), {kRestart}, nullptr},
    };
    for (const auto& c : cases) {
        Sandbox sb;
        setup(sb, c.ovpn);
        const std::string name = c.body + (c.ovpn ? c.ovpn : " (no openvpn.config)");
        const bool date = c.commands == Lines{kDate}, restart = c.commands == Lines{kRestart};
        EXPECT_EQ(sb.post("item=2&act=1", c.body).out,
                  (c.ovpn ? "" : error_page("in file conf line 36", "No such file or directory")) + kResult) << name;
        EXPECT_EQ(sb.config("time.config"), c.config) << name;
        EXPECT_EQ(sb.commands(), c.commands) << name;
        // date gets "-s" and the moment as one word, seconds dropped.
        EXPECT_EQ(sb.read("/var/log/ran"), date ? "2\n-s\n2026.01.05-07:04\n" : restart ? "openvpn restart\n" : "")
            << name;
        EXPECT_EQ(sb.messages(), date     ? Lines{"6 setting system time: date returns 0"}
                                 : c.ovpn ? Lines{}
                                          : Lines{"3 Error in file conf line 36: No such file or directory"})
            << name;
    }
}

TEST(TimePage, ShowFillsTheSettingsAndTheClock)
{
    Sandbox sb;
    sb.write_doc("english/time.tmpl", "{CHECK_C}|{ALLOW}|{TSVR}|{TSVR2}|{IDX}|{CHECK_S}\n"
                                      "{YEAR}|{MONTH}|{DAY}|{HOUR}|{MIN}|{SEC}|{SYSTEMZEIT}");
    sb.config("time.config",
              "NTP_ON_BOOT='yes'\nNTP_REMOTE_1_IP='pool'\nNTP_REMOTE_2_IP='10.0.0.2'\nNTP_TZ_IDX='7'\nOPT_NTP='yes'\n");
    // The clock fills its marks (what it shows: the unit tests of the handlers).
    const std::string out = sb.get("item=2").out, settings = "checked|enabled|pool|10.0.0.2|7|checked\n";
    EXPECT_EQ(out.substr(0, settings.size()), settings);
    EXPECT_EQ(out.find('{'), std::string::npos) << out;
    // Both marks need exactly "yes".
    sb.config("time.config", "NTP_ON_BOOT='yes1'\nOPT_NTP='Yes'\n");
    EXPECT_EQ(sb.get("item=2").out.substr(0, 14), "|disabled||||\n");
}
