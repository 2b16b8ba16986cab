// PPPoE and DSL access (item 35): WAN access over a DSL modem and its PPP
// settings. The page owns only the value "pppoe" of CONNECT_MODE: switching
// DSL off turns "pppoe" into "none" and leaves another access alone.
#include <cstring>
#include <string>

#include "cgi/http.h"
#include "conf/conf.h"
#include "pages/pages.h"
#include "render/pagehelp.h"
#include "render/tmpl.h"

namespace {

constexpr const char* PPPOE = "pppoe.config";

// Shown by show_interface and show_protocol.
const TextField LINK[] = {
    {"nterface", "DSL_IF", nullptr},  // the form's field lacks its "i", as it always has
    {"proto", "DSL_PROTO", nullptr},
};
const TextField CHECKING[] = {
    {"connnumber", "DSL_CONNECT_NUMBER", "{DSL_CONNECT_NUMBER}"},
    {"connpoll", "DSL_CONNECT_POLL", "{DSL_CONNECT_POLL}"},
    {"lcpint", "DSL_LCP_INT", "{DSL_LCP_INT}"},
    {"lcpfail", "DSL_LCP_FAIL", "{DSL_LCP_FAIL}"},
};
const TextField IDLE_TIME[] = {{"idletime", "DSL_IDLETIME", "{DSL_IDLE_TIME}"}};
const TextField ACCOUNT[] = {{"user", "DSL_USER", "{DSL_USER}"}};

bool is(const std::string& value, const char* word) { return value == word; }

void show_interface(const std::string& itf)
{
    tmpl_replace("{ETH0_SELECT}", mark_if(is(itf, "eth0"), "selected"));
    tmpl_replace("{ETH1_SELECT}", mark_if(!itf.empty() && !is(itf, "eth0"), "selected"));
}

// The PPPoE branch fills marks of other names than the two other branches.
void show_protocol(const std::string& proto)
{
    if (proto.empty()) {
        tmpl_replace("{DSL_PPPOE_SELECT}", "");
        tmpl_replace("{DSL_PPTP_SELECT}", "");
    } else if (proto.compare(0, 5, "pppoe") == 0) {
        tmpl_replace("{DSLPPPOE_SELECT}", "selected");
        tmpl_replace("{PPTP_SELECT}", "");
    } else {
        tmpl_replace("{DSL_PPPOE_SELECT}", "");
        tmpl_replace("{DSL_PPTP_SELECT}", "selected");
    }
}

}  // namespace

int cpppoe_act()
{
    bool was_on = is(conf_value("CONNECT_MODE", PPPOE), "pppoe");
    if (strcmp(http_var("enabled"), "yes") != 0) {
        // Off: no messages of this page on the result page.
        if (was_on)
            conf_set("CONNECT_MODE", "none", PPPOE);
        return 0;
    }
    conf_set("CONNECT_MODE", "pppoe", PPPOE);
    store_texts(PPPOE, LINK);
    store_texts(PPPOE, CHECKING);
    if (strcmp(http_var("demand"), "yes") == 0) {
        conf_set("DSL_DIALONDEMAND", "yes", PPPOE);
        store_texts(PPPOE, IDLE_TIME);
    } else {
        // The variable "no" (normally not sent: the empty text), not the word.
        store_field(PPPOE, "no", "DSL_DIALONDEMAND");
    }
    store_texts(PPPOE, ACCOUNT);
    if (*http_var("password"))
        store_field(PPPOE, "password", "DSL_PASSWORD");
    return page_result("cpppoe");
}

int cpppoe_show()
{
    bool on = is(conf_value("CONNECT_MODE", PPPOE), "pppoe");
    bool demand = is(conf_value("DSL_DIALONDEMAND", PPPOE), "yes");
    conf_value("DSL_IDLE", PPPOE);  // read and discarded, as the page always has
    tmpl_replace("{DSL_ENABLE}", mark_if(on, "checked"));
    show_interface(conf_value("DSL_IF", PPPOE));
    show_protocol(conf_value("DSL_PROTO", PPPOE));
    show_texts(PPPOE, CHECKING);
    tmpl_replace("{DSL_DEMAND}", mark_if(demand, "checked"));
    show_texts(PPPOE, IDLE_TIME);
    show_texts(PPPOE, ACCOUNT);
    return 0;
}
