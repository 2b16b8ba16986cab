// Virtual IP mapping (item 28): the Ethernet interface the mapping works on
// (or none) and the address pairs of the list VMAP_VIRTETH in
// "mapping.config"; entry i of IP2M and entry i of M2IP are the two
// directions of one mapping.
#include <cstdlib>
#include <cstring>
#include <string>

#include "conf/conf.h"
#include "pages/pages.h"
#include "render/escape.h"
#include "render/pagehelp.h"
#include "render/tmpl.h"

namespace {

constexpr const char* MAPPING = "mapping.config";

// Addresses of at most 15 characters.
const ListField PAIRS[] = {
    {"VMAP_VIRTETH", "IP2M", "ip2mlist", "{IP2MOPTIONS}", "{IP2MLIST}", 40, 16, "in file cccvmp line 80"},
    {"VMAP_VIRTETH", "M2IP", "m2iplist", "{M2IPOPTIONS}", "{M2IPLIST}", 40, 16, "in file cccvmp line 80"},
};

const OptionStyle INTERFACE_STYLE = {"    ", "", " selected", match_exact};

// The interface choice; "none" (four characters compared) greys the pairs out.
void show_interface()
{
    std::string iface = conf_value("VMAP_ITF", MAPPING);
    tmpl_replace("{VMPENABLE}", enabled(strncmp(iface.c_str(), "none", 4) != 0));
    tmpl_replace("{INTERFACE_OPTS}", option_list(INTERFACE_OPTIONS, iface.c_str(), INTERFACE_STYLE).c_str());
}

}  // namespace

int cccvmp_act()
{
    // The pairs are kept also while the mapping is off.
    store_field(MAPPING, "vmap_interface", "VMAP_ITF");
    list_store_all(MAPPING, PAIRS);
    return page_result("cccvmp");
}

int cccvmp_show()
{
    show_interface();
    // The count as stored, unless it reads as no pairs at all; the pairs are
    // shown for it.
    std::string count = conf_value("VMAP_VIRTETH_N", MAPPING);
    long n = strtol(count.c_str(), nullptr, 10);
    tmpl_replace_text("{COUNT}", n != 0 ? count.c_str() : "0");
    return list_show_all(MAPPING, PAIRS, n);
}
