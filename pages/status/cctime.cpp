// Time and NTP (item 2): the clock set by hand or taken from NTP servers at
// boot, and the current system time (UTC).
#include <cstdio>
#include <cstring>
#include <string>
#include <sys/time.h>
#include <syslog.h>

#include "cgi/http.h"
#include "conf/conf.h"
#include "device/device.h"
#include "pages/pages.h"
#include "render/aux.h"
#include "render/outcome.h"
#include "render/pagehelp.h"
#include "render/tmpl.h"

namespace {

constexpr const char* TIME = "time.config";

const TextField NTP_SERVERS[] = {
    {"tsvr1", "NTP_REMOTE_1_IP", "{TSVR}"},
    {"tsvr2", "NTP_REMOTE_2_IP", "{TSVR2}"},
};
const TextField ZONE_INDEX[] = {{"tzidx", "NTP_TZ_IDX", "{IDX}"}};

bool is(const char* value, const char* word) { return strcmp(value, word) == 0; }

// The steps of an apply, as the result page lists them.
const Advice CLOCK_ADVICE = {"Check the date and time entered and try again ([2]).",
                             "Prüfen Sie das eingegebene Datum und die Uhrzeit und versuchen Sie es erneut ([2])."};
const Advice OPENVPN_ADVICE = {
    "Check the OpenVPN settings ([46]); the system log ([43]) tells why OpenVPN did not start. Restarting the "
    "router ([20]) starts it too.",
    "Prüfen Sie die OpenVPN-Einstellungen ([46]); das Systemprotokoll ([43]) zeigt, warum OpenVPN nicht startete. "
    "Ein Neustart des Routers ([20]) startet es ebenfalls."};
const Step SET_CLOCK = {{"Set the clock", "Uhr stellen"}, &CLOCK_ADVICE};
const Step RESTART_OPENVPN = {{"Restart OpenVPN for the new time", "OpenVPN für die neue Zeit neu starten"},
                              &OPENVPN_ADVICE};

void set_clock_by_hand()
{
    // The seconds field is sent but the clock is set to the full minute.
    std::string command = "/usr/bin/sudo /bin/date -s " + sh_quote(http_var("jahr")) + "." +
                          sh_quote(http_var("monat")) + "." + sh_quote(http_var("tag")) + "-" +
                          sh_quote(http_var("std")) + ":" + sh_quote(http_var("min"));
    int status = outcome_step(SET_CLOCK, dev_system(command.c_str()));
    dev_syslog(LOG_INFO, "setting system time: date returns %d", status);
}

}  // namespace

int cctime_act()
{
    if (!is(http_var("time_clt"), "yes"))
        conf_set("NTP_ON_BOOT", "no", TIME);
    if (is(http_var("timemode"), "ntp")) {
        conf_set("NTP_ON_BOOT", "yes", TIME);
        store_texts(TIME, NTP_SERVERS);
        std::string zone = std::string("UCT") + http_var("tzone") + "UCST,M3.5.0,M10.5.0";
        conf_set("NTP_TIME_INFO", zone.c_str(), TIME);
        store_texts(TIME, ZONE_INDEX);
        conf_set("OPT_NTP", yes_no(is(http_var("time_service"), "yes")), TIME);
    }
    if (is(http_var("timemode"), "man"))
        set_clock_by_hand();
    // Tunnels are restarted after every change of time unless OpenVPN is off.
    if (strncmp(conf_value("OVPN_MODE", "openvpn.config").c_str(), "none", 4) != 0)
        outcome_step(RESTART_OPENVPN, dev_system("/usr/bin/sudo -i /etc/init.d/S95openvpn restart"));
    return page_result("cctime");
}

int cctime_show_clock(time_t now)
{
    struct tm tm;
    if (!gmtime_r(&now, &tm)) {
        dev_syslog(LOG_INFO, "cctime cctime: gmtime_r fails");
        aux_error("in file cctime line 46", errno);
        return -1;
    }
    // The year and month go to the page's script raw: years since 1900,
    // months from 0.
    const struct {
        const char* mark;
        int value;
    } fields[] = {{"{YEAR}", tm.tm_year}, {"{MONTH}", tm.tm_mon}, {"{DAY}", tm.tm_mday},
                  {"{HOUR}", tm.tm_hour}, {"{MIN}", tm.tm_min},   {"{SEC}", tm.tm_sec}};
    for (const auto& f : fields) {
        char text[AUX_INT_SIZE];
        tmpl_replace(f.mark, aux_int_text(f.value, text));
    }
    char system_time[AUX_DATETIME_SIZE];
    tmpl_replace("{SYSTEMZEIT}", aux_format_date(now, system_time, true));
    return 0;
}

int cctime_show()
{
    bool on_boot = is(conf_value("NTP_ON_BOOT", TIME).c_str(), "yes");
    tmpl_replace("{CHECK_C}", mark_if(on_boot, "checked"));
    tmpl_replace("{ALLOW}", enabled(on_boot));
    show_texts(TIME, NTP_SERVERS);
    show_texts(TIME, ZONE_INDEX);
    tmpl_replace("{CHECK_S}", mark_if(is(conf_value("OPT_NTP", TIME).c_str(), "yes"), "checked"));

    struct timeval now;
    if (gettimeofday(&now, nullptr) != 0) {
        dev_syslog(LOG_INFO, "cctime cctime: gettimeofday fails");
        return -1;
    }
    return cctime_show_clock(now.tv_sec);
}
