// Modems (item 7): the internal modem, fixed by the model in "/etc/deviceID",
// and an external modem whose type the user chooses. Settings of both live in
// "modem.config" under keys that begin with the modem's prefix, "INT" for the
// internal and "EXT" for the external one; form fields and page marks are
// named the same way.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "cgi/http.h"
#include "conf/conf.h"
#include "pages/countries.h"
#include "pages/pages.h"
#include "pages/wan/devmodel.h"
#include "render/aux.h"
#include "render/pagehelp.h"
#include "render/tmpl.h"

namespace {

constexpr const char* MODEM = "modem.config";
constexpr const char* INTERNAL = "INT";
constexpr const char* EXTERNAL = "EXT";

constexpr size_t NAME_SIZE = 32;          // keys, form fields and marks of a prefix
constexpr size_t VALUE_SIZE = 32;         // AT command, PIN and MSN as shown
constexpr size_t COUNTRY_SIZE = 3;        // the two characters of a T.35 code
constexpr size_t MODEM_TYPE_SIZE = 8;     // the external type as shown
constexpr size_t RADIO_LIST_SIZE = 1024;  // the type radio buttons
constexpr size_t COUNTRY_LIST_SIZE = 4096;
constexpr size_t MESSAGE_SIZE = 255;      // the result page's texts are cut to this

// A setting of one modem: key, form field and mark, each a format taking the
// prefix.
struct ModemField {
    const char* key;
    const char* form;
    const char* placeholder;
};

const ModemField GSM[] = {
    // The AT command's field is named like the PIN's; the form must send it
    // before "_pin", whose lookup would otherwise find it.
    {"%s_MODEM_GSM_ATCMD", "%s_pinAT", "{%s_GSM_ATCMD}"},
    {"%s_MODEM_GSM_PIN", "%s_pin", "{%s_GSM_PIN}"},
};
const ModemField ISDN[] = {{"%s_MODEM_ISDN_MSN", "%s_msn", "{%s_ISDN_MSN}"}};
const ModemField COUNTRY = {"%s_MODEM_COUNTRY_CODE", "%s_country", "{%s_COUNTRY_LIST}"};

// The names of a setting for one prefix.
struct Named {
    char key[NAME_SIZE];
    char form[NAME_SIZE];
    char placeholder[NAME_SIZE];

    Named(const ModemField& f, const char* prefix)
    {
        aux_fill(key, sizeof key, f.key, prefix);
        aux_fill(form, sizeof form, f.form, prefix);
        aux_fill(placeholder, sizeof placeholder, f.placeholder, prefix);
    }
};

// The modem types; the external modem's radio buttons offer the first three.
const Option MODEM_TYPES[] = {
    {"none", "None"}, {"analog", "Analog"}, {"dsl", "DSL"}, {"isdn", "ISDN"}, {"gsm", "GSM/GPRS/EDGE"},
};
constexpr int RADIO_ROWS = 3;

const OptionStyle COUNTRY_STYLE = {"      ", " ", "selected", match_exact};

// The empty fieldsets that stand for the internal modem on the page.
const char* const ANALOG_FIELDSET =
    "<fieldset style=\"height:100px;\"><legend>Analog Modem (intern) </legend></fieldset>";
const char* const ISDN_FIELDSET = "<fieldset style=\"height:100px;\"><legend>ISDN Modem (intern) </legend></fieldset>";
const char* const GSM_FIELDSET = "<fieldset style=\"height:100px;\"><legend>GSM Modem (intern) </legend></fieldset>";

// ---- apply side ------------------------------------------------------------

template <size_t N>
void store_modem(const ModemField (&fields)[N], const char* prefix)
{
    for (const ModemField& f : fields) {
        Named n(f, prefix);
        store_field(MODEM, n.form, n.key);
    }
}

void store_gsm(const char* prefix) { store_modem(GSM, prefix); }
void store_isdn(const char* prefix) { store_modem(ISDN, prefix); }
void store_country(const char* prefix)
{
    Named n(COUNTRY, prefix);
    store_field(MODEM, n.form, n.key);
}

// ---- show side -------------------------------------------------------------

template <size_t N>
void show_modem(const ModemField (&fields)[N], const char* prefix)
{
    for (const ModemField& f : fields) {
        Named n(f, prefix);
        show_key(MODEM, n.key, n.placeholder, VALUE_SIZE);
    }
}

void show_gsm(const char* prefix) { show_modem(GSM, prefix); }
void show_isdn(const char* prefix) { show_modem(ISDN, prefix); }

// Every country, labelled with its two-letter code and sent as its T.35 code;
// the stored code (its first two characters) selects one.
void show_country(const char* prefix)
{
    Named n(COUNTRY, prefix);
    char stored[COUNTRY_SIZE];
    conf_get(n.key, stored, sizeof stored, MODEM);
    Option rows[COUNTRY_COUNT];
    for (int i = 0; i < COUNTRY_COUNT; ++i)
        rows[i] = {COUNTRIES[i].t35, COUNTRIES[i].iso};
    std::string list = option_list(rows, stored, COUNTRY_STYLE);
    list.resize(std::min(list.size(), COUNTRY_LIST_SIZE - 1));
    tmpl_replace(n.placeholder, list.c_str());
}

// The external modem's type as radio buttons that switch the page's sections.
// The stored type is compared over its own length, so an empty one checks
// every button; the first button checked gives the section shown first.
void show_type_radios()
{
    char stored[MODEM_TYPE_SIZE];
    conf_get("EXT_MODEM_TYPE", stored, sizeof stored, MODEM);
    std::string list = radio_buttons("Modemtype", MODEM_TYPES, RADIO_ROWS, stored, "{EXT_MODEM_TYPE}");
    list.resize(std::min(list.size(), RADIO_LIST_SIZE - 1));
    tmpl_replace("{EXT_RADIO_OPTS}", list.c_str());
}

// Which of the internal modem's sections the page shows.
void show_sections(const char* analog, const char* isdn, const char* gsm)
{
    tmpl_replace("{ANALOG_MODEM}", analog);
    tmpl_replace("{ISDN_MODEM}", isdn);
    tmpl_replace("{GSM_MODEM}", gsm);
}

}  // namespace

int modint_act()
{
    char id[DEVICE_ID_SIZE];
    if (!read_device_id(id)) {
        aux_error("in file modint line 221", errno);
        return -1;  // nothing stored, not even the external type
    }
    switch (internal_modem(id)) {
    case InternalModem::analog: store_country(INTERNAL); break;
    case InternalModem::isdn: store_isdn(INTERNAL); break;
    case InternalModem::gsm: store_gsm(INTERNAL); break;
    default: break;
    }

    // The external type is stored whatever it is; the settings only for the
    // types that have any.
    const char* type = http_var("Modemtype");
    conf_set("EXT_MODEM_TYPE", type, MODEM);
    if (begins_with(type, "analog"))
        store_country(EXTERNAL);
    if (begins_with(type, "isdn"))
        store_isdn(EXTERNAL);
    if (begins_with(type, "gsm"))
        store_gsm(EXTERNAL);
    return page_result("modint", MESSAGE_SIZE);
}

int modint_show()
{
    char id[DEVICE_ID_SIZE];
    if (!read_device_id(id)) {
        aux_error("in file modint line 121", errno);
        return -1;
    }
    InternalModem internal = internal_modem(id);
    // The external block sits lower when an internal fieldset precedes it.
    if (internal == InternalModem::none) {
        tmpl_replace("{EXT_MODEM_POS}", "110px");
        tmpl_replace("{INTERNAL_MODEM_FIELD}", "\n");
    } else {
        tmpl_replace("{EXT_MODEM_POS}", "250px");
    }
    // Without an internal modem (or with an unknown model) the sections'
    // marks stay as they are.
    switch (internal) {
    case InternalModem::analog:
        show_country(INTERNAL);
        tmpl_replace("{INTERNAL_MODEM_FIELD}", ANALOG_FIELDSET);
        show_sections("visible", "hidden", "hidden");
        break;
    case InternalModem::isdn:
        show_isdn(INTERNAL);
        tmpl_replace("{INTERNAL_MODEM_FIELD}", ISDN_FIELDSET);
        show_sections("hidden", "visible", "hidden");
        break;
    case InternalModem::gsm:
        show_gsm(INTERNAL);
        tmpl_replace("{INTERNAL_MODEM_FIELD}", GSM_FIELDSET);
        show_sections("hidden", "hidden", "visible");
        break;
    default: break;
    }

    show_type_radios();
    show_country(EXTERNAL);
    show_isdn(EXTERNAL);
    show_gsm(EXTERNAL);
    return 0;
}
