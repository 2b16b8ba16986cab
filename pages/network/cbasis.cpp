// Basic network settings (item 24): host and domain name, the addressing of
// the LAN (ETH0) and WAN (ETH1) interfaces, the system user's password.
#include <cstdio>
#include <cstring>

#include "cgi/http.h"
#include "conf/conf.h"
#include "pages/pages.h"
#include "render/aux.h"
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

// The names of one interface's fields, keys and placeholders.
struct IfaceNames {
    char mode_form[32], ip_form[32], prefix_form[32], masq_form[32];
    char type_key[32], addr_key[32], masq_key[32];
    char mode_mark[32], enable_mark[32], ip_mark[32], prefix_mark[32], masq_mark[32];

    explicit IfaceNames(const char* i)
    {
        snprintf(mode_form, sizeof mode_form, "%s_mode", i);
        snprintf(ip_form, sizeof ip_form, "%s_ip", i);
        snprintf(prefix_form, sizeof prefix_form, "%s_prefix", i);
        snprintf(masq_form, sizeof masq_form, "%s_masq", i);
        snprintf(type_key, sizeof type_key, "IP_%s_TYPE", i);
        snprintf(addr_key, sizeof addr_key, "IP_%s_IPADDR", i);
        snprintf(masq_key, sizeof masq_key, "IP_%s_MASQ", i);
        snprintf(mode_mark, sizeof mode_mark, "{%s_MODE}", i);
        snprintf(enable_mark, sizeof enable_mark, "{%s_ENABLE}", i);
        snprintf(ip_mark, sizeof ip_mark, "{%s_IP}", i);
        snprintf(prefix_mark, sizeof prefix_mark, "{%s_PREFIX}", i);
        snprintf(masq_mark, sizeof masq_mark, "{%s_MASQ}", i);
    }
};

bool is_static(const char* mode) { return strncmp(mode, "static", 6) == 0; }

void store_interface(const char* iface)
{
    IfaceNames n(iface);
    char mode[MODE_SIZE];
    snprintf(mode, sizeof mode, "%s", http_var(n.mode_form));
    conf_set(n.type_key, mode, NETWORK);
    if (!is_static(mode))
        return;  // a DHCP interface keeps its last static address
    char address[ADDRESS_SIZE];
    snprintf(address, sizeof address, "%s/%s", http_var(n.ip_form), http_var(n.prefix_form));
    conf_set(n.addr_key, address, NETWORK);
    conf_set(n.masq_key, yes_no(yes_prefix(http_var(n.masq_form))), NETWORK);
}

int show_interface(const char* iface)
{
    IfaceNames n(iface);
    char mode[MODE_SIZE];
    conf_get(n.type_key, mode, sizeof mode, NETWORK);
    tmpl_replace(n.mode_mark, option_list(MODES, mode, MODE_STYLE).c_str());
    tmpl_replace(n.enable_mark, enabled(is_static(mode)));

    char address[ADDRESS_SIZE];
    conf_get(n.addr_key, address, sizeof address, NETWORK);
    char* save = nullptr;
    const char* ip = strtok_r(address, "/", &save);
    const char* prefix = ip ? strtok_r(nullptr, "/", &save) : nullptr;
    tmpl_replace(n.ip_mark, ip ? ip : "");
    tmpl_replace(n.prefix_mark, prefix ? prefix : "");

    char masq[CONF_VALUE_SIZE];
    conf_get(n.masq_key, masq, sizeof masq, NETWORK);
    tmpl_replace(n.masq_mark, mark_if(yes_prefix(masq), "checked"));
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
        if (aux_cryptpw(password, hash, sizeof hash) == 0)
            conf_set("SYSTEM_USER_PASS", hash, SYSTEM);
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
