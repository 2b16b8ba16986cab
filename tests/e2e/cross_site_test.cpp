// Requests from another site's page, and through another site's name for the
// device (DNS rebinding): those that change something are refused and change
// nothing; pages are still shown; the device's own pages, at its addresses and
// its own names, and requests without browser headers go on as before.
#include <gtest/gtest.h>

#include <map>

#include "sandbox.h"

namespace {

using Env = std::map<std::string, std::string>;

const char kHost[] = "192.0.2.1:8080";
const std::string kOwn = std::string("http://") + kHost;
const char kAgent[] = "Mozilla/5.0 (X11; Linux x86_64; rv:128.0) Gecko/20100101 Firefox/128.0";
const char kRecord[] = "3 Error in file sameorigin line 41: Operation not permitted";

// Every file under the sandbox root with its content, log records aside (and
// the commands run, for pages that run a status tool).
std::string state(const Sandbox& sb, bool with_commands = true)
{
    std::string out;
    for (const std::string& p : list_tree(sb.root))
        if (p != "var/log/messages" && (with_commands || p != "var/log/commands"))
            out += p + "\n" + read_file(sb.root + "/" + p) + "\n";
    return out;
}

// A device with its factory settings, its tools, pages whose text is their path.
void device(const Sandbox& sb)
{
    sb.defaults();
    for (const char* name : {"basis", "speich", "rstart", "facdef", "vpnca", "vpnca1", "mgcert", "user", "ccstat",
                             "ovpn", "update"})
        sb.write_doc(std::string("english/") + name + ".tmpl", std::string("english/") + name + ".tmpl");
    sb.write_doc("templates/resultpage.tmpl", "templates/resultpage.tmpl");
    sb.write_doc("english/messages", "");
    for (const char* t : {"/usr/sbin/save", "/usr/sbin/load", "/usr/sbin/cert", "/usr/sbin/openvpn", "/sbin/ip",
                          "/usr/bin/cryptpw"})
        sb.tool(t, "exit 0");
    sb.write("/tmp/certs/config/VPNClient.config", "commonName_default = peer\n");
    sb.write("/tmp/certs/index.txt", "V\t301231235959Z\t\t01\tunknown\t/CN=peer\n");
    sb.write("/home/httpd/openvpn/static.key", "#\n#\n#\n-----BEGIN OpenVPN Static key V1-----\n0123456789abcdef\n");
    sb.write("/var/log/messages", "");
}

// The request as the web server hands it on: the headers given, the device's
// address as Host unless they name another.
Env request(const std::string& method, const std::string& query, Env headers)
{
    headers.emplace("REQUEST_METHOD", method);
    headers.emplace("QUERY_STRING", query);
    headers.emplace("HTTP_HOST", kHost);
    return headers;
}
CgiResult get(const Sandbox& sb, const std::string& query, const Env& headers)
{
    return sb.run(request("GET", query, headers));
}
CgiResult post_form(const Sandbox& sb, const std::vector<Part>& parts, const Env& headers)
{
    Env env = request("POST", "", headers);
    const std::string body = multipart_body("b", parts);
    env.emplace("CONTENT_TYPE", "multipart/form-data; boundary=b");
    env.emplace("CONTENT_LENGTH", std::to_string(body.size()));
    return sb.run(env, body);
}

// What a browser sends from another site's page: no signal of the device's own
// pages, or a signal against them. Over plain HTTP a browser sends no
// Sec-Fetch-* at all, no Origin on a GET, and a page can suppress the Referer.
const Env kOtherSite[] = {
    {{"HTTP_USER_AGENT", kAgent}},  // <img src=...> under <meta name=referrer content=no-referrer>
    {{"HTTP_USER_AGENT", kAgent}, {"HTTP_SEC_FETCH_MODE", "no-cors"}, {"HTTP_SEC_FETCH_DEST", "image"}},
    {{"HTTP_SEC_FETCH_SITE", "cross-site"}},
    {{"HTTP_SEC_FETCH_SITE", "cross-site"}, {"HTTP_ORIGIN", kOwn}},
    {{"HTTP_ORIGIN", "http://evil.example"}, {"HTTP_REFERER", kOwn + "/"}},
    {{"HTTP_ORIGIN", "null"}, {"HTTP_REFERER", kOwn + "/"}},
    {{"HTTP_ORIGIN", "http://192.0.2.1:8081"}},
    {{"HTTP_REFERER", kOwn + "@evil.example/cgi-bin/gwadmin"}},
};
// DNS rebinding: the attacker's name now points at the device, so to the
// browser its page is the device's own.
const Env kRebinding[] = {
    {{"HTTP_USER_AGENT", kAgent}, {"HTTP_HOST", "rebind.attacker.example"},
     {"HTTP_ORIGIN", "http://rebind.attacker.example"}, {"HTTP_SEC_FETCH_SITE", "same-origin"}},
    {{"HTTP_USER_AGENT", kAgent}, {"HTTP_HOST", "gateway.attacker.example:8080"},
     {"HTTP_REFERER", "http://gateway.attacker.example:8080/"}},
};
// The device's own pages, at its address and its own names, and requests without browser headers.
const Env kOwnPages[] = {
    {{"HTTP_USER_AGENT", kAgent}, {"HTTP_ORIGIN", kOwn}},                   // a form posted
    {{"HTTP_USER_AGENT", kAgent}, {"HTTP_REFERER", kOwn + "/cgi-bin/gwadmin?item=24"}},  // a link
    {{"HTTP_USER_AGENT", kAgent}, {"HTTP_SEC_FETCH_SITE", "none"}},         // a typed address
    {{"HTTP_SEC_FETCH_SITE", "same-origin"}, {"HTTP_ORIGIN", kOwn}},
    {{"HTTP_USER_AGENT", kAgent}, {"HTTP_HOST", "GATEWAY.localdomain.:8080"},
     {"HTTP_ORIGIN", "http://gateway.localdomain.:8080"}},
    {{"HTTP_USER_AGENT", kAgent}, {"HTTP_HOST", "gateway"}, {"HTTP_REFERER", "http://gateway/"}},
    {{"HTTP_USER_AGENT", kAgent}, {"HTTP_HOST", "[::1]:8080"}, {"HTTP_ORIGIN", "http://[::1]:8080"}},
    {{"HTTP_USER_AGENT", kAgent}, {"HTTP_HOST", "localhost"}, {"HTTP_SEC_FETCH_SITE", "same-origin"}},
    {{"HTTP_HOST", ""}},  // a script, a tool, curl without its own headers
};

// Requests that change something, and whether the change shows in the files.
const std::pair<const char*, bool> kChanging[] = {
    {"item=24&act=1&Hostname=forged", true},       // a page's apply
    {"item=19", true},                             // the save page, shown
    {"item=20&act=1", true},                       // restart
    {"item=38&act=1", true},                       // factory defaults
    {"item=1&act=1&updt_svr=evil.example", true},  // the firmware update pointed at another server
    {"item=26&step=1&cert_type=peer", true},       // a certificate made on a step
    {"item=27&act=1&numblist=1&statelist=R", true},
    {"item=46&keystate=1", true},                  // a new static key, the OpenVPN page merely shown
    {"item=47&act=1", false},                      // any act counts, even where nothing is applied
};

// The refusal: its status, its headers, its words, its record.
void expect_refused(const Sandbox& sb, const CgiResult& r, bool other_host, const std::string& what)
{
    EXPECT_EQ(r.status, 1) << what;
    const std::string head = r.out.substr(0, r.out.find("\n\n") + 1);
    EXPECT_EQ(head.rfind("Status: 403 Forbidden\n", 0), 0u) << what << "\n" << r.out;
    for (const char* header : {"\nContent-Type: text/html; charset=utf-8\n", "\nX-Frame-Options: DENY\n",
                               "\nContent-Security-Policy: default-src 'none'; style-src 'self'; frame-ancestors 'none'\n",
                               "\nX-Content-Type-Options: nosniff\n", "\nReferrer-Policy: same-origin\n"})
        EXPECT_NE(head.find(header), std::string::npos) << what << ": " << header;
    EXPECT_NE(r.out.find(other_host ? "a name that is not this device's own address" : "came from another web site"),
              std::string::npos) << what << "\n" << r.out;
    EXPECT_NE(r.out.find("Nothing was changed"), std::string::npos) << what;
    EXPECT_NE(r.out.find("<a href=\"/cgi-bin/gwadmin?item=0&amp;lang=english\">"), std::string::npos) << what;
    const std::vector<std::string> records = sb.messages();
    EXPECT_EQ(records.empty() ? "" : records.back(), kRecord) << what;
}

std::string describe(const Env& headers)
{
    std::string out;
    for (const auto& [k, v] : headers)
        out += k + "=" + v + " ";
    return out;
}

}  // namespace

TEST(CrossSite, ChangesFromAnotherSiteOrThroughAnotherNameAreRefusedAndChangeNothing)
{
    Sandbox sb;
    device(sb);
    for (const auto& [query, visible] : kChanging) {
        for (bool other_host : {false, true}) {
            for (const Env& headers : other_host ? std::vector<Env>(std::begin(kRebinding), std::end(kRebinding))
                                                 : std::vector<Env>(std::begin(kOtherSite), std::end(kOtherSite))) {
                const std::string before = state(sb), what = std::string(query) + " " + describe(headers);
                CgiResult r = get(sb, query, headers);
                expect_refused(sb, r, other_host, what);
                EXPECT_EQ(state(sb), before) << what;
            }
        }
    }
    // Forms posted from elsewhere with a file: the file is gone, the key as it was, no key made.
    const std::vector<std::vector<Part>> forms = {
        {{"item", "46", "", false}, {"keystate", "3", "", false}, {"Datei", "forged key\n", "static.key", true}},
        {{"item", "46", "", false}, {"keystate", "1", "", false}},
        {{"item", "29", "", false}, {"act", "1", "", false}, {"certfile", "x", "peer.p12", true}},
        {{"item", "24", "", false}, {"junk", "x", "upload.bin", true}},  // an upload is a change by itself
    };
    for (const std::vector<Part>& form : forms) {
        for (const Env& headers : {Env{{"HTTP_USER_AGENT", kAgent}, {"HTTP_ORIGIN", "https://evil.example"}},
                                   Env{{"HTTP_USER_AGENT", kAgent}}, kRebinding[0]}) {
            const std::string before = state(sb), what = form[1].name + " " + describe(headers);
            CgiResult r = post_form(sb, form, headers);
            expect_refused(sb, r, headers.count("HTTP_HOST") > 0, what);
            EXPECT_EQ(state(sb), before) << what;
        }
    }
    // In the language of the form.
    CgiResult r = get(sb, "item=38&act=1&lang=deutsch", kOtherSite[0]);
    EXPECT_NE(r.out.find("<html lang=\"de\">"), std::string::npos);
    EXPECT_NE(r.out.find("kam von einer anderen Website"), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("?item=0&amp;lang=deutsch\">Zum Men&uuml;</a>"), std::string::npos) << r.out;
}

TEST(CrossSite, PagesAreShownToAnySiteAndChangesFromTheDevicesOwnPagesGoOn)
{
    std::vector<Env> elsewhere(std::begin(kOtherSite), std::end(kOtherSite));
    elsewhere.insert(elsewhere.end(), std::begin(kRebinding), std::end(kRebinding));
    for (const Env& headers : elsewhere) {  // showing changes nothing, so it is served
        Sandbox sb;
        device(sb);
        const std::string before = state(sb, false);
        for (const char* query : {"item=24", "item=38", "item=26", "item=27", "item=20", "item=46", "item=46&keystate=2",
                                  "item=47&act=0"}) {
            CgiResult r = get(sb, query, headers);
            EXPECT_EQ(r.status, 0) << query << " " << describe(headers);
            EXPECT_EQ(r.out.find("Status: 403"), std::string::npos) << query;
        }
        EXPECT_EQ(state(sb, false), before) << describe(headers);
    }
    for (const Env& headers : kOwnPages) {
        for (const auto& [query, visible] : kChanging) {
            Sandbox sb;
            device(sb);
            const std::string before = state(sb), what = std::string(query) + " " + describe(headers);
            CgiResult r = get(sb, query, headers);
            EXPECT_EQ(r.status, 0) << what;
            EXPECT_EQ(r.out.find("Status: 403"), std::string::npos) << what;
            EXPECT_EQ(state(sb) != before, visible) << what;
        }
    }
    // The OpenVPN page's own key forms: the upload replaces the key, the other makes one.
    Sandbox sb;
    device(sb);
    const Env own = {{"HTTP_USER_AGENT", kAgent}, {"HTTP_ORIGIN", kOwn}};
    post_form(sb, {{"item", "46", "", false}, {"keystate", "3", "", false}, {"Datei", "new key\n", "static.key", true}},
              own);
    EXPECT_EQ(sb.read("/home/httpd/openvpn/static.key"), "new key\n\r\n");
    post_form(sb, {{"item", "46", "", false}, {"keystate", "1", "", false}}, own);
    EXPECT_EQ(sb.commands().back(), "/usr/sbin/openvpn --genkey --secret /home/httpd/openvpn/stqatic.key");
}
