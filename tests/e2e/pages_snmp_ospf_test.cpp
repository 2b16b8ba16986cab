// The SNMP agent page (item 39) and the OSPF routing page (item 45). Applies start from the factory
// files, so a key the factory file lacks shows up as "no line KEY".
#include <gtest/gtest.h>

#include "page_support.h"

namespace {

// The factory files, the page's template and the result page of module.
void setup(Sandbox& sb, const std::string& page, const std::string& module, const std::string& tmpl)
{
    sb.defaults();
    sb.write_doc("english/" + page + ".tmpl", tmpl);
    result_page(sb, module + "_head:Head\n" + module + "_rslt:Stored\n");
}

void snmp_setup(Sandbox& sb)
{
    setup(sb, "snmp", "ccsnmp", "{SNMPSYSNAME}|{SNMPSYSLOC}|{SNMPSYSCONT}|{SNMPROCOMM}|{SNMPRWCOMM}|{SNMPTRAPCOMM}|"
                                "{SINKOPTS}|{SINKLIST}|{SNMPV3NAME}|{CHECK11}|{CHECK12}|{CHECK21}|{CHECK22}");
}

}  // namespace

TEST(SnmpPage, ShowTestsMd5AndDesExactlyAndNeverShowsPasswords)
{
    Sandbox sb;
    snmp_setup(sb);
    // {authentication type and privacy lines, the four marks}
    const Lines cases[] = {{"SNMP_V3AUTHTYPE='MD5'\nSNMP_V3PRIVPROT='DES'\n", "checked||checked|"},
                           {"SNMP_V3AUTHTYPE='md5'\nSNMP_V3PRIVPROT='DESX'\n", "|checked||checked"},
                           {"SNMP_V3AUTHTYPE='SHA'\nSNMP_V3PRIVPROT='DES'\n", "|checked|checked|"}};
    for (const Lines& c : cases) {
        sb.config("snmp.config", "SNMP_SYSNAME='gw \"1\"'\nSNMP_SYSLOCATION='Rack 3'\nSNMP_SYSCONTACT='ops'\n"
                                 "SNMP_ROCOMMUNITY='ro'\nSNMP_RWCOMMUNITY='rw'\nSNMP_TRAPCOMMUNITY='tc'\n"
                                 "SNMP_TRAPSINK_N='2'\nSNMP_TRAPSINK_1_IP='192.168.100.1234'\n"
                                 "SNMP_TRAPSINK_2_IP='10.0.0.2'\nSNMP_TRAPSINK_3_IP='10.0.0.3'\n"
                                 "SNMP_V3USER='admin'\nSNMP_V3AUTHPASS='authsecret'\nSNMP_V3PRIVPASS='privsecret'\n" +
                                     c[0]);
        CgiResult r = sb.get("item=39");
        EXPECT_EQ(r.status, 0);
        // Addresses are cut to 15 characters; the third entry lies beyond the count.
        EXPECT_EQ(r.out, "gw &quot;1&quot;|Rack 3|ops|ro|rw|tc|\n      <option>192.168.100.123</option>\n      "
                         "<option>10.0.0.2</option>|192.168.100.123 10.0.0.2 |admin|" + c[1])
            << c[0];
    }
    // An empty file: every field empty, the second choices, no community of the page's own.
    sb.config("snmp.config", "");
    EXPECT_EQ(sb.get("item=39").out, "||||||||||checked||checked");
}

TEST(SnmpPage, ApplyStoresEverythingButEmptyPasswords)
{
    const std::vector<Lines> sent = {{"SNMP_SYSNAME", "gw1"},      {"SNMP_SYSLOCATION", "Rack 3"},
                                     {"SNMP_SYSCONTACT", "ops@x"}, {"SNMP_ROCOMMUNITY", "ro"},
                                     {"SNMP_RWCOMMUNITY", "rw"},   {"SNMP_TRAPCOMMUNITY", "tc"},
                                     {"SNMP_TRAPSINK_N", "2"},     {"SNMP_V3USER", "admin"},
                                     {"SNMP_V3AUTHTYPE", "SHA"},   {"SNMP_V3PRIVPROT", "AES"}};
    // {password fields sent, the passwords stored after}
    const Lines cases[] = {{"&authpwd=auth1234&privpwd=priv1234", "auth1234", "priv1234"},
                           {"&authpwd=&privpwd=", "oldauth", "oldpriv"},
                           {"&authpwd=pw!", "pw!", "oldpriv"}};  // stored as sent, however short
    for (const Lines& c : cases) {
        Sandbox sb;
        snmp_setup(sb);
        // Three receivers before: all three go, the new ones are appended.
        const std::string kept = edit_conf(sb.config("snmp.config"), {{"SNMP_TRAPSINK_N", "3"},
                                           {"SNMP_V3AUTHPASS", "oldauth"}, {"SNMP_V3PRIVPASS", "oldpriv"}});
        sb.config("snmp.config", kept + "SNMP_TRAPSINK_1_IP='a'\nSNMP_TRAPSINK_2_IP='b'\nSNMP_TRAPSINK_3_IP='c'\n");
        CgiResult r = sb.post("item=39&act=1", "sysname=gw1&location=Rack+3&contact=ops%40x&rocomm=ro&rwcomm=rw&"
                                               "trapcomm=tc&sinklist=10.0.0.1+10.0.0.2+&v3name=admin&authtype=SHA&"
                                               "privprot=AES" + c[0]);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, "Head\n|Stored\n");
        EXPECT_EQ(sb.config("snmp.config"),
                  edit_conf(kept, concat(sent, {{"SNMP_V3AUTHPASS", c[1]}, {"SNMP_V3PRIVPASS", c[2]}})) +
                      "SNMP_TRAPSINK_1_IP='10.0.0.1'\nSNMP_TRAPSINK_2_IP='10.0.0.2'\n")
            << c[0];
        // Shown again without the passwords.
        const std::string shown = sb.get("item=39").out;
        EXPECT_EQ(shown.find(c[1]), std::string::npos);
        EXPECT_EQ(shown.find(c[2]), std::string::npos);
    }
}

namespace {

void ospf_setup(Sandbox& sb)
{
    setup(sb, "ospf", "ccospf", "{OPT_OSPF}|{OSPF_ENABLED}|{OSPF_HOSTNAME}|{OSPF_AUTH_KEY}|{OSPF_PROPAGATE_STATIC}|"
                                "{OSPF_AREA1_PRIO}|{OSPF_ETH0_HELLO}|{OSPF_ETH0_DEAD}|{OSPF_ETH0_NET}|{CHECK1}|"
                                "{ETH0_ENABLED}|{OSPF_ETH1_HELLO}|{OSPF_ETH1_DEAD}|{OSPF_ETH1_NET}|{CHECK2}|"
                                "{ETH1_ENABLED}");
}

// The network-type options with option `selected` (1 to 4, 0: none) marked.
std::string net_types(char selected)
{
    std::string marks = "0000";
    if (selected > '0')
        marks[selected - '1'] = '1';
    return option_lines({"broadcast", "Broadcast", "non-broadcast", "non-Broadcast", "point-to-multipoint",
                         "Point-To-Multipoint", "point-to-point", "Point-To-Point"},
                        marks, true, "");
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
        auto mark = [&](int i) { return std::string(c[6][i] == '1' ? "checked|" : "|"); };
        auto state = [&](int i) { return std::string(c[6][0] == '1' && c[6][i] == '1' ? "enabled" : "disabled"); };
        CgiResult r = sb.get("item=45");
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, mark(0) + state(0) + "|r1|k&quot;ey|" + mark(1) + "7|11|44|" + net_types(c[7][0]) + "|" +
                             mark(2) + state(2) + "|12|48|" + net_types(c[7][1]) + "|" + mark(3) + state(3))
            << c[0] << " " << c[2] << " " << c[3];
    }
}

TEST(OspfPage, ApplyStoresWhatTheSwitchesLetAndTheTelnetPasswordWhenBothLookupsAgree)
{
    const std::string all = "&rname=r2&authkey=key2&ospf_static=yes&prio1=9&hello1=5&dead1=20&nettyp1=point-to-point"
                            "&hello2=6&dead2=24&nettyp2=non-broadcast";
    const std::vector<Lines> router = {{"OPT_OSPF", "yes"}, {"OSPF_HOSTNAME", "r2"}, {"OSPF_AUTH_KEY", "key2"},
                                       {"OSPF_PRIO_AREA1", "9"}};
    const std::vector<Lines> eth0 = {{"OSPF_HELLO_ETH0", "5"}, {"OSPF_DEAD_ETH0", "20"},
                                     {"OSPF_NET_ETH0", "point-to-point"}};
    const std::vector<Lines> eth1 = {{"OSPF_HELLO_ETH1", "6"}, {"OSPF_DEAD_ETH1", "24"},
                                     {"OSPF_NET_ETH1", "non-broadcast"}};
    const std::vector<Lines> empty = {{"OPT_OSPF", "yes"}, {"OSPF_HOSTNAME", ""}, {"OSPF_AUTH_KEY", ""},
                                      {"OSPF_PROPAGATE_STATIC", "no"}, {"OSPF_PRIO_AREA1", ""},
                                      {"OSPF_ACTIVATE_ETH0", "no"}, {"OSPF_ACTIVATE_ETH1", "no"}};
    auto pass = [&](const std::string& pw) { return concat(empty, {{"OSPF_TELNET_PASSWORD", pw}}); };
    const struct {
        std::string body;
        std::vector<Lines> edits;
    } cases[] = {
        // Off (not beginning with "yes"): only the switch is written.
        {"ospf_service=Yes&if1=yes&if2=yes&Zebra_Pass=pw&Zebra_PassRe=pw" + all, {{"OPT_OSPF", "no"}}},
        // "begins with yes" for the service, "exactly yes" for the others.
        {"ospf_service=yesplease&if1=yes" + all,
         concat(concat(router, eth0), {{"OSPF_PROPAGATE_STATIC", "yes"}, {"OSPF_ACTIVATE_ETH0", "yes"},
                                       {"OSPF_ACTIVATE_ETH1", "no"}})},
        {"ospf_service=yes&if1=yess&if2=yes" + all + "&ospf_static=yes2",
         concat(concat(router, eth1), {{"OSPF_PROPAGATE_STATIC", "no"}, {"OSPF_ACTIVATE_ETH0", "no"},
                                       {"OSPF_ACTIVATE_ETH1", "yes"}})},
        // The password lookups match by prefix, newest first: "Zebra_Pass" also finds a later "Zebra_PassRe".
        {"ospf_service=yes&Zebra_Pass=abc&Zebra_PassRe=abc", pass("abc")},
        {"ospf_service=yes&Zebra_Pass=abc&Zebra_PassRe=xyz", pass("xyz")},
        {"ospf_service=yes&Zebra_PassRe=xyz&Zebra_Pass=abc", pass("old")},
        {"ospf_service=yes&Zebra_Pass=abc", pass("old")},
        {"ospf_service=yes&Zebra_PassRe=xyz", pass("xyz")},
        {"ospf_service=yes&Zebra_Pass=abc&Zebra_PassRe=", pass("old")},
    };
    for (const auto& c : cases) {
        Sandbox sb;
        ospf_setup(sb);
        const std::string before = edit_conf(sb.config("ospf.config"), {{"OSPF_TELNET_PASSWORD", "old"}});
        sb.config("ospf.config", before);
        CgiResult r = sb.post("item=45&act=1", c.body);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, "Head\n|Stored\n");
        EXPECT_EQ(sb.config("ospf.config"), edit_conf(before, c.edits)) << c.body;
        if (c.edits.back()[0] == "OSPF_TELNET_PASSWORD") {  // never shown
            EXPECT_EQ(sb.get("item=45").out.find(c.edits.back()[1]), std::string::npos) << c.body;
        }
    }
}
