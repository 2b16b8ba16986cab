// Firewall rules (item 36): the ordered list FW_RULES with six fields.
#include "pages/pages.h"
#include "render/pagehelp.h"

namespace {

constexpr const char* SPEC = "spec.config";

const ListField RULES[] = {
    {"FW_RULES", "ACT", "actlist", "{ACTOPTS}", "{ACTLIST}", 40, 16, "in file fwruls line 29"},
    {"FW_RULES", "SRCHOST", "srchostlist", "{SRCHOSTOPTS}", "{SRCHOSTLIST}", 40, 16, "in file fwruls line 29"},
    {"FW_RULES", "DSTHOST", "dsthostlist", "{DSTHOSTOPTS}", "{DSTHOSTLIST}", 40, 16, "in file fwruls line 29"},
    {"FW_RULES", "PROT", "protlist", "{PROTOPTS}", "{PROTLIST}", 40, 16, "in file fwruls line 29"},
    {"FW_RULES", "SRCPORT", "srcportlist", "{SRCPORTOPTS}", "{SRCPORTLIST}", 40, 16, "in file fwruls line 29"},
    {"FW_RULES", "DSTPORT", "dstportlist", "{DSTPORTOPTS}", "{DSTPORTLIST}", 40, 16, "in file fwruls line 29"},
};

}  // namespace

int fwruls_act()
{
    list_store_all(SPEC, RULES);
    return page_result("fwruls");
}

int fwruls_show() { return list_show_all(SPEC, RULES); }
