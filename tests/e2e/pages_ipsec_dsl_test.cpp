// The IPsec page (item 29: off, peer with an uploaded PKCS#12 file, gateway
// with peers, address pool and L2TP) and the DSL page (item 35, no page name).
#include <gtest/gtest.h>

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

// The text with the line of each {key, value} rewritten ("-": removed).
std::string edit(std::string text, const std::vector<Lines>& edits)
{
    for (const Lines& e : edits) {
        size_t at = text.find("\n" + e[0] + "='");
        EXPECT_NE(at, std::string::npos) << e[0];
        if (at == std::string::npos)
            continue;
        size_t end = text.find('\n', at + 1);
        text.replace(at, end - at, e[1] == "-" ? "" : "\n" + e[0] + "='" + e[1] + "'");
    }
    return text;
}
// Configuration lines from {key, value, key, value...}; a value "-" leaves the key out.
std::string lines(const Lines& kv)
{
    std::string out = "# test\n";
    for (size_t i = 0; i + 1 < kv.size(); i += 2)
        if (kv[i + 1] != "-")
            out += kv[i] + "='" + kv[i + 1] + "'\n";
    return out;
}

void setup(const Sandbox& sb, const std::string& tmpl, const std::string& ipsec = kIpsec)
{
    sb.config("ipsec.config", ipsec);
    sb.config("l2tp.config", kL2tp);
    sb.write_doc("english/ipsec.tmpl", tmpl);
    result_page(sb, "cipsec_head:IPsec\ncipsec_rslt:Stored\ncpppoe_head:DSL\ncpppoe_rslt:Saved\n");
}

Part field(const std::string& name, const std::string& value) { return {name, value, "", false}; }

}  // namespace

TEST(IpsecPage, ShowMarksModeInterfaceAndCheckBoxes)
{
    // {mode, interface, natt, x509, native, l2tp ("-": no line), page}
    const Lines cases[] = {
        {"gateway", "eth0", "yes", "yes", "yes", "yes", "3|,,checked|selected,| checked, checked, checked, checked"},
        {"peer", "eth0:1", "Yes", "yes ", "no", "", "2|,checked,|selected,|,,,"},
        {"off", "eth1", "yes1", "yes", "-", "yes", "1|checked,,|,selected|, checked,, checked"},
        {"-", "-", "-", "-", "-", "-", "1|checked,,|,selected|,,,"},
        {"Gateway", "eth", "no", "", "yes", "no", "1|checked,,|,selected|,, checked,"},
        {"peerx", "ETH0", "", "", "", "", "1|checked,,|,selected|,,,"},
    };
    for (const Lines& c : cases) {
        Sandbox sb;
        setup(sb, "{CHOOSEN_DIV}|{MODE_CHK1},{MODE_CHK2},{MODE_CHK3}|{IFSEL0},{IFSEL1}|"
                  "{IPSEC_NATT},{IPSEC_X509},{IPSEC_GW_NATIV_MODE},{IPSEC_GW_L2TP_MODE}",
              lines({"IPSEC_MODE", c[0], "IPSEC_PHYSICAL_ITF", c[1], "IPSEC_NAT_TRAVERSAL", c[2], "IPSEC_USE_X509",
                     c[3], "IPSEC_GW_NATIV_MODE", c[4], "IPSEC_GW_L2TP_MODE", c[5]}));
        CgiResult r = sb.get("item=29");
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, c[6]) << c[0];
    }
}

TEST(IpsecPage, ShowTextsPeersPoolAndL2tpButNotTheChapPassword)
{
    const std::string tmpl = "{IPSEC_PEER_GW_IP}|{IPSEC_PEER_GW_PSK}|{PEEROPTS}|{PEERLIST}|{KEYOPTS}|{KEYLIST}|"
                             "{IPSEC_GW_NATIV_ADDR},{IPSEC_GW_NATIV_END},{IPSEC_GW_NATIV_MASK},{IPSEC_GW_NATIV_DNS},"
                             "{IPSEC_GW_NATIV_WINS},{IPSEC_GW_NATIV_POOL}|{L2TP_PPP_ADDR},{L2TP_PPP_STRT},"
                             "{L2TP_PPP_STOP},{L2TP_PPP_MS_DNS},{L2TP_PPP_MS_WINS},{L2TP_CHAP_USER},{L2TP_CHAP_PASS}";
    const std::string key(200, 'k');  // keys are not cut to a name's width
    const std::string rest = "|10.0.0.10,10.0.0.50,255.0.0.0,dns0,wins0,{IPSEC_GW_NATIV_POOL}|a0,s0,e0,d0,w0,u0,"
                             "{L2TP_CHAP_PASS}";
    // {count, lists shown}: names are cut at 15 characters.
    const Lines cases[] = {
        {"2", "\n      <option>abcdefghijklmno</option>\n      <option>p2</option>|abcdefghijklmno p2 |"
              "\n      <option>k1</option>\n      <option>" + key + "</option>|k1 " + key + " "},
        {"0", "|||"},
    };
    for (const Lines& c : cases) {
        Sandbox sb;
        setup(sb, tmpl, edit(kIpsec, {{"IPSEC_PEERS_N", c[0]}, {"IPSEC_PEERS_1_NAME", "abcdefghijklmnopqrst"},
                                      {"IPSEC_PEERS_2_PSK", key}}));
        CgiResult r = sb.get("item=29");
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, "old.gw|oldpsk|" + c[1] + rest) << c[0];
        EXPECT_EQ(r.out.find("chapSECRET"), std::string::npos);
        EXPECT_TRUE(sb.commands().empty());
    }
}

TEST(IpsecPage, ApplyStoresTheKeysOfTheMode)
{
    const std::string all = "&ipsec_interface=eth0&ipsec_natt=yes&ipsec_x509=yes&rtarget=1.2.3.4&ipskey=s3cret"
                            "&peerlist=alpha&keylist=secret1&startaddress=10.1.0.1&endaddress=10.1.0.9"
                            "&netmask=255.255.0.0&dns=dns1&wins=wins1&rwpppaddr=a1&rwpppfrom=s1&rwpppto=e1"
                            "&rwpppmsdns=d1&rwpppmswins=w1&chap_user=u1&l2tp_pass=p1";
    const std::vector<Lines> old_list = {{"IPSEC_PEERS_N", "1"}, {"IPSEC_PEERS_1_NAME", "-"},
                                         {"IPSEC_PEERS_1_PSK", "-"}, {"IPSEC_PEERS_2_NAME", "-"},
                                         {"IPSEC_PEERS_2_PSK", "-"}};
    const std::string new_list = "IPSEC_PEERS_1_NAME='alpha'\nIPSEC_PEERS_1_PSK='secret1'\n";
    auto with = [](std::vector<Lines> a, const std::vector<Lines>& b) { a.insert(a.end(), b.begin(), b.end());
                                                                        return a; };
    const std::string l2tp_new = "# L2TP\nL2TP_PPP_ADDR='a1'\nL2TP_PPP_STRT='s1'\nL2TP_PPP_STOP='e1'\n"
                                 "L2TP_PPP_MS_DNS='d1'\nL2TP_PPP_MS_WINS='w1'\nL2TP_CHAP_USER='u1'\n"
                                 "L2TP_CHAP_PASS='p1'\n";
    const struct {
        std::string body;
        std::vector<Lines> edits;
        std::string added, l2tp, logged, shown;  // shown: mode, NAT-T, native mark, pool end, peers
    } cases[] = {
        {"ipsmode=none&ipsecgateway=yes&l2tp_service=yes" + all, {{"IPSEC_MODE", "none"}}, "", kL2tp, "",
         "1| checked| checked|10.0.0.50|p1 p2 "},
        {"ipsmode=Peer" + all, {{"IPSEC_MODE", "Peer"}}, "", kL2tp, "", "1| checked| checked|10.0.0.50|p1 p2 "},
        // Peer without an upload: no command, the peer settings stored all the same.
        {"ipsmode=peer&ipsecgateway=yes&l2tp_service=yes" + all + "&ipsec_natt=yes1&ipsec_x509=Yes",
         {{"IPSEC_MODE", "peer"}, {"IPSEC_PHYSICAL_ITF", "eth0"}, {"IPSEC_NAT_TRAVERSAL", "no"},
          {"IPSEC_USE_X509", "no"}, {"IPSEC_PEER_GW_IP", "1.2.3.4"}, {"IPSEC_PEER_GW_PSK", "s3cret"}},
         "", kL2tp, "6 IPSec peer mode: no upload file", "2|| checked|10.0.0.50|p1 p2 "},
        // Both fields stored with the count read before (the key list's second entry goes too).
        {"ipsmode=gateway&ipsecgateway=Yes&l2tp_service=yes1" + all,
         with({{"IPSEC_MODE", "gateway"}, {"IPSEC_PHYSICAL_ITF", "eth0"}, {"IPSEC_GW_NATIV_MODE", "no"},
               {"IPSEC_GW_L2TP_MODE", "no"}}, old_list),
         new_list, kL2tp, "", "3| checked||10.0.0.50|alpha "},
        {"ipsmode=gateway&ipsecgateway=yes&l2tp_service=yes" + all + "&ipsec_natt=",
         with({{"IPSEC_MODE", "gateway"}, {"IPSEC_PHYSICAL_ITF", "eth0"}, {"IPSEC_NAT_TRAVERSAL", "no"},
               {"IPSEC_GW_NATIV_ADDR", "10.1.0.1"}, {"IPSEC_GW_NATIV_POOL", "10.1.0.9"},
               {"IPSEC_GW_NATIV_MASK", "255.255.0.0"}, {"IPSEC_GW_NATIV_DNS", "dns1"},
               {"IPSEC_GW_NATIV_WINS", "wins1"}}, old_list),
         new_list, l2tp_new, "", "3|| checked|10.1.0.9|alpha "},
    };
    for (const auto& c : cases) {
        Sandbox sb;
        setup(sb, "{CHOOSEN_DIV}|{IPSEC_NATT}|{IPSEC_GW_NATIV_MODE}|{IPSEC_GW_NATIV_END}|{PEERLIST}");
        CgiResult r = sb.post("item=29&act=1", c.body);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, "IPsec\n|Stored\n");
        EXPECT_EQ(sb.config("ipsec.config"), edit(kIpsec, c.edits) + c.added) << c.body;
        EXPECT_EQ(sb.config("l2tp.config"), c.l2tp) << c.body;
        EXPECT_TRUE(sb.commands().empty());
        EXPECT_EQ(sb.messages(), c.logged.empty() ? Lines{} : Lines{c.logged}) << c.body;
        EXPECT_EQ(sb.get("item=29").out, c.shown) << c.body;
    }
}

TEST(IpsecPage, PeerUploadInstallsTheCertificate)
{
    const std::string mv = "/usr/bin/sudo /bin/mv -f /tmp/upload/'c.p12' /tmp/upload/vpnpeer.p12";
    const std::string chown = "/usr/bin/sudo /bin/chown admin:admin /tmp/upload/vpnpeer.p12";
    const std::string cert = "/usr/bin/sudo /usr/sbin/cert extract p12 /tmp/upload/vpnpeer.p12 ";
    const std::string save = "/usr/bin/sudo /usr/sbin/save ipsec";
    const std::string content("P12\0DATA\r\nmore", 15);
    // {file name, x509pwd, cert exits with, the password's word in the command}
    const Lines cases[] = {{"c.p12", "pw", "0", "'pw'"}, {"c.p12", "", "0", ""}, {"c.p12", "pw", "1", "'pw'"}};
    for (const Lines& c : cases) {
        Sandbox sb;
        setup(sb, "");
        sb.tool("/bin/chown", "exit 0");
        sb.tool("/usr/sbin/cert", "echo \"$#:$*\" > \"$GWADMIN_ROOT/certargs\"; exit " + c[2]);
        sb.tool("/usr/sbin/save", "echo \"$*\" > \"$GWADMIN_ROOT/saved\"");
        CgiResult r = sb.post_multipart(
            "xyz", multipart_body("xyz", {field("item", "29"), field("act", "1"), field("ipsmode", "peer"),
                                          field("ipsec_interface", "eth0"), field("ipsec_natt", "yes"),
                                          field("ipsec_x509", "yes"), field("rtarget", "vpn.example"),
                                          field("ipskey", "psk9"), field("x509pwd", c[1]),
                                          {"certfile", content, c[0], true}}));
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, "IPsec\n|Stored\n");
        EXPECT_EQ(sb.config("ipsec.config"),
                  edit(kIpsec, {{"IPSEC_MODE", "peer"}, {"IPSEC_PHYSICAL_ITF", "eth0"},
                                {"IPSEC_PEER_GW_IP", "vpn.example"}, {"IPSEC_PEER_GW_PSK", "psk9"}}));
        const bool ok = c[2] == "0";
        Lines cmds = {mv, chown, cert + c[3] + " /tmp/keys/ipsec/"};
        Lines msgs = {"6 IPSec peer mode: mv returns 0", "6 IPSec peer mode: chown returns 0",
                      "6 IPSec peer mode: extract returns " + std::string(ok ? "0" : "256"),
                      ok ? "6 IPSec peer mode: savekeys returns 0" : "6 IPSec peer mode: key not saved"};
        if (ok)
            cmds.push_back(save);
        EXPECT_EQ(sb.commands(), cmds) << c[1] << c[2];
        EXPECT_EQ(sb.messages(), msgs) << c[1] << c[2];
        const std::string pw = c[1].empty() ? "" : c[1] + " ";
        EXPECT_EQ(sb.read("/certargs"), std::to_string(c[1].empty() ? 4 : 5) + ":extract p12 " + sb.root +
                                            "/tmp/upload/vpnpeer.p12 " + pw + sb.root + "/tmp/keys/ipsec/\n");
        EXPECT_EQ(sb.exists("/saved"), ok);
        EXPECT_EQ(sb.read("/tmp/upload/vpnpeer.p12"), content + "\r\n");
        EXPECT_FALSE(sb.exists("/tmp/upload/c.p12"));
    }
}

TEST(DslPage, ApplyStoresOrSwitchesOff)
{
    const std::string form = "&nterface=eth0&proto=pptp&connnumber=5&connpoll=30&lcpint=10&lcpfail=4&idletime=900"
                             "&user=bob";
    const std::vector<Lines> link = {{"DSL_IF", "eth0"}, {"DSL_PROTO", "pptp"}, {"DSL_CONNECT_NUMBER", "5"},
                                     {"DSL_CONNECT_POLL", "30"}, {"DSL_LCP_INT", "10"}, {"DSL_LCP_FAIL", "4"},
                                     {"DSL_USER", "bob"}};
    auto with = [&link](std::vector<Lines> more) { more.insert(more.end(), link.begin(), link.end()); return more; };
    const std::string stored = "DSL\n|Saved\n", untouched = "{HEADLINE}|{MESSAGE}";
    // {mode before, body, edits, page}
    const struct {
        std::string mode, body;
        std::vector<Lines> edits;
        std::string page;
    } cases[] = {
        {"modem", "enabled=yes&demand=yes&password=new" + form,
         with({{"CONNECT_MODE", "pppoe"}, {"DSL_DIALONDEMAND", "yes"}, {"DSL_IDLETIME", "900"},
               {"DSL_PASSWORD", "new"}}), stored},
        // Demand off writes the request variable "no", not the word: empty, or what "no..." carries.
        {"pppoe", "enabled=yes&demand=Yes&password=" + form, with({{"DSL_DIALONDEMAND", ""}}), stored},
        {"none", "enabled=yes&demand=&note=x" + form, with({{"CONNECT_MODE", "pppoe"}, {"DSL_DIALONDEMAND", "x"}}),
         stored},
        {"pppoe", "demand=yes" + form, {{"CONNECT_MODE", "none"}}, untouched},
        {"modem", "enabled=Yes&password=new" + form, {}, untouched},
        {"pppoex", "enabled=" + form, {}, untouched},
    };
    for (const auto& c : cases) {
        Sandbox sb;
        setup(sb, "");
        const std::string before = edit(kPppoe, {{"CONNECT_MODE", c.mode}});
        sb.config("pppoe.config", before);
        CgiResult r = sb.post("item=35&act=1", c.body);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, c.page) << c.body;
        EXPECT_EQ(sb.config("pppoe.config"), edit(before, c.edits)) << c.body;
        EXPECT_TRUE(sb.commands().empty());
    }
    // "yes " (only a multipart field keeps the blank) is not enabled.
    Sandbox sb;
    setup(sb, "");
    sb.config("pppoe.config", kPppoe);
    CgiResult r = sb.post_multipart("b", multipart_body("b", {field("item", "35"), field("act", "1"),
                                                              field("enabled", "yes "), field("demand", "yes"),
                                                              field("nterface", "eth0"), field("user", "bob")}));
    EXPECT_EQ(r.out, untouched);
    EXPECT_EQ(sb.config("pppoe.config"), edit(kPppoe, {{"CONNECT_MODE", "none"}}));
}

TEST(DslPage, ShowMarksAndTexts)
{
    const std::string tmpl = "{DSL_ENABLE}|{ETH0_SELECT},{ETH1_SELECT}|{DSL_PPPOE_SELECT},{DSL_PPTP_SELECT},"
                             "{DSLPPPOE_SELECT},{PPTP_SELECT}|{DSL_CONNECT_NUMBER},{DSL_CONNECT_POLL},{DSL_LCP_INT},"
                             "{DSL_LCP_FAIL}|{DSL_DEMAND}|{DSL_IDLE_TIME}|{DSL_USER}|{DSL_PASSWORD}";
    const std::string pppoe = "{DSL_PPPOE_SELECT},{DSL_PPTP_SELECT},selected,";
    const std::string pptp = ",selected,{DSLPPPOE_SELECT},{PPTP_SELECT}";
    const std::string neither = ",,{DSLPPPOE_SELECT},{PPTP_SELECT}";
    // {mode, DSL_IF, DSL_PROTO, demand ("-": no line), lines before and after DSL_IDLETIME, marks, demand|idle}
    const Lines cases[] = {
        {"pppoe", "eth0", "pppoe", "yes", "", "", "checked|selected,|" + pppoe, "checked|600"},
        {"pppoe ", "eth1", "pppoex", "yes1", "", "", "|,selected|" + pppoe, "|600"},
        {"modem", "", "", "no", "", "", "|,|" + neither, "|600"},
        {"-", "-", "-", "-", "", "", "|,|" + neither, "|600"},
        {"none", "eth0:1", "pptp", "Yes", "", "", "|,selected|" + pptp, "|600"},
        {"Pppoe", "ETH0", "PPPOE", "", "", "", "|,selected|" + pptp, "|600"},
        // A DSL_IDLE line before DSL_IDLETIME answers for it; after it, it does not.
        {"pppoe", "eth0", "ppp", "yes", "DSL_IDLE='99'\n", "", "checked|selected,|" + pptp, "checked|99"},
        {"pppoe", "eth0", "pppoe", "yes", "", "DSL_IDLE='99'\n", "checked|selected,|" + pppoe, "checked|600"},
    };
    for (const Lines& c : cases) {
        Sandbox sb;
        sb.write_doc("english/.tmpl", tmpl);
        sb.config("pppoe.config", lines({"CONNECT_MODE", c[0], "DSL_IF", c[1], "DSL_PROTO", c[2], "DSL_CONNECT_NUMBER",
                                         "3", "DSL_CONNECT_POLL", "60", "DSL_LCP_INT", "20", "DSL_LCP_FAIL", "4",
                                         "DSL_DIALONDEMAND", c[3]}) +
                                      c[4] + "DSL_IDLETIME='600'\n" + c[5] + "DSL_USER='bob'\nDSL_PASSWORD='pw9'\n");
        CgiResult r = sb.get("item=35");
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, c[6] + "|3,60,20,4|" + c[7] + "|bob|{DSL_PASSWORD}") << c[0] << " " << c[1] << " " << c[2];
    }
}
