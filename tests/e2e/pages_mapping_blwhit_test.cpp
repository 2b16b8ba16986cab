// The virtual IP mapping page (item 28) and the black and white lists page (item 32).
#include <gtest/gtest.h>

#include <sstream>
#include <tuple>

#include "page_support.h"

namespace {

struct Field {
    std::string name, form, opts, list;
    size_t max;  // characters shown
};
struct ListPage {
    std::string item, module, tmpl, file, list;
    std::vector<Field> fields;
    std::string key, form;  // the page's one other setting
};
const ListPage kMapping = {"28", "cccvmp", "vmp", "mapping.config", "VMAP_VIRTETH",
                           {{"IP2M", "ip2mlist", "IP2MOPTIONS", "IP2MLIST", 15},
                            {"M2IP", "m2iplist", "M2IPOPTIONS", "M2IPLIST", 15}},
                           "VMAP_ITF", "vmap_interface"};
const ListPage kAccess = {"32", "blwhit", "blwhit", "blackwhite.config", "BLWH_LIST",
                          {{"HOST", "hostlist", "HOSTOPTS", "HOSTLIST", 15},
                           {"PROT", "protlist", "PROTOPTS", "PROTLIST", 3},
                           {"PORT", "portlist", "PORTOPTS", "PORTLIST", 11}},
                          "BLWH_LIST_TYPE", "whiteList"};
const std::string kLong = "0123456789abcdefghijklmnopqrstuvwxyz";

// The page's template (by default every list placeholder, "|" after each).
void setup(Sandbox& sb, const ListPage& p, std::string tmpl = "")
{
    sb.defaults();
    if (tmpl.empty())
        for (const Field& f : p.fields)
            tmpl += "{" + f.opts + "}|{" + f.list + "}|";
    sb.write_doc("english/" + p.tmpl + ".tmpl", tmpl);
    result_page(sb, p.module + "_head:Head\n" + p.module + "_rslt:Stored\n");
}

std::string entry(const ListPage& p, const Field& f, int i, const std::string& value)
{
    return p.list + "_" + std::to_string(i) + "_" + f.name + "='" + value + "'\n";
}

}  // namespace

TEST(MappingAndAccessLists, ShowCutsEachFieldAndFollowsTheCount)
{
    for (const ListPage* p : {&kMapping, &kAccess}) {
        Sandbox sb;
        setup(sb, *p);
        std::string file, expected;
        for (const Field& f : p->fields) {
            file += entry(*p, f, 1, kLong) + entry(*p, f, 2, "a\"b") + entry(*p, f, 3, "hidden");
            const std::string cut = kLong.substr(0, f.max);
            expected += "\n      <option>" + cut + "</option>\n      <option>a&quot;b</option>|" + cut + " a&quot;b |";
        }
        sb.config(p->file, p->list + "_N='2'\n" + file);
        CgiResult r = sb.get("item=" + p->item);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, expected) << p->module;
        // No count, a count of 0 or one that is no number: every list placeholder empty.
        for (const std::string& count : {std::string(), p->list + "_N='0'\n", p->list + "_N='x2'\n"}) {
            sb.config(p->file, count + file);
            r = sb.get("item=" + p->item);
            EXPECT_EQ(r.status, 0);
            EXPECT_EQ(r.out, std::string(p->fields.size() * 2, '|')) << p->module << " " << count;
        }
    }
}

TEST(MappingAndAccessLists, ApplyStoresTheSettingAndEveryFieldWithTheCountReadBefore)
{
    for (const ListPage* p : {&kMapping, &kAccess}) {
        // Three stored entries, and one past the count that no store touches.
        const std::string beyond = entry(*p, p->fields[0], 4, "beyond");
        std::string old = p->key + "='old'\n" + p->list + "_N='3'\n" + beyond;
        for (const Field& f : p->fields)
            for (int i = 1; i <= 3; ++i)
                old += entry(*p, f, i, "old");
        // {setting sent, sent for the other fields, sent for the last, count left}: each store
        // writes the count, so the last field's stays; one character counts as nothing.
        const Lines cases[] = {{"none", "x1 x2 ", "x1 x2 ", "2"}, {"eth1", "x1  ", "x1", "1"},
                               {"", "", "", "0"}, {"white", "a1 a2 a3 ", "z", "0"}};
        for (const Lines& c : cases) {
            Sandbox sb;
            setup(sb, *p);
            sb.config(p->file, old);
            std::string body = p->form + "=" + c[0] + "&", stored;
            for (const Field& f : p->fields) {
                const std::string& sent = &f == &p->fields.back() ? c[2] : c[1];
                body += f.form + "=" + sent + "&";
                std::istringstream words(sent.size() < 2 ? "" : sent);
                int i = 0;
                for (std::string w; words >> w;)
                    stored += entry(*p, f, ++i, w);
            }
            for (char& ch : body)
                ch = ch == ' ' ? '+' : ch;
            CgiResult r = sb.post("item=" + p->item + "&act=1", body);
            EXPECT_EQ(r.status, 0);
            EXPECT_EQ(r.out, "Head\n|Stored\n") << p->module;
            EXPECT_EQ(sb.config(p->file),
                      p->key + "='" + c[0] + "'\n" + p->list + "_N='" + c[3] + "'\n" + beyond + stored)
                << p->module << " " << c[0];
        }
    }
    // The factory files carry every key the pages write. {page, body, file after}
    const std::tuple<const ListPage*, std::string, std::string> factory[] = {
        {&kMapping, "vmap_interface=eth0&ip2mlist=10.1.0.1&m2iplist=192.168.0.1",
         "# Virtual IP mapping: the interface (none, eth0 or eth1) and the address pairs.\nVMAP_ITF='eth0'\n"
         "VMAP_VIRTETH_N='1'\nVMAP_VIRTETH_1_IP2M='10.1.0.1'\nVMAP_VIRTETH_1_M2IP='192.168.0.1'\n"},
        {&kAccess, "whiteList=white&hostlist=10.1.0.1&protlist=tcp&portlist=80",
         "# Black and white lists: the list type (white or black) and its entries.\nBLWH_LIST_TYPE='white'\n"
         "BLWH_LIST_N='1'\nBLWH_LIST_1_HOST='10.1.0.1'\nBLWH_LIST_1_PROT='tcp'\nBLWH_LIST_1_PORT='80'\n"}};
    for (const auto& [p, body, file] : factory) {
        Sandbox sb;
        setup(sb, *p);
        EXPECT_EQ(sb.post("item=" + p->item + "&act=1", body).out, "Head\n|Stored\n");
        EXPECT_EQ(sb.config(p->file), file);
    }
}

TEST(MappingAndAccessLists, ShowTheInterfaceAndTheListType)
{
    Sandbox sb;
    setup(sb, kMapping, "{INTERFACE_OPTS}|{VMPENABLE}|{COUNT}");
    // {mapping.config, option marks, state, count shown}: "none" is compared over four
    // characters, the options exactly; the count as stored unless it reads as 0.
    const Lines cases[] = {{"VMAP_ITF='eth1'\nVMAP_VIRTETH_N='2'\n", "001", "enabled", "2"},
                           {"VMAP_ITF='none'\nVMAP_VIRTETH_N='0'\n", "100", "disabled", "0"},
                           {"VMAP_ITF='nonesuch'\nVMAP_VIRTETH_N='ab'\n", "000", "disabled", "0"},
                           {"VMAP_ITF='eth0x'\nVMAP_VIRTETH_N='03x'\n", "000", "enabled", "03x"},
                           {"VMAP_ITF='eth0'\n", "010", "enabled", "0"},
                           {"", "000", "enabled", "0"}};
    for (const Lines& c : cases) {
        sb.config("mapping.config", c[0]);
        EXPECT_EQ(sb.get("item=28").out,
                  option_lines({"none", "None", "eth0", "LAN", "eth1", "WAN"}, c[1]) + "|" + c[2] + "|" + c[3])
            << c[0];
    }
    // Only a type beginning with "white" checks the white list.
    setup(sb, kAccess, "{CHECK1}|{CHECK2}");
    const Lines types[] = {{"BLWH_LIST_TYPE='white'\n", "checked|"}, {"BLWH_LIST_TYPE='whitelist'\n", "checked|"},
                           {"BLWH_LIST_TYPE='whit'\n", "|checked"},  {"BLWH_LIST_TYPE='White'\n", "|checked"},
                           {"BLWH_LIST_N='0'\n", "|checked"}};
    for (const Lines& c : types) {
        sb.config("blackwhite.config", c[0]);
        EXPECT_EQ(sb.get("item=32").out, c[1]) << c[0];
    }
}
