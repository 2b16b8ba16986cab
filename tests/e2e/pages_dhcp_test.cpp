// The DHCP server page (item 37): the lease is kept in seconds, shown in hours.

#include "page_support.h"

// dhcp.config with the pool and lease given, else the factory ones.
static std::string dhcp_file(const std::string& iface, const std::string& lease = "")
{
    const Lines d = lease.empty() ? Lines{"192.168.0.100", "192.168.0.199", "255.255.255.0", "86400",
                                          "192.168.0.1", "192.168.0.1", "localdomain"}
                                  : Lines{"10.0.0.10", "10.0.0.20", "255.0.0.0", lease, "10.0.0.1", "10.0.0.254", "lan"};
    return "# DHCP server.\nDHCPD_INTERFACE='" + iface + "'\nDHCPD_LEASE_START='" + d[0] + "'\nDHCPD_LEASE_END='" +
           d[1] + "'\nDHCPD_SUBNET='" + d[2] + "'\nDHCPD_LEASE_TIME='" + d[3] + "'\nDHCPD_DNS='" + d[4] +
           "'\nDHCPD_GATEWAY='" + d[5] + "'\nDHCPD_DOMAIN='" + d[6] + "'\n";
}

TEST(DhcpPage, ApplyStoresThePoolAndTheLeaseInSecondsUnlessNoneAndShowsItInHours)
{
    // {interface, lease sent, lease stored}; "none" (four characters compared) stops storing.
    for (const Lines& c : {Lines{"eth1", "24", "86400"}, Lines{"eth0", "2h", "7200"}, Lines{"non", "-3", "-10800"},
                           Lines{"none", "5", ""}, Lines{"nonesuch", "5", ""}}) {
        Sandbox sb;
        page_setup(sb, "dhcps", "", "cdhcps_head:DHCP server\ncdhcps_rslt:DHCP settings saved\n");
        EXPECT_EQ(sb.post("item=37&act=1", "dhcps_interface=" + c[0] + "&dhcplease=" + c[1] +
                                               "&dhcpfromaddr=10.0.0.10&dhcptoaddr=10.0.0.20&dhcpmask=255.0.0.0"
                                               "&dhcpdns=10.0.0.1&dhcpgateway=10.0.0.254&dhcpdomain=lan").out,
                  "DHCP server\n|DHCP settings saved\n");
        EXPECT_EQ(sb.config("dhcp.config"), dhcp_file(c[0], c[2])) << c[0] << " " << c[1];
    }
    Sandbox sb;
    sb.write_doc("english/dhcps.tmpl", "{INTERFACE_OPTS}|{DHCPSENABLE}|{DHCPFROMADDR}|{DHCPTOADDR}|{DHCPMASK}|"
                                       "{DHCPLEASE}|{DHCPDNS}|{DHCPGATEWAY}|{DHCPDOMAIN}");
    // {interface, lease stored, option marks, state, hours}
    for (const Lines& c : {Lines{"eth1", "86399", "001", "enabled", "23"}, Lines{"none", "3599", "100", "disabled", "0"},
                           Lines{"nonesuch", "7200s", "000", "disabled", "2"},
                           Lines{"eth0x", "-7200", "000", "enabled", "-2"}}) {
        EXPECT_EQ(shown(sb, "item=37", "dhcp.config", dhcp_file(c[0], c[1])),
                  option_lines({"none", "None", "eth0", "LAN", "eth1", "WAN"}, c[2]) + "|" + c[3] +
                      "|10.0.0.10|10.0.0.20|255.0.0.0|" + c[4] + "|10.0.0.1|10.0.0.254|lan")
            << c[0];
    }
}
