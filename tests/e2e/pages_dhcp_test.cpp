// The DHCP server page (item 37) through the real executable: the interface
// served, the pool, and the lease kept in seconds but shown in hours.
#include <gtest/gtest.h>

#include <string>

#include "sandbox.h"

namespace {

const char* const kResult = "DHCP server\n|DHCP settings saved\n";

void setup(Sandbox& sb)
{
    sb.defaults();
    sb.write_doc("english/dhcps.tmpl",
                 "{INTERFACE_OPTS}|{DHCPSENABLE}|{DHCPFROMADDR}|{DHCPTOADDR}|{DHCPMASK}|{DHCPLEASE}|{DHCPDNS}|"
                 "{DHCPGATEWAY}|{DHCPDOMAIN}");
    sb.write_doc("templates/resultpage.tmpl", "{HEADLINE}|{MESSAGE}");
    sb.write_doc("english/messages", "cdhcps_head:DHCP server\ncdhcps_rslt:DHCP settings saved\n");
}

struct Dhcp {
    std::string iface, start, end, mask, lease, dns, gateway, domain;
};
const Dhcp kFactory = {"eth0",        "192.168.0.100", "192.168.0.199", "255.255.255.0",
                       "86400",       "192.168.0.1",   "192.168.0.1",   "localdomain"};

std::string dhcp_file(const Dhcp& d)
{
    return "# DHCP server.\nDHCPD_INTERFACE='" + d.iface + "'\nDHCPD_LEASE_START='" + d.start +
           "'\nDHCPD_LEASE_END='" + d.end + "'\nDHCPD_SUBNET='" + d.mask + "'\nDHCPD_LEASE_TIME='" + d.lease +
           "'\nDHCPD_DNS='" + d.dns + "'\nDHCPD_GATEWAY='" + d.gateway + "'\nDHCPD_DOMAIN='" + d.domain + "'\n";
}

Dhcp with_iface(Dhcp d, const std::string& iface)
{
    d.iface = iface;
    return d;
}

// The option lines with the marks of None, LAN and WAN.
std::string options(const char* none, const char* lan, const char* wan)
{
    return std::string("\n    <option value=\"none\"") + none + ">None</option>" + "\n    <option value=\"eth0\"" +
           lan + ">LAN</option>" + "\n    <option value=\"eth1\"" + wan + ">WAN</option>";
}

}  // namespace

TEST(DhcpPage, ApplyStoresPoolAndLeaseInSecondsUnlessNone)
{
    const std::string pool = "&dhcpfromaddr=10.0.0.10&dhcptoaddr=10.0.0.20&dhcpmask=255.0.0.0&dhcpdns=10.0.0.1"
                             "&dhcpgateway=10.0.0.254&dhcpdomain=lan.example";
    auto sent = [](const std::string& iface, const std::string& lease) {
        return Dhcp{iface, "10.0.0.10", "10.0.0.20", "255.0.0.0", lease, "10.0.0.1", "10.0.0.254", "lan.example"};
    };
    struct Case {
        std::string body;
        Dhcp file;
    } cases[] = {
        {"dhcps_interface=eth1&dhcplease=24" + pool, sent("eth1", "86400")},
        {"dhcps_interface=eth0&dhcplease=1" + pool, sent("eth0", "3600")},
        {"dhcps_interface=eth0&dhcplease=abc" + pool, sent("eth0", "0")},
        {"dhcps_interface=eth0&dhcplease=2h" + pool, sent("eth0", "7200")},
        {"dhcps_interface=eth0&dhcplease=-3" + pool, sent("eth0", "-10800")},
        {"dhcps_interface=eth0" + pool, sent("eth0", "0")},
        // "none" (four characters compared) stops storing.
        {"dhcps_interface=none&dhcplease=5" + pool, with_iface(kFactory, "none")},
        {"dhcps_interface=nonesuch&dhcplease=5" + pool, with_iface(kFactory, "nonesuch")},
        {"dhcps_interface=non&dhcplease=5" + pool, sent("non", "18000")},
        // Nothing sent is not "none": every key is written empty.
        {"", {"", "", "", "", "0", "", "", ""}},
    };
    for (const Case& c : cases) {
        Sandbox sb;
        setup(sb);
        CgiResult r = sb.post("item=37&act=1", c.body);
        EXPECT_EQ(r.status, 0) << c.body;
        EXPECT_EQ(r.out, kResult) << c.body;
        EXPECT_EQ(sb.config("dhcp.config"), dhcp_file(c.file)) << c.body;
    }
}

TEST(DhcpPage, ShowMarksTheInterfaceAndGivesLeaseInHours)
{
    struct Case {
        std::string iface, lease, opts, enable, hours;
    } cases[] = {
        {"eth0", "86400", options("", " selected", ""), "enabled", "24"},
        {"eth1", "86399", options("", "", " selected"), "enabled", "23"},
        {"none", "3599", options(" selected", "", ""), "disabled", "0"},
        {"nonesuch", "7200s", options("", "", ""), "disabled", "2"},
        {"eth", "", options("", "", ""), "enabled", "0"},
        {"eth0x", "-7200", options("", "", ""), "enabled", "-2"},
        {"wlan0", "abc", options("", "", ""), "enabled", "0"},
    };
    for (const Case& c : cases) {
        Sandbox sb;
        setup(sb);
        Dhcp d = {c.iface, "10.1.0.5", "10.1.0.9", "255.255.0.0", c.lease, "10.1.0.2", "10.1.0.1", "corp"};
        sb.config("dhcp.config", dhcp_file(d));
        CgiResult r = sb.get("item=37");
        EXPECT_EQ(r.status, 0) << c.iface;
        EXPECT_EQ(r.out, c.opts + "|" + c.enable + "|10.1.0.5|10.1.0.9|255.255.0.0|" + c.hours + "|10.1.0.2|10.1.0.1|corp")
            << c.iface;
    }
}

TEST(DhcpPage, ShowWithoutKeysSelectsNothingAndStaysEnabled)
{
    Sandbox sb;
    setup(sb);
    sb.config("dhcp.config", "# no keys\n");
    CgiResult r = sb.get("item=37");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, options("", "", "") + "|enabled||||0|||");
    EXPECT_TRUE(sb.messages().empty());
}

TEST(DhcpPage, AppliedSettingsAreShownBack)
{
    Sandbox sb;
    setup(sb);
    sb.post("item=37&act=1", "dhcps_interface=eth1&dhcpfromaddr=a&dhcptoaddr=b&dhcpmask=c&dhcplease=12"
                             "&dhcpdns=d&dhcpgateway=e&dhcpdomain=f");
    EXPECT_EQ(sb.get("item=37").out, options("", "", " selected") + "|enabled|a|b|c|12|d|e|f");
    sb.post("item=37&act=1", "dhcps_interface=none&dhcplease=1");
    EXPECT_EQ(sb.get("item=37").out, options(" selected", "", "") + "|disabled|a|b|c|12|d|e|f");
}
