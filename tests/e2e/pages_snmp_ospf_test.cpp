// The SNMP agent page (item 39) and the OSPF routing page (item 45). Applies start from the factory files, so a
// key the factory file lacks shows up as "no line KEY".

#include "page_support.h"

TEST(SnmpPage, ShowTestsMd5AndDesExactlyAndApplyKeepsPasswordsWhileEmpty)
{
    Sandbox sb;
    page_setup(sb, "snmp", "{SNMPSYSNAME}|{SNMPSYSLOC}|{SNMPSYSCONT}|{SNMPROCOMM}|{SNMPRWCOMM}|{SNMPTRAPCOMM}|"
                           "{SINKOPTS}|{SINKLIST}|{SNMPV3NAME}|{CHECK11}|{CHECK12}|{CHECK21}|{CHECK22}",
               "ccsnmp_head:Head\nccsnmp_rslt:Stored\n");
    const std::string factory = sb.config("snmp.config");
    // {authentication type and privacy lines, the four marks}; the passwords are never shown.
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
        // Addresses are cut to 15 characters; the third entry lies beyond the count.
        EXPECT_EQ(sb.get("item=39").out, "gw &quot;1&quot;|Rack 3|ops|ro|rw|tc|" +
                                             list_options({"192.168.100.123", "10.0.0.2"}) +
                                             "|192.168.100.123 10.0.0.2 |admin|" + c[1]) << c[0];
    }
    // An empty file: every field empty, the second choices, no community of the page's own.
    EXPECT_EQ(shown(sb, "item=39", "snmp.config", ""), "||||||||||checked||checked");
    // {password fields sent, the passwords stored after}: stored as sent, however short.
    const Lines applies[] = {{"&authpwd=auth1234&privpwd=priv1234", "auth1234", "priv1234"},
                             {"&authpwd=&privpwd=", "oldauth", "oldpriv"}, {"&authpwd=pw!", "pw!", "oldpriv"}};
    for (const Lines& c : applies) {
        // Three receivers before: all three go, the new ones are appended.
        const std::string kept = edit_conf(factory, {{"SNMP_TRAPSINK_N", "3"}, {"SNMP_V3AUTHPASS", "oldauth"},
                                                     {"SNMP_V3PRIVPASS", "oldpriv"}});
        sb.config("snmp.config", kept + "SNMP_TRAPSINK_1_IP='a'\nSNMP_TRAPSINK_2_IP='b'\nSNMP_TRAPSINK_3_IP='c'\n");
        EXPECT_EQ(sb.post("item=39&act=1", "sysname=gw1&location=Rack+3&contact=ops%40x&rocomm=ro&rwcomm=rw&"
                                           "trapcomm=tc&sinklist=10.0.0.1+10.0.0.2+&v3name=admin&authtype=SHA&"
                                           "privprot=AES" + c[0]).out, "Head\n|Stored\n");
        EXPECT_EQ(sb.config("snmp.config"),
                  edit_conf(kept, {{"SNMP_SYSNAME", "gw1"}, {"SNMP_SYSLOCATION", "Rack 3"}, {"SNMP_SYSCONTACT", "ops@x"},
                                   {"SNMP_ROCOMMUNITY", "ro"}, {"SNMP_RWCOMMUNITY", "rw"}, {"SNMP_TRAPCOMMUNITY", "tc"},
                                   {"SNMP_TRAPSINK_N", "2"}, {"SNMP_V3USER", "admin"}, {"SNMP_V3AUTHTYPE", "SHA"},
                                   {"SNMP_V3PRIVPROT", "AES"}, {"SNMP_V3AUTHPASS", c[1]}, {"SNMP_V3PRIVPASS", c[2]}}) +
                      "SNMP_TRAPSINK_1_IP='10.0.0.1'\nSNMP_TRAPSINK_2_IP='10.0.0.2'\n")
            << c[0];
    }
}

TEST(OspfPage, ShowKeepsEachFieldsYesTestAndMarksTheExactNetworkType)
{
    // {OPT_OSPF, OSPF_PROPAGATE_STATIC, OSPF_ACTIVATE_ETH0, OSPF_ACTIVATE_ETH1, OSPF_NET_ETH0, OSPF_NET_ETH1, the
    //  marks of service, static, ETH0 and ETH1, the selected network types (1 to 4, 0: none)}
    const Lines cases[] = {
        {"yes", "yes", "yes", "yesterday", "point-to-point", "broadcast", "1111", "41"},
        {"yesterday", "yesterday", "yes", "no", "Broadcast", "non-broadcast", "0010", "02"},
        {"no", "no", "Yes", "yes", "point-to-point ", "point-to-multipoint", "0001", "03"},
        {"yes", "no", "no", "yes", "", "point-to-point", "1001", "04"},
    };
    Sandbox sb;
    page_setup(sb, "ospf", "{OPT_OSPF}|{OSPF_ENABLED}|{OSPF_HOSTNAME}|{OSPF_AUTH_KEY}|{OSPF_PROPAGATE_STATIC}|"
                           "{OSPF_AREA1_PRIO}|{OSPF_ETH0_HELLO}|{OSPF_ETH0_DEAD}|{OSPF_ETH0_NET}|{CHECK1}|"
                           "{ETH0_ENABLED}|{OSPF_ETH1_HELLO}|{OSPF_ETH1_DEAD}|{OSPF_ETH1_NET}|{CHECK2}|{ETH1_ENABLED}");
    for (const Lines& c : cases) {
        sb.config("ospf.config", "OPT_OSPF='" + c[0] + "'\nOSPF_HOSTNAME='r1'\nOSPF_AUTH_KEY='k\"ey'\n"
                                 "OSPF_PROPAGATE_STATIC='" + c[1] + "'\nOSPF_PRIO_AREA1='7'\n"
                                 "OSPF_TELNET_PASSWORD='zebrasecret'\nOSPF_ACTIVATE_ETH0='" + c[2] +
                                 "'\nOSPF_HELLO_ETH0='11'\nOSPF_DEAD_ETH0='44'\nOSPF_NET_ETH0='" + c[4] +
                                 "'\nOSPF_ACTIVATE_ETH1='" + c[3] + "'\nOSPF_HELLO_ETH1='12'\nOSPF_DEAD_ETH1='48'\n"
                                 "OSPF_NET_ETH1='" + c[5] + "'\n");
        auto mark = [&](int i) { return std::string(c[6][i] == '1' ? "checked|" : "|"); };
        auto state = [&](int i) { return std::string(c[6][0] == '1' && c[6][i] == '1' ? "enabled" : "disabled"); };
        auto types = [&](int i) {
            std::string marks = "0000";
            if (c[7][i] > '0')
                marks[c[7][i] - '1'] = '1';
            return option_lines({"broadcast", "Broadcast", "non-broadcast", "non-Broadcast", "point-to-multipoint",
                                 "Point-To-Multipoint", "point-to-point", "Point-To-Point"}, marks, true, "");
        };
        EXPECT_EQ(sb.get("item=45").out, mark(0) + state(0) + "|r1|k&quot;ey|" + mark(1) + "7|11|44|" + types(0) +
                                             "|" + mark(2) + state(2) + "|12|48|" + types(1) + "|" + mark(3) + state(3))
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
    auto pass = [&](const std::string& pw) {
        return std::vector<Lines>{{"OPT_OSPF", "yes"}, {"OSPF_HOSTNAME", ""}, {"OSPF_AUTH_KEY", ""},
                                  {"OSPF_PROPAGATE_STATIC", "no"}, {"OSPF_PRIO_AREA1", ""}, {"OSPF_ACTIVATE_ETH0", "no"},
                                  {"OSPF_ACTIVATE_ETH1", "no"}, {"OSPF_TELNET_PASSWORD", pw}};
    };
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
    Sandbox sb;
    page_setup(sb, "ospf", "", "ccospf_head:Head\nccospf_rslt:Stored\n");
    const std::string before = edit_conf(sb.config("ospf.config"), {{"OSPF_TELNET_PASSWORD", "old"}});
    for (const auto& c : cases) {
        sb.config("ospf.config", before);
        EXPECT_EQ(applied(sb, "45", c.body, "ospf.config"), "Head\n|Stored\n|" + edit_conf(before, c.edits)) << c.body;
    }
}
