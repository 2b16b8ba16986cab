// The SNMP agent page (item 39, "snmp.config") and the OSPF routing page
// (item 45, "ospf.config"). Applies start from the factory files, so a key
// the factory file lacks shows up as "no line KEY".
#include <gtest/gtest.h>

#include "page_support.h"

namespace {

void snmp_setup(Sandbox& sb)
{
    sb.defaults();
    sb.write_doc("english/snmp.tmpl", "{SNMPSYSNAME}|{SNMPSYSLOC}|{SNMPSYSCONT}|{SNMPROCOMM}|{SNMPRWCOMM}|"
                                      "{SNMPTRAPCOMM}|{SINKOPTS}|{SINKLIST}|{SNMPV3NAME}|{CHECK11}|{CHECK12}|"
                                      "{CHECK21}|{CHECK22}");
    result_page(sb, "ccsnmp_head:SNMP\nccsnmp_rslt:Stored\n");
}

const char kSnmpBody[] = "sysname=gw1&location=Rack+3&contact=ops%40x&rocomm=ro&rwcomm=rw&trapcomm=tc&"
                         "sinklist=10.0.0.1+10.0.0.2+&v3name=admin&authtype=SHA&privprot=AES";

}  // namespace

TEST(SnmpPage, ShowTestsMd5AndDesExactlyAndNeverShowsPasswords)
{
    // {authentication type line, privacy line, the four marks}
    const Lines cases[] = {
        {"SNMP_V3AUTHTYPE='MD5'\n", "SNMP_V3PRIVPROT='DES'\n", "checked||checked|"},
        {"", "", "|checked||checked"},  // nothing stored: the second choice
        {"SNMP_V3AUTHTYPE='md5'\n", "SNMP_V3PRIVPROT='DESX'\n", "|checked||checked"},
        {"SNMP_V3AUTHTYPE='SHA'\n", "SNMP_V3PRIVPROT='DES'\n", "|checked|checked|"},
    };
    Sandbox sb;
    snmp_setup(sb);
    for (const Lines& c : cases) {
        sb.config("snmp.config", "SNMP_SYSNAME='gw \"1\"'\nSNMP_SYSLOCATION='Rack 3'\nSNMP_SYSCONTACT='ops'\n"
                                 "SNMP_ROCOMMUNITY='ro'\nSNMP_RWCOMMUNITY='rw'\nSNMP_TRAPCOMMUNITY='tc'\n"
                                 "SNMP_TRAPSINK_N='2'\nSNMP_TRAPSINK_1_IP='192.168.100.1234'\n"
                                 "SNMP_TRAPSINK_2_IP='10.0.0.2'\nSNMP_TRAPSINK_3_IP='10.0.0.3'\n"
                                 "SNMP_V3USER='admin'\nSNMP_V3AUTHPASS='authsecret'\nSNMP_V3PRIVPASS='privsecret'\n" +
                                     c[0] + c[1]);
        CgiResult r = sb.get("item=39");
        EXPECT_EQ(r.status, 0);
        // Addresses are cut to 15 characters; the third entry lies beyond the count.
        EXPECT_EQ(r.out, "gw \"1\"|Rack 3|ops|ro|rw|tc|\n      <option>192.168.100.123</option>\n      "
                         "<option>10.0.0.2</option>|192.168.100.123 10.0.0.2 |admin|" + c[2])
            << c[0] << c[1];
    }
    // An empty file: every field empty, no community of the page's own.
    sb.config("snmp.config", "");
    EXPECT_EQ(sb.get("item=39").out, "||||||||||checked||checked");
}

TEST(SnmpPage, ApplyStoresEverythingButEmptyPasswords)
{
    const std::vector<Lines> sent = {{"SNMP_SYSNAME", "gw1"},          {"SNMP_SYSLOCATION", "Rack 3"},
                                     {"SNMP_SYSCONTACT", "ops@x"},     {"SNMP_ROCOMMUNITY", "ro"},
                                     {"SNMP_RWCOMMUNITY", "rw"},       {"SNMP_TRAPCOMMUNITY", "tc"},
                                     {"SNMP_TRAPSINK_N", "2"},         {"SNMP_V3USER", "admin"},
                                     {"SNMP_V3AUTHTYPE", "SHA"},       {"SNMP_V3PRIVPROT", "AES"}};
    const std::string sinks = "SNMP_TRAPSINK_1_IP='10.0.0.1'\nSNMP_TRAPSINK_2_IP='10.0.0.2'\n";
    // {password fields sent, the passwords stored after}
    const Lines cases[] = {{"&authpwd=auth1234&privpwd=priv1234", "auth1234", "priv1234"},
                           {"&authpwd=&privpwd=", "oldauth", "oldpriv"},
                           {"&authpwd=pw!", "pw!", "oldpriv"},  // stored as sent, however short
                           {"", "oldauth", "oldpriv"}};
    for (const Lines& c : cases) {
        Sandbox sb;
        snmp_setup(sb);
        // Three receivers before: all three go, the new ones are appended.
        const std::string before = edit_conf(sb.config("snmp.config"),
                                             {{"SNMP_TRAPSINK_N", "3"}, {"SNMP_V3AUTHPASS", "oldauth"},
                                              {"SNMP_V3PRIVPASS", "oldpriv"}}) +
                                   "SNMP_TRAPSINK_1_IP='a'\nSNMP_TRAPSINK_2_IP='b'\nSNMP_TRAPSINK_3_IP='c'\n";
        sb.config("snmp.config", before);
        CgiResult r = sb.post("item=39&act=1", kSnmpBody + c[0]);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, "SNMP\n|Stored\n");
        const std::string stored = sb.config("snmp.config");
        EXPECT_EQ(stored, edit_conf(before.substr(0, before.find("SNMP_TRAPSINK_1_IP")),
                                    concat(sent, {{"SNMP_V3AUTHPASS", c[1]}, {"SNMP_V3PRIVPASS", c[2]}})) +
                              sinks)
            << c[0];
        // Shown again without the passwords.
        CgiResult shown = sb.get("item=39");
        EXPECT_EQ(shown.out.find(c[1]), std::string::npos);
        EXPECT_EQ(shown.out.find(c[2]), std::string::npos);
    }
}

namespace {

void ospf_setup(Sandbox& sb)
{
    sb.defaults();
    sb.write_doc("english/ospf.tmpl", "{OPT_OSPF}|{OSPF_ENABLED}|{OSPF_HOSTNAME}|{OSPF_AUTH_KEY}|"
                                      "{OSPF_PROPAGATE_STATIC}|{OSPF_AREA1_PRIO}|{OSPF_ETH0_HELLO}|{OSPF_ETH0_DEAD}|"
                                      "{OSPF_ETH0_NET}|{CHECK1}|{ETH0_ENABLED}|{OSPF_ETH1_HELLO}|{OSPF_ETH1_DEAD}|"
                                      "{OSPF_ETH1_NET}|{CHECK2}|{ETH1_ENABLED}");
    result_page(sb, "ccospf_head:OSPF\nccospf_rslt:Stored\n");
}

// The network-type options with option `selected` (1 to 4, 0: none) marked.
std::string net_types(int selected)
{
    const char* const rows[][2] = {{"broadcast", "Broadcast"},
                                   {"non-broadcast", "non-Broadcast"},
                                   {"point-to-multipoint", "Point-To-Multipoint"},
                                   {"point-to-point", "Point-To-Point"}};
    std::string out;
    for (int i = 0; i < 4; ++i)
        out += std::string("\n<option value=\"") + rows[i][0] + "\"" + (i + 1 == selected ? " selected" : " ") +
               ">" + rows[i][1] + "</option>";
    return out;
}

}  // namespace

TEST(OspfPage, ShowKeepsEachFieldsYesTestAndMarksTheExactNetworkType)
{
    // {OPT_OSPF, OSPF_PROPAGATE_STATIC, OSPF_ACTIVATE_ETH0, OSPF_ACTIVATE_ETH1, OSPF_NET_ETH0, OSPF_NET_ETH1,
    //  the marks of service, static, ETH0 and ETH1 as "checked"-or-not flags, selected types}
    const Lines cases[] = {
        {"yes", "yes", "yes", "yesterday", "point-to-point", "broadcast", "1111", "41"},
        {"yesterday", "yesterday", "yes", "no", "Broadcast", "non-broadcast", "0010", "02"},
        {"no", "no", "Yes", "yes", "point-to-point ", "point-to-multipoint", "0001", "03"},
        {"yes", "no", "no", "yes", "", "point-to-point", "1001", "04"},
    };
    Sandbox sb;
    ospf_setup(sb);
    for (const Lines& c : cases) {
        sb.config("ospf.config", "OPT_OSPF='" + c[0] + "'\nOSPF_HOSTNAME='r1'\nOSPF_AUTH_KEY='k\"ey'\n"
                                 "OSPF_PROPAGATE_STATIC='" + c[1] + "'\nOSPF_PRIO_AREA1='7'\n"
                                 "OSPF_TELNET_PASSWORD='zebrasecret'\nOSPF_ACTIVATE_ETH0='" + c[2] +
                                 "'\nOSPF_HELLO_ETH0='11'\nOSPF_DEAD_ETH0='44'\nOSPF_NET_ETH0='" + c[4] +
                                 "'\nOSPF_ACTIVATE_ETH1='" + c[3] + "'\nOSPF_HELLO_ETH1='12'\nOSPF_DEAD_ETH1='48'\n"
                                 "OSPF_NET_ETH1='" + c[5] + "'\n");
        auto mark = [&](int i) { return std::string(c[6][i] == '1' ? "checked" : ""); };
        bool on = c[6][0] == '1';
        auto state = [&](int i) { return std::string(on && c[6][i] == '1' ? "enabled" : "disabled"); };
        CgiResult r = sb.get("item=45");
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, mark(0) + "|" + (on ? "enabled" : "disabled") + "|r1|k\"ey|" + mark(1) + "|7|11|44|" +
                             net_types(c[7][0] - '0') + "|" + mark(2) + "|" + state(2) + "|12|48|" +
                             net_types(c[7][1] - '0') + "|" + mark(3) + "|" + state(3))
            << c[0] << " " << c[2] << " " << c[3];
    }
}

TEST(OspfPage, ApplyStoresWhatTheSwitchesLet)
{
    const std::string all = "&rname=r2&authkey=key2&ospf_static=yes&prio1=9&hello1=5&dead1=20&nettyp1=point-to-point"
                            "&hello2=6&dead2=24&nettyp2=non-broadcast";
    const std::vector<Lines> router = {{"OPT_OSPF", "yes"},     {"OSPF_HOSTNAME", "r2"}, {"OSPF_AUTH_KEY", "key2"},
                                       {"OSPF_PRIO_AREA1", "9"}};
    const std::vector<Lines> eth0 = {{"OSPF_HELLO_ETH0", "5"}, {"OSPF_DEAD_ETH0", "20"},
                                     {"OSPF_NET_ETH0", "point-to-point"}};
    const std::vector<Lines> eth1 = {{"OSPF_HELLO_ETH1", "6"}, {"OSPF_DEAD_ETH1", "24"},
                                     {"OSPF_NET_ETH1", "non-broadcast"}};
    const struct {
        std::string body;
        std::vector<Lines> edits;
    } cases[] = {
        // Off (not beginning with "yes"): only the switch is written.
        {"ospf_service=Yes&if1=yes&if2=yes&Zebra_Pass=pw&Zebra_PassRe=pw" + all, {{"OPT_OSPF", "no"}}},
        {"if1=yes" + all, {{"OPT_OSPF", "no"}}},
        // "begins with yes" for the service, "exactly yes" for the others.
        {"ospf_service=yesplease&if1=yes" + all,
         concat(concat(router, eth0), {{"OSPF_PROPAGATE_STATIC", "yes"}, {"OSPF_ACTIVATE_ETH0", "yes"},
                                       {"OSPF_ACTIVATE_ETH1", "no"}})},
        {"ospf_service=yes&if1=yess&if2=yes" + all + "&ospf_static=yes2",
         concat(concat(router, eth1), {{"OSPF_PROPAGATE_STATIC", "no"}, {"OSPF_ACTIVATE_ETH0", "no"},
                                       {"OSPF_ACTIVATE_ETH1", "yes"}})},
    };
    for (const auto& c : cases) {
        Sandbox sb;
        ospf_setup(sb);
        const std::string before = sb.config("ospf.config");
        CgiResult r = sb.post("item=45&act=1", c.body);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, "OSPF\n|Stored\n");
        EXPECT_EQ(sb.config("ospf.config"), edit_conf(before, c.edits)) << c.body;
    }
}

TEST(OspfPage, TelnetPasswordIsStoredPlainWhenBothLookupsAgree)
{
    // The lookups match by prefix, newest first: "Zebra_Pass" also finds a
    // "Zebra_PassRe" sent after it. {fields sent, stored password ("" kept)}
    const Lines cases[] = {
        {"Zebra_Pass=abc&Zebra_PassRe=abc", "abc"}, {"Zebra_Pass=abc&Zebra_PassRe=xyz", "xyz"},
        {"Zebra_PassRe=xyz&Zebra_Pass=abc", ""},    {"Zebra_Pass=abc", ""},
        {"Zebra_PassRe=xyz", "xyz"},                {"Zebra_Pass=abc&Zebra_PassRe=", ""},
        {"Zebra_PassRe=abc&Zebra_Pass=abc", "abc"},
    };
    for (const Lines& c : cases) {
        Sandbox sb;
        ospf_setup(sb);
        const std::string before = edit_conf(sb.config("ospf.config"), {{"OSPF_TELNET_PASSWORD", "old"}});
        sb.config("ospf.config", before);
        sb.post("item=45&act=1", "ospf_service=yes&" + c[0]);
        const std::string expected =
            edit_conf(before, {{"OPT_OSPF", "yes"}, {"OSPF_HOSTNAME", ""}, {"OSPF_AUTH_KEY", ""},
                               {"OSPF_PROPAGATE_STATIC", "no"}, {"OSPF_PRIO_AREA1", ""},
                               {"OSPF_TELNET_PASSWORD", c[1].empty() ? "old" : c[1]},
                               {"OSPF_ACTIVATE_ETH0", "no"}, {"OSPF_ACTIVATE_ETH1", "no"}});
        EXPECT_EQ(sb.config("ospf.config"), expected) << c[0];
        EXPECT_EQ(sb.get("item=45").out.find(c[1].empty() ? "old" : c[1]), std::string::npos) << c[0];
    }
}
