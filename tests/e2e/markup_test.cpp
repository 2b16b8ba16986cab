// Text from outside the templates (tool output, settings, lists, the certificate index and request
// configuration, the OpenVPN connection list) carrying markup: each attack on the shipped English
// page it lands in shows as text and brings no markup of its own.

#include "page_support.h"

namespace {

// The shipped template of a page and the English messages, into the sandbox's document root.
void ship(const Sandbox& sb, const std::string& page)
{
    const std::string www = std::string(GWADMIN_SOURCE_DIR) + "/www/english/";
    sb.write_doc("english/" + page + ".tmpl", read_file(www + page + ".tmpl"));
    sb.write_doc("english/messages", read_file(www + "messages"));
}

}  // namespace

TEST(Markup, OutsideTextIsShownAsTextWhereItLands)
{
    const std::string script = "<script>alert(1)</script>", shown = "&lt;script&gt;alert(1)&lt;/script&gt;";
    const struct {
        const char* query;
        const char* page;
        Lines files;               // device path, content, ...
        std::string raw, escaped;  // raw must not be on the page, escaped must
    } cases[] = {
        // A DHCP client's own host name in the system log, inside the page's <textarea>.
        {"item=43", "ccstat",
         {"/tmp/log", "Jan  5 07:04:09 gw dhcpd: lease 192.168.0.20 to </textarea>" + script + "\n"},
         "</textarea>" + script, "to &lt;/textarea&gt;" + shown + "\n</textarea>"},
        // List values inside <option> and the hidden list field: IPsec keys, DNS hosts.
        {"item=29", "ipsec",
         {"/tmp/ulsp/ipsec.config", "IPSEC_PEERS_N='1'\nIPSEC_PEERS_1_NAME='<b>'\nIPSEC_PEERS_1_PSK='</option>" +
                                        script + "'\n"},
         "</option>" + script, "<option>&lt;/option&gt;" + shown + "</option>"},
        {"item=3", "dns", {"/tmp/ulsp/name.config", "HOST_N='1'\nHOST_1_NAME='</select>" + script + "'\n"},
         "</select><script>", "<option>&lt;/select&gt;&lt;script&gt;alert(1)</option>"},
        // A setting shown by the shared helpers, in its field's value.
        {"item=3", "dns", {"/tmp/ulsp/name.config", "DNS_FORWARDERS='a&b<c>\"d'\n"}, "a&b<c>",
         "value='a&amp;b&lt;c&gt;&quot;d'"},
        // A common name of the certificate index; the serial is cut to its 3 characters before it is escaped.
        {"item=27", "mgcert",
         {"/tmp/certs/index.txt", "V\t301231235959Z\t\t<i>x\tunknown\t/C=DE/CN=<img src=x onerror=alert(1)>/E=x\n"},
         "<img src=x", "<option>&lt;img src=x onerror=alert(1)&gt;</option>"},
        {"item=27", "mgcert", {"/tmp/certs/index.txt", "V\t301231235959Z\t\t<i>x\tunknown\t/CN=a/E=x\n"},
         "<option><i>", "<option>&lt;i&gt;</option>"},
        // Every field of an OpenVPN connection line.
        {"item=49", "ovpnstatus",
         {"/tmp/vpnlist", "<i>10.8.0.6|&50123|</table>" + script + "\n"},
         "</table>" + script, "<tr><td>&lt;i&gt;10.8.0.6</td><td>&amp;50123</td><td>&lt;/table&gt;" + shown},
        // The authority's subject: an apostrophe ends no value='...'.
        {"item=26", "vpnca",
         {"/tmp/certs/config/VPNClient.config",
          "organizationName_default = O'Brien' autofocus onfocus='alert(1)\ncountryName_default = DE\n"},
         "O'Brien'", "value='O&#39;Brien&#39; autofocus onfocus=&#39;alert(1)'"},
        // Values pages put in themselves: the pairs counted, an address, the active provider, the key's start.
        {"item=28", "vmp", {"/tmp/ulsp/mapping.config", "VMAP_ITF='none'\nVMAP_VIRTETH_N='1<b>'\n"}, "1<b>",
         "stored: 1&lt;b&gt;."},
        {"item=24", "basis", {"/tmp/ulsp/network.config", "IP_ETH0_IPADDR='<b>\"x/2\"4'\n"}, "<b>",
         "value='&lt;b&gt;&quot;x'"},
        {"item=9", "diaout", {"/etc/deviceID", "MX-RT-210B-AN-KORU", "/tmp/ulsp/dialout.config",
                              "DIALOUT_DEV='ttyS1'\nDIALOUT_ISP_ACTIVE='1<b>'\n"},
         "1<b>", "value='1&lt;b&gt;'"},
        {"item=46", "ovpn", {"/home/httpd/openvpn/static.key", "#\n#\n-----BEGIN\n#\n<b>'0123456789abcdef\n"},
         "<b>'", "value='&lt;b&gt;&#39;0123456789ab'"},
    };
    for (const auto& c : cases) {
        Sandbox sb;
        sb.defaults();
        ship(sb, c.page);
        for (size_t i = 0; i + 1 < c.files.size(); i += 2)
            sb.write(c.files[i], c.files[i + 1]);
        sb.tool("/usr/bin/logread", "cat \"$GWADMIN_ROOT/tmp/log\"");
        const CgiResult r = sb.get(c.query);
        EXPECT_EQ(r.status, 0) << c.query;
        EXPECT_EQ(r.out.find(c.raw), std::string::npos) << c.query << " " << c.raw;
        EXPECT_NE(r.out.find(c.escaped), std::string::npos) << c.query << " " << c.escaped << "\n" << r.out;
    }
}
