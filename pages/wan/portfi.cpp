// Port filter (item 18): filtered ports and their rules, the list PORTFILTER.
#include "pages/pages.h"
#include "render/pagehelp.h"

namespace {

constexpr const char* PORTFILTER = "portfilter.config";

const ListField FILTERS[] = {
    {"PORTFILTER", "PORT", "denyportlist", "{DENYOPTS}", "{DENYLIST}", 50, 26, "in file portfi line 28"},
    {"PORTFILTER", "RULE", "denyrulelist", "{RULEOPTS}", "{RULELIST}", 50, 26, "in file portfi line 28"},
};

}  // namespace

int portfi_act()
{
    list_store_all(PORTFILTER, FILTERS);
    return page_result("portfi");
}

int portfi_show() { return list_show_all(PORTFILTER, FILTERS); }
