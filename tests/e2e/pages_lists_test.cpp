// The list pages: static routes (item 30, STATIC_ROUTE), port forwarding
// (item 31, PORTFW), port filter (item 18, PORTFILTER) and firewall rules
// (item 36, FW_RULES). Each keeps one numbered list whose fields the form
// sends as blank-separated texts; static routes also keep the default gateway.
#include <gtest/gtest.h>

#include <sstream>

#include "page_support.h"

namespace {

struct Field {
    std::string name, form, opts, list;
    size_t max;
};

struct ListPage {
    std::string item, module, file, list;
    std::vector<Field> fields;
    std::string other, body;  // other settings of the file, sent again unchanged
};

const ListPage kPages[] = {
    {"30", "statrt", "static.config", "STATIC_ROUTE",
     {{"TARGET", "routelist", "ROUTEOPTS", "ROUTELIST", 18},
      {"GWAY", "gwaylist", "GWAYOPTS", "GWAYLIST", 15},
      {"MASQ", "masqlist", "MASQOPTS", "MASQLIST", 3}},
     "DEFAULT_GW_ITF='eth'\nDEFAULT_GW_IP='10.0.0.1'\n", "default_GW_itf=eth&default_GW_ip=10.0.0.1&"},
    {"31", "portfw", "forward.config", "PORTFW",
     {{"SOURCE", "portlist", "PORTOPTS", "PORTLIST", 25},
      {"PROTOCOL", "protlist", "PROTOPTS", "PROTLIST", 25},
      {"TARGET", "targetlist", "TARGOPTS", "TARGLIST", 25}},
     "", ""},
    {"18", "portfi", "portfilter.config", "PORTFILTER",
     {{"PORT", "denyportlist", "DENYOPTS", "DENYLIST", 25}, {"RULE", "denyrulelist", "RULEOPTS", "RULELIST", 25}},
     "", ""},
    {"36", "fwruls", "spec.config", "FW_RULES",
     {{"ACT", "actlist", "ACTOPTS", "ACTLIST", 15},
      {"SRCHOST", "srchostlist", "SRCHOSTOPTS", "SRCHOSTLIST", 15},
      {"DSTHOST", "dsthostlist", "DSTHOSTOPTS", "DSTHOSTLIST", 15},
      {"PROT", "protlist", "PROTOPTS", "PROTLIST", 15},
      {"SRCPORT", "srcportlist", "SRCPORTOPTS", "SRCPORTLIST", 15},
      {"DSTPORT", "dstportlist", "DSTPORTOPTS", "DSTPORTLIST", 15}},
     "", ""},
};

const std::string kLong = "0123456789abcdefghijklmnopqrstuvwxyz";

std::string opt(const std::string& value) { return "\n      <option>" + value + "</option>"; }

// Every list placeholder of the page, "|" between them.
void setup(Sandbox& sb, const ListPage& p)
{
    sb.defaults();
    std::string tmpl;
    for (const Field& f : p.fields)
        tmpl += "{" + f.opts + "}|{" + f.list + "}|";
    sb.write_doc("english/" + p.module + ".tmpl", tmpl);
    result_page(sb, p.module + "_head:Head\n" + p.module + "_rslt:Stored\n");
}

// The line of entry i of a field.
std::string entry(const ListPage& p, const Field& f, int i, const std::string& value)
{
    return p.list + "_" + std::to_string(i) + "_" + f.name + "='" + value + "'\n";
}

}  // namespace

TEST(ListPages, ShowCutsEachFieldAndFollowsTheCount)
{
    for (const ListPage& p : kPages) {
        Sandbox sb;
        setup(sb, p);
        std::string file, expected;
        for (const Field& f : p.fields) {
            file += p.list + "_1_" + f.name + "='" + kLong + "'\n" + p.list + "_2_" + f.name + "='a\"b'\n" +
                    p.list + "_3_" + f.name + "='hidden'\n";
            const std::string cut = kLong.substr(0, f.max);
            expected += opt(cut) + opt("a&quot;b") + "|" + cut + " a&quot;b |";
        }
        sb.config(p.file, p.list + "_N='2'\n" + file);
        CgiResult r = sb.get("item=" + p.item);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, expected) << p.module;
        // No count, or a count of 0: every placeholder empty.
        for (const std::string& count : {std::string(), p.list + "_N='0'\n"}) {
            sb.config(p.file, count + file);
            r = sb.get("item=" + p.item);
            EXPECT_EQ(r.status, 0);
            EXPECT_EQ(r.out, std::string(p.fields.size() * 2, '|')) << p.module << " " << count;
        }
    }
}

TEST(ListPages, ApplyStoresEveryFieldWithTheCountReadBefore)
{
    for (const ListPage& p : kPages) {
        // Three stored entries, and one past the count that no store touches.
        const std::string beyond = entry(p, p.fields[0], 4, "beyond");
        std::string old = p.other + p.list + "_N='3'\n" + beyond;
        for (const Field& f : p.fields)
            for (int i = 1; i <= 3; ++i)
                old += entry(p, f, i, "old");
        // Fewer entries than before, none at all, and a last field shorter than the
        // others: each store writes its own list's count, so the last one's stays.
        // {sent for the other fields, sent for the last, count left}
        const Lines cases[] = {{"x1 x2 ", "x1 x2 ", "2"}, {"x1 ", "x1 ", "1"}, {"", "", "0"}, {"a1 a2 a3 ", "z1", "1"}};
        for (const Lines& c : cases) {
            Sandbox sb;
            setup(sb, p);
            sb.config(p.file, old);
            std::string body = p.body, stored;
            for (const Field& f : p.fields) {
                const std::string& sent = &f == &p.fields.back() ? c[1] : c[0];
                body += f.form + "=" + sent + "&";
                std::istringstream words(sent);
                int i = 0;
                for (std::string w; words >> w;)
                    stored += entry(p, f, ++i, w);
            }
            for (char& ch : body)
                ch = ch == ' ' ? '+' : ch;
            CgiResult r = sb.post("item=" + p.item + "&act=1", body);
            EXPECT_EQ(r.status, 0);
            EXPECT_EQ(r.out, "Head\n|Stored\n") << p.module;
            EXPECT_EQ(sb.config(p.file), p.other + p.list + "_N='" + c[2] + "'\n" + beyond + stored)
                << p.module << " " << c[0];
        }
    }
}

TEST(StaticRoutesPage, GatewayAddressOnlyForEthernet)
{
    const Lines itfs = {"eth", "WAN", "ppp", "Modem", "none", "None"};
    // {interface sent, address stored after, option marks, state}
    const Lines cases[] = {{"eth", "10.9.8.7", "100", "enabled"}, {"ppp", "192.168.1.254", "010", "disabled"},
                           {"none", "192.168.1.254", "001", "disabled"}, {"eth1", "10.9.8.7", "000", "enabled"},
                           {"", "192.168.1.254", "000", "disabled"}};
    for (const Lines& c : cases) {
        Sandbox sb;
        sb.defaults();
        sb.write_doc("english/statrt.tmpl", "{DEFAULT_GW_ITF}|{GW_ENABLE}|{DEFAULT_GW_IP}|{ROUTELIST}");
        result_page(sb, "statrt_head:Routes\nstatrt_rslt:Stored\n");
        sb.config("static.config", "DEFAULT_GW_ITF='eth'\nDEFAULT_GW_IP='192.168.1.254'\nSTATIC_ROUTE_N='0'\n");
        CgiResult r = sb.post("item=30&act=1", "default_GW_itf=" + c[0] +
                                                   "&default_GW_ip=10.9.8.7&routelist=10.0.0.0/8"
                                                   "&gwaylist=192.168.0.1&masqlist=yes");
        EXPECT_EQ(r.out, "Routes\n|Stored\n");
        EXPECT_EQ(sb.config("static.config"), "DEFAULT_GW_ITF='" + c[0] + "'\nDEFAULT_GW_IP='" + c[1] +
                                                  "'\nSTATIC_ROUTE_N='1'\nSTATIC_ROUTE_1_TARGET='10.0.0.0/8'\n"
                                                  "STATIC_ROUTE_1_GWAY='192.168.0.1'\nSTATIC_ROUTE_1_MASQ='yes'\n")
            << c[0];
        r = sb.get("item=30");
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, option_lines(itfs, c[2]) + "|" + c[3] + "|" + c[1] + "|10.0.0.0/8 ") << c[0];
    }
    // The markup byte for byte, and an address cut to 15 characters.
    Sandbox sb;
    sb.defaults();
    sb.write_doc("english/statrt.tmpl", "{DEFAULT_GW_ITF}|{DEFAULT_GW_IP}");
    sb.config("static.config", "DEFAULT_GW_ITF='ppp'\nDEFAULT_GW_IP='192.168.100.1234'\n");
    EXPECT_EQ(sb.get("item=30").out, "\n    <option value=\"eth\">WAN</option>\n    <option value=\"ppp\" selected>"
                                     "Modem</option>\n    <option value=\"none\">None</option>|192.168.100.123");
}
