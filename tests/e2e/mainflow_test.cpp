// The main flow through the real executable. A template's text is its path,
// so the page names the file loaded; flow checks use pages without handlers.
#include <gtest/gtest.h>

#include <algorithm>
#include <unistd.h>

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

// Every page template of the languages given, and what pages with handlers need.
void pages(const Sandbox& sb, std::initializer_list<const char*> langs)
{
    for (const char* lang : langs)
        for (const char* name : kPageNames)
            page(sb, std::string(lang) + "/" + name + ".tmpl");
    page(sb, "templates/resultpage.tmpl");
    sb.defaults();
    sb.write_doc("english/messages", "netstat_head:Network\nlogstat_head:Log\ntimstat_head:Time\n");
    for (const char* t : {"/sbin/ip", "/usr/bin/logread", "/bin/date", "/usr/sbin/save", "/usr/sbin/load"})
        sb.tool(t, "echo x");
}

std::string last_message(const Sandbox& sb) { auto m = sb.messages(); return m.empty() ? "" : m.back(); }
std::string base_of(const Sandbox& sb) { return sb.root.substr(0, sb.root.rfind('/')); }
CgiResult multipart(const Sandbox& sb, const std::vector<Part>& parts)
{
    return sb.post_multipart("XyZ123", multipart_body("XyZ123", parts));
}
Part field(const char* name, const char* value) { return {name, value, "", false}; }
Part upload(const std::string& name, const std::string& content) { return {"f", content, name, true}; }

}  // namespace

TEST(MainFlow, ItemStepActAndArgumentsChooseTheTemplate)
{
    Sandbox sb;
    pages(sb, {"english"});
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
    const std::vector<std::string> commands = sb.commands();  // item 38 loads the defaults only on act
    EXPECT_EQ(std::count(commands.begin(), commands.end(), "/usr/bin/sudo /usr/sbin/load defaults >/dev/null"), 1);
    for (const std::string& command : commands)
        EXPECT_EQ(command.find("reboot"), std::string::npos);  // only a confirmed restart reboots
    for (const std::string& record : sb.messages())
        EXPECT_NE(record.rfind("3 ", 0), 0u) << record;  // no page reports an error
}

TEST(MainFlow, LangAndStepNeverLeaveTheDocumentRoot)
{
    Sandbox sb;
    pages(sb, {"english", "deutsc", "deutsch"});
    for (const std::string& decoy : {base_of(sb) + "/x", base_of(sb), sb.docroot + "/a/b", sb.docroot + "/.hid"})
        write_file(decoy + "/user.tmpl", "decoy");
    for (const char* lang : {"deutsche", "", "../x", "a/b", "..", "%2E%2E%2Fx", "x/..", ".hid", "/etc"}) {
        CgiResult r = sb.get(std::string("item=47&lang=") + lang);
        EXPECT_EQ(r.status, 0) << lang;
        EXPECT_EQ(r.out, lang == std::string("deutsche") ? "deutsc/user.tmpl" : "english/user.tmpl") << lang;
    }
    // A multipart form keeps 7 characters, and its first lang counts.
    EXPECT_EQ(multipart(sb, {field("lang", "deutsche"), field("lang", "english"), field("item", "47")}).out,
              "deutsch/user.tmpl");

    page(sb, "deutsc/ovpnstatus123456789.tmpl");  // 31 characters: the longest path
    write_file(sb.docroot + "/english/basis2/x.tmpl", "below");
    EXPECT_EQ(sb.get("item=49&lang=deutsc&step=123456789").out, "deutsc/ovpnstatus123456789.tmpl");
    for (const std::string& query : std::vector<std::string>{"item=24&step=2/x", "item=24&step=%2F..%2Fx",
                                                             "item=49&lang=deutsc&step=1234567890",
                                                             "item=24&step=" + std::string(3000, 'x')}) {
        CgiResult r = sb.get(query);
        EXPECT_EQ(r.status, 1) << query.substr(0, 60);
        EXPECT_EQ(r.out, error_page("in file tmpl line 25", "File name too long")) << query.substr(0, 60);
        EXPECT_EQ(last_message(sb), "3 Error in file tmpl line 25: File name too long");
    }
}

TEST(MainFlow, HostileInputIsAnsweredAndUploadsStayInTheSandbox)
{
    Sandbox sb;
    pages(sb, {"english"});
    const std::string mp = "multipart/form-data; boundary=x", user = "english/user.tmpl", intro = "english/intro.tmpl";
    struct Case {
        std::string method, query, type, length, input, expect;
    } cases[] = {
        {"", "item=47", "", "", "item=41", user},
        {"", "", "", "", "", intro},
        {"POST", "item=47", "application/x-www-form-urlencoded", "", "item=41", user},
        {"POST", "item=47", "", "-99999999999", "item=41", user},
        {"POST", "item=47", "", "1000", "item=41", "english/redunt.tmpl"},
        {"POST", "item=47", "", "99999999999", "item=41",  // refused with the query string's variables
         error_page("in file http line 258", "Cannot allocate memory") + intro},
        {"POST", "", mp, "", "", error_page("in file http line 297", "Message too long") + intro},
        {"POST", "", mp, "", "--" + std::string(150, 'x') + "\r\n",
         error_page("in file http line 301", "Message too long") +
             error_page("in file http line 369", "Invalid argument") + intro},
    };
    for (const Case& c : cases) {
        CgiResult r = sb.run({{"REQUEST_METHOD", c.method}, {"QUERY_STRING", c.query}, {"CONTENT_TYPE", c.type},
                              {"CONTENT_LENGTH", c.length}}, c.input);
        EXPECT_EQ(r.status, 0) << c.expect;
        EXPECT_EQ(r.out, c.expect);
    }

    // Uploads land in the sandbox's upload folder, N+2 bytes for N sent.
    const std::string name = "gw-" + base_of(sb).substr(base_of(sb).rfind('/') + 1) + ".pem";
    const std::string content("key\0\r\n--XyZ1\r\n-\xff\r\n\r\n", 20);
    CgiResult r = multipart(sb, {field("item", "47"), upload(name, content), upload("b.key", ""), field("act", "1")});
    EXPECT_EQ(r.out, "templates/resultpage.tmpl");  // fields after the files still count
    EXPECT_EQ(sb.read("/tmp/upload/" + name), content + "\r\n");
    EXPECT_EQ(sb.read("/tmp/upload/b.key"), "\r\n");
    EXPECT_NE(access(("/tmp/upload/" + name).c_str(), F_OK), 0);

    // A name that would leave the upload folder is refused; parsing stops there.
    sb.write("/var/log/messages", "");
    for (const char* bad : {"../evil", "..", ".", "/etc/evil", "a/b"}) {
        const std::vector<std::string> before = list_tree(base_of(sb));
        r = multipart(sb, {field("item", "47"), upload(bad, "evil"), field("act", "1")});
        EXPECT_EQ(r.status, 0) << bad;
        EXPECT_EQ(r.out, error_page("in file http line 339", "Permission denied") + "english/user.tmpl") << bad;
        EXPECT_EQ(last_message(sb), "3 Error in file http line 339: Permission denied");
        EXPECT_EQ(list_tree(base_of(sb)), before) << bad;
    }

    // A boundary ending in two equal characters never matches: the upload
    // holds the rest of the stream up to its end, later fields included.
    const std::string body = multipart_body("Bzz", {field("item", "47"), upload("zz.bin", "DATA"), field("act", "1")});
    EXPECT_EQ(sb.post_multipart("Bzz", body).out, "english/user.tmpl");
    EXPECT_EQ(sb.read("/tmp/upload/zz.bin"), body.substr(body.find("DATA")));
}

TEST(MainFlow, TheResultPageNamesThePageItAnswers)
{
    Sandbox sb;
    pages(sb, {"english"});
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
