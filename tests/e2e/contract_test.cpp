// The sandbox contract, seen from outside. A template's text is its path.

#include <cstring>
#include <unistd.h>

#include "page_support.h"

static void pages(const Sandbox& sb, std::initializer_list<const char*> ps) { for (auto p : ps) sb.write_doc(p, p); }

TEST(SandboxContract, RefusesToRunWithoutAnAbsoluteRoot)
{
    Sandbox sb;
    pages(sb, {"english/rstart.tmpl", "templates/resultpage.tmpl"});
    const std::string base = sb.root.substr(0, sb.root.rfind('/'));
    const std::vector<std::string> before = list_tree(base);
    for (const char* root : {"", "relative/folder", "./rel", "rel/"}) {
        // A confirmed restart: a run that went ahead would record and run its commands.
        CgiResult r = sb.run({{"GWADMIN_ROOT", root}, {"QUERY_STRING", "item=20&act=1"}});
        EXPECT_EQ(r.status, 1) << root;
        EXPECT_EQ(r.out, "") << root;
        EXPECT_TRUE(!r.err.empty() && r.err.find('\n') == r.err.size() - 1) << r.err;  // one line
        EXPECT_EQ(list_tree(base), before) << root;
        EXPECT_TRUE(access("relative", F_OK) != 0 && access("rel", F_OK) != 0);
    }
}

TEST(SandboxContract, FirmwareMarkerUnderTheRootSwitchesEveryRequestToNoconf)
{
    Sandbox sb;
    pages(sb, {"english/basis.tmpl", "english/noconf.tmpl", "deutsc/noconf.tmpl", "deutsch/noconf.tmpl",
               "templates/resultpage.tmpl", "english/rstart.tmpl"});
    sb.write("/tmp/firmware.pid", "123\n");
    // No handler runs: page 24 would report its missing configuration, the restart would run commands.
    for (const char* query : {"item=24", "item=24&step=/../../x", "item=24&lang=../x", "item=20&act=1",
                              "item=24&lang=deutsche"}) {
        const CgiResult r = sb.get(query);
        EXPECT_EQ(std::to_string(r.status) + r.out,
                  strstr(query, "deutsche") ? "0deutsc/noconf.tmpl" : "0english/noconf.tmpl") << query;
    }
    EXPECT_EQ(sb.post_multipart("b", multipart_body("b", {{"lang", "deutsche", "", false}, {"item", "24", "", false},
                                                          {"act", "1", "", false}})).out, "deutsch/noconf.tmpl");
    EXPECT_FALSE(sb.exists("/var/log"));
    // A root given with a trailing slash names the same sandbox.
    EXPECT_EQ(sb.run({{"GWADMIN_ROOT", sb.root + "/"}, {"QUERY_STRING", "item=41"}}).out, "english/noconf.tmpl");
}

TEST(SandboxContract, CommandsAreLoggedAsWrittenAndRunAgainstTheSandbox)
{
    Sandbox sb;
    pages(sb, {"templates/resultpage.tmpl", "english/messages"});  // no message key matches
    const std::string log = " >> \"$GWADMIN_ROOT/tool.log\"";
    // sudo records its command when PATH leads with the root's folders.
    sb.tool("/usr/bin/sudo", "R=$GWADMIN_ROOT\ncase $PATH in $R/usr/bin:$R/bin:$R/usr/sbin:$R/sbin:*)"
                             " echo \"sudo $*\"" + log + ";; esac\nexec \"$@\"");
    sb.tool("/sbin/ip", "echo \"ip $*\"" + log + "\necho 'inet 192.0.2.1/24'");  // captured, not printed
    sb.tool("/sbin/reboot", "echo \"reboot $#\"" + log + "\necho REBOOTED");      // must follow the page
    Lines expected = kNetworkCommands;
    expected.push_back("/usr/bin/sudo /sbin/reboot");
    CgiResult r = sb.get("item=20&act=1");
    EXPECT_EQ(std::to_string(r.status) + r.out + r.err, "0templates/resultpage.tmplREBOOTED\n");
    EXPECT_EQ(sb.commands(), expected);
    EXPECT_EQ(split_lines(sb.read("/tool.log")),
              (std::vector<std::string>{"ip addr show dev eth0", "ip addr show dev eth1", "ip route show",
                                        "sudo " + sb.root + "/sbin/reboot", "reboot 0"}));

    sb.tool("/usr/bin/sudo", "exit 7");  // a failing reboot does not change the status; the log grows
    r = sb.get("item=20&act=1");
    EXPECT_EQ(std::to_string(r.status) + r.out, "0templates/resultpage.tmpl");
    EXPECT_EQ(sb.commands().size(), 2 * expected.size());
    EXPECT_TRUE(sb.messages().empty());
}

TEST(SandboxContract, DocumentRootAsGivenSyslogRecordsAndExitStatus)
{
    Sandbox sb;
    pages(sb, {"english/vpstat.tmpl", "english/basis.tmpl"});
    for (const char* decoy : {"/english/vpstat.tmpl", "/english/time.tmpl", "/templates/resultpage.tmpl"})
        write_file(sb.root + sb.docroot + decoy, "under the sandbox root");
    // A missing page, step or result page; no reboot without a page.
    for (const char* query : {"item=2", "item=24&step=9", "item=24&act=1", "item=20&act=1"}) {
        const CgiResult r = sb.get(query);
        EXPECT_EQ(std::to_string(r.status) + r.out + r.err,
                  "1" + error_page("in file tmpl line 25", "No such file or directory")) << query;
    }
    EXPECT_EQ(sb.get("item=23").out, "english/vpstat.tmpl");  // no header of the program's own
    EXPECT_EQ(sb.get("item=23&step=1234567890123456789012345").status, 1);
    std::vector<std::string> expected(4, "3 Error in file tmpl line 25: No such file or directory");
    expected.push_back("3 Error in file tmpl line 25: File name too long");
    EXPECT_EQ(sb.messages(), expected);
    EXPECT_FALSE(sb.exists("/var/log/commands"));
}
