// The maintenance pages: firmware-update settings, saving, factory defaults, restart.

#include "page_support.h"

TEST(MaintenancePages, UpdateShowsTheExactProtocolAndStoresTheFourSettings)
{
    Sandbox sb;
    result_page(sb, "update_head:Update\nupdate_rslt:Update source stored\n");
    sb.write_doc("english/update.tmpl", "{PROTOCOL_OPTS}|{UPDATE_SERVER}|{UPDATE_PATH}|{UPDATE_FILE}");
    for (const Lines& c : {Lines{"http", "01"}, Lines{"ftp", "10"}, Lines{"ftps", "00"}, Lines{"htt", "00"}})
        EXPECT_EQ(shown(sb, "item=1", "update.config", "UPDATE_PROTOCOL='" + c[0] + "'\nUPDATE_PATH='/images'\n"),
                  option_lines({"ftp", "ftp", "http", "http"}, c[1]) + "||/images|") << c[0];
    // Any protocol word is stored, a field not sent is stored empty.
    sb.config("update.config", "# Source.\nUPDATE_PROTOCOL=''\nUPDATE_SERVER='s'\nUPDATE_PATH=''\nUPDATE_FILE=''\n");
    EXPECT_EQ(sb.post("item=1&act=1", "updt_protocol=gopher&updt_path=%2Fimages&updt_file=gw+1.2.bin").out,
              "Update\n|Update source stored\n");
    EXPECT_EQ(sb.config("update.config"), "# Source.\nUPDATE_PROTOCOL='gopher'\nUPDATE_SERVER=''\n"
                                          "UPDATE_PATH='/images'\nUPDATE_FILE='gw 1.2.bin'\n");
    EXPECT_TRUE(sb.commands().empty());
}

TEST(MaintenancePages, SaveRunsTheThreeSaveCommandsAndFactoryDefaultsLoadOnlyWithAct)
{
    Sandbox sb;
    result_page(sb, "speich_head:Save\nspeich_rslt:Configuration saved\nfacdef_head:Defaults\n");
    sb.write_doc("english/speich.tmpl", "{HEADLINE}|{MESSAGE}");
    sb.tool("/usr/sbin/save", "echo \"$*\" >> \"$GWADMIN_ROOT/var/log/saved\"; echo chatter");
    for (const char* query : {"item=19", "item=19&act=1"}) {  // also when only shown
        sb.remove("/var/log/commands");
        EXPECT_EQ(sb.get(query).out, "Save\n|Configuration saved\n") << query;  // the tool's output goes nowhere
        EXPECT_EQ(sb.commands(), (Lines{"/usr/bin/sudo /usr/sbin/save config > /dev/null",
                                        "/usr/bin/sudo /usr/sbin/save openvpn > /dev/null",
                                        "/usr/bin/sudo /usr/sbin/save certs > /dev/null"})) << query;
    }
    EXPECT_EQ(sb.read("/var/log/saved"), "config\nopenvpn\ncerts\nconfig\nopenvpn\ncerts\n");
    sb.remove("/var/log/commands");
    const std::string page = "<html>{HEADLINE}|{MESSAGE}|{PROTOCOL_OPTS}</html>";
    sb.write_doc("english/facdef.tmpl", page);
    // The load tool adds a message: the page shows it ran before the texts were read.
    sb.tool("/usr/sbin/load", "echo chatter; echo 'facdef_rslt:Loaded first' >> \"$DOCUMENT_ROOT/english/messages\"");
    EXPECT_EQ(sb.get("item=38").out, page);
    EXPECT_FALSE(sb.exists("/var/log/commands"));
    EXPECT_EQ(sb.get("item=38&act=1").out, "Defaults\n|Loaded first\n");
    EXPECT_EQ(sb.commands(), Lines{"/usr/bin/sudo /usr/sbin/load defaults >/dev/null"});
}

TEST(MaintenancePages, RestartShowsTheNetworkStatusThenReboots)
{
    Sandbox sb;
    result_page(sb, "rstart_head:Restart {HEADLINE}\nrstart_rslt:Rebooting now.{MESSAGE}\nnetstat_head:Network\n");
    sb.write_doc("english/rstart.tmpl", "<pre>{HEADLINE}|{MESSAGE}</pre>");
    ip_tool(sb);
    sb.tool("/sbin/reboot", "echo REBOOT");
    // Without act the restart page is the network status, and nothing reboots.
    EXPECT_EQ(sb.get("item=20").out, std::string("<pre>Network\n|") + kNetworkOutput + "</pre>");
    EXPECT_EQ(sb.commands(), kNetworkCommands);
    // The restart texts fill the result page first, the network status then the placeholders those texts carry;
    // the reboot follows the page.
    sb.remove("/var/log/commands");
    EXPECT_EQ(sb.get("item=20&act=1").out, std::string("Restart Network\n\n|Rebooting now.") + kNetworkOutput +
                                               "\nREBOOT\n");
    Lines expected = kNetworkCommands;
    expected.push_back("/usr/bin/sudo /sbin/reboot");
    EXPECT_EQ(sb.commands(), expected);
}
