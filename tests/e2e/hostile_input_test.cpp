// Hostile requests through the real program (names that try to leave the document root or the device folders,
// streams far past what a form sends, links planted where it writes): each is answered, ends, touches nothing else.

#include <algorithm>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

#include "page_support.h"

namespace {

const std::string kUser = "english/user.tmpl", kIntro = "english/intro.tmpl";
const std::string kTooBig = error_page("in file http line 258", "Cannot allocate memory");

void pages(const Sandbox& sb)
{
    for (const char* p : {"english/user.tmpl", "english/intro.tmpl", "english/vpnca1.tmpl", "deutsc/user.tmpl",
                          "deutsch/user.tmpl", "deutsc/ovpnstatus123456789.tmpl", "templates/resultpage.tmpl"})
        sb.write_doc(p, p);
}
std::string base_of(const Sandbox& sb) { return sb.root.substr(0, sb.root.rfind('/')); }
std::string field(const std::string& name, const std::string& value)
{
    return "--b\r\nContent-Disposition: form-data; name=\"" + name + "\"\r\n\r\n" + value + "\r\n";
}
std::string file_head(const std::string& file)
{
    return "--b\r\nContent-Disposition: form-data; name=\"f\"; filename=\"" + file + "\"\r\nContent-Type: x\r\n\r\n";
}

// The record of the error page text begins with ("" when it begins with none).
std::string record_of(const std::string& text)
{
    if (text.rfind("<html>", 0) != 0)
        return "";
    const size_t at = text.find("<b>") + 3, end = text.find("</b>", at), error = text.find("<b>", end) + 3;
    return "3 Error " + text.substr(at, end - at) + ": " + text.substr(error, text.find("</b>", error) - error);
}

extern "C" void __asan_init() __attribute__((weak));  // there in an AddressSanitizer build

}  // namespace

TEST(HostileInput, NamesNeverReachOutsideTheDocumentRootAndTheDeviceFolders)
{
    Sandbox sb;
    pages(sb);
    sb.defaults();
    const std::string base = base_of(sb), outside = "/tmp/gw-escape-" + base.substr(base.rfind('/') + 1);
    for (const std::string& dir :
         {base, base + "/x", sb.root, sb.root + "/etc", sb.docroot + "/english/sub", sb.docroot + "/a/b"})
        for (const char* file : {"/user.tmpl", "/messages", "/user123.tmpl"})
            write_file(dir + file, "decoy");  // where a climbing name would lead
    const std::string missing = error_page("in file tmpl line 25", "No such file or directory");
    const std::string too_long = error_page("in file tmpl line 25", "File name too long");
    const std::string denied = error_page("in file http line 339", "Permission denied") + kUser;
    // lang and step from a query string (g), a urlencoded body (p), program arguments (a), a multipart form (m);
    // upload names (u).
    const struct { char via; std::string text, expect; } cases[] = {
        {'g', "item=47&lang=../..", kUser}, {'g', "item=47&lang=a/b", kUser}, {'p', "item=47&lang=/etc", kUser},
        {'a', "lang=..", kUser}, {'m', "lang=../../x&item=47", kUser}, {'g', "item=47&lang=deutsche", "deutsc/user.tmpl"},
        {'m', "lang=deutsche&lang=english&item=47", "deutsch/user.tmpl"},  // 7 characters, the first lang counts
        {'g', "item=47&lang=" + std::string(5000, 'a'), missing}, {'g', "item=47&step=123", missing},
        {'g', "item=25&step=/../../user", too_long}, {'m', "item=47&step=/sub/../../../x/user", too_long},
        {'g', "item=24&step=%2F..%2Fx", too_long}, {'g', "item=49&lang=deutsc&step=1234567890", too_long},
        {'g', "item=49&lang=deutsc&step=123456789", "deutsc/ovpnstatus123456789.tmpl"},  // 31 characters: the longest
        {'u', outside, denied}, {'u', "../../../../../../../.." + outside, denied},
        {'u', std::string(300, 'n'), error_page("in file http line 339", "File name too long") + kUser},
        {'u', "..%2F..%2Fx", kUser},  // not decoded: a plain name
    };
    for (const auto& c : cases) {
        sb.write("/var/log/messages", "");
        const std::vector<std::string> before = list_tree(base);
        const CgiResult r = c.via == 'g' ? sb.get(c.text) : c.via == 'p' ? sb.post("", c.text)
                          : c.via == 'a' ? sb.run({{"QUERY_STRING", "item=47"}}, "", {c.text})
                          : c.via == 'm' ? post_fields(sb, c.text) : post_fields(sb, "item=47", {"f", "x", c.text, true});
        EXPECT_EQ(r.out, c.expect) << c.text.substr(0, 60);
        EXPECT_EQ(r.status, int(c.expect == missing || c.expect == too_long)) << c.text.substr(0, 60);
        const std::vector<std::string> records = sb.messages();
        EXPECT_EQ(records.empty() ? "" : records.back(), record_of(c.expect)) << c.text.substr(0, 60);
        for (const std::string& p : list_tree(base))  // the logs, a plain upload: nothing else is new
            EXPECT_TRUE(std::binary_search(before.begin(), before.end(), p) || p.rfind("root/var", 0) == 0 ||
                        (p.rfind("root/tmp/upload/", 0) == 0 && p.find('/', 16) == std::string::npos)) << c.text << ": " << p;
        EXPECT_NE(access(outside.c_str(), F_OK), 0);
    }
    EXPECT_EQ(sb.read("/tmp/upload/..%2F..%2Fx"), "x\r\n");
}

// No request, however long or endless its stream, makes the program take more than 32 MiB (under
// AddressSanitizer or an emulator, which hold memory of their own, 32 MiB more than a plain page takes there),
// read past its bounds, or keep what it brought.
TEST(HostileInput, BodiesAreBoundedInMemoryAndInWhatIsRead)
{
    Sandbox sb;
    pages(sb);
    const bool instrumented = (getenv("GWADMIN_TEST_RUNNER") && *getenv("GWADMIN_TEST_RUNNER")) || __asan_init;
    const long allowed = 32L * 1024 + (instrumented ? sb.get("item=47").max_rss_kb : 0);
    std::string vars, tiny;  // 16 MiB of these: a=&a=&... and empty multipart fields
    for (int i = 0; i < 1000; ++i)
        vars += "a=&", tiny += "--b\r\nname=\"a\"\r\n\r\n\r\n";
    const std::string mp = "multipart/form-data; boundary=b", mib16 = std::to_string(16 << 20), tera = std::to_string(1LL << 40);
    const std::string upload = field("item", "47") + file_head("endless.bin"), fields = field("item", "47") + field("act", "1");
    const std::string kb(1024, 'z');
    const struct { std::string what, type, length, head, chunk, expect; size_t stored; } cases[] = {  // stored: endless.bin
        {"16 MiB of a=&a=&...", "", mib16, vars, vars, kTooBig + kIntro, std::string::npos},
        {"16 MiB of empty multipart fields", mp, mib16, tiny, tiny, kTooBig + kIntro, std::string::npos},
        // Without a length a multipart body ends at 16 MiB: what it brought is dropped.
        {"multipart upload, no length", mp, "", upload, kb, kTooBig + kIntro, std::string::npos},
        {"multipart fields, no length", mp, "", fields, field("v", "x"), kTooBig + kIntro, std::string::npos},
        {"multipart, negative length", mp, "-1", upload, kb, kTooBig + kIntro, std::string::npos},
        {"multipart upload, length 3000", mp, "3000", upload, kb, kUser, 3000 - upload.size()},  // that long
        {"multipart, length 2^40", mp, tera, fields, kb, kTooBig + kIntro, std::string::npos},
        {"urlencoded, length 100", "", "100", "item=47&", "v=x&", kUser, std::string::npos},
        {"urlencoded, no length", "", "", "item=47&", "v=x&", kIntro, std::string::npos},
        {"urlencoded, length 2^40", "", tera, "item=47&", "v=x&", kTooBig + kIntro, std::string::npos},
    };
    for (const auto& c : cases) {
        const CgiResult r = sb.run({{"REQUEST_METHOD", "POST"}, {"CONTENT_TYPE", c.type}, {"CONTENT_LENGTH", c.length}},
                                   c.head, {}, 60, c.chunk);
        const std::string& out = r.out;  // a line the limit cut may be reported first
        EXPECT_EQ(out.substr(out.size() - std::min(out.size(), c.expect.size())), c.expect)
            << c.what << ": " << out.substr(0, 300);
        EXPECT_EQ(r.status, 0) << c.what;
        EXPECT_LT(r.fed, size_t(64) << 20) << c.what;  // the program stopped reading
        EXPECT_LT(r.max_rss_kb, allowed) << c.what;
        EXPECT_EQ(sb.exists("/tmp/upload/endless.bin") ? sb.read("/tmp/upload/endless.bin").size() : std::string::npos,
                  c.stored) << c.what;
        sb.remove("/tmp/upload/endless.bin");
    }
}

TEST(HostileInput, LinksPlantedAtScratchAndUploadFilesAreNeverWrittenThrough)
{
    // A file of another part of the system, and a link to it (or a second name for it) put where the program writes.
    const struct { std::string what, planted, query; Part file; std::string page; } cases[] = {  // the page's end
        {"upload", "/tmp/upload/key.p12", "item=47", {"f", "forged", "key.p12", true}, kUser},
        {"certificate index scratch", "/tmp/crt.tmp", "item=27&act=1&numblist=1&statelist=R", {}, "templates/resultpage.tmpl"},
        {"certificate request scratch", "/tmp/tmpcert.config", "item=26&step=1&cert_type=peer&common=forged", {},
         "english/vpnca1.tmpl"},
    };
    for (const auto& c : cases)
        for (bool symbolic : {true, false}) {
            Sandbox sb;
            pages(sb);
            for (const char* t : {"/usr/sbin/cert", "/usr/sbin/save"})
                sb.tool(t, "exit 0");
            sb.write("/tmp/certs/index.txt", "V\t301231235959Z\t\t01\tunknown\t/CN=peer\n");
            sb.write("/tmp/certs/config/VPNClient.config", "commonName_default = peer\n");
            const std::string victim = base_of(sb) + "/shadow", at = sb.root + c.planted;
            const std::string what = c.what + (symbolic ? " (link)" : " (hard link)");
            write_file(victim, "precious\n");
            chmod(victim.c_str(), 0600);
            struct stat before {}, after {}, left {};
            stat(victim.c_str(), &before);
            auto owner = [](const struct stat& s) {
                return std::to_string(s.st_mode) + " " + std::to_string(s.st_uid) + " " + std::to_string(s.st_gid);
            };
            ASSERT_EQ(symbolic ? symlink(victim.c_str(), at.c_str()) : link(victim.c_str(), at.c_str()), 0) << what;

            const CgiResult r = c.file.is_file ? post_fields(sb, c.query, c.file) : sb.get(c.query);
            EXPECT_EQ(r.out.substr(r.out.size() - std::min(r.out.size(), c.page.size())), c.page) << what << ": " << r.out;
            stat(victim.c_str(), &after);
            EXPECT_EQ(read_file(victim), "precious\n") << what;
            EXPECT_EQ(owner(after), owner(before)) << what;  // nothing chmod-ed or chown-ed through the link
            EXPECT_FALSE(lstat(at.c_str(), &left) == 0 && (S_ISLNK(left.st_mode) || left.st_ino == after.st_ino))
                << what << ": the planted name is left for the commands that follow";
            for (const std::string& command : sb.commands())  // nothing planted is moved anywhere
                EXPECT_EQ(command.find("mv -f " + c.planted), std::string::npos) << what << ": " << command;
        }
    Sandbox sb;  // the upload is reported as a file that cannot be created
    pages(sb);
    symlink("/dev/null", (sb.root + "/tmp/upload/key.p12").c_str());
    EXPECT_EQ(post_fields(sb, "item=47", {"f", "x", "key.p12", true}).out,
              error_page("in file http line 339", strerror(ELOOP)) + kUser);
}
