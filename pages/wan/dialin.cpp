// Dial-in (item 11): incoming calls through a modem. The line that answers is
// "ttyS1" for the internal modem and "ttyS2" for an external one; the caller
// is let in directly or called back, with the account and the addresses of
// both ends of the link kept here. What the page offers depends on the model
// in "/etc/deviceID" and on the external modem's type.
#include <cstring>
#include <string>
#include <vector>

#include "cgi/http.h"
#include "conf/conf.h"
#include "pages/pages.h"
#include "pages/wan/devmodel.h"
#include "render/pagehelp.h"
#include "render/tmpl.h"

namespace {

constexpr const char* DIALIN = "dialin.config";
constexpr const char* MODEM = "modem.config";

// Stored after the mode, in this order.
const TextField LINK[] = {
    {"user", "DIALIN_USER", "{USER}"},
    {"pass", "DIALIN_PASS", nullptr},  // written, never shown
    {"localip", "DIALIN_LOCAL_IP", "{LOCAL_IP}"},
    {"peerip", "DIALIN_PEER_IP", "{PEER_IP}"},
    {"initat", "DIALIN_INIT_AT", "{INIT_AT}"},
};
const TextField SHOWN[] = {
    {"user", "DIALIN_USER", "{USER}"},
    {"localip", "DIALIN_LOCAL_IP", "{LOCAL_IP}"},
    {"peerip", "DIALIN_PEER_IP", "{PEER_IP}"},
    {"initat", "DIALIN_INIT_AT", "{INIT_AT}"},
};

// Buffer sizes of the shown values: they cut what is shown.
constexpr size_t MODE_SIZE = 14;
constexpr size_t DEVICE_SIZE = 7;
constexpr size_t MODEM_TYPE_SIZE = 32;
constexpr size_t VALUE_SIZE = 64;

const Option MODES[] = {{"dialin", "DialIn"}, {"callback", "Callback"}};
const Option DEVICES[] = {{"none", "None"}, {"ttyS1", "Intern"}, {"ttyS2", "Extern"}};
const OptionStyle DEVICE_STYLE = {"    ", " ", "selected", match_stored_prefix};

// The mode radio buttons; each carries "{ALLOW}", filled with the inputs'.
std::string mode_radios(const char* stored)
{
    std::string out;
    for (const Option& m : MODES)
        out += std::string("\n    <input type=\"radio\" name=\"mode\" value=\"") + m.value + "\" " +
               mark_if(match_stored_prefix(stored, m.value), "checked") + " {ALLOW}>" + m.label;
    return out;
}

}  // namespace

int dialin_act()
{
    const char* dev = http_var("dialin_dev");
    conf_set("DIALIN_DEV", dev, DIALIN);
    if (begins_with(dev, "none"))
        return 0;  // switched off: nothing else stored, no messages on the result page
    store_field(DIALIN, "mode", "DIALIN_MODE");
    store_texts(DIALIN, LINK);
    conf_set("DIALIN_MASQ", yes_no(yes_prefix(http_var("masq"))), DIALIN);
    return page_result("dialin");
}

int dialin_show()
{
    bool no_internal = lacks_internal_modem("in file dialin line 27");

    char modem[MODEM_TYPE_SIZE];
    conf_get("EXT_MODEM_TYPE", modem, sizeof modem, MODEM);
    bool no_external = begins_with(modem, "none");
    // A DSL modem cannot answer calls.
    if (no_internal && (no_external || begins_with(modem, "dsl"))) {
        tmpl_replace("{DIALIN_VISIBILITY}", "hidden");
        put_message("{NO_DIALIN_MESSAGE}", "dialin_not_configured");
        return 0;
    }
    tmpl_replace("{DIALIN_VISIBILITY}", "visible");
    tmpl_replace("{NO_DIALIN_MESSAGE}", "");

    char mode[MODE_SIZE];
    conf_get("DIALIN_MODE", mode, sizeof mode, DIALIN);
    if (strlen(mode) < 2)
        strcpy(mode, "dialin");
    tmpl_replace("{DIALIN_MODE}", mode_radios(mode).c_str());

    // A line whose modem is missing is shown as off.
    char dev[DEVICE_SIZE];
    conf_get("DIALIN_DEV", dev, sizeof dev, DIALIN);
    if ((begins_with(dev, "ttyS1") && no_internal) || (begins_with(dev, "ttyS2") && no_external))
        strcpy(dev, "none");
    tmpl_replace("{ALLOW}", enabled(!begins_with(dev, "none")));

    // Only the lines that have a modem are offered (an external DSL modem
    // still gets its row).
    std::vector<Option> lines;
    for (const Option& d : DEVICES) {
        if (begins_with(d.value, "ttyS1") && no_internal)
            continue;
        if (begins_with(d.value, "ttyS2") && no_external)
            break;
        lines.push_back(d);
    }
    tmpl_replace("{DIALIN_DEV}", option_list(lines.data(), lines.size(), dev, DEVICE_STYLE).c_str());

    show_texts(DIALIN, SHOWN, VALUE_SIZE);
    tmpl_replace("{MASQ}", mark_if(yes_prefix(conf_value("DIALIN_MASQ", DIALIN).c_str()), "checked"));
    return 0;
}
