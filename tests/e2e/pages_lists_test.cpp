// The list pages: static routes (item 30), port forwarding (31), port filter (18), firewall rules (36), virtual IP
// mapping (28), black and white lists (32): one numbered list each, its fields sent as blank-separated texts.

#include <sstream>

#include "page_support.h"

namespace {

struct Field {
    std::string name, form, opts, list;
    size_t max;  // characters shown
};
struct ListPage {
    std::string item, module, tmpl, file, list;
    std::vector<Field> fields;
    std::string before, sent, after;  // the page's other settings: stored before, sent, stored after
};

const ListPage kPages[] = {
    {"30", "statrt", "statrt", "static.config", "STATIC_ROUTE",
     {{"TARGET", "routelist", "ROUTEOPTS", "ROUTELIST", 18}, {"GWAY", "gwaylist", "GWAYOPTS", "GWAYLIST", 15},
      {"MASQ", "masqlist", "MASQOPTS", "MASQLIST", 3}},
     "DEFAULT_GW_ITF='ppp'\nDEFAULT_GW_IP='old'\n", "default_GW_itf=eth1&default_GW_ip=10.0.0.1&",
     "DEFAULT_GW_ITF='eth1'\nDEFAULT_GW_IP='10.0.0.1'\n"},
    {"31", "portfw", "portfw", "forward.config", "PORTFW",
     {{"SOURCE", "portlist", "PORTOPTS", "PORTLIST", 25}, {"PROTOCOL", "protlist", "PROTOPTS", "PROTLIST", 25},
      {"TARGET", "targetlist", "TARGOPTS", "TARGLIST", 25}}, "", "", ""},
    {"18", "portfi", "portfi", "portfilter.config", "PORTFILTER",
     {{"PORT", "denyportlist", "DENYOPTS", "DENYLIST", 25}, {"RULE", "denyrulelist", "RULEOPTS", "RULELIST", 25}},
     "", "", ""},
    {"36", "fwruls", "fwruls", "spec.config", "FW_RULES",
     {{"ACT", "actlist", "ACTOPTS", "ACTLIST", 15}, {"SRCHOST", "srchostlist", "SRCHOSTOPTS", "SRCHOSTLIST", 15},
      {"DSTHOST", "dsthostlist", "DSTHOSTOPTS", "DSTHOSTLIST", 15}, {"PROT", "protlist", "PROTOPTS", "PROTLIST", 15},
      {"SRCPORT", "srcportlist", "SRCPORTOPTS", "SRCPORTLIST", 15},
      {"DSTPORT", "dstportlist", "DSTPORTOPTS", "DSTPORTLIST", 15}}, "", "", ""},
    {"28", "cccvmp", "vmp", "mapping.config", "VMAP_VIRTETH",
     {{"IP2M", "ip2mlist", "IP2MOPTIONS", "IP2MLIST", 15}, {"M2IP", "m2iplist", "M2IPOPTIONS", "M2IPLIST", 15}},
     "VMAP_ITF='old'\n", "vmap_interface=eth1&", "VMAP_ITF='eth1'\n"},
    {"32", "blwhit", "blwhit", "blackwhite.config", "BLWH_LIST",
     {{"HOST", "hostlist", "HOSTOPTS", "HOSTLIST", 15}, {"PROT", "protlist", "PROTOPTS", "PROTLIST", 3},
      {"PORT", "portlist", "PORTOPTS", "PORTLIST", 11}},
     "BLWH_LIST_TYPE='old'\n", "whiteList=white&", "BLWH_LIST_TYPE='white'\n"},
};

void setup(const Sandbox& sb, const ListPage& p, std::string tmpl = "")
{
    if (tmpl.empty())  // every list placeholder, "|" after each
        for (const Field& f : p.fields)
            tmpl += "{" + f.opts + "}|{" + f.list + "}|";
    page_setup(sb, p.tmpl, tmpl, p.module + "_head:Head\n" + p.module + "_rslt:Stored\n");
}

std::string entry(const ListPage& p, const Field& f, int i, const std::string& value)
{
    return p.list + "_" + std::to_string(i) + "_" + f.name + "='" + value + "'\n";
}

}  // namespace

TEST(ListPages, ShowCutsEachFieldAndFollowsTheCount)
{
    const std::string longest = "0123456789abcdefghijklmnopqrstuvwxyz";
    for (const ListPage& p : kPages) {
        Sandbox sb;
        setup(sb, p);
        std::string file, expected;
        for (const Field& f : p.fields) {
            file += entry(p, f, 1, longest) + entry(p, f, 2, "a\"b") + entry(p, f, 3, "hidden");
            const std::string cut = longest.substr(0, f.max);
            expected += list_options({cut, "a&quot;b"}) + "|" + cut + " a&quot;b |";
        }
        sb.config(p.file, p.list + "_N='2'\n" + file);
        EXPECT_EQ(sb.get("item=" + p.item).out, expected) << p.module;
        // No count, a count of 0 or one that is no number: every placeholder empty.
        for (const std::string& count : {std::string(), p.list + "_N='0'\n", p.list + "_N='x2'\n"}) {
            sb.config(p.file, count + file);
            EXPECT_EQ(sb.get("item=" + p.item).out, std::string(p.fields.size() * 2, '|')) << p.module << count;
        }
    }
}

TEST(ListPages, ApplyStoresEveryFieldWithTheCountReadBefore)
{
    // {sent for the other fields, sent for the last, count left}: each store writes its own list's count, so
    // the last one's stays; one character counts as nothing.
    const Lines cases[] = {{"x1 x2 ", "x1 x2 ", "2"}, {"", "", "0"}, {"a1 a2 a3 ", "z1", "1"}, {"x1  ", "z", "0"}};
    for (const ListPage& p : kPages)
        for (const Lines& c : cases) {
            // Three stored entries, and one past the count that no store touches.
            const std::string beyond = entry(p, p.fields[0], 4, "beyond");
            std::string old = p.before + p.list + "_N='3'\n" + beyond, body = p.sent, stored;
            for (const Field& f : p.fields) {
                const std::string& sent = &f == &p.fields.back() ? c[1] : c[0];
                for (int i = 1; i <= 3; ++i)
                    old += entry(p, f, i, "old");
                body += f.form + "=" + sent + "&";
                std::istringstream words(sent.size() < 2 ? "" : sent);
                int i = 0;
                for (std::string w; words >> w;)
                    stored += entry(p, f, ++i, w);
            }
            Sandbox sb;
            setup(sb, p);
            sb.config(p.file, old);
            for (char& ch : body)
                ch = ch == ' ' ? '+' : ch;
            EXPECT_EQ(sb.post("item=" + p.item + "&act=1", body).out, "Head\n|Stored\n") << p.module;
            EXPECT_EQ(sb.config(p.file), p.after + p.list + "_N='" + c[2] + "'\n" + beyond + stored)
                << p.module << " " << c[0];
        }
}

TEST(ListPages, TheirOtherSettings)
{
    const Lines itfs = {"eth", "WAN", "ppp", "Modem", "none", "None"};
    // Static routes: the gateway address is stored only for an interface beginning with "eth".
    // {interface sent, address stored after, option marks, state}
    const Lines gateways[] = {{"eth", "10.9.8.7", "100", "enabled"}, {"ppp", "192.168.1.254", "010", "disabled"},
                              {"none", "192.168.1.254", "001", "disabled"}, {"eth1", "10.9.8.7", "000", "enabled"},
                              {"", "192.168.1.254", "000", "disabled"}};
    for (const Lines& c : gateways) {
        Sandbox sb;
        setup(sb, kPages[0], "{DEFAULT_GW_ITF}|{GW_ENABLE}|{DEFAULT_GW_IP}");
        sb.config("static.config", "DEFAULT_GW_ITF='eth'\nDEFAULT_GW_IP='192.168.1.254'\nSTATIC_ROUTE_N='0'\n");
        sb.post("item=30&act=1", "default_GW_itf=" + c[0] + "&default_GW_ip=10.9.8.7");
        EXPECT_EQ(sb.config("static.config"), "DEFAULT_GW_ITF='" + c[0] + "'\nDEFAULT_GW_IP='" + c[1] +
                                                  "'\nSTATIC_ROUTE_N='0'\n") << c[0];
        EXPECT_EQ(sb.get("item=30").out, option_lines(itfs, c[2]) + "|" + c[3] + "|" + c[1]) << c[0];
    }
    // Shown cut to 15 characters.
    Sandbox sb;
    setup(sb, kPages[0], "{DEFAULT_GW_IP}");
    EXPECT_EQ(shown(sb, "item=30", "static.config", "DEFAULT_GW_IP='192.168.100.1234'\n"), "192.168.100.123");
    // Mapping: {mapping.config, option marks, state, count shown}: "none" is compared over four characters, the
    // options exactly; the count as stored unless it reads as 0.
    setup(sb, kPages[4], "{INTERFACE_OPTS}|{VMPENABLE}|{COUNT}");
    const Lines mappings[] = {{"VMAP_ITF='eth1'\nVMAP_VIRTETH_N='2'\n", "001", "enabled", "2"},
                              {"VMAP_ITF='none'\nVMAP_VIRTETH_N='0'\n", "100", "disabled", "0"},
                              {"VMAP_ITF='nonesuch'\nVMAP_VIRTETH_N='ab'\n", "000", "disabled", "0"},
                              {"VMAP_ITF='eth0x'\nVMAP_VIRTETH_N='03x'\n", "000", "enabled", "03x"},
                              {"VMAP_ITF='eth0'\n", "010", "enabled", "0"},
                              {"", "000", "enabled", "0"}};
    for (const Lines& c : mappings) {
        sb.config("mapping.config", c[0]);
        EXPECT_EQ(sb.get("item=28").out,
                  option_lines({"none", "None", "eth0", "LAN", "eth1", "WAN"}, c[1]) + "|" + c[2] + "|" + c[3])
            << c[0];
    }
    // Access lists: only a type beginning with "white" checks the white list.
    setup(sb, kPages[5], "{CHECK1}|{CHECK2}");
    for (const Lines& c : {Lines{"white", "checked|"}, Lines{"whitelist", "checked|"}, Lines{"whit", "|checked"},
                           Lines{"White", "|checked"}}) {
        EXPECT_EQ(shown(sb, "item=32", "blackwhite.config", "BLWH_LIST_TYPE='" + c[0] + "'\n"), c[1]) << c[0];
    }
}
