// DNS forwarder and host list (item 3). The host table is the list HOST with
// the fields NAME and IP in "name.config".
#include "cgi/http.h"
#include "conf/conf.h"
#include "pages/pages.h"
#include "render/pagehelp.h"

namespace {

constexpr const char* NAMES = "name.config";

const TextField FORWARDER[] = {{"Forwarder", "DNS_FORWARDERS", "{FORWARDER}"}};

const ListField HOSTS[] = {
    {"HOST", "NAME", "hostlist", "{HOSTOPTIONS}", "{HOSTLIST}", 50, 26, "in file cccdns line 36"},
    {"HOST", "IP", "iplist", "{IPOPTIONS}", "{IPLIST}", 40, 16, "in file cccdns line 54"},
};
const ListField& HOST_NAME = HOSTS[0];
const ListField& HOST_IP = HOSTS[1];

}  // namespace

int cccdns_act()
{
    store_texts(NAMES, FORWARDER);
    // The count before the change is read from the SNMP page's file; the
    // page has always done so and the stored lists depend on it.
    int old_count = conf_list_count("HOST", "snmp.config");
    list_store(NAMES, HOST_IP, old_count);
    list_store(NAMES, HOST_NAME, old_count);
    return page_result("cccdns");
}

int cccdns_show()
{
    show_texts(NAMES, FORWARDER);
    return list_show_all(NAMES, HOSTS);
}
