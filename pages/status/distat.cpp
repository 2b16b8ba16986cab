// Digital inputs (item 48): the state of the device's two inputs as the
// kernel reports it, and which of their transitions the input monitoring
// reports. The device's own service does the reporting from "digin.config".
#include <cstdio>
#include <cstdlib>

#include "cgi/http.h"
#include "conf/conf.h"
#include "device/device.h"
#include "pages/pages.h"
#include "render/pagehelp.h"
#include "render/tmpl.h"

namespace {

constexpr const char* DIGIN = "digin.config";
constexpr const char* INPUT_STATE = "/proc/qx_di";

// The transitions monitored, each stored "yes" only for exactly "yes".
const TextField TRANSITIONS[] = {
    {"di1lh", "DIGIN_DI1LH", "{CHECK1LH}"},
    {"di1hl", "DIGIN_DI1HL", "{CHECK1HL}"},
    {"di2lh", "DIGIN_DI2LH", "{CHECK2LH}"},
    {"di2hl", "DIGIN_DI2HL", "{CHECK2HL}"},
};

// How an input's state is shown: text colour, background, word.
struct Look {
    const char* color;
    const char* background;
    const char* state;
};
const Look ON = {"#000000", "#EF7B00", "on"};
const Look OFF = {"#EF7B00", "#000000", "off"};
const Look UNKNOWN = {"#000000", "#C0C0C0", "no service"};

// The page marks of each input, in the same three roles.
const Look INPUT1 = {"{DI1COLOR}", "{DI1BGCOL}", "{DI1STATE}"};
const Look INPUT2 = {"{DI2COLOR}", "{DI2BGCOL}", "{DI2STATE}"};

void show_input(const Look& marks, const Look& look)
{
    tmpl_replace(marks.color, look.color);
    tmpl_replace(marks.background, look.background);
    tmpl_replace(marks.state, look.state);
}

// The kernel's digit for both inputs: only the first character is read, a
// non-digit counts as 0. False when the file is missing or empty.
bool read_inputs(int& digit)
{
    FILE* f = dev_fopen(INPUT_STATE, "r");
    if (!f)
        return false;
    char text[2] = "";
    bool got = fgets(text, sizeof text, f) != nullptr;
    fclose(f);
    if (!got)
        return false;
    digit = atoi(text);
    return true;
}

}  // namespace

int distat_act()
{
    if (yes_exact(http_var("dim"))) {
        conf_set("DIGIN_OPT", "yes", DIGIN);
        for (const TextField& t : TRANSITIONS)
            conf_set(t.key, yes_no(yes_exact(http_var(t.form))), DIGIN);
    } else {
        // Monitoring off: the transitions chosen are kept for later.
        conf_set("DIGIN_OPT", "no", DIGIN);
    }
    return page_result("distat");
}

int distat_show()
{
    int digit = 0;
    if (read_inputs(digit)) {
        // Input 1 is bit 0; input 2 is on for any digit from 2 up.
        show_input(INPUT1, digit % 2 == 1 ? ON : OFF);
        show_input(INPUT2, digit > 1 ? ON : OFF);
    } else {
        show_input(INPUT1, UNKNOWN);
        show_input(INPUT2, UNKNOWN);
    }

    bool monitoring = yes_exact(conf_value("DIGIN_OPT", DIGIN).c_str());
    tmpl_replace("{DIMSTATE}", mark_if(monitoring, "checked"));
    tmpl_replace("{ALLOW}", mark_if(!monitoring, "disabled"));
    for (const TextField& t : TRANSITIONS)
        tmpl_replace(t.placeholder, mark_if(yes_exact(conf_value(t.key, DIGIN).c_str()), "checked"));
    return 0;
}
