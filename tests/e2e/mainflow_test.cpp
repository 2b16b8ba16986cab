// The main flow through the real executable. A template's text is its path, so the page names the file loaded;
// flow checks use pages without handlers. (Names that try to leave the document root: hostile_input_test.cpp.)


#include "sandbox.h"

namespace {

const char* const kPageNames[50] = {
    "intro",  "update", "time",   "dns",    "",       "",       "debug",  "modint", "",       "diaout",
    "dyndns", "dialin", "",       "",       "",       "",       "",       "",       "portfi", "speich",
    "rstart", "",       "ccstat", "vpstat", "basis",  "noconf", "vpnca",  "mgcert", "vmp",    "ipsec",
    "statrt", "portfw", "blwhit", "cpppoe", "crunsv", "",       "fwruls", "dhcps",  "facdef", "snmp",
    "",       "redunt", "rdial",  "ccstat", "ccstat", "ospf",   "ovpn",   "user",   "distat", "ovpnstatus",
};

void page(const Sandbox& sb, const std::string& path) { sb.write_doc(path, path); }

// Every page template, and what pages with handlers need.
void pages(const Sandbox& sb)
{
    for (const char* name : kPageNames)
        page(sb, std::string("english/") + name + ".tmpl");
    page(sb, "templates/resultpage.tmpl");
    sb.defaults();
    sb.write_doc("english/messages", "netstat_head:Network\nlogstat_head:Log\ntimstat_head:Time\n");
    for (const char* t : {"/sbin/ip", "/usr/bin/logread", "/bin/date", "/usr/sbin/save", "/usr/sbin/load"})
        sb.tool(t, "echo x");
}

}  // namespace

TEST(MainFlow, ItemStepActAndArgumentsChooseTheTemplate)
{
    Sandbox sb;
    pages(sb);
    sb.write("/etc/deviceID", "MX-RT-210B-GSM-KORU\n");  // the modem pages need the model
    for (const char* p : {"english/user2.tmpl", "english/vpnca1.tmpl", "english/vpncax.tmpl"})
        page(sb, p);
    for (int item = -1; item <= 60; item += item < 50 ? 1 : 10) {  // a handler may print before the template
        CgiResult r = sb.get("item=" + std::to_string(item));
        const std::string tmpl = std::string("english/") + (item >= 0 && item < 50 ? kPageNames[item] : "") + ".tmpl";
        EXPECT_EQ(r.status, 0) << item;
        EXPECT_TRUE(r.out.size() >= tmpl.size() && r.out.substr(r.out.size() - tmpl.size()) == tmpl) << item;
        EXPECT_EQ(r.err, "") << item;
    }
    const std::pair<const char*, const char*> cases[] = {
        {"item=2147483647", "english/.tmpl"},
        {"item=47&step=2", "english/user2.tmpl"},
        {"item=47&step=", "english/user.tmpl"},
        {"item=47&act=-3&step=2", "templates/resultpage.tmpl"},
        {"item=77&act=1", "templates/resultpage.tmpl"},
        {"item=26&step=1", "english/vpnca1.tmpl"},
        {"item=26&step=x", "english/vpncax.tmpl"},
        {"item=38&act=1", "templates/resultpage.tmpl"},
        {"item=47&act=1&act=0", "english/user.tmpl"},  // the last act wins
    };
    for (const auto& [query, expect] : cases) {
        CgiResult r = sb.get(query);
        EXPECT_EQ(r.status, 0) << query;
        EXPECT_EQ(r.out, expect) << query;
    }
    EXPECT_EQ(sb.run({{"QUERY_STRING", "item=47"}}, "", {"item=23"}).out, "english/vpstat.tmpl");  // argv comes last
    EXPECT_EQ(sb.run({{"QUERY_STRING", "item=47"}}, "", {"act=1"}).out, "templates/resultpage.tmpl");
    for (const std::string& command : sb.commands())
        EXPECT_EQ(command.find("reboot"), std::string::npos);  // only a confirmed restart reboots
    for (const std::string& record : sb.messages())
        EXPECT_NE(record.rfind("3 ", 0), 0u) << record;  // no page reports an error
}

TEST(MainFlow, TheResultPageNamesThePageItAnswers)
{
    Sandbox sb;
    pages(sb);
    sb.write_doc("templates/resultpage.tmpl", "{ITEM}|{LANG}|{ITEM}");
    const std::pair<const char*, const char*> cases[] = {
        {"item=47&act=1&lang=deutsch", "47|deutsc|47"},
        {"item=47&act=1", "47|english|47"},
        {"item=47&act=1&lang=%22%3E%3Cb", "47|&quot;&gt;&lt;b|47"},
        {"item=-5&act=2", "-5|english|-5"},
    };
    for (const auto& [query, expect] : cases)
        EXPECT_EQ(sb.get(query).out, expect) << query;
}
