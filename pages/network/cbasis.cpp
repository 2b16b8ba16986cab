// Basic network settings (item 24): host and domain name, the addressing of
// the LAN (ETH0) and WAN (ETH1) interfaces, the system user's password.
#include <cstdio>
#include <cstring>
#include <string>

#include "cgi/http.h"
#include "conf/conf.h"
#include "pages/pages.h"
#include "render/aux.h"
#include "render/escape.h"
#include "render/outcome.h"
#include "render/pagehelp.h"
#include "render/tmpl.h"

namespace {

constexpr const char* NETWORK = "network.config";
constexpr const char* SYSTEM = "system.config";
constexpr size_t MODE_SIZE = 10;     // a mode keeps at most 9 characters
constexpr size_t ADDRESS_SIZE = 20;  // "address/prefix" keeps at most 19

const TextField NAMES[] = {
    {"Hostname", "HOSTNAME", "{HOSTNAME}"},
    {"Domainname", "DOMAIN_NAME", "{DOMAINNAME}"},
};

const Option MODES[] = {{"static", "static"}, {"dhcp", "dhcp"}};
const OptionStyle MODE_STYLE = {"    ", "", " selected", match_stored_prefix};

const char* const INTERFACES[] = {"ETH0", "ETH1"};

// The password is hashed by the device's tool; the result page says how it went.
const Advice PASSWORD_AGAIN = {
    "The previous password is still valid. Enter the new one again (at most 16 characters) and apply.",
    "Es gilt weiter das bisherige Kennwort. Geben Sie das neue erneut ein (höchstens 16 Zeichen) und übernehmen "
    "Sie."};
const Step SET_PASSWORD = {{"Set the new administrator password", "Neues Administratorkennwort setzen"},
                           &PASSWORD_AGAIN};

// An interface's field, key or placeholder name: "IP_" + "ETH0" + "_TYPE".
std::string name(const char* before, const char* iface, const char* after)
{
    return std::string(before) + iface + after;
}

bool is_static(const char* mode) { return strncmp(mode, "static", 6) == 0; }

void store_interface(const char* iface)
{
    char mode[MODE_SIZE];
    snprintf(mode, sizeof mode, "%s", http_var(name("", iface, "_mode").c_str()));
    conf_set(name("IP_", iface, "_TYPE").c_str(), mode, NETWORK);
    if (!is_static(mode))
        return;  // a DHCP interface keeps its last static address
    char address[ADDRESS_SIZE];
    snprintf(address, sizeof address, "%s/%s", http_var(name("", iface, "_ip").c_str()),
             http_var(name("", iface, "_prefix").c_str()));
    conf_set(name("IP_", iface, "_IPADDR").c_str(), address, NETWORK);
    const char* masq = http_var(name("", iface, "_masq").c_str());
    conf_set(name("IP_", iface, "_MASQ").c_str(), yes_no(yes_prefix(masq)), NETWORK);
}

int show_interface(const char* iface)
{
    char mode[MODE_SIZE];
    conf_get(name("IP_", iface, "_TYPE").c_str(), mode, sizeof mode, NETWORK);
    tmpl_replace(name("{", iface, "_MODE}").c_str(), option_list(MODES, mode, MODE_STYLE).c_str());
    tmpl_replace(name("{", iface, "_ENABLE}").c_str(), enabled(is_static(mode)));

    // "address/prefix", split as tokens: "/24" gives the prefix as address
    char address[ADDRESS_SIZE];
    conf_get(name("IP_", iface, "_IPADDR").c_str(), address, sizeof address, NETWORK);
    char* save = nullptr;
    const char* ip = strtok_r(address, "/", &save);
    const char* prefix = ip ? strtok_r(nullptr, "/", &save) : nullptr;
    tmpl_replace_text(name("{", iface, "_IP}").c_str(), ip ? ip : "");
    tmpl_replace_text(name("{", iface, "_PREFIX}").c_str(), prefix ? prefix : "");

    std::string masq = conf_value(name("IP_", iface, "_MASQ").c_str(), NETWORK);
    tmpl_replace(name("{", iface, "_MASQ}").c_str(), mark_if(yes_prefix(masq.c_str()), "checked"));
    return 0;
}

}  // namespace

int cbasis_act()
{
    store_texts(NETWORK, NAMES);
    for (const char* iface : INTERFACES)
        store_interface(iface);

    // Both lookups are prefix lookups: when the repetition is sent last,
    // "Kennwort" finds "KennwortRe" too.
    const char* password = http_var("Kennwort");
    const char* repeated = http_var("KennwortRe");
    if (*password && strcmp(password, repeated) == 0) {
        char hash[64] = {0};
        if (aux_cryptpw(password, hash, sizeof hash) == 0) {
            conf_set("SYSTEM_USER_PASS", hash, SYSTEM);
            outcome_step(SET_PASSWORD, 0);
        } else {
            outcome_failure(SET_PASSWORD);
        }
    }
    return page_result("cbasis");
}

int cbasis_show()
{
    show_texts(NETWORK, NAMES, 64);
    for (const char* iface : INTERFACES)
        if (show_interface(iface) != 0)
            return -1;
    return 0;
}
