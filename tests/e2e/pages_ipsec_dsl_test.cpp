// The IPsec page (item 29) and the DSL page (item 35, no page name).

#include "page_support.h"

namespace {

const std::string kIpsec =
    "# IPsec\nIPSEC_MODE='off'\nIPSEC_PHYSICAL_ITF='eth1'\nIPSEC_NAT_TRAVERSAL='yes'\nIPSEC_USE_X509='yes'\n"
    "IPSEC_PEER_GW_IP='old.gw'\nIPSEC_PEER_GW_PSK='oldpsk'\nIPSEC_PEERS_N='2'\nIPSEC_PEERS_1_NAME='p1'\n"
    "IPSEC_PEERS_1_PSK='k1'\nIPSEC_PEERS_2_NAME='p2'\nIPSEC_PEERS_2_PSK='k2'\nIPSEC_GW_NATIV_MODE='yes'\n"
    "IPSEC_GW_NATIV_ADDR='10.0.0.10'\nIPSEC_GW_NATIV_POOL='10.0.0.50'\nIPSEC_GW_NATIV_MASK='255.0.0.0'\n"
    "IPSEC_GW_NATIV_DNS='dns0'\nIPSEC_GW_NATIV_WINS='wins0'\nIPSEC_GW_L2TP_MODE='yes'\n";
const std::string kL2tp = "# L2TP\nL2TP_PPP_ADDR='a0'\nL2TP_PPP_STRT='s0'\nL2TP_PPP_STOP='e0'\nL2TP_PPP_MS_DNS='d0'\n"
                          "L2TP_PPP_MS_WINS='w0'\nL2TP_CHAP_USER='u0'\nL2TP_CHAP_PASS='chapSECRET'\n";
const std::string kPppoe = "# WAN\nCONNECT_MODE='pppoe'\nDSL_IF='eth1'\nDSL_PROTO='pppoe'\nDSL_CONNECT_NUMBER='3'\n"
                           "DSL_CONNECT_POLL='60'\nDSL_LCP_INT='20'\nDSL_LCP_FAIL='3'\nDSL_DIALONDEMAND='no'\n"
                           "DSL_IDLETIME='600'\nDSL_USER='olduser'\nDSL_PASSWORD='oldpw'\n";

void setup(const Sandbox& sb, const std::string& tmpl, const std::string& ipsec = kIpsec)
{
    sb.config("ipsec.config", ipsec);
    sb.config("l2tp.config", kL2tp);
    sb.write_doc("english/ipsec.tmpl", tmpl);
    result_page(sb, "cipsec_head:IPsec\ncipsec_rslt:Stored\ncpppoe_head:DSL\ncpppoe_rslt:Saved\n");
}

}  // namespace

TEST(IpsecPage, ShowMarksListsAndTextsButNotTheChapPassword)
{
    const std::string key(200, 'k');  // keys are not cut to a name's width; names are cut at 15 characters
    const std::string peers = "\n      <option>abcdefghijklmno</option>\n      <option>p2</option>|abcdefghijklmno p2 |"
                              "\n      <option>k1</option>\n      <option>" + key + "</option>|k1 " + key + " ";
    // {mode, interface, natt, x509, native, l2tp ("-": no line), marks shown}
    const Lines cases[] = {
        {"gateway", "eth0", "yes", "yes", "yes", "yes", "3|,,checked|selected,| checked, checked, checked, checked"},
        {"peer", "eth0:1", "Yes", "yes ", "no", "", "2|,checked,|selected,|,,,"},
        {"off", "eth1", "yes1", "-", "-", "yes", "1|checked,,|,selected|,,, checked"},
        {"Gateway", "eth", "no", "", "yes", "no", "1|checked,,|,selected|,, checked,"},
        {"peerx", "ETH0", "", "", "", "", "1|checked,,|,selected|,,,"},
    };
    for (const Lines& c : cases) {
        Sandbox sb;
        setup(sb, "{CHOOSEN_DIV}|{MODE_CHK1},{MODE_CHK2},{MODE_CHK3}|{IFSEL0},{IFSEL1}|{IPSEC_NATT},{IPSEC_X509},"
                  "{IPSEC_GW_NATIV_MODE},{IPSEC_GW_L2TP_MODE}|{PEEROPTS}|{PEERLIST}|{KEYOPTS}|{KEYLIST}|"
                  "{IPSEC_PEER_GW_PSK},{IPSEC_GW_NATIV_END},{L2TP_PPP_MS_WINS},{L2TP_CHAP_USER},{L2TP_CHAP_PASS}",
              edit_conf(kIpsec, {{"IPSEC_MODE", c[0]}, {"IPSEC_PHYSICAL_ITF", c[1]}, {"IPSEC_NAT_TRAVERSAL", c[2]},
                                 {"IPSEC_USE_X509", c[3]}, {"IPSEC_GW_NATIV_MODE", c[4]}, {"IPSEC_GW_L2TP_MODE", c[5]},
                                 {"IPSEC_PEERS_1_NAME", "abcdefghijklmnopqrst"}, {"IPSEC_PEERS_2_PSK", key}}));
        EXPECT_EQ(sb.get("item=29").out, c[6] + "|" + peers + "|oldpsk,10.0.0.50,w0,u0,{L2TP_CHAP_PASS}") << c[0];
    }
}

TEST(IpsecPage, ApplyStoresTheKeysOfTheModeAndInstallsThePeerUpload)
{
    const std::string all = "&ipsec_interface=eth0&rtarget=1.2.3.4&ipskey=s3cret&peerlist=alpha&keylist=secret1"
                            "&startaddress=10.1.0.1&endaddress=10.1.0.9&netmask=255.255.0.0&dns=dns1&wins=wins1"
                            "&rwpppaddr=a1&rwpppfrom=s1&rwpppto=e1&rwpppmsdns=d1&rwpppmswins=w1&chap_user=u1"
                            "&l2tp_pass=p1";
    const std::vector<Lines> peer = {{"IPSEC_MODE", "peer"}, {"IPSEC_PHYSICAL_ITF", "eth0"},
                                     {"IPSEC_NAT_TRAVERSAL", "no"}, {"IPSEC_USE_X509", "no"},
                                     {"IPSEC_PEER_GW_IP", "1.2.3.4"}, {"IPSEC_PEER_GW_PSK", "s3cret"}};
    // Gateway mode stores the peers with the count read before (the key list's second entry goes too).
    const std::vector<Lines> gateway = {{"IPSEC_PHYSICAL_ITF", "eth0"}, {"IPSEC_PEERS_N", "1"},
                                        {"IPSEC_PEERS_1_NAME", "-"}, {"IPSEC_PEERS_1_PSK", "-"},
                                        {"IPSEC_PEERS_2_NAME", "-"}, {"IPSEC_PEERS_2_PSK", "-"}};
    const std::string peers = "IPSEC_PEERS_1_NAME='alpha'\nIPSEC_PEERS_1_PSK='secret1'\n", pm = "6 IPSec peer mode: ";
    const std::string mv = "/usr/bin/sudo /bin/mv -f /tmp/upload/'c.p12' /tmp/upload/vpnpeer.p12";
    const std::string chown = "/usr/bin/sudo /bin/chown admin:admin /tmp/upload/vpnpeer.p12";
    const std::string cert = "/usr/bin/sudo /usr/sbin/cert extract p12 /tmp/upload/vpnpeer.p12 ";
    // cert_exit -1: no upload; added: lines added at the end (gateway mode).
    const struct { std::string body; int cert_exit; std::string added; std::vector<Lines> edits;
                   Lines commands = {}, records = {}; std::string l2tp = kL2tp; } cases[] = {
        {"ipsmode=Peer&ipsecgateway=yes&l2tp_service=yes" + all, -1, "", {{"IPSEC_MODE", "Peer"}}},
        {"ipsmode=peer&ipsec_natt=yes1&ipsec_x509=Yes&ipsecgateway=yes&l2tp_service=yes" + all, -1, "", peer, {},
         {pm + "no upload file"}},
        // The extraction decides the save; an empty password gives no word.
        {"ipsmode=peer&x509pwd=p w" + all, 0, "", peer,
         {mv, chown, cert + "'p w' /tmp/keys/ipsec/", "/usr/bin/sudo /usr/sbin/save ipsec"},
         {pm + "mv returns 0", pm + "chown returns 0", pm + "extract returns 0", pm + "savekeys returns 0"}},
        {"ipsmode=peer&x509pwd=" + all, 1, "", peer, {mv, chown, cert + " /tmp/keys/ipsec/"},
         {pm + "mv returns 0", pm + "chown returns 0", pm + "extract returns 256", pm + "key not saved"}},
        {"ipsmode=gateway&ipsecgateway=Yes&l2tp_service=yes1&ipsec_natt=yes&ipsec_x509=yes" + all, -1, peers,
         {{"IPSEC_MODE", "gateway"}, {"IPSEC_GW_NATIV_MODE", "no"}, {"IPSEC_GW_L2TP_MODE", "no"}}},
        {"ipsmode=gateway&ipsecgateway=yes&l2tp_service=yes&ipsec_natt=&ipsec_x509=yes" + all, -1, peers,
         {{"IPSEC_MODE", "gateway"}, {"IPSEC_NAT_TRAVERSAL", "no"}, {"IPSEC_GW_NATIV_ADDR", "10.1.0.1"},
          {"IPSEC_GW_NATIV_POOL", "10.1.0.9"}, {"IPSEC_GW_NATIV_MASK", "255.255.0.0"}, {"IPSEC_GW_NATIV_DNS", "dns1"},
          {"IPSEC_GW_NATIV_WINS", "wins1"}}, {}, {},
         "# L2TP\nL2TP_PPP_ADDR='a1'\nL2TP_PPP_STRT='s1'\nL2TP_PPP_STOP='e1'\nL2TP_PPP_MS_DNS='d1'\n"
         "L2TP_PPP_MS_WINS='w1'\nL2TP_CHAP_USER='u1'\nL2TP_CHAP_PASS='p1'\n"},
    };
    for (const auto& c : cases) {
        Sandbox sb;
        setup(sb, "");
        vpn_tools(sb, c.cert_exit, 0);
        const std::string content("P12\0DATA\r\nmore", 15);
        EXPECT_EQ(post_fields(sb, "item=29&act=1&" + c.body, {"certfile", content, "c.p12", c.cert_exit >= 0}).out,
                  "IPsec\n|Stored\n");
        EXPECT_EQ(sb.config("ipsec.config"), edit_conf(kIpsec, c.added.empty() ? c.edits : concat(c.edits, gateway)) +
                                                 c.added) << c.body;
        EXPECT_EQ(sb.config("l2tp.config"), c.l2tp) << c.body;
        EXPECT_EQ(sb.commands(), c.commands) << c.body;
        EXPECT_EQ(sb.messages(), c.records) << c.body;
        EXPECT_EQ(sb.read("/tmp/upload/vpnpeer.p12"), c.cert_exit < 0 ? "" : content + "\r\n");
    }
}

TEST(DslPage, ApplyStoresOrSwitchesOff)
{
    const std::string form = "&nterface=eth0&proto=pptp&connnumber=5&connpoll=30&lcpint=10&lcpfail=4&idletime=900"
                             "&user=bob", stored = "DSL\n|Saved\n", off = "{HEADLINE}|{MESSAGE}";
    const std::vector<Lines> link = {{"DSL_IF", "eth0"}, {"DSL_PROTO", "pptp"}, {"DSL_CONNECT_NUMBER", "5"},
                                     {"DSL_CONNECT_POLL", "30"}, {"DSL_LCP_INT", "10"}, {"DSL_LCP_FAIL", "4"},
                                     {"DSL_USER", "bob"}};
    // {mode before, body, page, edits (with the link's when stored)}; switched off, only "pppoe" becomes "none".
    const struct { std::string mode, body, page; std::vector<Lines> edits; } cases[] = {
        {"modem", "enabled=yes&demand=yes&password=new" + form, stored,
         {{"CONNECT_MODE", "pppoe"}, {"DSL_DIALONDEMAND", "yes"}, {"DSL_IDLETIME", "900"}, {"DSL_PASSWORD", "new"}}},
        // Demand off writes the request variable "no", not the word: empty, or what "no..." carries.
        {"pppoe", "enabled=yes&demand=Yes&password=" + form, stored, {{"DSL_DIALONDEMAND", ""}}},
        {"none", "enabled=yes&demand=&note=x" + form, stored, {{"CONNECT_MODE", "pppoe"}, {"DSL_DIALONDEMAND", "x"}}},
        {"pppoe", "enabled=yes1&demand=yes" + form, off, {{"CONNECT_MODE", "none"}}},
        {"pppoex", "enabled=Yes" + form, off, {}},
    };
    for (const auto& c : cases) {
        Sandbox sb;
        setup(sb, "");
        const std::string before = edit_conf(kPppoe, {{"CONNECT_MODE", c.mode}});
        sb.config("pppoe.config", before);
        EXPECT_EQ(applied(sb, "35", c.body, "pppoe.config"),
                  c.page + "|" + edit_conf(before, c.page == off ? c.edits : concat(c.edits, link))) << c.body;
    }
}

TEST(DslPage, ShowMarksAndTexts)
{
    // The PPPoE branch fills marks of other names than the others.
    const std::string pppoe = "{DSL_PPPOE_SELECT},{DSL_PPTP_SELECT},selected,";
    const std::string pptp = ",selected,{DSLPPPOE_SELECT},{PPTP_SELECT}", neither = ",,{DSLPPPOE_SELECT},{PPTP_SELECT}";
    // {mode, DSL_IF, DSL_PROTO, demand ("-": no line), idle time line, marks, demand|idle}: a DSL_IDLE line before
    // DSL_IDLETIME answers for it (it follows the demand line); after it, it does not.
    const Lines cases[] = {
        {"pppoe", "eth0", "pppoe", "yes", "600'\nDSL_IDLE='99", "checked|selected,|" + pppoe, "checked|600"},
        {"pppoe ", "eth1", "pppoex", "yes1", "600", "|,selected|" + pppoe, "|600"},
        {"modem", "", "", "-", "600", "|,|" + neither, "|600"},
        {"Pppoe", "eth0:1", "PPPOE", "Yes", "600", "|,selected|" + pptp, "|600"},
        {"pppoe", "eth0", "ppp", "yes'\nDSL_IDLE='99", "600", "checked|selected,|" + pptp, "checked|99"},
    };
    for (const Lines& c : cases) {
        Sandbox sb;
        sb.write_doc("english/.tmpl", "{DSL_ENABLE}|{ETH0_SELECT},{ETH1_SELECT}|{DSL_PPPOE_SELECT},{DSL_PPTP_SELECT},"
                                      "{DSLPPPOE_SELECT},{PPTP_SELECT}|{DSL_CONNECT_NUMBER},{DSL_LCP_FAIL}|"
                                      "{DSL_DEMAND}|{DSL_IDLE_TIME}|{DSL_USER}|{DSL_PASSWORD}");
        sb.config("pppoe.config", edit_conf(kPppoe, {{"CONNECT_MODE", c[0]}, {"DSL_IF", c[1]}, {"DSL_PROTO", c[2]},
                                                     {"DSL_DIALONDEMAND", c[3]}, {"DSL_IDLETIME", c[4]}}));
        EXPECT_EQ(sb.get("item=35").out, c[5] + "|3,3|" + c[6] + "|olduser|{DSL_PASSWORD}") << c[0] << c[2];
    }
}
