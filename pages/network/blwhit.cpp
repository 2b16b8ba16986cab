// Black and white lists (item 32): one access list BLWH_LIST of host,
// protocol and port in "blackwhite.config", and whether only the listed
// traffic passes (a white list) or the listed traffic is refused (a black
// list).
#include <cstring>
#include <string>

#include "conf/conf.h"
#include "pages/pages.h"
#include "render/pagehelp.h"
#include "render/tmpl.h"

namespace {

constexpr const char* BLACKWHITE = "blackwhite.config";

// Hosts of at most 15 characters, protocols of 3, ports of 11.
const ListField ENTRIES[] = {
    {"BLWH_LIST", "HOST", "hostlist", "{HOSTOPTS}", "{HOSTLIST}", 40, 16, "in file blwhit line 36"},
    {"BLWH_LIST", "PROT", "protlist", "{PROTOPTS}", "{PROTLIST}", 28, 4, "in file blwhit line 53"},
    {"BLWH_LIST", "PORT", "portlist", "{PORTOPTS}", "{PORTLIST}", 36, 12, "in file blwhit line 70"},
};

}  // namespace

int blwhit_act()
{
    store_field(BLACKWHITE, "whiteList", "BLWH_LIST_TYPE");
    list_store_all(BLACKWHITE, ENTRIES);
    return page_result("blwhit");
}

int blwhit_show()
{
    // Anything but a type beginning with "white" is a black list.
    bool white = strncmp(conf_value("BLWH_LIST_TYPE", BLACKWHITE).c_str(), "white", 5) == 0;
    tmpl_replace("{CHECK1}", mark_if(white, "checked"));
    tmpl_replace("{CHECK2}", mark_if(!white, "checked"));
    return list_show_all(BLACKWHITE, ENTRIES);
}
