// The maintenance pages through the real executable: the firmware-update
// settings, saving the configuration, the factory defaults and the restart.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "sandbox.h"

namespace {

using Lines = std::vector<std::string>;

// A message's text keeps the newline of its line.
const char kMessages[] =
    "update_head:Update\nupdate_rslt:Update source stored\n"
    "speich_head:Save\nspeich_rslt:Configuration saved\n"
    "facdef_head:Defaults\nfacdef_rslt:Factory defaults loaded\n"
    "netstat_head:Network\n";

void result_page(const Sandbox& sb, const std::string& messages = kMessages)
{
    sb.write_doc("templates/resultpage.tmpl", "{HEADLINE}|{MESSAGE}");
    sb.write_doc("english/messages", messages);
}

std::string result(const std::string& head, const std::string& text) { return head + "\n|" + text + "\n"; }

std::string protocol_options(bool ftp, bool http)
{
    return std::string("\n    <option value=\"ftp\"") + (ftp ? " selected" : "") + ">ftp</option>" +
           "\n    <option value=\"http\"" + (http ? " selected" : "") + ">http</option>";
}

// Interfaces and routes as the stand-in ip tool reports them.
void ip_tool(const Sandbox& sb)
{
    sb.tool("/sbin/ip", "case \"$*\" in\n"
                        "'addr show dev eth0') echo '1: eth0 <UP> inet 192.168.0.1/24';;\n"
                        "'addr show dev eth1') echo '2: eth1 inet 10.0.0.2/8';;\n"
                        "'route show') echo 'default via 10.0.0.1';;\n"
                        "esac");
}
const char kNetworkOutput[] = "1: eth0 <UP> inet 192.168.0.1/24\n\n2: eth1 inet 10.0.0.2/8\n\ndefault via 10.0.0.1\n";
const Lines kNetworkCommands = {"/sbin/ip addr show dev eth0", "/bin/echo", "/sbin/ip addr show dev eth1",
                                "/bin/echo", "/sbin/ip route show"};

}  // namespace

TEST(MaintenancePages, UpdateShowMarksOnlyTheExactProtocol)
{
    const struct {
        const char* stored;  // the update.config line, nullptr: no such key
        bool ftp, http;
    } cases[] = {
        {"UPDATE_PROTOCOL='http'", false, true}, {"UPDATE_PROTOCOL='ftp'", true, false},
        {"UPDATE_PROTOCOL=''", false, false},    {"UPDATE_PROTOCOL='HTTP'", false, false},
        {"UPDATE_PROTOCOL='ftps'", false, false}, {"UPDATE_PROTOCOL='htt'", false, false},
        {nullptr, false, false},
    };
    for (const auto& c : cases) {
        Sandbox sb;
        sb.write_doc("english/update.tmpl", "{PROTOCOL_OPTS}|{UPDATE_SERVER}|{UPDATE_PATH}|{UPDATE_FILE}");
        sb.config("update.config", std::string("# update\n") + (c.stored ? c.stored : "") +
                                       "\nUPDATE_SERVER='fw.example.net'\nUPDATE_PATH='/images'\n");
        CgiResult r = sb.get("item=1");
        EXPECT_EQ(r.status, 0);
        // A missing key shows as the empty text.
        EXPECT_EQ(r.out, protocol_options(c.ftp, c.http) + "|fw.example.net|/images|") << (c.stored ? c.stored : "-");
    }
}

TEST(MaintenancePages, UpdateApplyStoresTheFourSettings)
{
    const struct {
        const char* body;
        const char* expected;  // update.config afterwards
    } cases[] = {
        {"updt_protocol=ftp&updt_svr=fw.example.net&updt_path=%2Fimages%2Fnew&updt_file=gw+1.2.bin",
         "# Firmware update source.\nUPDATE_PROTOCOL='ftp'\nUPDATE_SERVER='fw.example.net'\n"
         "UPDATE_PATH='/images/new'\nUPDATE_FILE='gw 1.2.bin'\n"},
        // Unchecked: any protocol word is stored, a field not sent is stored empty.
        {"updt_protocol=gopher&updt_file=x.bin",
         "# Firmware update source.\nUPDATE_PROTOCOL='gopher'\nUPDATE_SERVER=''\nUPDATE_PATH=''\nUPDATE_FILE='x.bin'\n"},
    };
    for (const auto& c : cases) {
        Sandbox sb;
        sb.defaults();
        result_page(sb);
        CgiResult r = sb.post("item=1&act=1", c.body);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, result("Update", "Update source stored"));
        EXPECT_EQ(sb.config("update.config"), c.expected) << c.body;
        EXPECT_TRUE(sb.commands().empty());
    }
}

TEST(MaintenancePages, SaveRunsTheThreeSaveCommandsEvenWhenOnlyShown)
{
    for (const char* query : {"item=19", "item=19&act=1"}) {
        Sandbox sb;
        result_page(sb);
        sb.write_doc("english/speich.tmpl", "{HEADLINE}|{MESSAGE}");
        sb.tool("/usr/sbin/save", "echo \"$*\" >> \"$GWADMIN_ROOT/var/log/saved\"; echo chatter");
        CgiResult r = sb.get(query);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, result("Save", "Configuration saved")) << query;  // the tool's output goes nowhere
        EXPECT_EQ(sb.commands(), (Lines{"/usr/bin/sudo /usr/sbin/save config > /dev/null",
                                        "/usr/bin/sudo /usr/sbin/save openvpn > /dev/null",
                                        "/usr/bin/sudo /usr/sbin/save certs > /dev/null"}))
            << query;
        EXPECT_EQ(sb.read("/var/log/saved"), "config\nopenvpn\ncerts\n");
    }
}

TEST(MaintenancePages, FactoryDefaultsLoadOnlyWithAct)
{
    Sandbox sb;
    result_page(sb);
    const std::string page = "<html>{HEADLINE}|{MESSAGE}|{PROTOCOL_OPTS}</html>";
    sb.write_doc("english/facdef.tmpl", page);
    // The load tool rewrites a message, so the page shows whether it ran
    // before the texts were read.
    sb.tool("/usr/sbin/load", "echo \"$*\" >> \"$GWADMIN_ROOT/var/log/loaded\"; echo chatter\n"
                              "echo 'facdef_head:Defaults\nfacdef_rslt:Loaded first' > \"$DOCUMENT_ROOT/english/messages\"");

    CgiResult shown = sb.get("item=38");
    EXPECT_EQ(shown.status, 0);
    EXPECT_EQ(shown.out, page);  // as it stands, nothing filled
    EXPECT_FALSE(sb.exists("/var/log/commands"));

    CgiResult applied = sb.get("item=38&act=1");
    EXPECT_EQ(applied.status, 0);
    EXPECT_EQ(applied.out, result("Defaults", "Loaded first"));
    EXPECT_EQ(sb.commands(), Lines{"/usr/bin/sudo /usr/sbin/load defaults >/dev/null"});
    EXPECT_EQ(sb.read("/var/log/loaded"), "defaults\n");
}

TEST(MaintenancePages, RestartShowsTheNetworkStatusThenReboots)
{
    // The restart texts fill the result page first; the network status then
    // fills the placeholders those texts carry.
    const struct {
        const char* messages;
        std::string page;
    } cases[] = {
        {"rstart_head:Restart {HEADLINE}\nrstart_rslt:Rebooting now.{MESSAGE}\nnetstat_head:Network\n",
         std::string("Restart Network\n\n|Rebooting now.") + kNetworkOutput + "\n"},
        {"rstart_head:Restart\nrstart_rslt:Rebooting now.\nnetstat_head:Network\n", result("Restart", "Rebooting now.")},
    };
    for (const auto& c : cases) {
        Sandbox sb;
        result_page(sb, c.messages);
        ip_tool(sb);
        sb.tool("/sbin/reboot", "echo REBOOT; echo reboot >> \"$GWADMIN_ROOT/var/log/reboots\"");
        CgiResult r = sb.get("item=20&act=1");
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, c.page + "REBOOT\n");  // the reboot follows the page
        Lines expected = kNetworkCommands;
        expected.push_back("/usr/bin/sudo /sbin/reboot");
        EXPECT_EQ(sb.commands(), expected);
        EXPECT_EQ(sb.read("/var/log/reboots"), "reboot\n");
    }

    // Without act the restart page is the network status, and nothing reboots.
    Sandbox sb;
    result_page(sb);
    ip_tool(sb);
    sb.write_doc("english/rstart.tmpl", "<pre>{HEADLINE}|{MESSAGE}</pre>");
    CgiResult r = sb.get("item=20");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, std::string("<pre>Network\n|") + kNetworkOutput + "</pre>");
    EXPECT_EQ(sb.commands(), kNetworkCommands);
    EXPECT_FALSE(sb.exists("/var/log/reboots"));
}
