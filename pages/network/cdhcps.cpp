// DHCP server (item 37): the interface served, the address pool, mask, lease
// and what the server hands out. The form gives the lease in hours, the file
// keeps seconds.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "cgi/http.h"
#include "conf/conf.h"
#include "pages/pages.h"
#include "render/aux.h"
#include "render/pagehelp.h"
#include "render/tmpl.h"

namespace {

constexpr const char* DHCP = "dhcp.config";

const TextField POOL[] = {
    {"dhcpfromaddr", "DHCPD_LEASE_START", "{DHCPFROMADDR}"},
    {"dhcptoaddr", "DHCPD_LEASE_END", "{DHCPTOADDR}"},
    {"dhcpmask", "DHCPD_SUBNET", "{DHCPMASK}"},
};
// Stored in this order after the lease...
const TextField HANDED_OUT[] = {
    {"dhcpdns", "DHCPD_DNS", "{DHCPDNS}"},
    {"dhcpgateway", "DHCPD_GATEWAY", "{DHCPGATEWAY}"},
    {"dhcpdomain", "DHCPD_DOMAIN", "{DHCPDOMAIN}"},
};
// ...and shown in this one.
const TextField HANDED_OUT_SHOWN[] = {
    {"dhcpgateway", "DHCPD_GATEWAY", "{DHCPGATEWAY}"},
    {"dhcpdns", "DHCPD_DNS", "{DHCPDNS}"},
    {"dhcpdomain", "DHCPD_DOMAIN", "{DHCPDOMAIN}"},
};

const OptionStyle INTERFACE_STYLE = {"    ", "", " selected", match_exact};

constexpr int SECONDS_PER_HOUR = 3600;

// The number at the start of a text, as the device's C library reads it.
int32_t leading_int(const char* text)
{
    long v = strtol(text, nullptr, 10);
    return v > INT32_MAX ? INT32_MAX : v < INT32_MIN ? INT32_MIN : int32_t(v);
}

}  // namespace

int cdhcps_act()
{
    const char* iface = http_var("dhcps_interface");
    conf_set("DHCPD_INTERFACE", iface, DHCP);
    if (strncmp(iface, "none", 4) != 0) {
        store_texts(DHCP, POOL);
        // hours * 3600 in the device's 32-bit arithmetic
        uint32_t seconds = uint32_t(leading_int(http_var("dhcplease"))) * uint32_t(SECONDS_PER_HOUR);
        char lease[AUX_INT_SIZE];
        aux_int_text(int32_t(seconds), lease);
        conf_set("DHCPD_LEASE_TIME", lease, DHCP);
        store_texts(DHCP, HANDED_OUT);
    }
    return page_result("cdhcps");
}

int cdhcps_show()
{
    char iface[CONF_VALUE_SIZE];
    conf_get("DHCPD_INTERFACE", iface, sizeof iface, DHCP);
    tmpl_replace("{DHCPSENABLE}", strncmp(iface, "none", 4) == 0 ? "disabled" : "enabled");
    tmpl_replace("{INTERFACE_OPTS}", option_list(INTERFACE_OPTIONS, iface, INTERFACE_STYLE).c_str());

    show_texts(DHCP, POOL);
    char hours[AUX_INT_SIZE];
    aux_int_text(leading_int(conf_value("DHCPD_LEASE_TIME", DHCP).c_str()) / SECONDS_PER_HOUR, hours);
    tmpl_replace("{DHCPLEASE}", hours);
    show_texts(DHCP, HANDED_OUT_SHOWN);
    return 0;
}
