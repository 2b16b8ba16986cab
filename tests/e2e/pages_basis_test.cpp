// The basic network page (item 24): names, the two interfaces, the password.

#include "page_support.h"

static void setup(Sandbox& sb)
{
    page_setup(sb, "basis", "{HOSTNAME}|{DOMAINNAME}|{ETH0_MODE}|{ETH0_ENABLE}|{ETH0_IP}|{ETH0_PREFIX}|{ETH0_MASQ}|"
                            "{ETH1_MODE}|{ETH1_ENABLE}|{ETH1_IP}|{ETH1_PREFIX}|{ETH1_MASQ}",
               "cbasis_head:Network settings\ncbasis_rslt:Settings saved\n");
    sb.config("system.config", "# The system user's password hash.\nSYSTEM_USER_PASS='oldhash'\n");
    sb.tool("/usr/bin/cryptpw", "printf 'crypt[%s]\\n' \"$1\"");
}

// network.config; an interface is {type, address, masquerading}.
static std::string network(const std::string& host, const std::string& domain, const Lines& e0, const Lines& e1)
{
    return "# Network interfaces: ETH0 is the LAN side, ETH1 the WAN side.\nHOSTNAME='" + host +
           "'\nDOMAIN_NAME='" + domain + "'\nIP_ETH0_TYPE='" + e0[0] + "'\nIP_ETH0_IPADDR='" + e0[1] +
           "'\nIP_ETH0_MASQ='" + e0[2] + "'\nIP_ETH1_TYPE='" + e1[0] + "'\nIP_ETH1_IPADDR='" + e1[1] +
           "'\nIP_ETH1_MASQ='" + e1[2] + "'\n";
}

static std::string modes(const char* marks) { return option_lines({"static", "static", "dhcp", "dhcp"}, marks); }

TEST(BasisPage, ShowFillsEveryPlaceholder)
{
    Sandbox sb;
    setup(sb);
    EXPECT_EQ(sb.get("item=24").out, "gateway|localdomain|" + modes("10") + "|enabled|192.168.0.1|24||" + modes("01") +
                         "|disabled|192.168.1.1|24|checked");
    // A prefix of an option selects it, an empty mode marks both; the host
    // is cut to 63 characters, a stored address to 19; "/24" is the address.
    const std::string host63(63, 'h');
    sb.config("network.config",
              network(host63 + "cut", "", {"stat", "1234567890123456789012/8", "yesno"}, {"", "/24", "Yes"}));
    EXPECT_EQ(sb.get("item=24").out, host63 + "||" + modes("10") + "|disabled|1234567890123456789||checked|" +
                                         modes("11") + "|disabled|24||");
}

TEST(BasisPage, ApplyStoresStaticInterfacesAndAgreedPassword)
{
    const Lines eth0 = {"static", "192.168.0.1/24", "no"}, eth1 = {"dhcp", "192.168.1.1/24", "yes"};  // factory
    const std::string by_password = network("", "", {"static", "/", "no"}, {"", eth1[1], eth1[2]});
    const struct {
        std::string body, file, stored = "oldhash";
        Lines commands = {};
    } cases[] = {
        // An unchecked masquerading box (not sent) gives "no".
        {"Hostname=gw2&Domainname=example.org&ETH0_mode=static&ETH0_ip=10.0.0.1&ETH0_prefix=8&ETH0_masq=yes"
         "&ETH1_mode=static&ETH1_ip=172.16.0.1&ETH1_prefix=12",
         network("gw2", "example.org", {"static", "10.0.0.1/8", "yes"}, {"static", "172.16.0.1/12", "no"})},
        // DHCP keeps the last static address and masquerading, even when sent.
        {"Hostname=a&Domainname=b&ETH0_mode=dhcp&ETH0_ip=1.2.3.4&ETH0_prefix=9&ETH0_masq=yes"
         "&ETH1_mode=dhcp-client-mode&ETH1_ip=5.6.7.8&ETH1_prefix=30&ETH1_masq=no",
         network("a", "b", {"dhcp", eth0[1], eth0[2]}, {"dhcp-clie", eth1[1], eth1[2]})},
        // Mode cut to 9 characters, still static; address cut to 19; "yes..." counts.
        {"ETH0_mode=staticXYZ123&ETH0_ip=1234567890.1234567890&ETH0_prefix=8&ETH0_masq=yesplease"
         "&ETH1_mode=static&ETH1_ip=&ETH1_prefix=&ETH1_masq=Yes",
         network("", "", {"staticXYZ", "1234567890.12345678", "yes"}, {"static", "/", "no"})},
        // "Kennwort" is a prefix of "KennwortRe": sent last, the repetition answers both.
        {"ETH0_mode=static&Kennwort=x&KennwortRe=a+b%3Bc", by_password, "crypt[a b;c]", {"cryptpw 'a b;c'"}},
        {"ETH0_mode=static&Kennwort=abc&KennwortRe=", by_password},
        {"ETH0_mode=static&KennwortRe=secret&Kennwort=secret", by_password, "crypt[secret]", {"cryptpw 'secret'"}},
        {"ETH0_mode=static&KennwortRe=abcd&Kennwort=abc", by_password},
    };
    for (const auto& c : cases) {
        Sandbox sb;
        setup(sb);
        EXPECT_EQ(applied(sb, "24", c.body, "network.config"), "Network settings\n|Settings saved\n|" + c.file) << c.body;
        EXPECT_EQ(sb.config("system.config"), "# The system user's password hash.\nSYSTEM_USER_PASS='" + c.stored + "'\n")
            << c.body;
        EXPECT_EQ(sb.commands(), c.commands) << c.body;
        EXPECT_TRUE(sb.messages().empty()) << c.body;
    }
}
