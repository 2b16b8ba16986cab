// Port forwarding (item 31): incoming port, protocol and inner target, the
// list PORTFW.
#include "pages/pages.h"
#include "render/pagehelp.h"

namespace {

constexpr const char* FORWARD = "forward.config";

const ListField FORWARDINGS[] = {
    {"PORTFW", "SOURCE", "portlist", "{PORTOPTS}", "{PORTLIST}", 50, 26, "in file portfw line 32"},
    {"PORTFW", "PROTOCOL", "protlist", "{PROTOPTS}", "{PROTLIST}", 50, 26, "in file portfw line 32"},
    {"PORTFW", "TARGET", "targetlist", "{TARGOPTS}", "{TARGLIST}", 50, 26, "in file portfw line 32"},
};

}  // namespace

int portfw_act()
{
    list_store_all(FORWARD, FORWARDINGS);
    return page_result("portfw");
}

int portfw_show() { return list_show_all(FORWARD, FORWARDINGS); }
