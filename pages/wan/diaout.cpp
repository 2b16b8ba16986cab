// Dial-out (item 9): outgoing connections through a modem. The internal
// modem dials on "ttyS1", an external one on "ttyS2", and an external DSL
// modem is reached over "eth1"; the page keeps the modem's initialisation
// command, idle time, redial behaviour and the providers, one of them active.
// What it offers depends on the model in "/etc/deviceID" and on the external
// modem's type.
#include <cstring>
#include <string>
#include <vector>

#include "cgi/http.h"
#include "conf/conf.h"
#include "pages/pages.h"
#include "pages/wan/devmodel.h"
#include "render/escape.h"
#include "render/pagehelp.h"
#include "render/tmpl.h"

namespace {

constexpr const char* DIALOUT = "dialout.config";
constexpr const char* MODEM = "modem.config";

constexpr size_t STORED_TYPE_SIZE = 64;  // the external type as the apply reads it
constexpr size_t MODEM_TYPE_SIZE = 32;   // ... and as the page reads it
constexpr size_t DEVICE_SIZE = 7;        // the stored device as shown

// The link's packet sizes: small for a modem line, Ethernet's less PPPoE for DSL.
constexpr const char* MODEM_PACKET = "576";
constexpr const char* DSL_PACKET = "1492";

const TextField MODEM_COMMAND[] = {{"Cmnd", "DIALOUT_MODEM_CMD", "{CMND}"}};
const TextField REDIAL[] = {
    {"Timeout", "DIALOUT_IDLE_TIME", "{DELAY}"},
    {"doutnum", "DIALOUT_RETRIES", "{DOUTNUM}"},
    {"doutdelay", "DIALOUT_RETRY_DELAY", "{DOUTDELAY}"},
};
// Shown in this order; the access point name is set elsewhere.
const TextField REDIAL_SHOWN[] = {
    {"Timeout", "DIALOUT_IDLE_TIME", "{DELAY}"},
    {nullptr, "DIALOUT_GPRS_APN", "{APN}"},
    {"doutnum", "DIALOUT_RETRIES", "{DOUTNUM}"},
    {"doutdelay", "DIALOUT_RETRY_DELAY", "{DOUTDELAY}"},
};

// The providers: stored in this order (the count that stays is the names')...
const ListField PROVIDERS_STORED[] = {
    {"DIALOUT_ISP", "NUM", "numberlist", "{NMBOPTS}", "{NMBLIST}", 45, 21, "in file diaout line 170"},
    {"DIALOUT_ISP", "USER", "userlist", "{USROPTS}", "{USRLIST}", 88, 64, "in file diaout line 188"},
    {"DIALOUT_ISP", "PASS", "passlist", nullptr, "{PASSLIST}", 55, 31, "in file diaout line 206"},
    {"DIALOUT_ISP", "NAME", "namelist", "{NAMEOPTS}", "{NAMELIST}", 45, 21, "in file diaout line 152"},
};
// ...and shown in this one. The passwords reach the page only as the plain
// list (in clear); their option lines are placed nowhere.
const ListField PROVIDERS_SHOWN[] = {
    PROVIDERS_STORED[3], PROVIDERS_STORED[0], PROVIDERS_STORED[1], PROVIDERS_STORED[2],
};

const Option DEVICES[] = {{"none", "None"}, {"internal", "Intern"}, {"external", "Extern"}};
const OptionStyle DEVICE_STYLE = {"    ", " ", "selected", match_stored_prefix};

// The stored device as the page's choice; a device whose modem is no longer
// there is shown as "none". Each rule works on what the ones before left.
std::string device_choice(const char* stored, bool no_internal, const char* modem)
{
    bool no_external = begins_with(modem, "none"), dsl = begins_with(modem, "dsl");
    std::string dev = stored;
    if (begins_with(dev.c_str(), "ttyS1") && no_internal)
        dev = "none";
    if (begins_with(dev.c_str(), "ttyS2") && (no_external || dsl))
        dev = "none";
    if (begins_with(dev.c_str(), "eth1") && (no_external || !dsl))
        dev = "none";
    if (begins_with(dev.c_str(), "ttyS1"))
        dev = "internal";
    if (begins_with(dev.c_str(), "ttyS2") || dev == "eth1")
        dev = "external";
    return dev;
}

}  // namespace

int diaout_act()
{
    char modem[STORED_TYPE_SIZE];
    conf_get("EXT_MODEM_TYPE", modem, sizeof modem, MODEM);
    conf_set("DIALOUT_MTU", MODEM_PACKET, DIALOUT);
    conf_set("DIALOUT_MRU", MODEM_PACKET, DIALOUT);

    const char* dev = http_var("dialout_dev");
    if (begins_with(dev, "none")) {
        conf_set("DIALOUT_DEV", "none", DIALOUT);
        return 0;  // switched off: nothing else stored, no messages on the result page
    }
    if (begins_with(dev, "internal")) {
        conf_set("DIALOUT_DEV", "ttyS1", DIALOUT);
        store_texts(DIALOUT, MODEM_COMMAND);
    } else if (begins_with(dev, "external")) {
        if (!begins_with(modem, "dsl")) {
            conf_set("DIALOUT_DEV", "ttyS2", DIALOUT);
            store_texts(DIALOUT, MODEM_COMMAND);
        } else {
            // A DSL modem needs no command.
            conf_set("DIALOUT_DEV", "eth1", DIALOUT);
            conf_set("DIALOUT_MTU", DSL_PACKET, DIALOUT);
            conf_set("DIALOUT_MRU", DSL_PACKET, DIALOUT);
        }
    }
    // Any other device leaves the stored one.

    store_texts(DIALOUT, REDIAL);
    list_store_all(DIALOUT, PROVIDERS_STORED);
    store_field(DIALOUT, "selno", "DIALOUT_ISP_ACTIVE");
    return page_result("diaout");
}

int diaout_show()
{
    bool no_internal = lacks_internal_modem("in file diaout line 26");

    char modem[MODEM_TYPE_SIZE];
    conf_get("EXT_MODEM_TYPE", modem, sizeof modem, MODEM);
    if (no_internal && begins_with(modem, "none")) {
        // No modem at all: only the message.
        tmpl_replace("{DIALOUT_VISIBILITY}", "hidden");
        put_message("{NO_DIALOUT_MESSAGE}", "diaout_not_configured");
        return 0;
    }
    tmpl_replace("{DIALOUT_VISIBILITY}", "visible");
    tmpl_replace("{NO_DIALOUT_MESSAGE}", "");

    char stored[DEVICE_SIZE];
    conf_get("DIALOUT_DEV", stored, sizeof stored, DIALOUT);
    const std::string dev = device_choice(stored, no_internal, modem);
    tmpl_replace("{ALLOW}", enabled(!begins_with(dev.c_str(), "none")));

    // Only the modems present are offered.
    std::vector<Option> devices;
    for (const Option& d : DEVICES) {
        if (begins_with(d.value, "internal") && no_internal)
            continue;
        if (begins_with(d.value, "external") && begins_with(modem, "none"))
            break;
        devices.push_back(d);
    }
    tmpl_replace("{DIALOUT_DEV}", option_list(devices.data(), devices.size(), dev.c_str(), DEVICE_STYLE).c_str());

    // A DSL modem has no command of its own.
    if (!begins_with(modem, "dsl")) {
        tmpl_replace("{DIALOUT_ANALOG_VISIBILITY}", "visible");
        show_texts(DIALOUT, MODEM_COMMAND);
    } else {
        tmpl_replace("{DIALOUT_ANALOG_VISIBILITY}", "hidden");
    }
    show_texts(DIALOUT, REDIAL_SHOWN);

    if (list_show_all(DIALOUT, PROVIDERS_SHOWN) != 0)
        return -1;

    // The active provider: its number, and the name of that entry.
    char active[CONF_VALUE_SIZE];
    conf_get("DIALOUT_ISP_ACTIVE", active, sizeof active, DIALOUT);
    tmpl_replace_text("{SELNO}", active);
    // (a key is cut at 63 characters, as every key is)
    std::string key = std::string("DIALOUT_ISP_") + active + "_NAME";
    show_key(DIALOUT, key.c_str(), "{SELNAME}");
    return 0;
}
