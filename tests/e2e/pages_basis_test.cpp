// The basic network page (item 24) through the real executable: host and
// domain name, the two interfaces, and the system user's password.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sandbox.h"

namespace {

const char* const kTemplate =
    "H={HOSTNAME}\nD={DOMAINNAME}\n"
    "M0={ETH0_MODE}\nE0={ETH0_ENABLE}\nI0={ETH0_IP}\nP0={ETH0_PREFIX}\nQ0={ETH0_MASQ}\n"
    "M1={ETH1_MODE}\nE1={ETH1_ENABLE}\nI1={ETH1_IP}\nP1={ETH1_PREFIX}\nQ1={ETH1_MASQ}\n";
const char* const kResult = "Network settings\n|Settings saved\n";

// A sandbox with the factory settings, the page templates and a known hash.
void setup(Sandbox& sb)
{
    sb.defaults();
    sb.config("system.config", "# The system user's password hash.\nSYSTEM_USER_PASS='oldhash'\n");
    sb.write_doc("english/basis.tmpl", kTemplate);
    sb.write_doc("templates/resultpage.tmpl", "{HEADLINE}|{MESSAGE}");
    sb.write_doc("english/messages", "cbasis_head:Network settings\ncbasis_rslt:Settings saved\n");
    sb.tool("/usr/bin/cryptpw", "printf 'crypt[%s]\\n' \"$1\"");
}

struct Iface {
    std::string type, addr, masq;
};

std::string network(const std::string& host, const std::string& domain, const Iface& e0, const Iface& e1)
{
    return "# Network interfaces: ETH0 is the LAN side, ETH1 the WAN side.\nHOSTNAME='" + host +
           "'\nDOMAIN_NAME='" + domain + "'\nIP_ETH0_TYPE='" + e0.type + "'\nIP_ETH0_IPADDR='" + e0.addr +
           "'\nIP_ETH0_MASQ='" + e0.masq + "'\nIP_ETH1_TYPE='" + e1.type + "'\nIP_ETH1_IPADDR='" + e1.addr +
           "'\nIP_ETH1_MASQ='" + e1.masq + "'\n";
}

const Iface kEth0 = {"static", "192.168.0.1/24", "no"};  // factory settings
const Iface kEth1 = {"dhcp", "192.168.1.1/24", "yes"};

std::string modes(const char* static_mark, const char* dhcp_mark)
{
    return std::string("\n    <option value=\"static\"") + static_mark + ">static</option>" +
           "\n    <option value=\"dhcp\"" + dhcp_mark + ">dhcp</option>";
}

}  // namespace

TEST(BasisPage, ApplyStoresNamesAndStaticInterfacesOnly)
{
    const std::string addr19 = "1234567890.12345678";
    struct Case {
        std::string body, file;
    } cases[] = {
        // Both static; an unchecked box (not sent) gives "no".
        {"Hostname=gw2&Domainname=example.org&ETH0_mode=static&ETH0_ip=10.0.0.1&ETH0_prefix=8&ETH0_masq=yes"
         "&ETH1_mode=static&ETH1_ip=172.16.0.1&ETH1_prefix=12",
         network("gw2", "example.org", {"static", "10.0.0.1/8", "yes"}, {"static", "172.16.0.1/12", "no"})},
        // DHCP keeps the last static address and masquerading, even when sent.
        {"Hostname=a&Domainname=b&ETH0_mode=dhcp&ETH0_ip=1.2.3.4&ETH0_prefix=9&ETH0_masq=yes"
         "&ETH1_mode=dhcp&ETH1_ip=5.6.7.8&ETH1_prefix=30&ETH1_masq=no",
         network("a", "b", {"dhcp", kEth0.addr, kEth0.masq}, kEth1)},
        // Nothing sent: names and modes become empty, addresses stay.
        {"", network("", "", {"", kEth0.addr, kEth0.masq}, {"", kEth1.addr, kEth1.masq})},
        // Mode cut to 9 characters, still static; address cut to 19; "yes..." counts.
        {"ETH0_mode=staticXYZ123&ETH0_ip=1234567890.1234567890&ETH0_prefix=8&ETH0_masq=yesplease"
         "&ETH1_mode=static&ETH1_ip=&ETH1_prefix=&ETH1_masq=Yes",
         network("", "", {"staticXYZ", addr19, "yes"}, {"static", "/", "no"})},
        {"ETH0_mode=stat&ETH0_ip=9.9.9.9&ETH0_prefix=1&ETH1_mode=dhcp-client-mode",
         network("", "", {"stat", kEth0.addr, kEth0.masq}, {"dhcp-clie", kEth1.addr, kEth1.masq})},
    };
    for (const Case& c : cases) {
        Sandbox sb;
        setup(sb);
        CgiResult r = sb.post("item=24&act=1", c.body);
        EXPECT_EQ(r.status, 0) << c.body;
        EXPECT_EQ(r.out, kResult) << c.body;
        EXPECT_EQ(sb.config("network.config"), c.file) << c.body;
        EXPECT_EQ(sb.config("system.config"), "# The system user's password hash.\nSYSTEM_USER_PASS='oldhash'\n");
        EXPECT_TRUE(sb.commands().empty()) << c.body;
    }
}

TEST(BasisPage, PasswordIsHashedOnlyWhenBothFieldsAgree)
{
    struct Case {
        std::string body, stored;
        std::vector<std::string> commands;
        std::string out;
        std::vector<std::string> log = {};
    } cases[] = {
        // "Kennwort" is a prefix of "KennwortRe": sent last, the repetition answers both.
        {"Kennwort=abc&KennwortRe=secret", "crypt[secret]", {"cryptpw 'secret'"}, kResult},
        {"KennwortRe=secret&Kennwort=secret", "crypt[secret]", {"cryptpw 'secret'"}, kResult},
        {"Kennwort=x&KennwortRe=a+b%3Bc", "crypt[a b;c]", {"cryptpw 'a b;c'"}, kResult},
        {"KennwortRe=abcd&Kennwort=abc", "oldhash", {}, kResult},
        {"KennwortRe=abc&Kennwort=", "oldhash", {}, kResult},
        {"Kennwort=abc&KennwortRe=", "oldhash", {}, kResult},
        {"", "oldhash", {}, kResult},
        {"KennwortRe=0123456789abcdef&Kennwort=0123456789abcdef", "crypt[0123456789abcdef]",
         {"cryptpw '0123456789abcdef'"}, kResult},
        // 17 characters are refused by the hashing; the page still reports success.
        {"KennwortRe=0123456789abcdefg&Kennwort=0123456789abcdefg", "oldhash", {},
         error_page("in file aux line 116", "Invalid argument") + kResult,
         {"3 Error in file aux line 116: Invalid argument"}},
    };
    for (const Case& c : cases) {
        Sandbox sb;
        setup(sb);
        CgiResult r = sb.post("item=24&act=1", "ETH0_mode=static&ETH0_ip=10.0.0.1&ETH0_prefix=8&" + c.body);
        EXPECT_EQ(r.status, 0) << c.body;
        EXPECT_EQ(r.out, c.out) << c.body;
        EXPECT_EQ(sb.config("system.config"),
                  "# The system user's password hash.\nSYSTEM_USER_PASS='" + c.stored + "'\n")
            << c.body;
        EXPECT_EQ(sb.commands(), c.commands) << c.body;
        EXPECT_EQ(sb.messages(), c.log) << c.body;
        EXPECT_EQ(sb.config("network.config"),
                  network("", "", {"static", "10.0.0.1/8", "no"}, {"", kEth1.addr, kEth1.masq}))
            << c.body;
    }
}

TEST(BasisPage, ShowFillsEveryPlaceholder)
{
    const std::string host63(63, 'h');
    struct Case {
        std::string file, out;
    } cases[] = {
        {network("gateway", "localdomain", kEth0, kEth1),
         "H=gateway\nD=localdomain\nM0=" + modes(" selected", "") + "\nE0=enabled\nI0=192.168.0.1\nP0=24\nQ0=\n" +
             "M1=" + modes("", " selected") + "\nE1=disabled\nI1=192.168.1.1\nP1=24\nQ1=checked\n"},
        // A prefix of an option selects it; "staticx" selects nothing but
        // counts as static; address forms without a second token.
        {network(host63 + "cut", "", {"stat", "10.0.0.1", "yesno"}, {"staticx", "/24", "Yes"}),
         "H=" + host63 + "\nD=\nM0=" + modes(" selected", "") + "\nE0=disabled\nI0=10.0.0.1\nP0=\nQ0=checked\n" +
             "M1=" + modes("", "") + "\nE1=enabled\nI1=24\nP1=\nQ1=\n"},
        // Empty mode marks both; a stored address is read as 19 characters.
        {network("", "", {"", "", ""}, {"dhcp", "1234567890123456789012/8", "no"}),
         "H=\nD=\nM0=" + modes(" selected", " selected") + "\nE0=disabled\nI0=\nP0=\nQ0=\n" +
             "M1=" + modes("", " selected") + "\nE1=disabled\nI1=1234567890123456789\nP1=\nQ1=\n"},
        // No keys at all: as the empty mode.
        {"# empty\n", "H=\nD=\nM0=" + modes(" selected", " selected") + "\nE0=disabled\nI0=\nP0=\nQ0=\n" +
                          "M1=" + modes(" selected", " selected") + "\nE1=disabled\nI1=\nP1=\nQ1=\n"},
    };
    for (const Case& c : cases) {
        Sandbox sb;
        setup(sb);
        sb.config("network.config", c.file);
        CgiResult r = sb.get("item=24");
        EXPECT_EQ(r.status, 0) << c.file;
        EXPECT_EQ(r.out, c.out) << c.file;
        EXPECT_TRUE(sb.messages().empty()) << c.file;
    }
}

TEST(BasisPage, AppliedAddressIsShownSplit)
{
    Sandbox sb;
    setup(sb);
    sb.post("item=24&act=1", "Hostname=gw&Domainname=lan&ETH0_mode=static&ETH0_ip=10.0.0.1&ETH0_prefix=8"
                             "&ETH1_mode=dhcp&ETH1_ip=1.1.1.1&ETH1_prefix=32&ETH1_masq=yes");
    EXPECT_EQ(sb.get("item=24").out,
              "H=gw\nD=lan\nM0=" + modes(" selected", "") + "\nE0=enabled\nI0=10.0.0.1\nP0=8\nQ0=\n" + "M1=" +
                  modes("", " selected") + "\nE1=disabled\nI1=192.168.1.1\nP1=24\nQ1=checked\n");
}
