// The DNS page (item 3) through the real executable: the forwarders and the
// host table HOST (fields NAME and IP) of "name.config", whose previous count
// the page takes from "snmp.config".
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sandbox.h"

namespace {

const char* const kResult = "DNS\n|Name server settings saved\n";

void setup(Sandbox& sb)
{
    sb.defaults();
    sb.write_doc("english/dns.tmpl", "F={FORWARDER}\nHO={HOSTOPTIONS}\nHL={HOSTLIST}\nIO={IPOPTIONS}\nIL={IPLIST}");
    sb.write_doc("templates/resultpage.tmpl", "{HEADLINE}|{MESSAGE}");
    sb.write_doc("english/messages", "cccdns_head:DNS\ncccdns_rslt:Name server settings saved\n");
}

// "name.config" with a count line and the entries (name, ip) numbered from 1.
std::string hosts(const std::string& count, const std::vector<std::pair<std::string, std::string>>& entries)
{
    std::string text = "DNS_FORWARDERS='8.8.8.8'\nHOST_N='" + count + "'\n";
    for (size_t i = 0; i < entries.size(); ++i) {
        std::string n = std::to_string(i + 1);
        text += "HOST_" + n + "_NAME='" + entries[i].first + "'\nHOST_" + n + "_IP='" + entries[i].second + "'\n";
    }
    return text;
}

std::string options(const std::vector<std::string>& values)
{
    std::string out;
    for (const std::string& v : values)
        out += "\n      <option>" + v + "</option>";
    return out;
}

std::string page(const std::string& fw, const std::vector<std::string>& names, const std::vector<std::string>& ips)
{
    std::string hl, il;
    for (const std::string& n : names)
        hl += n + " ";
    for (const std::string& i : ips)
        il += i + " ";
    return "F=" + fw + "\nHO=" + options(names) + "\nHL=" + hl + "\nIO=" + options(ips) + "\nIL=" + il;
}

const std::string kOld = hosts("3", {{"a1", "10.0.0.1"}, {"a2", "10.0.0.2"}, {"a3", "10.0.0.3"}});
const std::string kSubmit = "Forwarder=1.1.1.1+9.9.9.9&hostlist=x1+x2&iplist=10.1.0.1+10.1.0.2";

}  // namespace

TEST(DnsPage, ApplyClearsOldEntriesUpToTheSnmpCount)
{
    Sandbox sb;
    setup(sb);
    sb.config("snmp.config", "SNMP_SYSNAME=''\nHOST_N='5'\n");
    sb.config("name.config", kOld + "HOST_5_NAME='a5'\nHOST_6_NAME='a6'\n");
    CgiResult r = sb.post("item=3&act=1", kSubmit);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, kResult);
    EXPECT_EQ(sb.config("name.config"),
              "DNS_FORWARDERS='1.1.1.1 9.9.9.9'\nHOST_N='2'\nHOST_6_NAME='a6'\n"
              "HOST_1_IP='10.1.0.1'\nHOST_2_IP='10.1.0.2'\nHOST_1_NAME='x1'\nHOST_2_NAME='x2'\n");
    EXPECT_EQ(sb.config("snmp.config"), "SNMP_SYSNAME=''\nHOST_N='5'\n");
    EXPECT_EQ(sb.get("item=3").out, page("1.1.1.1 9.9.9.9", {"x1", "x2"}, {"10.1.0.1", "10.1.0.2"}));
}

TEST(DnsPage, ApplyWithoutSnmpCountKeepsOldEntries)
{
    Sandbox sb;
    setup(sb);  // the factory "snmp.config" has no HOST_N
    sb.config("name.config", kOld);
    EXPECT_EQ(sb.post("item=3&act=1", kSubmit).out, kResult);
    EXPECT_EQ(sb.config("name.config"),
              "DNS_FORWARDERS='1.1.1.1 9.9.9.9'\nHOST_N='2'\n"
              "HOST_1_NAME='a1'\nHOST_1_IP='10.0.0.1'\nHOST_2_NAME='a2'\nHOST_2_IP='10.0.0.2'\n"
              "HOST_3_NAME='a3'\nHOST_3_IP='10.0.0.3'\n"
              "HOST_1_IP='10.1.0.1'\nHOST_2_IP='10.1.0.2'\nHOST_1_NAME='x1'\nHOST_2_NAME='x2'\n");
    // The first line of a key answers, so the old entries are what is shown.
    EXPECT_EQ(sb.get("item=3").out, page("1.1.1.1 9.9.9.9", {"a1", "a2"}, {"10.0.0.1", "10.0.0.2"}));
}

TEST(DnsPage, ApplyCountFollowsTheHostList)
{
    struct Case {
        std::string body, file;
    } cases[] = {
        // The names are stored last, so their count stands.
        {"hostlist=n1+n2&iplist=1.1.1.1+2.2.2.2+3.3.3.3",
         "DNS_FORWARDERS=''\nHOST_N='2'\nHOST_1_IP='1.1.1.1'\nHOST_2_IP='2.2.2.2'\nHOST_3_IP='3.3.3.3'\n"
         "HOST_1_NAME='n1'\nHOST_2_NAME='n2'\n"},
        // Runs of blanks separate; one character counts as empty.
        {"Forwarder=x&hostlist=+ab+++cd+&iplist=q",
         "DNS_FORWARDERS='x'\nHOST_N='2'\nHOST_1_NAME='ab'\nHOST_2_NAME='cd'\n"},
        {"hostlist=&iplist=", "DNS_FORWARDERS=''\nHOST_N='0'\n"},
    };
    for (const Case& c : cases) {
        Sandbox sb;
        setup(sb);
        EXPECT_EQ(sb.post("item=3&act=1", c.body).out, kResult) << c.body;
        EXPECT_EQ(sb.config("name.config"), "# DNS forwarders and the local host table.\n" + c.file) << c.body;
    }
}

TEST(DnsPage, ShowCutsNamesAndAddresses)
{
    const std::string name25 = "abcdefghijklmnopqrstuvwxy";
    struct Case {
        std::string file, out;
    } cases[] = {
        {hosts("2", {{name25 + "z0", "192.168.100.1234"}, {"b", "10.0.0.2"}}),
         page("8.8.8.8", {name25, "b"}, {"192.168.100.123", "10.0.0.2"})},
        {hosts("1", {{name25, "123.123.123.123"}}), page("8.8.8.8", {name25}, {"123.123.123.123"})},
        // The count decides: a missing entry is shown empty, extra ones not at all.
        {hosts("2", {{"only", "1.2.3.4"}}), page("8.8.8.8", {"only", ""}, {"1.2.3.4", ""})},
        {hosts("1", {{"one", "1.1.1.1"}, {"two", "2.2.2.2"}}), page("8.8.8.8", {"one"}, {"1.1.1.1"})},
        {hosts("0", {{"zero", "0.0.0.0"}}), "F=8.8.8.8\nHO=\nHL=\nIO=\nIL="},
        {"DNS_FORWARDERS='fw'\nHOST_1_NAME='n'\nHOST_1_IP='1.1.1.1'\n", "F=fw\nHO=\nHL=\nIO=\nIL="},
    };
    for (const Case& c : cases) {
        Sandbox sb;
        setup(sb);
        sb.config("name.config", c.file);
        CgiResult r = sb.get("item=3");
        EXPECT_EQ(r.status, 0) << c.file;
        EXPECT_EQ(r.out, c.out) << c.file;
    }
}
