// Remote dial (page "rdial"): listed clients may make the device dial out,
// on a port of its own and with a password; kept in "redundant.config"
// beside the redundancy settings. The page's item has no handler, so the
// page is sent as its template; these handlers are ready for it.
#include <cstring>

#include "cgi/http.h"
#include "conf/conf.h"
#include "pages/pages.h"
#include "render/pagehelp.h"
#include "render/tmpl.h"

namespace {

constexpr const char* REDUNDANT = "redundant.config";

const TextField PORT[] = {{"rdial_port", "RDIAL_PORT", "{RDIAL_PORT}"}};
// Client addresses, shown up to 15 characters each.
const ListField CLIENTS[] = {
    {"RDIAL_CLIENT", "IP", "iplist", "{IPOPTS}", "{IPLIST}", 40, 16, "in file crdial line 36"},
};

}  // namespace

int crdial_act()
{
    if (yes_exact(http_var("rdial_dout"))) {
        conf_set("RDIAL_OPT", "yes", REDUNDANT);
        store_texts(REDUNDANT, PORT);
        if (*http_var("rdial_pass"))  // an empty password keeps the stored one
            store_field(REDUNDANT, "rdial_pass", "RDIAL_PASS");
        list_store_all(REDUNDANT, CLIENTS);
    } else {
        // Off: port, password and clients stay for later.
        conf_set("RDIAL_OPT", "no", REDUNDANT);
    }
    return page_result("crdial");
}

int crdial_show()
{
    bool on = yes_exact(conf_value("RDIAL_OPT", REDUNDANT).c_str());
    tmpl_replace("{RDIALSTATE}", mark_if(on, "checked"));
    tmpl_replace("{ALLOW}", enabled(on));
    show_texts(REDUNDANT, PORT);
    return list_show_all(REDUNDANT, CLIENTS);
}
