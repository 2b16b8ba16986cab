// Hostile requests through the real program: names that try to leave the
// document root or the device folders, and sizes far past what a form sends.
// Each is answered, ends, and touches nothing it should not.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <set>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "sandbox.h"

namespace {

using Env = std::map<std::string, std::string>;

const std::string kMp = "multipart/form-data; boundary=b";
const std::string kUser = "english/user.tmpl", kIntro = "english/intro.tmpl", kRedunt = "english/redunt.tmpl";
const std::string kTooBig = error_page("in file http line 258", "Cannot allocate memory");

void pages(const Sandbox& sb)
{
    for (const char* p : {"english/user.tmpl", "english/intro.tmpl", "english/redunt.tmpl", "english/vpstat.tmpl",
                          "englis/user.tmpl", "deutsch/user.tmpl", "templates/resultpage.tmpl"})
        sb.write_doc(p, p);
}
std::string base_of(const Sandbox& sb) { return sb.root.substr(0, sb.root.rfind('/')); }
std::string field(const std::string& name, const std::string& value)
{
    return "--b\r\nContent-Disposition: form-data; name=\"" + name + "\"\r\n\r\n" + value + "\r\n";
}
std::string file_head(const std::string& file)
{
    return "--b\r\nContent-Disposition: form-data; name=\"f\"; filename=\"" + file +
           "\"\r\nContent-Type: application/octet-stream\r\n\r\n";
}

struct Endless {
    CgiResult result;
    long max_rss_kb = 0;
    size_t fed = 0;  // bytes the program took of an endless input
};

// Runs gwadmin with env (GWADMIN_ROOT and DOCUMENT_ROOT added) on an input
// that never ends: chunk after chunk until the program closes it (or 64 MiB,
// four times the body limit, went in). The child's peak memory comes back too.
Endless run_endless(const Sandbox& sb, Env env, const std::string& head, const std::string& chunk)
{
    env.emplace("GWADMIN_ROOT", sb.root);
    env.emplace("DOCUMENT_ROOT", sb.docroot);
    env.emplace("PATH", "/usr/bin:/bin");
    std::vector<std::string> text;
    for (const auto& kv : env)
        if (!kv.second.empty())
            text.push_back(kv.first + "=" + kv.second);
    std::vector<char*> envp;
    for (auto& t : text)
        envp.push_back(&t[0]);
    envp.push_back(nullptr);
    char* argv[] = {const_cast<char*>(GWADMIN_EXE), nullptr};

    int fds[2];
    if (pipe2(fds, O_CLOEXEC) != 0)
        throw std::runtime_error("pipe");
    FILE *out = tmpfile(), *err = tmpfile();
    fflush(stdout);
    pid_t pid = fork();
    if (pid == 0) {
        dup2(fds[0], 0);
        dup2(fileno(out), 1);
        dup2(fileno(err), 2);
        alarm(60);
        execve(GWADMIN_EXE, argv, envp.data());
        _exit(127);
    }
    close(fds[0]);
    auto old_handler = signal(SIGPIPE, SIG_IGN);
    Endless run;
    for (std::string piece = head; run.fed < (64u << 20); piece = chunk) {
        ssize_t n = write(fds[1], piece.data(), piece.size());
        if (n <= 0)
            break;
        run.fed += size_t(n);
    }
    close(fds[1]);
    signal(SIGPIPE, old_handler);
    int status = 0;
    struct rusage usage {};
    wait4(pid, &status, 0, &usage);
    run.max_rss_kb = usage.ru_maxrss;
    run.result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    run.result.timed_out = WIFSIGNALED(status) && WTERMSIG(status) == SIGALRM;
    for (FILE* f : {out, err}) {
        std::string& into = f == out ? run.result.out : run.result.err;
        rewind(f);
        char buf[65536];
        for (size_t n; (n = fread(buf, 1, sizeof buf, f)) > 0;)
            into.append(buf, n);
        fclose(f);
    }
    return run;
}

// The paths below the test's folder that a request added, removed or changed in kind.
std::set<std::string> changed(const std::vector<std::string>& before, const std::vector<std::string>& after)
{
    std::set<std::string> out;
    std::set_symmetric_difference(before.begin(), before.end(), after.begin(), after.end(),
                                  std::inserter(out, out.end()));
    return out;
}

}  // namespace

TEST(HostileInput, NamesNeverReachOutsideTheDocumentRootAndTheDeviceFolders)
{
    Sandbox sb;
    pages(sb);
    const std::string base = base_of(sb), tag = base.substr(base.rfind('/') + 1);
    // Decoys where a name that climbs out would lead.
    for (const std::string& dir : {base, base + "/x", sb.root, sb.root + "/etc", sb.docroot + "/english/sub"})
        for (const char* file : {"/user.tmpl", "/messages", "/user123.tmpl"})
            write_file(dir + file, "decoy");
    const std::string longest(5000, 'a'), outside = "/tmp/gw-escape-" + tag;
    struct Case {
        std::string name;
        CgiResult (*run)(const Sandbox&, const std::string&);
        std::string expect;  // the page, after any error page
    } cases[] = {
        // lang and step from a query string, a urlencoded body, program arguments and a multipart form.
        {"../..", [](const Sandbox& s, const std::string& v) { return s.get("item=47&lang=" + v); }, kUser},
        {"%2E%2E%2F%2E%2E", [](const Sandbox& s, const std::string& v) { return s.get("item=47&lang=" + v); }, kUser},
        {"/etc", [](const Sandbox& s, const std::string& v) { return s.post("", "item=47&lang=" + v); }, kUser},
        {"..", [](const Sandbox& s, const std::string& v) { return s.run({{"QUERY_STRING", "item=47"}}, "", {"lang=" + v}); },
         kUser},
        {"../../x", [](const Sandbox& s, const std::string& v) {
             return s.post_multipart("b", field("lang", v) + field("item", "47") + "--b--\r\n"); }, kUser},
        {"a/../..", [](const Sandbox& s, const std::string& v) {
             return s.post_multipart("b", field("lang", v) + field("item", "47") + "--b--\r\n"); }, kUser},
        {longest, [](const Sandbox& s, const std::string& v) { return s.get("item=47&lang=" + v); },
         error_page("in file tmpl line 25", "No such file or directory")},
        {"/../../user", [](const Sandbox& s, const std::string& v) { return s.get("item=25&step=" + v); },
         error_page("in file tmpl line 25", "File name too long")},
        {"/sub/../../../x/user", [](const Sandbox& s, const std::string& v) {
             return s.post_multipart("b", field("item", "47") + field("step", v) + "--b--\r\n"); },
         error_page("in file tmpl line 25", "File name too long")},
        {"123", [](const Sandbox& s, const std::string& v) { return s.get("item=47&step=" + v); },
         error_page("in file tmpl line 25", "No such file or directory")},
        {longest, [](const Sandbox& s, const std::string& v) { return s.get("item=47&step=" + v); },
         error_page("in file tmpl line 25", "File name too long")},
        // Upload names: absolute, climbing, or longer than a file name may be.
        {outside, [](const Sandbox& s, const std::string& v) {
             return s.post_multipart("b", field("item", "47") + file_head(v) + "x\r\n--b--\r\n"); },
         error_page("in file http line 339", "Permission denied") + kUser},
        {"../../../../../../../.." + outside, [](const Sandbox& s, const std::string& v) {
             return s.post_multipart("b", field("item", "47") + file_head(v) + "x\r\n--b--\r\n"); },
         error_page("in file http line 339", "Permission denied") + kUser},
        {std::string(300, 'n'), [](const Sandbox& s, const std::string& v) {
             return s.post_multipart("b", field("item", "47") + file_head(v) + "x\r\n--b--\r\n"); },
         error_page("in file http line 339", "File name too long") + kUser},
        {"..%2F..%2Fx", [](const Sandbox& s, const std::string& v) {  // not decoded: a plain name
             return s.post_multipart("b", field("item", "47") + file_head(v) + "x\r\n--b--\r\n"); }, kUser},
    };
    for (const Case& c : cases) {
        const std::vector<std::string> before = list_tree(base);
        CgiResult r = c.run(sb, c.name);
        EXPECT_EQ(r.out, c.expect) << c.name.substr(0, 40);
        EXPECT_EQ(r.out.find("decoy"), std::string::npos);
        for (const std::string& p : changed(before, list_tree(base))) {  // the logs, a plain upload: nothing else
            bool log = p == "root/var" || p.rfind("root/var/log", 0) == 0;
            bool upload = p.rfind("root/tmp/upload/", 0) == 0 && p.find('/', 16) == std::string::npos;
            EXPECT_TRUE(log || upload) << c.name.substr(0, 40) << ": " << p;
        }
        EXPECT_NE(access(outside.c_str(), F_OK), 0);
    }
    EXPECT_EQ(sb.read("/tmp/upload/..%2F..%2Fx"), "x\r\n");
}

TEST(HostileInput, SizesFarPastAnyFormAreBoundedAndAnswered)
{
    Sandbox sb;
    pages(sb);
    std::string many;  // 100,000 variables, then the item: a 1.3 MB body
    for (int i = 0; i < 100000; ++i)
        many += "v" + std::to_string(i) + "=x&";
    many += "item=47";
    // n variables (or multipart fields), then the item; n uploads, then the item.
    auto vars = [](int n) {
        std::string text;
        for (int i = 0; i < n; ++i)
            text += "v" + std::to_string(i) + "=x&";
        return text + "item=47";
    };
    auto fields = [](int n) {
        std::string text;
        for (int i = 0; i < n; ++i)
            text += field("v" + std::to_string(i), "x");
        return text + field("item", "47") + "--b--\r\n";
    };
    auto uploads = [](int n) {
        std::string text;
        for (int i = 0; i < n; ++i)
            text += file_head("up" + std::to_string(i)) + "x\r\n";
        return text + field("item", "47") + "--b--\r\n";
    };
    const std::string tera = std::to_string(1LL << 40);
    const std::string parts = field("item", "41") + field("act", "1") + "--b--\r\n";
    struct Case {
        std::string what, method, type, length, input, expect, query = "";
    } cases[] = {
        {"100,000 variables: a body past 256 KiB", "POST", "", std::to_string(many.size()), many, kTooBig + kIntro},
        {"1,000 variables", "POST", "", std::to_string(vars(1000).size()), vars(1000), kUser},
        {"1,001 variables", "POST", "", std::to_string(vars(1001).size()), vars(1001), kTooBig + kIntro},
        {"1,001 variables, the last from the arguments", "POST", "", std::to_string(vars(1000).size()), vars(1000),
         kTooBig + kIntro},
        {"urlencoded, longer than its length", "POST", "", "7", "item=41&item=47", kRedunt},
        {"urlencoded, shorter than its length", "POST", "", "9999", "item=41", kRedunt},
        {"urlencoded, length 2^40", "POST", "", tera, "item=41", kTooBig + kIntro},
        // What the query string brought goes with the body: no apply without its form.
        {"urlencoded, length 2^40 after an act", "POST", "", tera, "item=41", kTooBig + kIntro, "item=41&act=1"},
        {"urlencoded, length not a number", "POST", "", "x7", "item=41", kIntro},
        {"multipart, longer than its length", "POST", kMp, std::to_string(parts.find("--b\r\n", 4)), parts, kRedunt},
        {"multipart, shorter than its length", "POST", kMp, "9999", parts, "templates/resultpage.tmpl"},
        {"multipart, length 2^40", "POST", kMp, tera, parts, kTooBig + kIntro},
        {"multipart, length not a number", "POST", kMp, "x", parts,
         error_page("in file http line 297", "Message too long") + kIntro},
        {"1,000 fields", "POST", kMp, "", fields(1000), kUser},
        {"1,001 fields", "POST", kMp, "", fields(1001), kTooBig + kIntro},
        {"8 uploads", "POST", kMp, "", uploads(8), kUser},
        {"9 uploads", "POST", kMp, "", uploads(9), kTooBig + kIntro},
    };
    for (const Case& c : cases) {
        CgiResult r = sb.run({{"REQUEST_METHOD", c.method}, {"CONTENT_TYPE", c.type}, {"CONTENT_LENGTH", c.length},
                              {"QUERY_STRING", c.query}},
                             c.input, c.what.find("arguments") != std::string::npos ? std::vector<std::string>{"w=1"}
                                                                                   : std::vector<std::string>{});
        EXPECT_EQ(r.status, 0) << c.what;
        EXPECT_EQ(r.out, c.expect) << c.what;
        EXPECT_FALSE(r.timed_out) << c.what;
        // Uploads stay only where the form was taken.
        EXPECT_EQ(sb.exists("/tmp/upload/up0"), c.what == "8 uploads") << c.what;
        for (int i = 0; i < 9; ++i)
            sb.remove("/tmp/upload/up" + std::to_string(i));
    }
    // The longest query string a web server can pass (the kernel takes no
    // environment text over 128 KiB), full of variables: far more than any
    // page sends.
    std::string query;
    while (query.size() < 120000)
        query += "q" + std::to_string(query.size()) + "=%41%42+&";
    EXPECT_EQ(sb.get(query + "item=47").out, kTooBig + kIntro);
}

namespace {

// The peak memory a request may take: 32 MiB. Under AddressSanitizer or an
// emulator, which hold memory of their own, 32 MiB more than a plain page
// takes there.
long memory_allowed_kb(const Sandbox& sb)
{
    bool instrumented = getenv("GWADMIN_TEST_RUNNER") && *getenv("GWADMIN_TEST_RUNNER");
#if defined(__SANITIZE_ADDRESS__)
    instrumented = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
    instrumented = true;
#endif
#endif
    return 32L * 1024 + (instrumented ? sb.get("item=47").max_rss_kb : 0);
}

}  // namespace

TEST(HostileInput, NoRequestTakesMoreThan32MiB)
{
    Sandbox sb;
    pages(sb);
    const long allowed = memory_allowed_kb(sb);
    // Bodies of 16 MiB, fed through a pipe (so that the test holds none of
    // it when it starts the program, whose peak would count it).
    std::string vars, fields;
    for (int i = 0; i < 1000; ++i)
        vars += "a=&", fields += "--b\r\nname=\"a\"\r\n\r\n\r\n";
    const struct {
        std::string what, type, chunk;
    } cases[] = {
        {"16 MiB of a=&a=&...", "", vars},
        {"16 MiB of empty multipart fields", kMp, fields},
    };
    for (const auto& c : cases) {
        Endless run = run_endless(
            sb, {{"REQUEST_METHOD", "POST"}, {"CONTENT_TYPE", c.type}, {"CONTENT_LENGTH", std::to_string(16 << 20)}},
            c.chunk, c.chunk);
        EXPECT_EQ(run.result.out, kTooBig + kIntro) << c.what;
        EXPECT_LT(run.max_rss_kb, allowed) << c.what;
        EXPECT_FALSE(run.result.timed_out) << c.what;
    }
}

TEST(HostileInput, EndlessStreamsAreReadNoFurtherThanTheLimit)
{
    Sandbox sb;
    pages(sb);
    const std::string upload = field("item", "47") + file_head("endless.bin");
    const std::string fields = field("item", "47") + field("act", "1");
    const std::string kb(1024, 'z'), tera = std::to_string(1LL << 40);
    struct Case {
        std::string what, type, length, head, chunk, expect;
        size_t stored;  // bytes of endless.bin left in the upload folder (npos: none)
    } cases[] = {
        // Without a length the body ends at 16 MiB: what it brought is dropped.
        {"multipart upload, no length", kMp, "", upload, kb, kTooBig + kIntro, std::string::npos},
        {"multipart fields, no length", kMp, "", fields, field("v", "x"), kTooBig + kIntro, std::string::npos},
        {"multipart, negative length", kMp, "-1", upload, kb, kTooBig + kIntro, std::string::npos},
        // With a length, the body is that long.
        {"multipart upload, length 3000", kMp, "3000", upload, kb, kUser, 3000 - upload.size()},
        {"multipart, length 2^40", kMp, tera, fields, kb, kTooBig + kIntro, std::string::npos},
        {"urlencoded, length 100", "", "100", "item=47&", "v=x&", kUser, std::string::npos},
        {"urlencoded, no length", "", "", "item=47&", "v=x&", kIntro, std::string::npos},
        {"urlencoded, length 2^40", "", tera, "item=47&", "v=x&", kTooBig + kIntro, std::string::npos},
    };
    for (const Case& c : cases) {
        Endless run = run_endless(sb, {{"REQUEST_METHOD", "POST"}, {"CONTENT_TYPE", c.type}, {"CONTENT_LENGTH", c.length}},
                              c.head, c.chunk);
        EXPECT_FALSE(run.result.timed_out) << c.what;
        EXPECT_EQ(run.result.status, 0) << c.what;
        const std::string& out = run.result.out;  // a line the limit cut may be reported first
        EXPECT_TRUE(out.size() >= c.expect.size() && out.substr(out.size() - c.expect.size()) == c.expect)
            << c.what << ": " << out.substr(0, 500);
        EXPECT_LT(run.fed, size_t(64) << 20) << c.what;            // the program stopped reading
        EXPECT_LT(run.max_rss_kb, 512L * 1024) << c.what;          // and held no stream in memory
        EXPECT_EQ(sb.exists("/tmp/upload/endless.bin") ? sb.read("/tmp/upload/endless.bin").size() : std::string::npos,
                  c.stored) << c.what;
        sb.remove("/tmp/upload/endless.bin");
    }
}

TEST(HostileInput, LinksPlantedAtScratchAndUploadFilesAreNeverWrittenThrough)
{
    // A file of another part of the system, and a link to it (or a second
    // name for it) put where the program writes.
    const struct {
        std::string what, planted;
        CgiResult (*run)(const Sandbox&);
        std::string page;  // the page's end
    } cases[] = {
        {"upload", "/tmp/upload/key.p12",
         [](const Sandbox& s) {
             return s.post_multipart("b", field("item", "47") + file_head("key.p12") + "forged\r\n--b--\r\n");
         },
         kUser},
        {"certificate index scratch", "/tmp/crt.tmp",
         [](const Sandbox& s) { return s.get("item=27&act=1&numblist=1&statelist=R"); }, "templates/resultpage.tmpl"},
        {"certificate request scratch", "/tmp/tmpcert.config",
         [](const Sandbox& s) { return s.get("item=26&step=1&cert_type=peer&common=forged"); },
         "english/vpnca1.tmpl"},
    };
    for (const auto& c : cases) {
        for (bool symbolic : {true, false}) {
            Sandbox sb;
            pages(sb);
            sb.write_doc("english/vpnca1.tmpl", "english/vpnca1.tmpl");
            for (const char* t : {"/usr/sbin/cert", "/usr/sbin/save"})
                sb.tool(t, "exit 0");
            sb.write("/tmp/certs/index.txt", "V\t301231235959Z\t\t01\tunknown\t/CN=peer\n");
            sb.write("/tmp/certs/config/VPNClient.config", "commonName_default = peer\n");
            const std::string victim = base_of(sb) + "/shadow";
            write_file(victim, "precious\n");
            chmod(victim.c_str(), 0600);
            struct stat before {};
            stat(victim.c_str(), &before);
            const std::string at = sb.root + c.planted, what = c.what + (symbolic ? " (link)" : " (hard link)");
            ASSERT_EQ(symbolic ? symlink(victim.c_str(), at.c_str()) : link(victim.c_str(), at.c_str()), 0) << what;

            CgiResult r = c.run(sb);
            EXPECT_TRUE(r.out.size() >= c.page.size() && r.out.substr(r.out.size() - c.page.size()) == c.page)
                << what << ": " << r.out;
            struct stat after {};
            stat(victim.c_str(), &after);
            EXPECT_EQ(read_file(victim), "precious\n") << what;
            EXPECT_EQ(after.st_mode, before.st_mode) << what;  // nothing chmod-ed through the link
            EXPECT_EQ(after.st_uid, before.st_uid) << what;
            EXPECT_EQ(after.st_gid, before.st_gid) << what;
            struct stat left {};
            EXPECT_FALSE(lstat(at.c_str(), &left) == 0 && (S_ISLNK(left.st_mode) || left.st_ino == after.st_ino))
                << what << ": the planted name is left for the commands that follow";
            for (const std::string& command : sb.commands())  // nothing planted is moved anywhere
                EXPECT_EQ(command.find("mv -f " + c.planted), std::string::npos) << what << ": " << command;
        }
    }
    // The upload is reported as a file that cannot be created.
    Sandbox sb;
    pages(sb);
    symlink("/dev/null", (sb.root + "/tmp/upload/key.p12").c_str());
    EXPECT_EQ(sb.post_multipart("b", field("item", "47") + file_head("key.p12") + "x\r\n--b--\r\n").out,
              error_page("in file http line 339", strerror(ELOOP)) + kUser);
}

TEST(HostileInput, TheCertificateToolTakesEachPasswordAsOneWord)
{
    if (system("openssl version > /dev/null 2>&1") != 0)
        GTEST_SKIP() << "no openssl";
    Sandbox sb;
    pages(sb);
    const std::string tools = std::string(GWADMIN_SOURCE_DIR) + "/sandbox/tools/usr/sbin/cert";
    sb.tool("/usr/sbin/cert", read_file(tools).substr(read_file(tools).find('\n') + 1));
    sb.write_doc("english/vpnca1.tmpl", "english/vpnca1.tmpl");
    sb.write("/tmp/certs/config/VPNClient.config", "commonName_default = x\n");
    sb.write("/tmp/certs/index.txt", "");
    const std::string outside = base_of(sb) + "/outside";
    // Words that, split apart, would be options of openssl: one writes a file
    // outside the sandbox (beside the document root, where the tool runs). A
    // CA, then a gateway certificate whose key has a password with blanks and
    // a glob.
    const std::string so = "x -writerand ../outside", key = "two words *";
    auto encoded = [](const std::string& text) {
        std::string out;
        for (unsigned char ch : text) {
            char hex[4];
            snprintf(hex, sizeof hex, "%%%02X", ch);
            out += hex;
        }
        return out;
    };
    sb.get("item=26&step=1&cert_type=auth&common=Router+CA&so_pass=" + encoded(so));
    sb.get("item=26&step=1&cert_type=gate&common=gw&so_pass=" + encoded(so) + "&su_pass=" + encoded(key));
    EXPECT_NE(access(outside.c_str(), F_OK), 0);
    // The keys open with the passwords whole.
    const std::string certs = sb.root + "/tmp/certs";
    EXPECT_EQ(system(("openssl pkey -noout -in " + certs + "/private/cakey.pem -passin 'pass:" + so + "'").c_str()), 0);
    EXPECT_EQ(system(("openssl pkey -noout -in " + certs + "/gateway.key -passin 'pass:" + key + "'").c_str()), 0);
}
