// Requests from another site's page or through another site's name for the device (DNS rebinding) that change
// something are refused; pages are still shown; the device's own pages and requests without browser headers go on.

#include <cstring>

#include "sandbox.h"

namespace {

using Env = std::map<std::string, std::string>;

const char kHost[] = "192.0.2.1:8080";
const std::string kOwn = std::string("http://") + kHost;
const char kAgent[] = "Mozilla/5.0 (X11; Linux x86_64; rv:128.0) Gecko/20100101 Firefox/128.0";

// Every file under the sandbox root with its content, log records aside (and the commands run, for pages that
// run a status tool).
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
    for (const char* name : {"basis", "speich", "rstart", "facdef", "vpnca", "vpnca1", "mgcert", "user", "ccstat", "ovpn",
                             "update", "templates/resultpage"})
        sb.write_doc(std::string(strchr(name, '/') ? "" : "english/") + name + ".tmpl", name);
    sb.write_doc("english/messages", "");
    for (const char* t :
         {"/usr/sbin/save", "/usr/sbin/load", "/usr/sbin/cert", "/usr/sbin/openvpn", "/sbin/ip", "/usr/bin/cryptpw"})
        sb.tool(t, "exit 0");
    sb.write("/tmp/certs/config/VPNClient.config", "commonName_default = peer\n");
    sb.write("/tmp/certs/index.txt", "V\t301231235959Z\t\t01\tunknown\t/CN=peer\n");
    sb.write("/home/httpd/openvpn/static.key", "#\n#\n#\n-----BEGIN OpenVPN Static key V1-----\n0123456789abcdef\n");
    sb.write("/var/log/messages", "");
}

// The request as the web server hands it on: the headers given, the device's address as Host unless they name
// another; a multipart form when parts are given.
CgiResult send(const Sandbox& sb, const std::string& query, Env env, const std::vector<Part>& parts = {})
{
    env.emplace("REQUEST_METHOD", parts.empty() ? "GET" : "POST");
    env.emplace("QUERY_STRING", query);
    env.emplace("HTTP_HOST", kHost);
    const std::string body = parts.empty() ? "" : multipart_body("b", parts);
    if (!parts.empty()) {
        env.emplace("CONTENT_TYPE", "multipart/form-data; boundary=b");
        env.emplace("CONTENT_LENGTH", std::to_string(body.size()));
    }
    return sb.run(env, body);
}

// What a browser sends from another site's page: no signal of the device's own pages, or one against them. Over
// plain HTTP a browser sends no Sec-Fetch-* at all, no Origin on a GET, and a page can suppress the Referer.
const Env kOtherSite[] = {
    {{"HTTP_USER_AGENT", kAgent}},  // <img src=...> under <meta name=referrer content=no-referrer>
    {{"HTTP_SEC_FETCH_MODE", "no-cors"}}, {{"HTTP_SEC_FETCH_DEST", "image"}}, {{"HTTP_SEC_FETCH_USER", "?1"}},
    {{"HTTP_SEC_FETCH_SITE", "cross-site"}, {"HTTP_ORIGIN", kOwn}},
    {{"HTTP_ORIGIN", "http://evil.example"}, {"HTTP_REFERER", kOwn + "/"}},
    {{"HTTP_ORIGIN", "null"}, {"HTTP_REFERER", kOwn + "/"}},
    {{"HTTP_REFERER", kOwn + "@evil.example/cgi-bin/gwadmin"}},
};
// DNS rebinding: the attacker's name now points at the device, so to the browser its page is the device's own.
const Env kRebinding[] = {
    {{"HTTP_USER_AGENT", kAgent}, {"HTTP_HOST", "rebind.attacker.example"}, {"HTTP_ORIGIN", "http://rebind.attacker.example"},
     {"HTTP_SEC_FETCH_SITE", "same-origin"}},
    {{"HTTP_HOST", "gateway.attacker.example:8080"}, {"HTTP_REFERER", "http://gateway.attacker.example:8080/"}},
};
// The device's own pages, at its address and its own names, and requests without browser headers.
const Env kOwnPages[] = {
    {{"HTTP_USER_AGENT", kAgent}, {"HTTP_ORIGIN", kOwn}},                                // a form posted
    {{"HTTP_USER_AGENT", kAgent}, {"HTTP_REFERER", kOwn + "/cgi-bin/gwadmin?item=24"}},  // a link
    {{"HTTP_USER_AGENT", kAgent}, {"HTTP_SEC_FETCH_SITE", "none"}},                      // a typed address
    {{"HTTP_HOST", "GATEWAY.localdomain.:8080"}, {"HTTP_REFERER", "http://gateway.localdomain.:8080/"}},
    {{"HTTP_HOST", ""}},  // a script, a tool, curl without its own headers
};
// Requests that change something, whether the change shows in the files, and requests that only show a page.
const struct { const char* query; bool changes, visible; } kRequests[] = {
    {"item=19", true, true},                             // the save page, shown
    {"item=20&act=1", true, true},                       // restart
    {"item=38&act=1", true, true},                       // factory defaults, as an image
    {"item=1&act=1&updt_svr=evil.example", true, true},  // the firmware update pointed at another server
    {"item=26&step=1&cert_type=peer", true, true},       // a certificate made on a step
    {"item=27&act=1&numblist=1&statelist=R", true, true},
    {"item=46&keystate=1", true, true},                  // a new static key, the OpenVPN page merely shown
    {"item=47&act=1", true, false},                      // any act counts, even where nothing is applied
    {"item=24", false, false}, {"item=38", false, false}, {"item=26", false, false}, {"item=27", false, false},
    {"item=20", false, false}, {"item=46", false, false}, {"item=46&keystate=2", false, false}, {"item=47&act=0", false, false},
    {"item=24&act=1&Hostname=forged", true, true},  // a page's apply, last: the device's name is no longer its own
};

// The refusal, whole: status, headers, page, record.
void expect_refused(const Sandbox& sb, const CgiResult& r, bool other_host, const std::string& what, bool german = false)
{
    const char* const en[] = {"en", "Request refused",
        "This request came from another web site, not from the pages of this device, so it was refused.",
        ("This request was sent to a name that is not this device's own address, so it was refused. Open the device by "
         "its IP address or by its own host name."), "Nothing was changed on the device.",
        "Please open the page from the device's menu:", "english", "Go to the menu"};
    const char* const de[] = {"de", "Anfrage abgelehnt",
        "Diese Anfrage kam von einer anderen Website, nicht von den Seiten dieses Ger&auml;ts, und wurde deshalb abgelehnt.",
        ("Diese Anfrage ging an einen Namen, der nicht die Adresse dieses Ger&auml;ts ist, und wurde deshalb abgelehnt. "
         "Rufen Sie das Ger&auml;t &uuml;ber seine IP-Adresse oder seinen eigenen Namen auf."),
        "Am Ger&auml;t wurde nichts ge&auml;ndert.", "Bitte &ouml;ffnen Sie die Seite &uuml;ber das Men&uuml; des Ger&auml;ts:",
        "deutsch", "Zum Men&uuml;"};
    const auto& t = german ? de : en;
    EXPECT_EQ(r.status, 1) << what;
    EXPECT_EQ(r.out, std::string("Status: 403 Forbidden\nContent-Type: text/html; charset=utf-8\nX-Frame-Options: DENY\n"
                                 "Content-Security-Policy: default-src 'none'; style-src 'self'; frame-ancestors 'none'\n"
                                 "X-Content-Type-Options: nosniff\nReferrer-Policy: same-origin\n\n<!DOCTYPE html>\n"
                                 "<html lang=\"") +
                         t[0] + "\">\n<head>\n<meta charset=\"utf-8\">\n<meta name=\"viewport\" content=\"width=device-width, "
                         "initial-scale=1\">\n<title>" + t[1] + "</title>\n<link rel=\"stylesheet\" href=\"/style.css\">\n"
                         "</head>\n<body>\n<main id=\"main\">\n<h1>" + t[1] + "</h1>\n<p>" + t[other_host ? 3 : 2] +
                         "</p>\n<p>" + t[4] + "</p>\n<p>" + t[5] + " <a href=\"/cgi-bin/gwadmin?item=0&amp;lang=" + t[6] +
                         "\">" + t[7] + "</a></p>\n</main>\n</body>\n</html>\n") << what;
    const std::vector<std::string> records = sb.messages();
    EXPECT_EQ(records.empty() ? "" : records.back(), "3 Error in file sameorigin line 41: Operation not permitted") << what;
}


}  // namespace

TEST(CrossSite, ChangesGoOnOnlyFromTheDevicesOwnPagesAndPagesAreShownToAnySite)
{
    for (const auto& [kind, rows] : {std::pair{0, std::vector<Env>(std::begin(kOtherSite), std::end(kOtherSite))},
                                     {1, std::vector<Env>(std::begin(kRebinding), std::end(kRebinding))},
                                     {2, std::vector<Env>(std::begin(kOwnPages), std::end(kOwnPages))}})
        for (const Env& headers : rows) {
            Sandbox sb;
            device(sb);
            for (const auto& [query, changes, visible] : kRequests) {
                const std::string before = state(sb, changes), what = query + (" " + testing::PrintToString(headers));
                const CgiResult r = send(sb, query, headers);
                if (kind < 2 && changes) {
                    expect_refused(sb, r, kind == 1, what);
                    EXPECT_EQ(state(sb), before) << what;
                } else {
                    EXPECT_EQ(r.status, 0) << what;
                    EXPECT_EQ(r.out.find("Status: 403"), std::string::npos) << what;
                    EXPECT_EQ(state(sb, changes) != before, visible) << what;
                }
            }
        }
}

TEST(CrossSite, FormsWithFilesFromElsewhereAreRefusedAndRemovedAndTheDevicesOwnGoOn)
{
    Sandbox sb;
    device(sb);
    // Forms posted from elsewhere with a file: the file is gone, the key as it was, no key made.
    const std::vector<std::vector<Part>> forms = {
        {{"item", "46", "", false}, {"keystate", "3", "", false}, {"Datei", "forged key\n", "static.key", true}},
        {{"item", "46", "", false}, {"keystate", "1", "", false}},
        {{"item", "29", "", false}, {"act", "1", "", false}, {"certfile", "x", "peer.p12", true}},
        {{"item", "24", "", false}, {"junk", "x", "upload.bin", true}},  // an upload is a change by itself
    };
    for (const std::vector<Part>& form : forms)
        for (const Env& headers : {Env{{"HTTP_USER_AGENT", kAgent}, {"HTTP_ORIGIN", "https://evil.example"}}, kOtherSite[0],
                                   kRebinding[0]}) {
            const std::string before = state(sb), what = form[1].name + " " + testing::PrintToString(headers);
            expect_refused(sb, send(sb, "", headers, form), headers.count("HTTP_HOST") > 0, what);
            EXPECT_EQ(state(sb), before) << what;
        }
    expect_refused(sb, send(sb, "item=38&act=1&lang=deutsch", kOtherSite[0]), false, "in German", true);
    expect_refused(sb, send(sb, "item=38&act=1&lang=deutsch", kRebinding[1]), true, "in German", true);
    // The OpenVPN page's own key forms: the upload replaces the key, the other makes one.
    const Env own = {{"HTTP_USER_AGENT", kAgent}, {"HTTP_ORIGIN", kOwn}};
    send(sb, "", own, {{"item", "46", "", false}, {"keystate", "3", "", false}, {"Datei", "new key\n", "static.key", true}});
    EXPECT_EQ(sb.read("/home/httpd/openvpn/static.key"), "new key\n\r\n");
    send(sb, "", own, {{"item", "46", "", false}, {"keystate", "1", "", false}});
    EXPECT_EQ(sb.commands().back(), "/usr/sbin/openvpn --genkey --secret /home/httpd/openvpn/stqatic.key");
}
