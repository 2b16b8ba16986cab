// Static routes and the default gateway (item 30). The routes are the list
// STATIC_ROUTE with three fields; the gateway address counts only for the
// Ethernet interface and is kept while another one is chosen.
#include <cstring>

#include "cgi/http.h"
#include "conf/conf.h"
#include "pages/pages.h"
#include "render/pagehelp.h"
#include "render/tmpl.h"

namespace {

constexpr const char* STATIC = "static.config";

const ListField ROUTES[] = {
    {"STATIC_ROUTE", "TARGET", "routelist", "{ROUTEOPTS}", "{ROUTELIST}", 43, 19, "in file statrt line 73"},
    {"STATIC_ROUTE", "GWAY", "gwaylist", "{GWAYOPTS}", "{GWAYLIST}", 40, 16, "in file statrt line 92"},
    {"STATIC_ROUTE", "MASQ", "masqlist", "{MASQOPTS}", "{MASQLIST}", 28, 4, "in file statrt line 111"},
};

const Option GATEWAY_INTERFACES[] = {{"eth", "WAN"}, {"ppp", "Modem"}, {"none", "None"}};
const OptionStyle GATEWAY_STYLE = {"    ", "", " selected", match_exact};

bool is_ethernet(const char* itf) { return strncmp(itf, "eth", 3) == 0; }

}  // namespace

int statrt_act()
{
    const char* itf = http_var("default_GW_itf");
    conf_set("DEFAULT_GW_ITF", itf, STATIC);
    if (is_ethernet(itf))
        store_field(STATIC, "default_GW_ip", "DEFAULT_GW_IP");
    list_store_all(STATIC, ROUTES);
    return page_result("statrt");
}

int statrt_show()
{
    char itf[10];
    conf_get("DEFAULT_GW_ITF", itf, sizeof itf, STATIC);
    tmpl_replace("{DEFAULT_GW_ITF}", option_list(GATEWAY_INTERFACES, itf, GATEWAY_STYLE).c_str());
    tmpl_replace("{GW_ENABLE}", enabled(is_ethernet(itf)));
    show_key(STATIC, "DEFAULT_GW_IP", "{DEFAULT_GW_IP}", 16);
    return list_show_all(STATIC, ROUTES);
}
