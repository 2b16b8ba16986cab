// The sandbox contract, seen from outside: the real gwadmin run as a CGI
// process against a fresh sandbox folder.
#include <gtest/gtest.h>

#include <algorithm>
#include <unistd.h>

#include "sandbox.h"

namespace {

// A template whose text is its own path, so the page names the file loaded.
void page(const Sandbox& sb, const std::string& path) { sb.write_doc(path, path); }

std::string base_of(const Sandbox& sb) { return sb.root.substr(0, sb.root.rfind('/')); }

}  // namespace

TEST(SandboxContract, RefusesToRunWithoutAnAbsoluteRoot)
{
    Sandbox sb;
    page(sb, "english/rstart.tmpl");
    page(sb, "templates/resultpage.tmpl");
    sb.tool("/usr/bin/sudo", "echo sudo >> '" + sb.root + "/sudo.log'");
    // A restart with an upload: a run that went ahead would write, record
    // and run something.
    std::string body = multipart_body("Qx7", {{"item", "20", "", false},
                                              {"act", "1", "", false},
                                              {"cert", "data", "up.pem", true}});
    const std::vector<std::string> before = list_tree(base_of(sb));
    for (const char* root : {"", "relative/folder", "./rel", "rel/"}) {
        CgiResult r = sb.run({{"GWADMIN_ROOT", root},
                              {"REQUEST_METHOD", "POST"},
                              {"CONTENT_TYPE", "multipart/form-data; boundary=Qx7"},
                              {"CONTENT_LENGTH", std::to_string(body.size())}},
                             body);
        EXPECT_EQ(r.status, 1) << root;
        EXPECT_EQ(r.out, "") << root;
        EXPECT_EQ(std::count(r.err.begin(), r.err.end(), '\n'), 1) << r.err;
        EXPECT_TRUE(!r.err.empty() && r.err.back() == '\n') << r.err;
        EXPECT_EQ(list_tree(base_of(sb)), before) << root;
        EXPECT_NE(access("relative", F_OK), 0);
        EXPECT_NE(access("rel", F_OK), 0);
    }
}

TEST(SandboxContract, FirmwareMarkerUnderTheRootSwitchesEveryRequestToNoconf)
{
    Sandbox sb;
    for (const char* p : {"english/user.tmpl", "english/basis.tmpl", "english/noconf.tmpl", "deutsc/noconf.tmpl",
                          "deutsch/noconf.tmpl", "templates/resultpage.tmpl", "english/rstart.tmpl"})
        page(sb, p);
    EXPECT_EQ(sb.get("item=47").out, "english/user.tmpl");

    // While the marker exists no handler runs: the basic network page would
    // report its missing configuration, the restart would run its commands.

    sb.write("/tmp/firmware.pid", "123\n");
    struct Case {
        const char* query;
        const char* expect;
    } cases[] = {
        {"item=24", "english/noconf.tmpl"},
        {"item=24&act=1", "english/noconf.tmpl"},
        {"item=24&step=/../../x", "english/noconf.tmpl"},
        {"item=99", "english/noconf.tmpl"},
        {"item=24&lang=deutsche", "deutsc/noconf.tmpl"},
        {"item=24&lang=../x", "english/noconf.tmpl"},
        {"item=20&act=1", "english/noconf.tmpl"},  // no reboot during an update
    };
    for (const Case& c : cases) {
        CgiResult r = sb.get(c.query);
        EXPECT_EQ(r.status, 0) << c.query;
        EXPECT_EQ(r.out, c.expect) << c.query;
    }
    CgiResult r = sb.post_multipart("b0", multipart_body("b0", {{"lang", "deutsche", "", false},
                                                               {"item", "24", "", false},
                                                               {"act", "1", "", false}}));
    EXPECT_EQ(r.out, "deutsch/noconf.tmpl");
    EXPECT_FALSE(sb.exists("/var/log"));

    // The marker's language folder must exist like any other template.
    CgiResult missing = sb.get("item=24&lang=fr");
    EXPECT_EQ(missing.status, 1);
    EXPECT_EQ(missing.out, error_page("in file tmpl line 25", "No such file or directory"));
}

TEST(SandboxContract, RestartRecordsTheRebootAndRunsItAgainstTheSandboxTools)
{
    Sandbox sb;
    page(sb, "templates/resultpage.tmpl");
    // A query's lang keeps 6 characters: "english" reads "englis/messages".
    for (const char* lang : {"english", "englis"})
        sb.write_doc(std::string(lang) + "/messages", "rstart_head:Restart\nrstart_rslt:Restarting\nnetstat_head:Network\n");
    const std::string log = sb.root + "/tool.log";
    // sudo logs the words and PATH it was given, then runs the command.
    sb.tool("/usr/bin/sudo", "echo \"sudo $*\" >> '" + log + "'\necho \"PATH $PATH\" >> '" + log +
                                 "'\nexec \"$@\"");
    // The network status the restart page runs first: captured, not printed.
    sb.tool("/sbin/ip", "echo \"ip $*\" >> '" + log + "'\necho 'inet 192.0.2.1/24'");
    // reboot writes to the page's output: it must come after the page.
    sb.tool("/sbin/reboot", "echo \"reboot $#\" >> '" + log + "'\necho REBOOTED");
    ASSERT_FALSE(sb.exists("/var"));

    const std::vector<std::string> status = {"/sbin/ip addr show dev eth0", "/bin/echo", "/sbin/ip addr show dev eth1",
                                             "/bin/echo", "/sbin/ip route show"};
    std::vector<std::string> expected = status;
    expected.push_back("/usr/bin/sudo /sbin/reboot");
    CgiResult r = sb.get("item=20&act=1");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "templates/resultpage.tmpl" "REBOOTED\n");
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(sb.commands(), expected);
    std::vector<std::string> calls = split_lines(read_file(log));
    ASSERT_EQ(calls.size(), 6u);
    EXPECT_EQ(calls[0], "ip addr show dev eth0");
    EXPECT_EQ(calls[1], "ip addr show dev eth1");
    EXPECT_EQ(calls[2], "ip route show");
    EXPECT_EQ(calls[3], "sudo " + sb.root + "/sbin/reboot");
    const std::string& root = sb.root;
    EXPECT_EQ(calls[4].rfind("PATH " + root + "/usr/bin:" + root + "/bin:" + root + "/usr/sbin:" + root + "/sbin", 0),
              0u)
        << calls[4];
    EXPECT_EQ(calls[5], "reboot 0");

    // The command file grows; a failing reboot does not change the status.
    sb.tool("/usr/bin/sudo", "exit 7");
    r = sb.get("item=20&act=1&lang=english");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "templates/resultpage.tmpl");
    const std::vector<std::string> once = expected;
    expected.insert(expected.end(), once.begin(), once.end());
    EXPECT_EQ(sb.commands(), expected);
    EXPECT_TRUE(sb.messages().empty());
}

TEST(SandboxContract, SyslogRecordsAndExitStatus)
{
    Sandbox sb;
    page(sb, "english/vpstat.tmpl");
    ASSERT_FALSE(sb.exists("/var"));

    CgiResult r = sb.get("item=2");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, error_page("in file tmpl line 25", "No such file or directory"));
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(sb.messages(), std::vector<std::string>{"3 Error in file tmpl line 25: No such file or directory"});

    r = sb.get("item=23");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "english/vpstat.tmpl");  // no header of the program's own
    EXPECT_EQ(sb.messages().size(), 1u);

    r = sb.get("item=23&step=1234567890123456789012345");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(sb.messages(), (std::vector<std::string>{"3 Error in file tmpl line 25: No such file or directory",
                                                      "3 Error in file tmpl line 25: File name too long"}));
    EXPECT_FALSE(sb.exists("/var/log/commands"));
}

TEST(SandboxContract, DocumentRootIsUsedAsGiven)
{
    Sandbox sb;
    page(sb, "english/redunt.tmpl");
    write_file(sb.root + sb.docroot + "/english/redunt.tmpl", "under the sandbox root");
    write_file(sb.root + sb.docroot + "/english/time.tmpl", "under the sandbox root");
    EXPECT_EQ(sb.get("item=41").out, "english/redunt.tmpl");
    CgiResult r = sb.get("item=2");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(r.out, error_page("in file tmpl line 25", "No such file or directory"));

    // A root given with a trailing slash names the same sandbox.
    sb.write("/tmp/firmware.pid", "");
    page(sb, "english/noconf.tmpl");
    r = sb.run({{"GWADMIN_ROOT", sb.root + "/"}, {"QUERY_STRING", "item=41"}});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "english/noconf.tmpl");
}
