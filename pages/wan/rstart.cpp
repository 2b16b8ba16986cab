// The maintenance pages: firmware-update settings (item 1), restart
// (item 20), factory defaults (item 38) and saving the configuration
// (item 19).
#include <cstddef>

#include "conf/conf.h"
#include "device/device.h"
#include "pages/pages.h"
#include "render/outcome.h"
#include "render/pagehelp.h"
#include "render/tmpl.h"

namespace {

constexpr const char* UPDATE = "update.config";

const TextField UPDATE_PROTOCOL[] = {{"updt_protocol", "UPDATE_PROTOCOL", "{PROTOCOL_OPTS}"}};
const TextField UPDATE_SOURCE[] = {
    {"updt_svr", "UPDATE_SERVER", "{UPDATE_SERVER}"},
    {"updt_path", "UPDATE_PATH", "{UPDATE_PATH}"},
    {"updt_file", "UPDATE_FILE", "{UPDATE_FILE}"},
};

const Option PROTOCOLS[] = {{"ftp", "ftp"}, {"http", "http"}};
const OptionStyle PROTOCOL_STYLE = {"    ", "", " selected", match_exact};

const Advice SAVE_AGAIN = {
    "Save again ([19]); until saving works, changes are lost at the next restart.",
    "Sichern Sie erneut ([19]); bis das Sichern gelingt, gehen Änderungen beim nächsten Neustart verloren."};
const Step SAVE_CONFIG = {{"Save the configuration", "Konfiguration sichern"}, &SAVE_AGAIN};
const Step SAVE_OPENVPN = {{"Save the OpenVPN keys", "OpenVPN-Schlüssel sichern"}, &SAVE_AGAIN};
const Step SAVE_CERTS = {{"Save the certificates", "Zertifikate sichern"}, &SAVE_AGAIN};

const struct {
    const char* command;
    const Step& step;
} SAVE_COMMANDS[] = {
    {"/usr/bin/sudo /usr/sbin/save config > /dev/null", SAVE_CONFIG},
    {"/usr/bin/sudo /usr/sbin/save openvpn > /dev/null", SAVE_OPENVPN},
    {"/usr/bin/sudo /usr/sbin/save certs > /dev/null", SAVE_CERTS},
};

const Step LOAD_DEFAULTS = {{"Load the factory settings", "Werkseinstellungen laden"}, &ADVICE_RETRY};

// The reboot runs once the page has been sent: the page cannot know how it went.
const Advice RESTART_NOTE = {
    "The router restarts once this page has been sent, so this page cannot tell whether the restart worked. If "
    "the router does not answer again within a few minutes, switch it off and on.",
    "Der Router startet neu, sobald diese Seite gesendet ist; ob der Neustart gelingt, kann diese Seite daher "
    "nicht zeigen. Antwortet der Router nach einigen Minuten nicht wieder, schalten Sie ihn aus und wieder ein."};

}  // namespace

int update_act()
{
    store_texts(UPDATE, UPDATE_PROTOCOL);
    store_texts(UPDATE, UPDATE_SOURCE);
    return page_result("update");
}

int update_show()
{
    std::string stored = conf_value("UPDATE_PROTOCOL", UPDATE);
    tmpl_replace("{PROTOCOL_OPTS}", option_list(PROTOCOLS, stored.c_str(), PROTOCOL_STYLE).c_str());
    show_texts(UPDATE, UPDATE_SOURCE);
    return 0;
}

// The reboot itself follows the page, from the main flow.
int rstart_act()
{
    outcome_note(RESTART_NOTE);
    return page_result("rstart");
}

int facdef_act()
{
    outcome_step(LOAD_DEFAULTS, dev_system("/usr/bin/sudo /usr/sbin/load defaults >/dev/null"));
    return page_result("facdef");
}

// Shown and applied alike: opening the page saves.
int speich_act()
{
    for (const auto& save : SAVE_COMMANDS)
        outcome_step(save.step, dev_system(save.command));
    return page_result("speich");
}
