// The OpenVPN pages: settings (item 46: four modes, the client's PKCS#12
// upload, the static key) and status (item 49: service state and connections).
#include <gtest/gtest.h>

#include <algorithm>

#include "page_support.h"

namespace {

const std::string kConfig =
    "# OpenVPN\nOVPN_MODE='tunnel'\nOVPN_LISTEN_IF='eth1'\nOVPN_PROTOCOL='udp'\nOVPN_PORT_REMOTE='1195'\n"
    "OVPN_PORT='1194'\nOVPN_COMPRESSION='yes'\nOVPN_HOST_REMOTE='old.host'\nOVPN_PKCS12_PASSWD='oldpw'\n"
    "OVPN_SVR_NET='10.8.0.0'\nOVPN_SVR_MASK='255.255.255.0'\nOVPN_SVR_DNS='dns'\nOVPN_SVR_WINS='wins'\n"
    "OVPN_SVR_REDIRECT_DEFAULT='no'\nOVPN_SVR_CLIENTS_MAX='10'\nOVPN_SVR_CLIENT_VISIBILITY='yes'\n"
    "OVPN_ROUTE_N='2'\nOVPN_ROUTE_1_NET='n1'\nOVPN_ROUTE_1_MASK='m1'\nOVPN_ROUTE_2_NET='n2'\nOVPN_ROUTE_2_MASK='m2'\n"
    "OVPN_TUNNEL_LOCAL='10.9.0.1'\nOVPN_TUNNEL_REMOTE='10.9.0.2'\n";
const std::string kCommon = "&ovpn_interface=eth0&vpnprot=tcp&vport=443&kompress=";
const std::string kKeys = "/home/httpd/openvpn/";

// The text with the line of each {key, value[, new key]} rewritten ("-": removed).
std::string edit(std::string text, const std::vector<Lines>& edits)
{
    for (const Lines& e : edits) {
        size_t at = text.find("\n" + e[0] + "='");
        EXPECT_NE(at, std::string::npos) << e[0];
        if (at == std::string::npos)
            continue;
        size_t end = text.find('\n', at + 1);
        text.replace(at, end - at, e[1] == "-" ? "" : "\n" + (e.size() > 2 ? e[2] : e[0]) + "='" + e[1] + "'");
    }
    return text;
}
// Every mode but "none" stores these; the port's store also takes the remote port's line.
std::vector<Lines> common(std::vector<Lines> more)
{
    more.insert(more.begin(), {{"OVPN_LISTEN_IF", "eth0"}, {"OVPN_PROTOCOL", "tcp"}, {"OVPN_PORT", "443"},
                               {"OVPN_PORT_REMOTE", "443", "OVPN_PORT"}, {"OVPN_COMPRESSION", ""}});
    return more;
}

void setup(const Sandbox& sb, const std::string& tmpl, const std::string& config = kConfig)
{
    sb.config("openvpn.config", config);
    sb.write_doc("english/ovpn.tmpl", tmpl);
    result_page(sb, "ccovpn_head:OpenVPN\nccovpn_rslt:Stored\nccovpn_err1:Failed\n");
}

Part field(const std::string& name, const std::string& value) { return {name, value, "", false}; }

}  // namespace

TEST(OpenVpnPage, ShowMarksModeInterfaceProtocolAndOptions)
{
    const Lines itfs = {"eth0", "LAN", "eth1", "WAN"};
    const Lines checks = {"checked,,,", ",checked,,", ",,checked,", ",,,checked"};
    // {mode, interface, protocol, compression, redirect, visibility, mode shown, interface marks, the rest}
    const Lines cases[] = {
        {"client", "eth0", "udp", "yes", "yes", "yes", "2", "10", "checked,|checked|checked,checked"},
        {"server", "eth1", "UDP", "x", "Yes", "yes1", "3", "01", ",checked|checked|,"},
        {"tunnel", "eth0 ", "udp ", "", "no", "", "4", "00", ",checked||,"},
        {"none", "eth", "udpx", "no", "", "yes", "1", "00", ",checked|checked|,checked"},
        {"Client", "", "", "", "", "", "1", "00", ",checked||,"},
        {"clientx", "eth1", "tcp", "", "", "", "1", "01", ",checked||,"},
    };
    for (const Lines& c : cases) {
        Sandbox sb;
        setup(sb, "{CHOOSEN_DIV}|{MODE_CHK1},{MODE_CHK2},{MODE_CHK3},{MODE_CHK4}|{INTERFACE_OPTS}|{CHECK1},{CHECK2}|"
                  "{KOMP}|{OVPN_SVR_REDIRECT_DEFAULT},{OVPN_SVR_CLIENT_VISIBILITY}",
              "OVPN_MODE='" + c[0] + "'\nOVPN_LISTEN_IF='" + c[1] + "'\nOVPN_PROTOCOL='" + c[2] +
                  "'\nOVPN_COMPRESSION='" + c[3] + "'\nOVPN_SVR_REDIRECT_DEFAULT='" + c[4] +
                  "'\nOVPN_SVR_CLIENT_VISIBILITY='" + c[5] + "'\n");
        CgiResult r = sb.get("item=46");
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, c[6] + "|" + checks[std::stoul(c[6]) - 1] + "|" + option_lines(itfs, c[7]) + "|" + c[8])
            << c[0];
    }
    // The interface markup byte for byte; nothing set: mode 1, only "not udp" marked.
    Sandbox sb;
    setup(sb, "{INTERFACE_OPTS}", "OVPN_LISTEN_IF='eth0'\n");
    EXPECT_EQ(sb.get("item=46").out,
              "\n    <option value=\"eth0\" selected>LAN</option>\n    <option value=\"eth1\">WAN</option>");
    setup(sb, "{CHOOSEN_DIV}|{MODE_CHK1}|{CHECK1},{CHECK2}|{KOMP}|{SECKEY}", "# nothing set\n");
    EXPECT_EQ(sb.get("item=46").out, "1|checked|,checked||");
}

TEST(OpenVpnPage, ShowTextsRoutesAndStaticKey)
{
    const std::string tmpl = "{VPORT}|{OVPN_PORT_REMOTE}|{OVPN_HOST_REMOTE}|{OVPN_SVR_NET},{OVPN_SVR_MASK},"
                             "{OVPN_SVR_DNS},{OVPN_SVR_WINS},{OVPN_SVR_CLIENTS_MAX}|{PEEROPTS}|{PEERLIST}|"
                             "{MASKOPTS}|{MASKLIST}|{GATEWAY},{LOKAL},{REMOTE}|{SECKEY}";
    const std::string texts = "old.host|10.8.0.0,255.255.255.0,dns,wins,10|\n      <option>192.168.100.123</option>"
                              "\n      <option>m1</option>|192.168.100.123 m1 |\n      <option>m1</option>\n      "
                              "<option>m2</option>|m1 m2 |old.host,10.9.0.1,10.9.0.2|";
    const std::string hdr = "#\n# 2048 bit OpenVPN static key\n#\n-----BEGIN OpenVPN Static key V1-----\n";
    // A remote port standing after the port reads the port's value.
    const std::string remote_first = "OVPN_PORT_REMOTE='1195'\nOVPN_PORT='1194'\n";
    const std::string port_first = "OVPN_PORT='1194'\nOVPN_PORT_REMOTE='1195'\n";
    // {static.key ("-": none), port lines, ports shown, key shown}
    const Lines cases[] = {
        {hdr + "0123456789abcdefXYZ\nfedcba\n", remote_first, "1194|1195|", "0123456789abcdef"},
        {"one\ntwo\nthe last line read\n", port_first, "1194|1194|", "the last line re"},
        {hdr + "short\n", remote_first, "1194|1195|", "short\n"},
        {"-", remote_first, "1194|1195|", ""},
        {"", port_first, "1194|1194|", ""},
    };
    for (const Lines& c : cases) {
        Sandbox sb;
        setup(sb, tmpl, edit(kConfig, {{"OVPN_PORT_REMOTE", "-"}, {"OVPN_PORT", "-"},
                                       {"OVPN_ROUTE_1_NET", "192.168.100.1234567"},
                                       {"OVPN_ROUTE_2_NET", "m1'\nOVPN_ROUTE_3_NET='x"}}) + c[1]);
        if (c[0] != "-")
            sb.write(kKeys + "static.key", c[0]);
        CgiResult r = sb.get("item=46");
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, c[2] + texts + c[3]) << c[0];
        EXPECT_TRUE(sb.commands().empty());
    }
}

TEST(OpenVpnPage, ShowStaticKeyActions)
{
    Sandbox sb;
    setup(sb, "{SECKEY}");
    sb.write(kKeys + "static.key", "1\n2\n3\n4\nshown-key-line-0123\n");
    sb.tool("/usr/sbin/openvpn", "echo \"$*\" > \"$3\"");
    const std::string gen = "/usr/sbin/openvpn --genkey --secret /home/httpd/openvpn/stqatic.key";
    // 1abc counts as 1: the key is made as "stqatic.key", the page still shows "static.key".
    EXPECT_EQ(sb.get("item=46&keystate=1abc").out, "shown-key-line-0");
    EXPECT_EQ(sb.commands(), Lines{gen});
    EXPECT_EQ(sb.messages(), (Lines{"6 ccovpn ccovpn(): keystate 1abc", "6 ccovpn: switch keymode case 1, pt1",
                                    "6 " + gen, "6 ccovpn: nach switch keymode, pt1"}));
    EXPECT_EQ(sb.read(kKeys + "stqatic.key"), "--genkey --secret " + sb.root + kKeys + "stqatic.key\n");
    sb.remove("/var/log/messages");
    EXPECT_EQ(sb.get("item=46&keystate=2").out, "shown-key-line-0");
    EXPECT_EQ(sb.commands(), Lines{gen});
    EXPECT_EQ(sb.messages(), (Lines{"6 ccovpn ccovpn(): keystate 2", "6 ccovpn: nach switch keymode, pt1"}));
    // 3: the uploaded key goes into the key folder under its own name.
    CgiResult r = sb.post_multipart(
        "b", multipart_body("b", {field("item", "46"), field("keystate", "3"), {"Datei", "KEY", "k.key", true}}));
    EXPECT_EQ(r.out, "shown-key-line-0");
    EXPECT_EQ(sb.commands().back(),
              "/usr/bin/sudo /bin/mv -f /tmp/upload/'k.key' /home/httpd/openvpn/'k.key' > /dev/null");
    EXPECT_EQ(sb.read(kKeys + "k.key"), "KEY\r\n");
}

TEST(OpenVpnPage, ApplyStoresTheKeysOfTheMode)
{
    const struct {
        std::string body;
        std::vector<Lines> edits;
        std::string added, shown;  // lines added at the end; mode, port and remote port shown afterwards
    } cases[] = {
        {"vpnmode=none" + kCommon + "&remote_host=h&lokal=l", {{"OVPN_MODE", "none"}}, "", "1|1194|1195"},
        {"vpnmode=Client" + kCommon + "&remote_host=h&remote_port=9&x509pwd=pw", common({{"OVPN_MODE", "Client"}}),
         "", "1|443|443"},
        {"vpnmode=client" + kCommon + "&remote_host=h&remote_port=9&x509pwd=pw",
         common({{"OVPN_MODE", "client"}, {"OVPN_HOST_REMOTE", "h"}}), "", "2|443|443"},
        {"vpnmode=server" + kCommon + "&ovpnservernet=10.10.0.0&ovpnservermask=255.255.0.0&ovpnservermsdns=1.1.1.1"
                                      "&ovpnservermswins=&ovpnredirectdefaults=x&ovpnservermaxclnts=5"
                                      "&ovpnclientsvisible=&peerlist=10.1.0.0+10.2.0.0&masklist=255.255.0.0",
         common({{"OVPN_MODE", "server"}, {"OVPN_SVR_NET", "10.10.0.0"}, {"OVPN_SVR_MASK", "255.255.0.0"},
                 {"OVPN_SVR_DNS", "1.1.1.1"}, {"OVPN_SVR_WINS", ""}, {"OVPN_SVR_REDIRECT_DEFAULT", "yes"},
                 {"OVPN_SVR_CLIENTS_MAX", "5"}, {"OVPN_SVR_CLIENT_VISIBILITY", "no"}, {"OVPN_ROUTE_N", "1"},
                 {"OVPN_ROUTE_1_NET", "-"}, {"OVPN_ROUTE_1_MASK", "-"}, {"OVPN_ROUTE_2_NET", "-"},
                 {"OVPN_ROUTE_2_MASK", "-"}}),
         "OVPN_ROUTE_1_NET='10.1.0.0'\nOVPN_ROUTE_2_NET='10.2.0.0'\nOVPN_ROUTE_1_MASK='255.255.0.0'\n", "3|443|443"},
        {"vpnmode=tunnel" + kCommon + "&gateway=gw&lokal=10.7.0.1&remote=10.7.0.2",
         common({{"OVPN_HOST_REMOTE", "gw"}, {"OVPN_TUNNEL_LOCAL", "10.7.0.1"}, {"OVPN_TUNNEL_REMOTE", "10.7.0.2"}}),
         "", "4|443|443"},
        // The lookup of remote also finds remote_host sent after it.
        {"vpnmode=tunnel" + kCommon + "&gateway=gw&lokal=10.7.0.1&remote=10.7.0.2&remote_host=rh",
         common({{"OVPN_HOST_REMOTE", "gw"}, {"OVPN_TUNNEL_LOCAL", "10.7.0.1"}, {"OVPN_TUNNEL_REMOTE", "rh"}}), "",
         "4|443|443"},
    };
    for (const auto& c : cases) {
        Sandbox sb;
        setup(sb, "{CHOOSEN_DIV}|{VPORT}|{OVPN_PORT_REMOTE}");
        CgiResult r = sb.post("item=46&act=1", c.body);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, "OpenVPN\n|Stored\n");
        EXPECT_EQ(sb.config("openvpn.config"), edit(kConfig, c.edits) + c.added) << c.body;
        EXPECT_TRUE(sb.commands().empty());
        const Lines logged = sb.messages();
        EXPECT_EQ(std::count(logged.begin(), logged.end(), "6 OpenVPN client mode: no upload file"),
                  c.shown[0] == '2' ? 1 : 0) << c.body;
        EXPECT_EQ(sb.get("item=46").out, c.shown) << c.body;
    }
}

TEST(OpenVpnPage, ClientUploadInstallsTheCertificate)
{
    const std::string mv = "/usr/bin/sudo /bin/mv -f /tmp/upload/'c.p12' /tmp/keys/openvpn/vpnpeer.p12";
    const std::string hostile =
        "/usr/bin/sudo /bin/mv -f /tmp/upload/'x'\\'';reboot;'\\''.p12' /tmp/keys/openvpn/vpnpeer.p12";
    const std::string content("P12\0DATA\r\nmore", 15);
    // {file name, mv exits with, the mv command, its status as system() gives it}
    const Lines cases[] = {{"c.p12", "0", mv, "0"}, {"c.p12", "1", mv, "256"},
                           {"x';reboot;'.p12", "0", hostile, "0"}};
    for (const Lines& c : cases) {
        Sandbox sb;
        setup(sb, "");
        sb.write("/tmp/keys/.keep", "");
        sb.tool("/bin/chown", "exit 0");
        sb.tool("/usr/sbin/save", "exit 0");
        if (c[1] != "0")
            sb.tool("/bin/mv", "exit " + c[1]);
        CgiResult r = sb.post_multipart(
            "xyz", multipart_body("xyz", {field("item", "46"), field("act", "1"), field("vpnmode", "client"),
                                          field("ovpn_interface", "eth0"), field("vpnprot", "tcp"),
                                          field("vport", "443"), field("kompress", ""),
                                          field("remote_host", "vpn.example"), field("remote_port", "9"),
                                          field("x509pwd", "s3cret"), {"certfile", content, c[0], true}}));
        EXPECT_EQ(r.status, 0);
        const Lines cmds = {"/usr/bin/sudo /bin/mkdir /tmp/keys/openvpn", c[2],
                            "/usr/bin/sudo /bin/chown admin:admin /tmp/keys/openvpn/vpnpeer.p12",
                            "/usr/bin/sudo /usr/sbin/save openvpn > /dev/null"};
        const Lines msgs = {"6 ccovpn: certfile " + c[0], "6 ccovpn: kommando " + c[2],
                            "6 OpenVPN client mode: mv returns " + c[3], "6 OpenVPN client mode: chown returns 0",
                            "6 OpenVPN client mode: savekeys returns 0"};
        std::vector<Lines> stored = common({{"OVPN_MODE", "client"}, {"OVPN_HOST_REMOTE", "vpn.example"}});
        if (c[1] != "0") {  // no page at all, the password not stored
            EXPECT_EQ(r.out, "");
            EXPECT_EQ(sb.config("openvpn.config"), edit(kConfig, stored));
            EXPECT_EQ(sb.commands(), Lines(cmds.begin(), cmds.begin() + 2));
            EXPECT_EQ(sb.messages(), Lines(msgs.begin(), msgs.begin() + 3));
            continue;
        }
        stored.push_back({"OVPN_PKCS12_PASSWD", "s3cret"});
        EXPECT_EQ(r.out, "OpenVPN\n|Stored\n") << c[0];
        EXPECT_EQ(sb.config("openvpn.config"), edit(kConfig, stored)) << c[0];
        EXPECT_EQ(sb.commands(), cmds);
        EXPECT_EQ(sb.messages(), msgs);
        EXPECT_EQ(sb.read("/tmp/keys/openvpn/vpnpeer.p12"), content + "\r\n");
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
    const std::string unconnected = "<tr><td colspan=\"2\">Not connected</td></tr>";
    // {lang, mode, /tmp/vpnlist ("-": none), pid file, page}
    const Lines cases[] = {
        {"deutsch", "client", "tun0|192.0.2.1\nx|y\n", "1", up + out_de + "<tr><td>tun0</td><td>192.0.2.1\n</td></tr>"},
        {"english", "server", "10.8.0.6|50123|peer1\n\n10.8.0.10|50124|peer2\n", "",
         down + in_en + "<tr><td>10.8.0.6</td><td>50123</td><td>peer1\n</td></tr>"
                        "<tr><td>10.8.0.10</td><td>50124</td><td>peer2\n</td></tr>"},
        {"english", "server", "a\n10.8.0.6|50123|peer1\n", "1", up + in_en + none},
        {"deutsch", "server", "ab\n\n", "", down + in_de + none},
        {"french", "clientx", "-", "", down + out_en + unconnected},
        {"english", "client", "", "1", up + out_en + unconnected},
        {"english", "tunnel", "-", "", down + in_en + none},
        {"english", "none", "", "", down + in_en + none},
    };
    for (const Lines& c : cases) {
        Sandbox sb;
        sb.config("openvpn.config", "OVPN_MODE='" + c[1] + "'\n");
        // The query keeps six characters of the language.
        sb.write_doc(c[0].substr(0, 6) + "/ovpnstatus.tmpl", "{STATUS}|{MODE}|{HEAD}|{CONNECTIONS}");
        if (c[2] != "-")
            sb.write("/tmp/vpnlist", c[2]);
        if (!c[3].empty())
            sb.write("/var/run/openvpn.pid", "");
        CgiResult r = sb.get("item=49&lang=" + c[0]);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, c[4]) << c[0] << " " << c[1] << " " << c[2];
    }
}
