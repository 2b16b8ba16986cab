// Text from outside the templates (tool output, settings, lists, the certificate index and request configuration,
// the OpenVPN connection list) carrying markup shows as text on the shipped English page it lands in.

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
        std::string file, content;  // a device file
        std::string raw, escaped;   // raw must not be on the page, escaped must
    } cases[] = {
        // A DHCP client's own host name in the system log, inside the page's <textarea>.
        {"item=43", "ccstat", "/tmp/log", "Jan  5 07:04:09 gw dhcpd: lease 192.168.0.20 to </textarea>" + script + "\n",
         "</textarea>" + script, "to &lt;/textarea&gt;" + shown + "\n</textarea>"},
        // A list value inside <option> and the hidden list field.
        {"item=29", "ipsec", "/tmp/ulsp/ipsec.config",
         "IPSEC_PEERS_N='1'\nIPSEC_PEERS_1_NAME='<b>'\nIPSEC_PEERS_1_PSK='</option>" + script + "'\n",
         "</option>" + script, "<option>&lt;/option&gt;" + shown + "</option>"},
        // A common name of the certificate index.
        {"item=27", "mgcert", "/tmp/certs/index.txt",
         "V\t301231235959Z\t\t<i>x\tunknown\t/C=DE/CN=<img src=x onerror=alert(1)>/E=x\n", "<img src=x",
         "<option>&lt;img src=x onerror=alert(1)&gt;</option>"},
        // Every field of an OpenVPN connection line.
        {"item=49", "ovpnstatus", "/tmp/vpnlist", "<i>10.8.0.6|&50123|</table>" + script + "\n", "</table>" + script,
         "<tr><td>&lt;i&gt;10.8.0.6</td><td>&amp;50123</td><td>&lt;/table&gt;" + shown},
        // The authority's subject: an apostrophe ends no value='...'.
        {"item=26", "vpnca", "/tmp/certs/config/VPNClient.config",
         "organizationName_default = O'Brien' autofocus onfocus='alert(1)\ncountryName_default = DE\n", "O'Brien'",
         "value='O&#39;Brien&#39; autofocus onfocus=&#39;alert(1)'"},
        // Values pages put in themselves: an address, the key's start.
        {"item=24", "basis", "/tmp/ulsp/network.config", "IP_ETH0_IPADDR='<b>\"x/2\"4'\n", "<b>", "value='&lt;b&gt;&quot;x'"},
        {"item=46", "ovpn", "/home/httpd/openvpn/static.key", "#\n#\n-----BEGIN\n#\n<b>'0123456789abcdef\n", "<b>'",
         "value='&lt;b&gt;&#39;0123456789ab'"},
    };
    for (const auto& c : cases) {
        Sandbox sb;
        sb.defaults();
        ship(sb, c.page);
        sb.write(c.file, c.content);
        sb.tool("/usr/bin/logread", "cat \"$GWADMIN_ROOT/tmp/log\"");
        const CgiResult r = sb.get(c.query);
        EXPECT_EQ(r.status, 0) << c.query;
        EXPECT_EQ(r.out.find(c.raw), std::string::npos) << c.query << " " << c.raw;
        EXPECT_NE(r.out.find(c.escaped), std::string::npos) << c.query << " " << c.escaped << "\n" << r.out;
    }
}
