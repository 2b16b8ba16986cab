// The main flow through the real executable: which template a request loads,
// how lang and step build its path, and that hostile input is still answered.
// Each template's text is its own path and carries no placeholder, so the
// page names the file loaded. Checks of the flow itself use pages without
// handlers (0, 23, 41, 47), which print their template as it is.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
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

// Every page template of the languages given, and the result page.
void pages(const Sandbox& sb, std::initializer_list<const char*> langs)
{
    for (const char* lang : langs)
        for (const char* name : kPageNames)
            page(sb, std::string(lang) + "/" + name + ".tmpl");
    page(sb, "templates/resultpage.tmpl");
}

std::string last_message(const Sandbox& sb)
{
    std::vector<std::string> lines = sb.messages();
    return lines.empty() ? std::string() : lines.back();
}

std::string base_of(const Sandbox& sb) { return sb.root.substr(0, sb.root.rfind('/')); }

// What the pages with handlers need to print cleanly: the default
// configuration, the messages, and the tools the status pages run.
void device(const Sandbox& sb)
{
    sb.defaults();
    sb.write_doc("english/messages", "netstat_head:Network\nlogstat_head:Log\ntimstat_head:Time\n");
    sb.tool("/sbin/ip", "echo \"ip $*\"");
    sb.tool("/usr/bin/logread", "echo log");
    sb.tool("/bin/date", "echo now");
    sb.tool("/usr/sbin/save", "exit 0");
    sb.tool("/usr/sbin/load", "exit 0");
}

const std::vector<std::string> kNetStatus = {"/sbin/ip addr show dev eth0", "/bin/echo", "/sbin/ip addr show dev eth1",
                                             "/bin/echo", "/sbin/ip route show"};

const std::string kTooLong = error_page("in file tmpl line 25", "File name too long");

CgiResult multipart(const Sandbox& sb, const std::vector<Part>& parts)
{
    return sb.post_multipart("XyZ123", multipart_body("XyZ123", parts));
}

Part field(const char* name, const char* value) { return {name, value, "", false}; }
Part upload(const std::string& field, const std::string& file, const std::string& content)
{
    return {field, content, file, true};
}

}  // namespace

TEST(MainFlow, EachItemLoadsItsPageTemplate)
{
    Sandbox sb;
    pages(sb, {"english"});
    device(sb);
    // The commands that showing these pages runs. Item 38 shows without its
    // handler, which would load the defaults; no page reboots on show.
    const std::map<int, std::vector<std::string>> runs = {
        {19,
         {"/usr/bin/sudo /usr/sbin/save config > /dev/null", "/usr/bin/sudo /usr/sbin/save openvpn > /dev/null",
          "/usr/bin/sudo /usr/sbin/save certs > /dev/null"}},
        {20, kNetStatus}, {22, kNetStatus}, {38, {}}, {43, {"logread"}}, {44, {"date"}},
    };
    std::vector<int> items;
    for (int i = 0; i < 50; ++i)
        items.push_back(i);
    for (int i : {-1, 50, 60, 2147483647})
        items.push_back(i);
    size_t seen = 0;
    for (int item : items) {
        CgiResult r = sb.get("item=" + std::to_string(item));
        const std::string tmpl = std::string("english/") + (item >= 0 && item < 50 ? kPageNames[item] : "") + ".tmpl";
        EXPECT_EQ(r.status, 0) << item;
        EXPECT_GE(r.out.size(), tmpl.size()) << item;
        EXPECT_EQ(r.out.substr(r.out.size() - std::min(r.out.size(), tmpl.size())), tmpl) << item;
        EXPECT_EQ(r.err, "") << item;
        std::vector<std::string> log = sb.commands();
        std::vector<std::string> ran(log.begin() + long(seen), log.end());
        seen = log.size();
        auto known = runs.find(item);
        if (known != runs.end()) {
            EXPECT_EQ(ran, known->second) << item;
        }
        for (const std::string& command : ran)
            EXPECT_EQ(command.find("reboot"), std::string::npos) << item;  // only a confirmed restart
    }
    EXPECT_TRUE(sb.messages().empty());  // nothing reported
}

TEST(MainFlow, StepActAndArgumentsChooseTheTemplate)
{
    Sandbox sb;
    pages(sb, {"english", "de"});
    device(sb);
    for (const char* p : {"english/user2.tmpl", "english/vpnca1.tmpl", "english/vpncax.tmpl"})
        page(sb, p);
    struct Case {
        const char* query;
        std::vector<std::string> args;
        const char* expect;
    } cases[] = {
        {"item=47&step=2", {}, "english/user2.tmpl"},
        {"item=47&step=", {}, "english/user.tmpl"},
        {"item=23&lang=de", {}, "de/vpstat.tmpl"},
        {"item=47&act=1", {}, "templates/resultpage.tmpl"},
        {"item=47&act=-3&step=2", {}, "templates/resultpage.tmpl"},
        {"item=0&act=1", {}, "templates/resultpage.tmpl"},
        {"item=77&act=1", {}, "templates/resultpage.tmpl"},
        {"item=26&step=1", {}, "english/vpnca1.tmpl"},  // no handler for the step rule yet
        {"item=26&step=1&act=0", {}, "english/vpnca1.tmpl"},
        {"item=26&step=x", {}, "english/vpncax.tmpl"},
        {"item=38", {}, "english/facdef.tmpl"},  // printed unchanged: no defaults loaded
        {"item=38&act=1", {}, "templates/resultpage.tmpl"},
        {"item=20", {}, "english/rstart.tmpl"},  // the network status, no reboot
        {"item=20&act=0", {}, "english/rstart.tmpl"},
        {"item=35", {}, "english/.tmpl"},
        {"item=47&act=1&act=0", {}, "english/user.tmpl"},  // the last act wins
        {"item=47", {"item=23"}, "english/vpstat.tmpl"},   // arguments come last
        {"item=47", {"act=1"}, "templates/resultpage.tmpl"},
        {"item=47", {"step=2"}, "english/user2.tmpl"},
    };
    for (const Case& c : cases) {
        CgiResult r = sb.run({{"REQUEST_METHOD", "GET"}, {"QUERY_STRING", c.query}}, "", c.args);
        EXPECT_EQ(r.status, 0) << c.query;
        EXPECT_EQ(r.out, c.expect) << c.query;
    }
    std::vector<std::string> expected = {"/usr/bin/sudo /usr/sbin/load defaults >/dev/null"};
    for (int i = 0; i < 2; ++i)
        expected.insert(expected.end(), kNetStatus.begin(), kNetStatus.end());
    EXPECT_EQ(sb.commands(), expected);  // only a confirmed restart reboots
    EXPECT_TRUE(sb.messages().empty());
}

TEST(MainFlow, MissingTemplateGivesTheErrorPageAndStatus1)
{
    Sandbox sb;
    page(sb, "english/basis.tmpl");
    for (const char* query : {"item=24&step=9", "item=24&lang=fr", "item=2", "item=24&act=1", "item=20&act=1"}) {
        CgiResult r = sb.get(query);
        EXPECT_EQ(r.status, 1) << query;
        EXPECT_EQ(r.out, error_page("in file tmpl line 25", "No such file or directory")) << query;
    }
    EXPECT_FALSE(sb.exists("/var/log/commands"));  // no reboot without a page
}

TEST(MainFlow, LangIsCutAndNeverLeavesTheDocumentRoot)
{
    Sandbox sb;
    pages(sb, {"english", "deutsc", "deutsch"});
    // Decoys a lang used as a folder name would reach.
    write_file(base_of(sb) + "/x/user.tmpl", "outside");
    write_file(base_of(sb) + "/user.tmpl", "outside");
    write_file(sb.docroot + "/a/b/user.tmpl", "nested");
    write_file(sb.docroot + "/.hid/user.tmpl", "hidden");
    for (const char* lang : {"deutsche", "", "../x", "a/b", "..", "%2E%2E%2Fx", "x/..", ".hid", "/etc"}) {
        std::string query = std::string("item=47&lang=") + lang;
        CgiResult r = sb.get(query);
        EXPECT_EQ(r.status, 0) << query;
        EXPECT_EQ(r.out, lang == std::string("deutsche") ? "deutsc/user.tmpl" : "english/user.tmpl") << query;
    }
    EXPECT_EQ(sb.get("item=47").out, "english/user.tmpl");

    // A multipart form keeps 7 characters, and its first lang counts.
    struct Case {
        std::vector<Part> parts;
        const char* expect;
    } cases[] = {
        {{field("lang", "deutsche"), field("item", "47")}, "deutsch/user.tmpl"},
        {{field("lang", "deutsch"), field("lang", "english"), field("item", "47")}, "deutsch/user.tmpl"},
        {{field("lang", "../x"), field("item", "47")}, "english/user.tmpl"},
        {{field("lang", "a/b"), field("item", "47")}, "english/user.tmpl"},
        {{field("lang", ""), field("item", "47")}, "english/user.tmpl"},
    };
    for (const Case& c : cases) {
        CgiResult r = multipart(sb, c.parts);
        EXPECT_EQ(r.status, 0) << c.expect;
        EXPECT_EQ(r.out, c.expect);
    }
}

TEST(MainFlow, EscapingOrOverlongTemplatePathsAreRefused)
{
    Sandbox sb;
    pages(sb, {"english", "deutsc"});
    page(sb, "deutsc/ovpnstatus123456789.tmpl");  // 31 characters: the longest path
    write_file(sb.docroot + "/english/basis2/x.tmpl", "below");
    EXPECT_EQ(sb.get("item=49&lang=deutsc&step=123456789").out, "deutsc/ovpnstatus123456789.tmpl");
    const std::string huge(3000, 'x');
    for (const std::string& query : std::vector<std::string>{"item=24&step=2/x", "item=24&step=/../../x", "item=24&step=%2F..%2Fx",
                              "item=49&lang=deutsc&step=1234567890", "item=24&step=" + huge}) {
        CgiResult r = sb.get(query);
        EXPECT_EQ(r.status, 1) << query.substr(0, 60);
        EXPECT_EQ(r.out, kTooLong) << query.substr(0, 60);
        EXPECT_EQ(last_message(sb), "3 Error in file tmpl line 25: File name too long");
    }
}

TEST(MainFlow, HostileCgiInputIsStillAnswered)
{
    Sandbox sb;
    pages(sb, {"english"});
    const std::string urlenc = "application/x-www-form-urlencoded";
    struct Case {
        std::map<std::string, std::string> env;
        std::string input;
        std::string expect;
    } cases[] = {
        {{{"QUERY_STRING", "item=47"}}, "item=41", "english/user.tmpl"},
        {{}, "", "english/intro.tmpl"},
        {{{"REQUEST_METHOD", "POST"}, {"QUERY_STRING", "item=47"}, {"CONTENT_TYPE", urlenc}}, "item=41",
         "english/user.tmpl"},
        {{{"REQUEST_METHOD", "POST"}, {"QUERY_STRING", "item=47"}, {"CONTENT_LENGTH", "-5"}}, "item=41",
         "english/user.tmpl"},
        {{{"REQUEST_METHOD", "POST"}, {"QUERY_STRING", "item=47"}, {"CONTENT_LENGTH", "abc"}}, "item=41",
         "english/user.tmpl"},
        {{{"REQUEST_METHOD", "POST"}, {"QUERY_STRING", "item=47"}, {"CONTENT_LENGTH", "1000"}}, "item=41",
         "english/redunt.tmpl"},
        {{{"REQUEST_METHOD", "POST"}, {"QUERY_STRING", "item=47"}, {"CONTENT_LENGTH", "99999999999"}}, "item=41",
         error_page("in file http line 258", "Cannot allocate memory") + "english/user.tmpl"},
        {{{"REQUEST_METHOD", "POST"}, {"QUERY_STRING", "item=47"}, {"CONTENT_LENGTH", "-99999999999"}}, "item=41",
         "english/user.tmpl"},
        {{{"REQUEST_METHOD", "POST"}, {"CONTENT_TYPE", "multipart/form-data; boundary=x"}}, "",
         error_page("in file http line 297", "Message too long") + "english/intro.tmpl"},
        {{{"REQUEST_METHOD", "POST"}, {"CONTENT_TYPE", "multipart/form-data; boundary=x"}},
         "--" + std::string(150, 'x') + "\r\n",
         error_page("in file http line 301", "Message too long") +
             error_page("in file http line 369", "Invalid argument") + "english/intro.tmpl"},
    };
    for (const Case& c : cases) {
        CgiResult r = sb.run(c.env, c.input);
        EXPECT_FALSE(r.timed_out) << c.expect;
        EXPECT_EQ(r.status, 0) << c.expect;
        EXPECT_EQ(r.out, c.expect);
    }
}

TEST(MainFlow, UploadsAreStoredInTheSandboxUploadFolder)
{
    Sandbox sb;
    pages(sb, {"english"});
    const std::string name = "gw-" + base_of(sb).substr(base_of(sb).rfind('/') + 1) + ".pem";
    const std::string content("key\0\r\n--XyZ1\r\n-\xff\r\n\r\n", 20);
    CgiResult r = multipart(sb, {field("item", "47"), upload("cert", name, content), upload("key", "b.key", ""),
                                 field("act", "1")});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "templates/resultpage.tmpl");  // fields after the files still count
    EXPECT_EQ(sb.read("/tmp/upload/" + name), content + "\r\n");
    EXPECT_EQ(sb.read("/tmp/upload/b.key"), "\r\n");
    EXPECT_NE(access(("/tmp/upload/" + name).c_str(), F_OK), 0);

    // A name that would leave the upload folder is refused; parsing stops there.
    auto outside_logs = [&sb] {
        std::vector<std::string> files = list_tree(base_of(sb));
        files.erase(std::remove_if(files.begin(), files.end(),
                                   [](const std::string& p) { return p.rfind("root/var", 0) == 0; }),
                    files.end());
        return files;
    };
    for (const char* bad : {"../evil", "..", ".", "/etc/evil", "a/b"}) {
        std::vector<std::string> before = outside_logs();
        r = multipart(sb, {field("item", "47"), upload("cert", bad, "evil"), field("act", "1")});
        EXPECT_EQ(r.status, 0) << bad;
        EXPECT_EQ(r.out, error_page("in file http line 339", "Permission denied") + "english/user.tmpl") << bad;
        EXPECT_EQ(last_message(sb), "3 Error in file http line 339: Permission denied");
        EXPECT_EQ(outside_logs(), before) << bad;
    }
    EXPECT_FALSE(sb.exists("/tmp/evil"));
    EXPECT_FALSE(sb.exists("/etc/evil"));
}

TEST(MainFlow, BrokenMultipartStreamsEndAtTheEndOfInput)
{
    Sandbox sb;
    pages(sb, {"english"});
    // No closing boundary: the upload holds what the stream carried.
    std::string body = multipart_body("XyZ123", {field("item", "47"), upload("f", "open.bin", "hello world data")});
    body.erase(body.rfind("\r\n--XyZ123--"));
    CgiResult r = sb.post_multipart("XyZ123", body);
    EXPECT_FALSE(r.timed_out);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "english/user.tmpl");
    EXPECT_EQ(sb.read("/tmp/upload/open.bin"), "hello world data");

    // A boundary ending in two equal characters never matches: the upload
    // swallows the rest of the stream, later fields included.
    body = multipart_body("Bzz", {field("item", "47"), upload("f", "zz.bin", "DATA"), field("act", "1")});
    r = sb.post_multipart("Bzz", body);
    EXPECT_FALSE(r.timed_out);
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "english/user.tmpl");
    EXPECT_EQ(sb.read("/tmp/upload/zz.bin"), body.substr(body.find("DATA")));
}
