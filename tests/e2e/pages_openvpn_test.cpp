// The OpenVPN settings (item 46) and status (item 49) pages.

#include "page_support.h"

namespace {

const std::string kConfig =
    "# OpenVPN\nOVPN_MODE='tunnel'\nOVPN_LISTEN_IF='eth1'\nOVPN_PROTOCOL='udp'\nOVPN_PORT_REMOTE='1195'\n"
    "OVPN_PORT='1194'\nOVPN_COMPRESSION='yes'\nOVPN_HOST_REMOTE='old.host'\nOVPN_PKCS12_PASSWD='oldpw'\n"
    "OVPN_SVR_NET='10.8.0.0'\nOVPN_SVR_MASK='255.255.255.0'\nOVPN_SVR_DNS='dns'\nOVPN_SVR_WINS='wins'\n"
    "OVPN_SVR_REDIRECT_DEFAULT='no'\nOVPN_SVR_CLIENTS_MAX='10'\nOVPN_SVR_CLIENT_VISIBILITY='yes'\n"
    "OVPN_ROUTE_N='2'\nOVPN_ROUTE_1_NET='n1'\nOVPN_ROUTE_1_MASK='m1'\nOVPN_ROUTE_2_NET='n2'\nOVPN_ROUTE_2_MASK='m2'\n"
    "OVPN_TUNNEL_LOCAL='10.9.0.1'\nOVPN_TUNNEL_REMOTE='10.9.0.2'\n";
const std::string kCommon = "&ovpn_interface=eth0&vpnprot=tcp&vport=443&kompress=", kKeys = "/home/httpd/openvpn/";

// Every mode but "none" stores these; the port's store also takes the remote port's line.
std::vector<Lines> common(std::vector<Lines> more)
{
    more.insert(more.begin(), {{"OVPN_LISTEN_IF", "eth0"}, {"OVPN_PROTOCOL", "tcp"}, {"OVPN_PORT", "443"},
                               {"OVPN_PORT_REMOTE", "443", "OVPN_PORT"}, {"OVPN_COMPRESSION", ""}});
    return more;
}

void setup(const Sandbox& sb, const std::string& tmpl, const std::string& config = kConfig)
{
    page_setup(sb, "ovpn", tmpl, "ccovpn_head:OpenVPN\nccovpn_rslt:Stored\nccovpn_err1:Failed\n");
    sb.config("openvpn.config", config);
}

}  // namespace

TEST(OpenVpnPage, ShowMarksModeOptionsPortsAndRoutes)
{
    const Lines checks = {"checked,,,", ",checked,,", ",,checked,", ",,,checked"};
    // {mode, interface, protocol, compression, redirect, visibility, remote port after the port, mode shown,
    //  interface marks, the rest}: a remote port standing after the port reads the port's value.
    const Lines cases[] = {
        {"client", "eth0", "udp", "yes", "yes", "yes", "", "2", "10", "checked,|checked|checked,checked|1194|1195"},
        {"server", "eth1", "UDP", "no", "Yes", "yes1", "1", "3", "01", ",checked|checked|,|1194|1194"},
        {"tunnel", "eth0 ", "udp ", "", "no", "", "", "4", "00", ",checked||,|1194|1195"},
        {"Client", "eth", "", "", "", "", "", "1", "00", ",checked||,|1194|1195"},
        {"clientx", "eth1", "tcp", "", "", "", "", "1", "01", ",checked||,|1194|1195"},
    };
    for (const Lines& c : cases) {
        Sandbox sb;
        setup(sb, "{PEERLIST}|{CHOOSEN_DIV}|{MODE_CHK1},{MODE_CHK2},{MODE_CHK3},{MODE_CHK4}|{INTERFACE_OPTS}|{CHECK1},"
                  "{CHECK2}|{KOMP}|{OVPN_SVR_REDIRECT_DEFAULT},{OVPN_SVR_CLIENT_VISIBILITY}|{VPORT}|{OVPN_PORT_REMOTE}",
              edit_conf(kConfig, {{"OVPN_MODE", c[0]}, {"OVPN_LISTEN_IF", c[1]}, {"OVPN_PROTOCOL", c[2]},
                                  {"OVPN_COMPRESSION", c[3]}, {"OVPN_SVR_REDIRECT_DEFAULT", c[4]},
                                  {"OVPN_SVR_CLIENT_VISIBILITY", c[5]}, {"OVPN_ROUTE_1_NET", "192.168.100.1234567"},
                                  {"OVPN_PORT_REMOTE", c[6].empty() ? "1195" : "-"}}) +
                  (c[6].empty() ? "" : "OVPN_PORT_REMOTE='1195'\n"));
        EXPECT_EQ(sb.get("item=46").out, "192.168.100.123 n2 |" + c[7] + "|" + checks[std::stoul(c[7]) - 1] + "|" +
                                             option_lines({"eth0", "LAN", "eth1", "WAN"}, c[8]) + "|" + c[9]) << c[0];
    }
}

TEST(OpenVpnPage, ShowStaticKeyActions)
{
    Sandbox sb;
    setup(sb, "{SECKEY}");
    sb.write(kKeys + "static.key", "1\n2\n3\n4\nshown-key-line-0123\n6\n");  // the fifth line, 16 characters
    sb.tool("/usr/sbin/openvpn", "echo \"$*\" > \"$3\"");
    const std::string gen = "/usr/sbin/openvpn --genkey --secret /home/httpd/openvpn/stqatic.key";
    // 1abc counts as 1: the key is made as "stqatic.key", the page still shows "static.key".
    EXPECT_EQ(sb.get("item=46&keystate=1abc").out, "shown-key-line-0");
    EXPECT_EQ(sb.messages(), (Lines{"6 ccovpn ccovpn(): keystate 1abc", "6 ccovpn: switch keymode case 1, pt1",
                                    "6 " + gen, "6 ccovpn: nach switch keymode, pt1"}));
    EXPECT_EQ(sb.read(kKeys + "stqatic.key"), "--genkey --secret " + sb.root + kKeys + "stqatic.key\n");
    // 3: the uploaded key goes into the key folder under its own name.
    EXPECT_EQ(post_fields(sb, "item=46&keystate=3", {"Datei", "KEY", "k.key", true}).out, "shown-key-line-0");
    EXPECT_EQ(sb.commands(), (Lines{gen, "/usr/bin/sudo /bin/mv -f /tmp/upload/'k.key' /home/httpd/openvpn/'k.key' "
                                         "> /dev/null"}));
    EXPECT_EQ(sb.read(kKeys + "k.key"), "KEY\r\n");
}

TEST(OpenVpnPage, ApplyStoresTheKeysOfTheModeAndInstallsTheClientUpload)
{
    const std::string done = "OpenVPN\n|Stored\n", p12 = "/tmp/keys/openvpn/vpnpeer.p12", hostile = "x';reboot;'.p12";
    const std::string content("P12\0DATA\r\nmore", 15), client = "6 OpenVPN client mode: ", sudo = "/usr/bin/sudo ";
    const std::string mv = sudo + "/bin/mv -f /tmp/upload/'x'\\'';reboot;'\\''.p12' " + p12;
    const std::string mkdir = sudo + "/bin/mkdir /tmp/keys/openvpn", cert = "6 ccovpn: certfile " + hostile;
    const std::string upload = "vpnmode=client" + kCommon + "&remote_host=h&remote_port=9&x509pwd=s3cret";
    const std::vector<Lines> as_client = common({{"OVPN_MODE", "client"}, {"OVPN_HOST_REMOTE", "h"}});
    const std::string no_texts = error_page("in file aux line 86", "No such file or directory");
    // file: the upload's name; added: lines added at the end.
    const struct { std::string body, file, added, page; std::vector<Lines> edits; Lines commands, records; } cases[] = {
        {"vpnmode=none" + kCommon + "&remote_host=h&lokal=l", "", "", done, {{"OVPN_MODE", "none"}}, {}, {}},
        {"vpnmode=Client" + kCommon + "&remote_host=h", "", "", done, common({{"OVPN_MODE", "Client"}}), {}, {}},
        {"vpnmode=server" + kCommon + "&ovpnservernet=10.10.0.0&ovpnservermask=255.255.0.0&ovpnservermsdns=1.1.1.1"
                                      "&ovpnservermswins=&ovpnredirectdefaults=x&ovpnservermaxclnts=5"
                                      "&ovpnclientsvisible=&peerlist=10.1.0.0 10.2.0.0&masklist=255.255.0.0", "",
         "OVPN_ROUTE_1_NET='10.1.0.0'\nOVPN_ROUTE_2_NET='10.2.0.0'\nOVPN_ROUTE_1_MASK='255.255.0.0'\n", done,
         common({{"OVPN_MODE", "server"}, {"OVPN_SVR_NET", "10.10.0.0"}, {"OVPN_SVR_MASK", "255.255.0.0"},
                 {"OVPN_SVR_DNS", "1.1.1.1"}, {"OVPN_SVR_WINS", ""}, {"OVPN_SVR_REDIRECT_DEFAULT", "yes"},
                 {"OVPN_SVR_CLIENTS_MAX", "5"}, {"OVPN_SVR_CLIENT_VISIBILITY", "no"}, {"OVPN_ROUTE_N", "1"},
                 {"OVPN_ROUTE_1_NET", "-"}, {"OVPN_ROUTE_1_MASK", "-"}, {"OVPN_ROUTE_2_NET", "-"},
                 {"OVPN_ROUTE_2_MASK", "-"}}), {}, {}},
        // The lookup of remote also finds remote_host sent after it.
        {"vpnmode=tunnel" + kCommon + "&gateway=gw&lokal=10.7.0.1&remote=10.7.0.2&remote_host=rh", "", "", done,
         common({{"OVPN_HOST_REMOTE", "gw"}, {"OVPN_TUNNEL_LOCAL", "10.7.0.1"}, {"OVPN_TUNNEL_REMOTE", "rh"}}), {}, {}},
        {upload, "", "", done, as_client, {}, {"6 ccovpn: certfile (null)", client + "no upload file"}},
        {upload, hostile, "", done,
         common({{"OVPN_MODE", "client"}, {"OVPN_HOST_REMOTE", "h"}, {"OVPN_PKCS12_PASSWD", "s3cret"}}),
         {mkdir, mv, sudo + "/bin/chown admin:admin " + p12, sudo + "/usr/sbin/save openvpn > /dev/null"},
         {cert, "6 ccovpn: kommando " + mv, client + "mv returns 0", client + "chown returns 0",
          client + "savekeys returns 0"}},
        // A failed mv: no page at all, the password not stored; the texts are still looked up (here in vain).
        {upload + "&lang=fr", hostile, "", no_texts + no_texts, as_client, {mkdir, mv},
         {cert, "6 ccovpn: kommando " + mv, client + "mv returns 256", "3 Error in file aux line 86: No such file or "
          "directory", "3 Error in file aux line 86: No such file or directory"}},
    };
    for (const auto& c : cases) {
        Sandbox sb;
        setup(sb, "");
        sb.write("/tmp/keys/.keep", "");
        vpn_tools(sb, 0, 0);
        if (c.body.find("lang=fr") != std::string::npos)
            sb.tool("/bin/mv", "exit 1");
        EXPECT_EQ(post_fields(sb, "item=46&act=1&" + c.body, {"certfile", content, c.file, !c.file.empty()}).out,
                  c.page) << c.body;
        EXPECT_EQ(sb.config("openvpn.config"), edit_conf(kConfig, c.edits) + c.added) << c.body;
        EXPECT_EQ(sb.commands(), c.commands) << c.body;
        EXPECT_EQ(sb.messages(), c.records) << c.body;
        EXPECT_EQ(sb.read(p12), c.commands.size() == 4 ? content + "\r\n" : "");
        EXPECT_FALSE(sb.exists("/var/log/reboots"));
    }
}

TEST(OpenVpnStatus, ShowsStateModeAndConnections)
{
    const std::string up = "<p style=\"background-color:#00FF00; color:#FFFFFF;\">RUNNING</p>|";
    const std::string down = "<p style=\"background-color:#FF0000; color:#FFFFFF;\">NOT RUNNING</p>|";
    const std::string out_de = "Client|<caption>Status ausgehender OpenVPN-Verbindungen</caption><tr><td>Device</td>"
                               "<td>Remote-IP des Servers</td></tr>|";
    const std::string out_en = "Client|<caption>Status of outgoing OpenVPN connection</caption><tr><td>Device</td>"
                               "<td>Remote IP of server</td></tr>|";
    const std::string in_en = "Server|<caption>Status of incoming OpenVPN connections</caption><tr><td>IP address of "
                              "clients</td><td>Remote port of clients</td><td>CN of X509 Certificate</td></tr>|";
    const std::string in_de = "Server|<caption>Status eingehender OpenVPN-Verbindungen</caption><tr><td>IP-Adresse "
                              "des Clients</td><td>Remote-Port des Clients</td><td>CN des X509-Zertifikats</td></tr>|";
    const std::string none = "<tr><td colspan=\"3\">No connections</td></tr>";
    // {lang (six characters name its folder), mode, /tmp/vpnlist ("-": none), pid file, page}
    const Lines cases[] = {
        {"deutsch", "client", "tun0|192.0.2.1\nx|y\n", "1", up + out_de + "<tr><td>tun0</td><td>192.0.2.1\n</td></tr>"},
        {"english", "server", "10.8.0.6|50123|peer1\n\n10.8.0.10|50124|peer2\n", "",
         down + in_en + "<tr><td>10.8.0.6</td><td>50123</td><td>peer1\n</td></tr>"
                        "<tr><td>10.8.0.10</td><td>50124</td><td>peer2\n</td></tr>"},
        {"english", "server", "a\n10.8.0.6|50123|peer1\n", "1", up + in_en + none},
        {"deutsch", "tunnel", "ab\n\n", "", down + in_de + none},
        {"french", "clientx", "-", "", down + out_en + "<tr><td colspan=\"2\">Not connected</td></tr>"},
    };
    for (const Lines& c : cases) {
        Sandbox sb;
        sb.config("openvpn.config", "OVPN_MODE='" + c[1] + "'\n");
        sb.write_doc(c[0].substr(0, 6) + "/ovpnstatus.tmpl", "{STATUS}|{MODE}|{HEAD}|{CONNECTIONS}");
        if (c[2] != "-")
            sb.write("/tmp/vpnlist", c[2]);
        if (!c[3].empty())
            sb.write("/var/run/openvpn.pid", "");
        EXPECT_EQ(sb.get("item=49&lang=" + c[0]).out, c[4]) << c[0] << " " << c[1] << " " << c[2];
    }
}
