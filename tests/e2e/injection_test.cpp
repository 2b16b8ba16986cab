// User text in command lines: every command a page builds from a form value or
// an upload name gets shell metacharacters, and no other command runs (the
// canary file stays absent) while the tool receives the text as one literal
// argument. A plain value gives the command line the page always ran.
//
// Commands built from user text (all through sh_quote):
//   item 24 basic settings: cryptpw PASSWORD
//   item 2  time:           date -s YEAR.MONTH.DAY-HOUR:MINUTE
//   item 46 OpenVPN:        mv of the client certificate upload; mv of the static key upload (shown page)
//   item 29 IPsec:          mv of the certificate upload; cert extract p12 ... PASSWORD ...
//   item 26 authority:      cert gen peer|gateway SO SU, cert gen root SO
//   item 27 certificates:   cert update crl PASSWORD
// Every other command (saves, load defaults, reboot, the status tools, the
// fixed mv/chown/chmod/cp/rm/mkdir, openvpn --genkey, the OpenVPN restart) is
// fixed text.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <functional>
#include <unistd.h>

#include "page_support.h"

namespace {

// How the text reaches the program, and so what it can hold.
enum Carrier {
    kForm,        // urlencoded field: anything (the parser trims blanks at its end)
    kMultipart,   // multipart field: one line
    kUploadName,  // upload file name: no "/", no double quote, one line
    kPassword,    // the basic settings' password: urlencoded, at most 16 characters
};

struct Site {
    const char* what;
    Carrier carrier;
    const char* tool;  // its log: var/log/<tool>.args
    std::function<CgiResult(const Sandbox&, const std::string&)> send;
    std::function<Lines(const std::string& root, const std::string& text)> args;
    std::string plain, line;  // a plain value, and the command line it gives
};

std::string enc(const std::string& text)
{
    std::string out;
    for (unsigned char c : text) {
        if (isalnum(c)) {
            out += char(c);
        } else {
            out += '%';
            out += "0123456789ABCDEF"[c >> 4];
            out += "0123456789ABCDEF"[c & 15];
        }
    }
    return out;
}

Part f(const std::string& name, const std::string& value) { return {name, value, "", false}; }
CgiResult multipart(const Sandbox& sb, const std::vector<Part>& parts)
{
    return sb.post_multipart("xyz", multipart_body("xyz", parts));
}

// The tools handed user text log their argument count and each argument on a line.
void logging_tools(const Sandbox& sb)
{
    for (std::string path : {"/usr/bin/cryptpw", "/bin/date", "/bin/mv", "/usr/sbin/cert"}) {
        std::string name = path.substr(path.rfind('/') + 1);
        sb.tool(path, "{ echo \"$#\"; printf '%s\\n' \"$@\"; } >> \"$GWADMIN_ROOT/var/log/" + name + ".args\"" +
                          (name == "cryptpw" ? "\necho hash" : ""));
    }
    for (const char* path : {"/bin/chown", "/usr/sbin/save"})
        sb.tool(path, "exit 0");
}

const std::vector<Site>& sites()
{
    static const std::vector<Site> all = {
        // item 24, basic settings: the password hash.
        {"basis: cryptpw", kPassword, "cryptpw",
         [](const Sandbox& sb, const std::string& t) { return sb.post("", "item=24&act=1&Kennwort=" + enc(t) +
                                                                      "&KennwortRe=" + enc(t)); },
         [](const std::string&, const std::string& t) { return Lines{t}; }, "s3cret", "cryptpw 's3cret'"},
        // item 2, time: the five clock fields, joined into one argument.
        {"time: date -s", kForm, "date",
         [](const Sandbox& sb, const std::string& t) {
             const std::string e = enc(t);
             return sb.post("", "item=2&act=1&timemode=man&jahr=" + e + "&monat=" + e + "&tag=" + e + "&std=" + e +
                                    "&min=" + e + "&sek=" + e); },
         [](const std::string&, const std::string& t) {
             return Lines{"-s", t + "." + t + "." + t + "-" + t + ":" + t}; },
         "07", "/usr/bin/sudo /bin/date -s '07'.'07'.'07'-'07':'07'"},
        // item 46, OpenVPN client mode: the certificate upload.
        {"openvpn: client certificate mv", kUploadName, "mv",
         [](const Sandbox& sb, const std::string& t) {
             return multipart(sb, {f("item", "46"), f("act", "1"), f("vpnmode", "client"),
                                   {"certfile", "P12", t, true}}); },
         [](const std::string& r, const std::string& t) {
             return Lines{"-f", r + "/tmp/upload/" + t, r + "/tmp/keys/openvpn/vpnpeer.p12"}; },
         "c.p12", "/usr/bin/sudo /bin/mv -f /tmp/upload/'c.p12' /tmp/keys/openvpn/vpnpeer.p12"},
        // item 46, OpenVPN shown with keystate 3: the static key upload (http_move_upload).
        {"openvpn: static key mv", kUploadName, "mv",
         [](const Sandbox& sb, const std::string& t) {
             return multipart(sb, {f("item", "46"), f("keystate", "3"), {"Datei", "KEY", t, true}}); },
         [](const std::string& r, const std::string& t) {
             return Lines{"-f", r + "/tmp/upload/" + t, r + "/home/httpd/openvpn/" + t}; },
         "k.key", "/usr/bin/sudo /bin/mv -f /tmp/upload/'k.key' /home/httpd/openvpn/'k.key' > /dev/null"},
        // item 29, IPsec peer mode: the certificate upload, then its password.
        {"ipsec: certificate mv", kUploadName, "mv",
         [](const Sandbox& sb, const std::string& t) {
             return multipart(sb, {f("item", "29"), f("act", "1"), f("ipsmode", "peer"), f("x509pwd", "pw"),
                                   {"certfile", "P12", t, true}}); },
         [](const std::string& r, const std::string& t) {
             return Lines{"-f", r + "/tmp/upload/" + t, r + "/tmp/upload/vpnpeer.p12"}; },
         "c.p12", "/usr/bin/sudo /bin/mv -f /tmp/upload/'c.p12' /tmp/upload/vpnpeer.p12"},
        {"ipsec: cert extract", kMultipart, "cert",
         [](const Sandbox& sb, const std::string& t) {
             return multipart(sb, {f("item", "29"), f("act", "1"), f("ipsmode", "peer"), f("x509pwd", t),
                                   {"certfile", "P12", "c.p12", true}}); },
         [](const std::string& r, const std::string& t) {
             return Lines{"extract", "p12", r + "/tmp/upload/vpnpeer.p12", t, r + "/tmp/keys/ipsec/"}; },
         "p12pw", "/usr/bin/sudo /usr/sbin/cert extract p12 /tmp/upload/vpnpeer.p12 'p12pw' /tmp/keys/ipsec/"},
        // item 26, certificate authority: both passwords per type (the subject goes to a file, no command).
        {"vpnca: cert gen peer", kForm, "cert",
         [](const Sandbox& sb, const std::string& t) {
             return sb.post("", "item=26&act=1&cert_type=peer&common=" + enc(t) + "&so_pass=" + enc(t) +
                                    "&su_pass=" + enc(t)); },
         [](const std::string&, const std::string& t) { return Lines{"gen", "peer", t, t}; },
         "pw1", "/usr/bin/sudo /usr/sbin/cert gen peer 'pw1' 'pw1'"},
        {"vpnca: cert gen gateway", kForm, "cert",
         [](const Sandbox& sb, const std::string& t) {
             return sb.post("", "item=26&act=1&cert_type=gate&so_pass=" + enc(t) + "&su_pass=" + enc(t)); },
         [](const std::string&, const std::string& t) { return Lines{"gen", "gateway", t, t}; },
         "pw1", "/usr/bin/sudo /usr/sbin/cert gen gateway 'pw1' 'pw1'"},
        {"vpnca: cert gen root", kForm, "cert",
         [](const Sandbox& sb, const std::string& t) {
             return sb.post("", "item=26&act=1&cert_type=auth&so_pass=" + enc(t)); },
         [](const std::string&, const std::string& t) { return Lines{"gen", "root", t}; },
         "pw1", "/usr/bin/sudo /usr/sbin/cert gen root 'pw1'"},
        // item 27, certificate management: the authority's password.
        {"mgcert: cert update crl", kForm, "cert",
         [](const Sandbox& sb, const std::string& t) {
             return sb.post("", "item=27&act=1&numblist=1&statelist=V&so_pwd=" + enc(t)); },
         [](const std::string&, const std::string& t) { return Lines{"update", "crl", t}; },
         "pw1", "/usr/bin/sudo /usr/sbin/cert update crl 'pw1'"},
    };
    return all;
}

// Each text that names the canary creates it when pasted into a shell word
// bare, in single or in double quotes (the first test shows it does). The
// canary is "$GWADMIN_ROOT/canary", or "canary" in the working folder, the
// document root. (No text holds a blank before a device folder: the sandbox
// puts its root in front of such a word, quoted or not.)
const Lines kHostile = {
    ";touch canary", "|touch canary", "&touch canary", "$(touch canary)", "`touch canary`", "';touch canary'",
    "\";touch canary\"", ">canary", "\\';>canary #", "x\ntouch canary", ";touch \"$GWADMIN_ROOT\"/canary",
    "$(cd $GWADMIN_ROOT;touch canary)", "x'`cd $GWADMIN_ROOT;touch canary`'", "'\ntouch \"$GWADMIN_ROOT\"/canary;'",
    " a\t b  c", "* ~ $HOME ${x:-y}", "a''b\\",
};

bool carries(Carrier c, const std::string& t)
{
    bool line = t.find('\n') == std::string::npos;
    switch (c) {
    case kForm: return true;
    case kMultipart: return line;
    case kUploadName: return line && t.find_first_of("/\"") == std::string::npos;
    case kPassword: return t.size() <= 16;
    }
    return false;
}

bool canary(const Sandbox& sb)
{
    return sb.exists("/canary") || access((sb.docroot + "/canary").c_str(), F_OK) == 0;
}

}  // namespace

TEST(CommandInjection, EachHostileTextRunsItsCommandWhenPastedUnquoted)
{
    Sandbox sb;
    for (const std::string& t : kHostile) {
        if (t.find("canary") == std::string::npos)
            continue;
        bool ran = false;
        for (const std::string& word : {t, "'" + t + "'", "\"" + t + "\""}) {
            write_file(sb.root + "/script", ": " + word + "\n");
            std::string run = "cd " + sb.docroot + " && GWADMIN_ROOT=" + sb.root + " /bin/sh " + sb.root +
                              "/script >/dev/null 2>&1";
            EXPECT_GE(system(run.c_str()), 0);
            ran = ran || canary(sb);
            sb.remove("/canary");
            unlink((sb.docroot + "/canary").c_str());
        }
        EXPECT_TRUE(ran) << t;
    }
}

TEST(CommandInjection, UserTextReachesTheToolAsOneLiteralArgument)
{
    for (const Site& site : sites()) {
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
            CgiResult r = site.send(sb, t);
            EXPECT_EQ(r.status, 0) << site.what << ": " << t;
            EXPECT_FALSE(canary(sb)) << site.what << ": " << t;
            const Lines args = site.args(sb.root, t);
            std::string log = std::to_string(args.size()) + "\n";
            for (const std::string& arg : args)
                log += arg + "\n";
            EXPECT_EQ(sb.read(std::string("/var/log/") + site.tool + ".args"), log) << site.what << ": " << t;
            if (t == site.plain) {
                const Lines ran = sb.commands();
                EXPECT_NE(std::find(ran.begin(), ran.end(), site.line), ran.end()) << site.what;
            }
        }
    }
}
