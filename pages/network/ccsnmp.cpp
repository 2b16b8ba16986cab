// SNMP agent (item 39): system name, location and contact, the three
// community strings, the trap receivers (the list SNMP_TRAPSINK) and one
// SNMPv3 user. The SNMPv3 passwords are kept while their fields stay empty
// and are never shown again.
#include "cgi/http.h"
#include "conf/conf.h"
#include "pages/pages.h"
#include "render/pagehelp.h"
#include "render/tmpl.h"

namespace {

constexpr const char* SNMP = "snmp.config";

const TextField AGENT[] = {
    {"sysname", "SNMP_SYSNAME", "{SNMPSYSNAME}"},
    {"location", "SNMP_SYSLOCATION", "{SNMPSYSLOC}"},
    {"contact", "SNMP_SYSCONTACT", "{SNMPSYSCONT}"},
    {"rocomm", "SNMP_ROCOMMUNITY", "{SNMPROCOMM}"},
    {"rwcomm", "SNMP_RWCOMMUNITY", "{SNMPRWCOMM}"},
    {"trapcomm", "SNMP_TRAPCOMMUNITY", "{SNMPTRAPCOMM}"},
};

// Trap receivers: dotted IPv4 addresses, 15 characters at most.
const ListField TRAP_SINKS[] = {
    {"SNMP_TRAPSINK", "IP", "sinklist", "{SINKOPTS}", "{SINKLIST}", 40, 16, "in file ccsnmp line 52"},
};

const TextField V3_USER[] = {{"v3name", "SNMP_V3USER", "{SNMPV3NAME}"}};

// A two-way choice of the SNMPv3 user and the password that goes with it.
// The first choice is shown only for exactly its value; anything else,
// nothing stored included, shows the second.
struct V3Choice {
    const char* form;
    const char* key;
    const char* first;         // the value of the first choice
    const char* first_mark;    // "checked" here for the first choice...
    const char* second_mark;   // ...or here for any other value
    const char* secret_form;   // the password: stored when sent, never shown
    const char* secret_key;
};

const V3Choice V3_CHOICES[] = {
    {"authtype", "SNMP_V3AUTHTYPE", "MD5", "{CHECK11}", "{CHECK12}", "authpwd", "SNMP_V3AUTHPASS"},
    {"privprot", "SNMP_V3PRIVPROT", "DES", "{CHECK21}", "{CHECK22}", "privpwd", "SNMP_V3PRIVPASS"},
};

}  // namespace

int ccsnmp_act()
{
    store_texts(SNMP, AGENT);
    list_store_all(SNMP, TRAP_SINKS);
    store_texts(SNMP, V3_USER);
    for (const V3Choice& c : V3_CHOICES) {
        store_field(SNMP, c.form, c.key);
        const char* secret = http_var(c.secret_form);
        if (*secret)
            conf_set(c.secret_key, secret, SNMP);
    }
    return page_result("ccsnmp");
}

int ccsnmp_show()
{
    show_texts(SNMP, AGENT);
    if (list_show_all(SNMP, TRAP_SINKS) != 0)
        return -1;
    show_texts(SNMP, V3_USER);
    for (const V3Choice& c : V3_CHOICES) {
        bool first = conf_value(c.key, SNMP, PAGE_BUFFER - 1) == c.first;
        tmpl_replace(c.first_mark, mark_if(first, "checked"));
        tmpl_replace(c.second_mark, mark_if(!first, "checked"));
    }
    return 0;
}
