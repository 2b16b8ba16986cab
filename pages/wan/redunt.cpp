// Redundancy (page "redunt"): how this device takes part in a redundant
// pair, kept in "redundant.config" beside the remote dial. The page's item
// has no handler, so the page is sent as its template; these handlers are
// ready for it. Every comparison here is of the whole value.
#include <cstring>
#include <string>

#include "cgi/http.h"
#include "conf/conf.h"
#include "pages/pages.h"
#include "render/pagehelp.h"
#include "render/tmpl.h"

namespace {

constexpr const char* REDUNDANT = "redundant.config";

bool is(const char* value, const char* word) { return strcmp(value, word) == 0; }

// The partner's address, for the types "simple" and "peer".
const TextField PARTNER[] = {
    {"rdial_ip", "REDUNT_IP", "{REDUNT_IP}"},
    {"rdial_port", "REDUNT_PORT", "{REDUNT_PORT}"},
};
const TextField REMOTE_CONTROL[] = {{"rex_ip", "REDUNT_REMOTE_CONTROL", "{REDUNT_REMOTE_CONTROL}"}};
const TextField EX_PORT[] = {{"rex_port", "REDUNT_EX_PORT", "{REDUNT_EX_PORT}"}};

// One choice of a select: the stored value that marks it, none for the row
// that stands for every other value.
struct Choice {
    const char* value;
    const char* placeholder;
};
const Choice TYPES[] = {{nullptr, "{TYP0}"}, {"simple", "{TYP1}"}, {"peer", "{TYP2}"}, {"target", "{TYP3}"}};
const Choice INTERFACES[] = {{"eth0", "{IFSEL0}"}, {nullptr, "{IFSEL1}"}};
const Choice PRIORITIES[] = {{nullptr, "{EXT0}"}, {"recessive", "{EXT1}"}, {"dominant", "{EXT2}"}};

// Marks the choice that the key's value equals, or the one for any other
// value, "selected"; the others become empty.
template <size_t N>
void show_choice(const char* key, const Choice (&choices)[N])
{
    const std::string stored = conf_value(key, REDUNDANT);
    bool known = false;
    for (const Choice& c : choices)
        known = known || (c.value && is(stored.c_str(), c.value));
    for (const Choice& c : choices)
        tmpl_replace(c.placeholder, mark_if(c.value ? is(stored.c_str(), c.value) : !known, "selected"));
}

}  // namespace

int redunt_act()
{
    const char* type = http_var("redunt_typ");
    conf_set("REDUNT_TYP", type, REDUNDANT);
    bool peer = is(type, "peer");
    if (is(type, "simple") || peer) {
        store_field(REDUNDANT, "rdialif", "REDUNT_IFACE");
        store_texts(REDUNDANT, PARTNER);
        if (*http_var("rdial_pass"))  // an empty password keeps the stored one
            store_field(REDUNDANT, "rdial_pass", "REDUNT_PASS");
        store_field(REDUNDANT, "rextended", "REDUNT_PARA");
        if (peer)
            store_texts(REDUNDANT, REMOTE_CONTROL);
    }
    if (is(type, "target") || peer)
        store_texts(REDUNDANT, EX_PORT);
    // The redundancy page answers with the remote dial's texts.
    return page_result("crdial");
}

int redunt_show()
{
    show_choice("REDUNT_TYP", TYPES);
    show_choice("REDUNT_IFACE", INTERFACES);
    show_texts(REDUNDANT, PARTNER);
    show_choice("REDUNT_PARA", PRIORITIES);
    show_texts(REDUNDANT, REMOTE_CONTROL);
    show_texts(REDUNDANT, EX_PORT);
    return 0;
}
