// Dynamic DNS (item 10): the provider that keeps the device's host name
// pointing at its changing address, the host name and the account. The
// device's own client does the updates from "dyndns.config".
#include <cerrno>
#include <cstring>
#include <new>
#include <string>

#include "cgi/http.h"
#include "conf/conf.h"
#include "pages/pages.h"
#include "render/aux.h"
#include "render/pagehelp.h"
#include "render/tmpl.h"

namespace {

constexpr const char* DYNDNS = "dyndns.config";

const TextField ACCOUNT[] = {
    {"DDNS_Host", "DYNDNS_HOST", "{HOST}"},
    {"DDNS_User", "DYNDNS_USER", "{USER}"},
};

// The provider's key for the client, shown as the domain it updates.
const Option PROVIDERS[] = {
    {"none", "None"},
    {"hn", "hn.org"},
    {"regfish", "regfish.de"},
    {"eurodyndns", "eurodyndns.org"},
    {"noip", "no-ip.com"},
    {"dyndns", "dyndns.org"},
    {"tzo", "tzo.com"},
    {"changeip", "changeip.com"},
    {"ovh", "ovh.com"},
    {"ods", "ods.org"},
};
const OptionStyle PROVIDER_STYLE = {"    ", "", " selected", match_stored_prefix};

constexpr size_t PROVIDER_SIZE = 64;
constexpr size_t ACCOUNT_SIZE = 32;  // host name and user as shown

}  // namespace

int dyndns_act()
{
    const char* provider = http_var("DDNS_Provider");
    conf_set("DYNDNS_PROVIDER", provider, DYNDNS);
    // "none" keeps the account for a later provider.
    if (strncmp(provider, "none", 4) != 0) {
        store_texts(DYNDNS, ACCOUNT);
        if (*http_var("DDNS_Pass"))
            store_field(DYNDNS, "DDNS_Pass", "DYNDNS_PASS");
    }
    return page_result("dyndns");
}

int dyndns_show()
{
    char provider[PROVIDER_SIZE];
    conf_get("DYNDNS_PROVIDER", provider, sizeof provider, DYNDNS);
    tmpl_replace("{ENABLED}", enabled(strncmp(provider, "none", 4) != 0));
    try {
        tmpl_replace("{PROVIDER_LIST}", option_list(PROVIDERS, provider, PROVIDER_STYLE).c_str());
    } catch (const std::bad_alloc&) {
        aux_error("in file dyndns line 25", ENOMEM);
        return -1;
    }
    show_texts(DYNDNS, ACCOUNT, ACCOUNT_SIZE);
    return 0;
}
