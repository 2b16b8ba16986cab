// The DNS page (item 3): the forwarders and the host table HOST (NAME, IP) of "name.config", whose previous count
// the page takes from "snmp.config".

#include "page_support.h"

TEST(DnsPage, ApplyClearsOldEntriesOnlyUpToTheSnmpCount)
{
    const std::string old = "HOST_1_NAME='a1'\nHOST_1_IP='10.0.0.1'\nHOST_2_NAME='a2'\nHOST_2_IP='10.0.0.2'\n"
                            "HOST_3_NAME='a3'\nHOST_3_IP='10.0.0.3'\nHOST_5_NAME='a5'\nHOST_6_NAME='a6'\n";
    const std::string stored = "HOST_1_IP='10.1.0.1'\nHOST_2_IP='10.1.0.2'\nHOST_1_NAME='x1'\nHOST_2_NAME='x2'\n";
    const Lines cases[] = {{"SNMP_SYSNAME=''\nHOST_N='5'\n", "HOST_6_NAME='a6'\n"},
                           {"SNMP_SYSNAME=''\n", old}};  // {snmp.config, kept}
    for (const Lines& c : cases) {
        Sandbox sb;
        page_setup(sb, "dns", "", "cccdns_head:DNS\ncccdns_rslt:Name server settings saved\n");
        sb.config("snmp.config", c[0]);
        sb.config("name.config", "DNS_FORWARDERS=''\nHOST_N='3'\n" + old);
        EXPECT_EQ(sb.post("item=3&act=1", "Forwarder=1.1.1.1+9.9.9.9&hostlist=x1+x2&iplist=10.1.0.1+10.1.0.2").out,
                  "DNS\n|Name server settings saved\n");
        EXPECT_EQ(sb.config("name.config"), "DNS_FORWARDERS='1.1.1.1 9.9.9.9'\nHOST_N='2'\n" + c[1] + stored) << c[0];
        EXPECT_EQ(sb.config("snmp.config"), c[0]);
    }
    // The names are stored last, so their count stands.
    Sandbox sb;
    page_setup(sb, "dns", "");
    sb.post("item=3&act=1", "hostlist=n1+n2&iplist=1.1.1.1+2.2.2.2+3.3.3.3");
    EXPECT_EQ(sb.config("name.config"),
              "# DNS forwarders and the local host table.\nDNS_FORWARDERS=''\nHOST_N='2'\nHOST_1_IP='1.1.1.1'\n"
              "HOST_2_IP='2.2.2.2'\nHOST_3_IP='3.3.3.3'\nHOST_1_NAME='n1'\nHOST_2_NAME='n2'\n");
}

TEST(DnsPage, ShowCutsNamesAndAddressesAndFollowsTheCount)
{
    Sandbox sb;
    page_setup(sb, "dns", "{FORWARDER}|{HOSTOPTIONS}|{HOSTLIST}|{IPOPTIONS}|{IPLIST}");
    sb.config("name.config", "DNS_FORWARDERS='8.8.8.8'\nHOST_N='2'\nHOST_1_NAME='abcdefghijklmnopqrstuvwxyz0'\n"
                             "HOST_1_IP='192.168.100.1234'\nHOST_2_NAME='b'\nHOST_2_IP='10.0.0.2'\n");
    EXPECT_EQ(sb.get("item=3").out, "8.8.8.8|" + list_options({"abcdefghijklmnopqrstuvwxy", "b"}) +
                                        "|abcdefghijklmnopqrstuvwxy b |" +
                                        list_options({"192.168.100.123", "10.0.0.2"}) + "|192.168.100.123 10.0.0.2 ");
    // The count decides: a missing entry is shown empty, one past it not at all.
    sb.config("name.config", "HOST_N='2'\nHOST_1_NAME='one'\nHOST_1_IP='1.1.1.1'\nHOST_3_NAME='x'\nHOST_3_IP='x'\n");
    EXPECT_EQ(sb.get("item=3").out,
              "|" + list_options({"one", ""}) + "|one  |" + list_options({"1.1.1.1", ""}) + "|1.1.1.1  ");
}
