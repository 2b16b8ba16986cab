// Seeded stress run of the parsers of outside input (requests with uploads, configuration,
// template and message files): random or mutated inputs, the same on every run. Only invariants
// that must always hold are checked; memory faults are left to the sanitizer build.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <unistd.h>

#include "cgi/http.h"
#include "conf/conf.h"
#include "device/device.h"
#include "render/aux.h"
#include "render/tmpl.h"

namespace fs = std::filesystem;

namespace {

struct Rng {  // splitmix64: the same sequence with every compiler and library
    uint64_t state;
    size_t below(size_t n)
    {
        uint64_t z = (state += 0x9E3779B97F4A7C15ULL);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
        return n ? size_t((z ^ (z >> 31)) % n) : 0;
    }
    bool chance(int percent) { return below(100) < size_t(percent); }
    template <size_t N>
    std::string pick(const char* const (&list)[N]) { return list[below(N)]; }
};

// Runs f with standard output (where failures print the error page) sent to /dev/null.
template <class F>
auto quiet(F f)
{
    int saved = (fflush(stdout), dup(1)), null_fd = open("/dev/null", O_WRONLY);
    dup2(null_fd, 1), close(null_fd);
    auto result = f();
    fflush(stdout), dup2(saved, 1), close(saved);
    return result;
}

// Text without NUL bytes: form-ish characters or any byte.
std::string text(Rng& rng, size_t max_len)
{
    static const std::string form = "abcxyzAZ09_-.%+=&/ '\"\\:;{}<>\t\r\n";
    std::string s(rng.below(max_len + 1), ' ');
    bool any = rng.chance(30);
    for (char& c : s)
        c = any ? char(1 + rng.below(255)) : form[rng.below(form.size())];
    return s;
}

// A few edits: pieces cut out or the rest cut off, tokens, random bytes, long runs past the line buffers.
std::string mutate(Rng& rng, std::string s)
{
    static const char* const tokens[] = {"%", "%4", "%00", "&", "=", "lang=", "\r\n", "--", "\"", "filename=\""};
    for (int edits = 1 + int(rng.below(5)); edits > 0; --edits) {
        size_t at = rng.below(s.size() + 1), kind = rng.below(4);
        if (kind == 0)
            s.erase(at, rng.chance(20) ? std::string::npos : rng.below(16));
        else
            s.insert(at, kind == 1 ? rng.pick(tokens) : kind == 2 ? text(rng, 12) : std::string(900 + at % 400, 'a'));
    }
    return s;
}

// A urlencoded form, or a multipart body whose files carry pieces of the boundary; often mutated.
std::string body(Rng& rng, const std::string& boundary, bool parts)
{
    static const char* const names[] = {"lang", "item", "act", "ip", "ipaddr", "x"};
    static const char* const values[] = {"english", "deutsche", "../etc", ".hidden", "a/b", "", "-1", "9999999999"};
    static const char* const files[] = {"cert.pem", "a", "..", ".", "../escape", "/etc/passwd", "sub/x", "", "..b"};
    const std::string part = "--" + boundary + "\r\nContent-Disposition: form-data; name=\"";
    std::string s;
    for (int i = int(rng.below(8)); i > 0; --i) {
        std::string value = rng.chance(70) ? rng.pick(values) : text(rng, 20);
        if (!parts)
            s += rng.pick(names) + "=" + value + "&";
        else if (rng.chance(60))
            s += part + rng.pick(names) + "\"\r\n\r\n" + value + "\r\n";
        else
            s += part + "f\"; filename=\"" + rng.pick(files) + "\"\r\n\r\n" + text(rng, 400) + "\r\n--" +
                 boundary.substr(0, rng.below(boundary.size())) + text(rng, 100) + "\r\n";
    }
    s += parts ? "--" + boundary + "--\r\n" : "";
    return rng.chance(50) ? mutate(rng, s) : s;
}

class ParserStress : public ::testing::Test {  // in memory when possible: files are rewritten thousands of times
protected:
    void SetUp() override
    {
        std::string dir = std::string(access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp") + "/gwstress-XXXXXX";
        ASSERT_NE(mkdtemp(&dir[0]), nullptr);
        base = dir, root = base + "/root";
        for (const char* d : {"/root/tmp/ulsp", "/root/tmp/upload", "/root/var/log", "/doc/english"})
            fs::create_directories(base + d);
        fs::current_path(base + "/doc");
        setenv("GWADMIN_ROOT", root.c_str(), 1);
        ASSERT_EQ(dev_init(), 0);
    }
    void TearDown() override { fs::current_path(old_cwd), fs::remove_all(base); }
    std::string base, root;
    fs::path old_cwd = fs::current_path();
};

TEST_F(ParserStress, InvariantsHoldForRandomAndMutatedInputs)
{
    Rng rng{20240611};
    const std::string upload = root + "/tmp/upload/", config = root + "/tmp/ulsp/stress.config";
    std::set<std::string> known{root + "/var/log/messages", config, base + "/doc/english/messages"};
    for (const auto& entry : fs::recursive_directory_iterator(base))
        known.insert(entry.path());
    static const char* const keys[] = {"A", "AB", "NAME", "L_N", "L_1_f", "L_2_f", "#A", "", "{A}", "{", "AA"};
    std::string out;  // output buffers with 16 guard bytes
    auto fits = [&out](size_t n) { return strnlen(&out[0], n) < n && out.find_first_not_of('Z', n) == out.npos; };
    int uploads = 0;
    for (int round = 0; round < 3000 && !HasFailure(); ++round) {
        // A request through the entry point (http_add_pair and http_decode take every piece).
        std::string boundary = "----gw" + std::string(1 + rng.below(95), 'b');
        bool parts = rng.chance(50);
        std::string input = body(rng, boundary, parts), args[] = {body(rng, boundary, false), text(rng, 30)};
        setenv("QUERY_STRING", body(rng, boundary, false).c_str(), 1);
        setenv("REQUEST_METHOD", rng.chance(70) ? "POST" : "GET", 1);
        setenv("CONTENT_LENGTH", std::to_string(rng.chance(5) ? 1 << 25 : long(rng.below(999)) - 1).c_str(), 1);
        setenv("CONTENT_TYPE", parts ? ("multipart/form-data; boundary=" + boundary).c_str() : "text/plain", 1);
        FILE* in = input.empty() ? fopen("/dev/null", "r") : fmemopen(&input[0], input.size(), "r");
        ASSERT_NE(in, nullptr);
        http_set_input(in);
        char* argv[] = {const_cast<char*>("gwadmin"), &args[0][0], &args[1][0]};
        EXPECT_EQ(quiet([&] { return http_parse(3, argv); }), 0);
        http_set_input(nullptr), fclose(in);
        ASSERT_LT(strnlen(g_request.lang, sizeof g_request.lang), sizeof g_request.lang);
        for (const char* name : {"", "lang", "ip", "no_such_field"})
            ASSERT_NE(http_var(name), nullptr) << name;
        http_free();
        for (const auto& entry : fs::recursive_directory_iterator(base)) {
            const std::string path = entry.path();
            bool in_upload = path.rfind(upload, 0) == 0 && path.find('/', upload.size()) == path.npos;
            ASSERT_TRUE(known.count(path) || in_upload) << "round " << round << " created " << path;
            uploads += !known.count(path) && fs::remove(path);
        }

        // Configuration files: settings, lists, odd and long lines.
        std::string content, options, list, key = rng.chance(70) ? rng.pick(keys) : text(rng, 70);
        for (int i = int(rng.below(20)); i > 0; --i)
            content += rng.chance(70) ? rng.pick(keys) + "='" + text(rng, 60) + "'\n" : text(rng, 400);
        std::ofstream(config, std::ios::binary) << content;
        size_t size = 1 + rng.below(300);
        out.assign(size + 16, 'Z');
        quiet([&] { return conf_get(key.c_str(), &out[0], size, "stress.config"); });
        ASSERT_TRUE(fits(size)) << key;
        quiet([&] { return conf_set(key.c_str(), text(rng, 60).c_str(), "stress.config"); });
        quiet([&] { return conf_list_options("L", "f", options, list, "stress.config", rng.below(60)); });

        // Templates: a replacement text may hold its own mark.
        g_request.page = strdup((content.substr(0, 200) + key).c_str());
        tmpl_replace(key.c_str(), (key + text(rng, 10) + key).c_str());
        ASSERT_NE(tmpl_page(), nullptr);
        tmpl_free();

        // Message files, under any language (keys and languages as above).
        std::ofstream("english/messages", std::ios::binary) << mutate(rng, "A:x\nAB:" + content);
        snprintf(g_request.lang, sizeof g_request.lang, "%s", rng.chance(50) ? "english" : key.c_str());
        out.assign(AUX_MESSAGE_SIZE + 16, 'Z');
        ASSERT_TRUE(!quiet([&] { return aux_message(key.c_str(), &out[0]); }) || fits(AUX_MESSAGE_SIZE)) << key;
    }
    EXPECT_GT(uploads, 100);  // the generated bodies do reach the upload code
}

}  // namespace
