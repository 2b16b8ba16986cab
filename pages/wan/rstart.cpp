// The maintenance pages: firmware-update settings (item 1), restart
// (item 20), factory defaults (item 38) and saving the configuration
// (item 19).
#include <cstddef>

#include "conf/conf.h"
#include "device/device.h"
#include "pages/pages.h"
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

const char* const SAVE_COMMANDS[] = {
    "/usr/bin/sudo /usr/sbin/save config > /dev/null",
    "/usr/bin/sudo /usr/sbin/save openvpn > /dev/null",
    "/usr/bin/sudo /usr/sbin/save certs > /dev/null",
};

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
int rstart_act() { return page_result("rstart"); }

int facdef_act()
{
    dev_system("/usr/bin/sudo /usr/sbin/load defaults >/dev/null");
    return page_result("facdef");
}

// Shown and applied alike: opening the page saves.
int speich_act()
{
    for (const char* command : SAVE_COMMANDS)
        dev_system(command);
    return page_result("speich");
}
