// OSPF routing (item 45): the routing daemon on or off, its router name,
// authentication key, static routes, priority in area 1, the password of its
// terminal access, and per Ethernet interface (ETH0 = LAN, ETH1 = WAN) whether
// OSPF runs there with hello and dead interval and network type. Switched off,
// the page stores only that and keeps every other setting.
#include <cstring>
#include <string>

#include "cgi/http.h"
#include "conf/conf.h"
#include "pages/pages.h"
#include "render/pagehelp.h"
#include "render/tmpl.h"

namespace {

constexpr const char* OSPF = "ospf.config";

// A check box: how the form's value becomes "yes"/"no", and how the stored
// value is read back. The two tests differ from field to field.
struct YesNo {
    const char* form;
    const char* key;
    const char* placeholder;            // "checked" or the empty text
    bool (*stored_yes)(const char*);    // form value -> stored "yes"
    bool (*shown_yes)(const char*);     // stored value -> shown as on
};

const YesNo SERVICE = {"ospf_service", "OPT_OSPF", "{OPT_OSPF}", yes_prefix, yes_exact};
const YesNo PROPAGATE_STATIC = {"ospf_static", "OSPF_PROPAGATE_STATIC", "{OSPF_PROPAGATE_STATIC}", yes_exact,
                                yes_exact};

const TextField ROUTER[] = {
    {"rname", "OSPF_HOSTNAME", "{OSPF_HOSTNAME}"},
    {"authkey", "OSPF_AUTH_KEY", "{OSPF_AUTH_KEY}"},
};
const TextField PRIORITY[] = {{"prio1", "OSPF_PRIO_AREA1", "{OSPF_AREA1_PRIO}"}};

struct Interface {
    YesNo active;
    const char* enabled_mark;  // "enabled" while the interface is active and OSPF is on
    TextField intervals[2];    // hello, dead
    TextField type;            // network type, shown as an option list
};

const Interface INTERFACES[] = {
    {{"if1", "OSPF_ACTIVATE_ETH0", "{CHECK1}", yes_exact, yes_prefix},
     "{ETH0_ENABLED}",
     {{"hello1", "OSPF_HELLO_ETH0", "{OSPF_ETH0_HELLO}"}, {"dead1", "OSPF_DEAD_ETH0", "{OSPF_ETH0_DEAD}"}},
     {"nettyp1", "OSPF_NET_ETH0", "{OSPF_ETH0_NET}"}},
    {{"if2", "OSPF_ACTIVATE_ETH1", "{CHECK2}", yes_exact, yes_prefix},
     "{ETH1_ENABLED}",
     {{"hello2", "OSPF_HELLO_ETH1", "{OSPF_ETH1_HELLO}"}, {"dead2", "OSPF_DEAD_ETH1", "{OSPF_ETH1_DEAD}"}},
     {"nettyp2", "OSPF_NET_ETH1", "{OSPF_ETH1_NET}"}},
};

const Option NET_TYPES[] = {
    {"broadcast", "Broadcast"},
    {"non-broadcast", "non-Broadcast"},
    {"point-to-multipoint", "Point-To-Multipoint"},
    {"point-to-point", "Point-To-Point"},
};
// A blank stands after the value of every option, " selected" for the stored one.
const OptionStyle NET_TYPE_STYLE = {"", " ", "selected", match_exact};

std::string stored(const char* key) { return conf_value(key, OSPF, PAGE_BUFFER - 1); }

bool store_yes_no(const YesNo& f)
{
    bool yes = f.stored_yes(http_var(f.form));
    conf_set(f.key, yes_no(yes), OSPF);
    return yes;
}

bool show_yes_no(const YesNo& f)
{
    bool yes = f.shown_yes(stored(f.key).c_str());
    tmpl_replace(f.placeholder, mark_if(yes, "checked"));
    return yes;
}

// The network types as option lines, the stored one selected.
std::string net_type_options(const char* type) { return option_list(NET_TYPES, type, NET_TYPE_STYLE); }

int ccospf_result() { return page_result("ccospf"); }

}  // namespace

int ccospf_act()
{
    if (!store_yes_no(SERVICE))
        return ccospf_result();
    store_texts(OSPF, ROUTER);
    store_yes_no(PROPAGATE_STATIC);
    store_texts(OSPF, PRIORITY);

    // Both lookups match by prefix: when the repetition comes last in the
    // form, "Zebra_Pass" finds "Zebra_PassRe" too. Kept in plain text.
    const char* password = http_var("Zebra_Pass");
    const char* repeated = http_var("Zebra_PassRe");
    if (*password && strcmp(password, repeated) == 0)
        conf_set("OSPF_TELNET_PASSWORD", password, OSPF);

    for (const Interface& i : INTERFACES)
        if (store_yes_no(i.active)) {
            store_texts(OSPF, i.intervals);
            store_field(OSPF, i.type.form, i.type.key);
        }
    return ccospf_result();
}

int ccospf_show()
{
    bool on = show_yes_no(SERVICE);
    tmpl_replace("{OSPF_ENABLED}", enabled(on));
    show_texts(OSPF, ROUTER);
    show_yes_no(PROPAGATE_STATIC);
    show_texts(OSPF, PRIORITY);
    for (const Interface& i : INTERFACES) {
        show_texts(OSPF, i.intervals);
        tmpl_replace(i.type.placeholder, net_type_options(stored(i.type.key).c_str()).c_str());
        bool active = show_yes_no(i.active);
        tmpl_replace(i.enabled_mark, enabled(active && on));
    }
    return 0;
}
