// User text in command lines: every command a page builds from a form value or an upload name gets shell
// metacharacters; no other command runs (the canary stays absent) and the tool gets the text as one literal argument.

#include <cctype>
#include <unistd.h>

#include "page_support.h"

namespace {

// How the text reaches the program, and so what it can hold: an urlencoded field anything (blanks at its end
// trimmed), a multipart field one line, an upload's file name one line without "/" or double quote, the basic
// settings' password at most 16 characters.
enum Carrier { kForm, kMultipart, kUploadName, kPassword };

struct Site {
    const char* what;
    Carrier carrier;
    const char* tool;   // its log: var/log/<tool>.args
    std::string form;   // the fields, "name=value&...", "$" where the text goes
    Lines upload;       // a file part: its field, file name and content ("$": the text); none when empty
    Lines args;         // the arguments the tool receives ("$": the text, "@": the sandbox root)
    std::string plain;  // a plain value
};

const Site kSites[] = {
    {"basis: cryptpw", kPassword, "cryptpw", "item=24&act=1&Kennwort=$&KennwortRe=$", {}, {"$"}, "s3cret"},
    {"time: date -s", kForm, "date", "item=2&act=1&timemode=man&jahr=$&monat=$&tag=$&std=$&min=$&sek=$", {},
     {"-s", "$.$.$-$:$"}, "07"},  // five fields, one argument
    {"openvpn: client certificate mv", kUploadName, "mv", "item=46&act=1&vpnmode=client", {"certfile", "$", "P12"},
     {"-f", "@/tmp/upload/$", "@/tmp/keys/openvpn/vpnpeer.p12"}, "c.p12"},
    {"openvpn: static key mv", kUploadName, "mv", "item=46&keystate=3", {"Datei", "$", "KEY"},  // the shown page
     {"-f", "@/tmp/upload/$", "@/home/httpd/openvpn/$"}, "k.key"},
    {"ipsec: certificate mv", kUploadName, "mv", "item=29&act=1&ipsmode=peer&x509pwd=pw", {"certfile", "$", "P12"},
     {"-f", "@/tmp/upload/$", "@/tmp/upload/vpnpeer.p12"}, "c.p12"},
    {"ipsec: cert extract", kMultipart, "cert", "item=29&act=1&ipsmode=peer&x509pwd=$", {"certfile", "c.p12", "P12"},
     {"extract", "p12", "@/tmp/upload/vpnpeer.p12", "$", "@/tmp/keys/ipsec/"}, "p12pw"},
    // The certificate authority: both passwords per type (the subject goes to a file, no command).
    {"vpnca: cert gen peer", kForm, "cert", "item=26&act=1&cert_type=peer&common=$&so_pass=$&su_pass=$", {},
     {"gen", "peer", "$", "$"}, "pw1"},
    {"vpnca: cert gen gateway", kForm, "cert", "item=26&act=1&cert_type=gate&so_pass=$&su_pass=$", {},
     {"gen", "gateway", "$", "$"}, "pw1"},
    {"vpnca: cert gen root", kForm, "cert", "item=26&act=1&cert_type=auth&so_pass=$", {}, {"gen", "root", "$"}, "pw1"},
    {"mgcert: cert update crl", kForm, "cert", "item=27&act=1&numblist=1&statelist=V&so_pwd=$", {},
     {"update", "crl", "$"}, "pw1"},
};

std::string enc(const std::string& text)
{
    std::string out;
    for (unsigned char c : text)
        out += isalnum(c) ? std::string(1, char(c)) : "%" + std::string(1, "0123456789ABCDEF"[c >> 4]) + "0123456789ABCDEF"[c & 15];
    return out;
}

// The tools handed user text log their argument count and each argument on a line.
void logging_tools(const Sandbox& sb)
{
    for (std::string path : {"/usr/bin/cryptpw", "/bin/date", "/bin/mv", "/usr/sbin/cert"}) {
        const std::string name = path.substr(path.rfind('/') + 1);
        sb.tool(path, "{ echo \"$#\"; printf '%s\\n' \"$@\"; } >> \"$GWADMIN_ROOT/var/log/" + name + ".args\"" +
                          (name == "cryptpw" ? "\necho hash" : ""));
    }
    for (const char* path : {"/bin/chown", "/usr/sbin/save"})
        sb.tool(path, "exit 0");
}

// The template with "$" the text and "@" the root.
std::string fill(const std::string& templ, const std::string& text, const std::string& root = "")
{
    std::string out;
    for (char c : templ)
        out += c == '$' ? text : c == '@' ? root : std::string(1, c);
    return out;
}

CgiResult send(const Sandbox& sb, const Site& site, const std::string& t)
{
    if (site.carrier == kForm || site.carrier == kPassword)
        return sb.post("", fill(site.form, enc(t)));
    std::vector<Part> parts;
    for (size_t at = 0, end = 0; end != std::string::npos; at = end + 1) {
        end = site.form.find('&', at);
        const std::string f = site.form.substr(at, end - at);
        parts.push_back({f.substr(0, f.find('=')), fill(f.substr(f.find('=') + 1), t), "", false});
    }
    parts.push_back({site.upload[0], site.upload[2], fill(site.upload[1], t), true});
    return sb.post_multipart("xyz", multipart_body("xyz", parts));
}

// Each text that names the canary creates it when pasted into a shell word bare, in single or in double quotes.
// The canary is "$GWADMIN_ROOT/canary", or "canary" in the working folder, the document root. (No text holds a
// blank before a device folder: the sandbox puts its root in front of such a word, quoted or not.)
const Lines kHostile = {
    ";touch canary", "|touch canary", "&touch canary", "$(touch canary)", "`touch canary`", "';touch canary'",
    "\";touch canary\"", ">canary", "\\';>canary #", "x\ntouch canary", ";touch \"$GWADMIN_ROOT\"/canary",
    "$(cd $GWADMIN_ROOT;touch canary)", "x'`cd $GWADMIN_ROOT;touch canary`'", "'\ntouch \"$GWADMIN_ROOT\"/canary;'",
    " a\t b  c", "* ~ $HOME ${x:-y}", "a''b\\",
};

bool carries(Carrier c, const std::string& t)
{
    const bool line = t.find('\n') == std::string::npos;
    return c == kForm || (c == kMultipart && line) || (c == kPassword && t.size() <= 16) ||
           (c == kUploadName && line && t.find_first_of("/\"") == std::string::npos);
}

bool canary(const Sandbox& sb) { return sb.exists("/canary") || access((sb.docroot + "/canary").c_str(), F_OK) == 0; }

}  // namespace

TEST(CommandInjection, UserTextReachesTheToolAsOneLiteralArgument)
{
    for (const Site& site : kSites) {
        Lines texts = {site.plain};
        for (const std::string& t : kHostile)
            if (carries(site.carrier, t))
                texts.push_back(t);
        for (const std::string& t : texts) {
            Sandbox sb;
            sb.defaults();
            logging_tools(sb);
            result_page(sb, "");
            sb.write_doc("english/ovpn.tmpl", "{SECKEY}");
            sb.write("/tmp/certs/config/VPNClient.config", "commonName_default = cn\n");
            const CgiResult r = send(sb, site, t);
            EXPECT_EQ(r.status, 0) << site.what << ": " << t;
            EXPECT_FALSE(canary(sb)) << site.what << ": " << t;
            std::string log = std::to_string(site.args.size()) + "\n";
            for (const std::string& arg : site.args)
                log += fill(arg, t, sb.root) + "\n";
            EXPECT_EQ(sb.read(std::string("/var/log/") + site.tool + ".args"), log) << site.what << ": " << t;
        }
    }
}
