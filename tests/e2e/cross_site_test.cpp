// Requests from another site's page: those that change something are refused
// and change nothing; pages are still shown; same-site requests and requests
// without the browser's signals go on as before.
#include <gtest/gtest.h>

#include <map>

#include "sandbox.h"

namespace {

using Env = std::map<std::string, std::string>;

const char kHost[] = "192.0.2.1:8080";
const std::string kRefusal = "Status: 403 Forbidden\nContent-Type: text/html; charset=utf-8\n\n" +
                             error_page("in file sameorigin line 41", "Operation not permitted");

// Every file under the sandbox root with its content, log records aside.
std::string state(const Sandbox& sb)
{
    std::string out;
    for (const std::string& p : list_tree(sb.root))
        if (p != "var/log/messages")
            out += p + "\n" + read_file(sb.root + "/" + p) + "\n";
    return out;
}

// A device with its factory settings, its tools, pages whose text is their path.
void device(const Sandbox& sb)
{
    sb.defaults();
    for (const char* name : {"basis", "speich", "rstart", "facdef", "vpnca", "vpnca1", "mgcert", "user", "ccstat"})
        sb.write_doc(std::string("english/") + name + ".tmpl", std::string("english/") + name + ".tmpl");
    sb.write_doc("templates/resultpage.tmpl", "templates/resultpage.tmpl");
    sb.write_doc("english/messages", "");
    for (const char* t : {"/usr/sbin/save", "/usr/sbin/load", "/usr/sbin/cert", "/sbin/ip", "/usr/bin/cryptpw"})
        sb.tool(t, "exit 0");
    sb.write("/tmp/certs/config/VPNClient.config", "commonName_default = peer\n");
    sb.write("/tmp/certs/index.txt", "V\t301231235959Z\t\t01\tunknown\t/CN=peer\n");
    sb.write("/var/log/messages", "");
}

Env get(const std::string& query, Env headers)
{
    headers.emplace("REQUEST_METHOD", "GET");
    headers.emplace("QUERY_STRING", query);
    headers.emplace("HTTP_HOST", kHost);
    return headers;
}

// The browser's signals of a request from another site, and of one from the device's own pages.
const Env kOtherSite[] = {
    {{"HTTP_SEC_FETCH_SITE", "cross-site"}},
    {{"HTTP_SEC_FETCH_SITE", "cross-site"}, {"HTTP_ORIGIN", std::string("http://") + kHost}},
    {{"HTTP_ORIGIN", "http://evil.example"}, {"HTTP_REFERER", std::string("http://") + kHost + "/"}},
    {{"HTTP_ORIGIN", "null"}},
    {{"HTTP_ORIGIN", "http://192.0.2.1:8081"}},
    {{"HTTP_REFERER", std::string("http://") + kHost + "@evil.example/cgi-bin/gwadmin"}},
};
const Env kSameSite[] = {
    {{"HTTP_SEC_FETCH_SITE", "same-origin"}, {"HTTP_ORIGIN", std::string("http://") + kHost}},
    {{"HTTP_SEC_FETCH_SITE", "none"}},
    {{"HTTP_REFERER", std::string("http://") + kHost + "/cgi-bin/gwadmin?item=24"}},
    {},
};

// Requests that change something, and whether the change shows in the files.
const std::pair<const char*, bool> kChanging[] = {
    {"item=24&act=1&Hostname=forged", true},  // a page's apply
    {"item=19", true},                        // the save page, shown
    {"item=20&act=1", true},                  // restart
    {"item=38&act=1", true},                  // factory defaults
    {"item=26&step=1&cert_type=peer", true},  // a certificate made on a step
    {"item=27&act=1&numblist=1&statelist=R", true},
    {"item=47&act=1", false},                 // any act counts, even where nothing is applied
};

}  // namespace

TEST(CrossSite, ChangingRequestsFromAnotherSiteAreRefusedAndChangeNothing)
{
    Sandbox sb;
    device(sb);
    for (const auto& [query, visible] : kChanging) {
        for (const Env& headers : kOtherSite) {
            const std::string before = state(sb);
            CgiResult r = sb.run(get(query, headers));
            EXPECT_EQ(r.status, 1) << query << " " << headers.begin()->second;
            EXPECT_EQ(r.out, kRefusal) << query;
            EXPECT_EQ(state(sb), before) << query;
            EXPECT_EQ(sb.messages().back(), "3 Error in file sameorigin line 41: Operation not permitted");
        }
    }
    // A form posted from elsewhere with a file: its upload is gone too.
    Env post = {{"REQUEST_METHOD", "POST"}, {"CONTENT_TYPE", "multipart/form-data; boundary=b"},
                {"HTTP_ORIGIN", "https://evil.example"}, {"HTTP_HOST", kHost}};
    const std::string before = state(sb);
    CgiResult r = sb.run(post, multipart_body("b", {{"item", "29", "", false}, {"act", "1", "", false}, {"certfile", "x", "peer.p12", true}}));
    EXPECT_EQ(r.out, kRefusal);
    EXPECT_EQ(state(sb), before);
}

TEST(CrossSite, PagesAreShownToAnySiteAndChangesFromTheDeviceGoOn)
{
    for (const Env& headers : kOtherSite) {  // showing changes nothing, so it is served
        Sandbox sb;
        device(sb);
        for (const char* query : {"item=24", "item=38", "item=26", "item=27", "item=20", "item=47&act=0"}) {
            CgiResult r = sb.run(get(query, headers));
            EXPECT_EQ(r.status, 0) << query;
            EXPECT_EQ(r.out.find("Status: 403"), std::string::npos) << query;
        }
    }
    for (const Env& headers : kSameSite) {
        for (const auto& [query, visible] : kChanging) {
            Sandbox sb;
            device(sb);
            const std::string before = state(sb);
            CgiResult r = sb.run(get(query, headers));
            EXPECT_EQ(r.status, 0) << query;
            EXPECT_EQ(r.out.find("Status: 403"), std::string::npos) << query;
            EXPECT_EQ(state(sb) != before, visible) << query;
        }
    }
    // A browser's own same-origin form post.
    Sandbox sb;
    device(sb);
    const std::string body = "Hostname=posted";
    CgiResult r = sb.run({{"REQUEST_METHOD", "POST"}, {"QUERY_STRING", "item=24&act=1"},
                          {"CONTENT_TYPE", "application/x-www-form-urlencoded"},
                          {"CONTENT_LENGTH", std::to_string(body.size())}, {"HTTP_SEC_FETCH_SITE", "same-origin"},
                          {"HTTP_ORIGIN", std::string("http://") + kHost}, {"HTTP_HOST", kHost}},
                         body);
    EXPECT_EQ(r.out, "templates/resultpage.tmpl");
    EXPECT_NE(sb.config("network.config").find("HOSTNAME='posted'"), std::string::npos);
}
