// Seeded stress run of every parser of outside input: query strings, urlencoded
// and multipart bodies with uploads, configuration files, templates and
// message files. The inputs are random or mutated from valid ones, the same on
// every run. Only invariants that must always hold are checked; memory faults
// are left to the sanitizer build.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <ftw.h>
#include <set>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "cgi/http.h"
#include "conf/conf.h"
#include "device/device.h"
#include "render/aux.h"
#include "render/tmpl.h"

namespace {

// splitmix64: the same sequence with every compiler and library.
class Rng {
public:
    explicit Rng(uint64_t seed) : state_(seed) {}
    uint64_t next()
    {
        uint64_t z = (state_ += 0x9E3779B97F4A7C15ULL);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ULL;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBULL;
        return z ^ (z >> 31);
    }
    size_t below(size_t n) { return n ? size_t(next() % n) : 0; }
    bool chance(int percent) { return below(100) < size_t(percent); }
    template <size_t N>
    const char* pick(const char* const (&list)[N]) { return list[below(N)]; }

private:
    uint64_t state_;
};

constexpr uint64_t SEED = 20240611;
constexpr int ROUNDS = 3000;  // rounds of the cheap parsers; file-heavy ones do fewer

// Standard output goes to /dev/null while a parser runs: failures print the
// error page there. GoogleTest's own reports are printed outside.
class Quiet {
public:
    Quiet()
    {
        fflush(stdout);
        saved_ = dup(1);
        int null_fd = open("/dev/null", O_WRONLY);
        dup2(null_fd, 1);
        close(null_fd);
    }
    ~Quiet()
    {
        fflush(stdout);
        dup2(saved_, 1);
        close(saved_);
    }

private:
    int saved_;
};

// Text without NUL bytes (C strings end there), drawn from one of a few
// alphabets: form-ish characters, separators, or any byte.
std::string random_text(Rng& rng, size_t max_len)
{
    static const std::string form = "abcdefgxyzABCZ0189_-.%+=&/ '\"\\:;{}<>\t\r\n";
    static const std::string separators = "%&=+:'\r\n{} ";
    size_t len = rng.below(max_len + 1);
    int kind = int(rng.below(3));
    std::string s;
    s.reserve(len);
    for (size_t i = 0; i < len; ++i) {
        if (kind == 0)
            s += form[rng.below(form.size())];
        else if (kind == 1)
            s += rng.chance(50) ? separators[rng.below(separators.size())] : char('a' + rng.below(3));
        else
            s += char(1 + rng.below(255));
    }
    return s;
}

std::string word(Rng& rng, size_t max_len)
{
    static const char chars[] = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_";
    size_t len = 1 + rng.below(max_len);
    std::string s;
    for (size_t i = 0; i < len; ++i)
        s += chars[rng.below(sizeof chars - 1)];
    return s;
}

// A few random edits of a valid input.
std::string mutate(Rng& rng, std::string s)
{
    static const char* const tokens[] = {"%",  "%4", "%41", "%00", "&",    "=",      "+",         "lang=",
                                         "\r\n", "\n", "\r", "--", "\"",  "name=\"", "filename=\"", "''"};
    int edits = 1 + int(rng.below(6));
    for (int e = 0; e < edits; ++e) {
        size_t at = rng.below(s.size() + 1);
        switch (rng.below(7)) {
        case 0:  // one byte changed
            if (!s.empty())
                s[rng.below(s.size())] = char(1 + rng.below(255));
            break;
        case 1:  // a piece removed
            s.erase(at, rng.below(16));
            break;
        case 2:  // a token inserted
            s.insert(at, rng.pick(tokens));
            break;
        case 3:  // a piece repeated
            if (!s.empty()) {
                size_t from = rng.below(s.size());
                s.insert(at, s.substr(from, rng.below(64)));
            }
            break;
        case 4:  // cut short
            s.resize(at);
            break;
        case 5:  // random bytes inserted
            s.insert(at, random_text(rng, 12));
            break;
        default:  // a long run, past the line buffers
            s.insert(at, std::string(900 + rng.below(400), char('a' + rng.below(26))));
            break;
        }
    }
    return s;
}

// A urlencoded form as a browser sends it.
std::string valid_form(Rng& rng)
{
    static const char* const names[] = {"lang", "item", "act", "step", "ip", "ipaddr", "Kennwort", "KennwortRe",
                                        "remote", "remote_host", "x"};
    static const char* const values[] = {"english", "deutsch", "deutsche", "../etc", ".hidden", "a/b", "",
                                         "12",      "-1",      "99999999999", "0x10", "yes", "a+b%20c%2", "%2F"};
    std::string s;
    int pairs = int(rng.below(8));
    for (int i = 0; i < pairs; ++i) {
        if (i)
            s += '&';
        s += rng.chance(80) ? rng.pick(names) : word(rng, 12);
        s += '=';
        s += rng.chance(70) ? rng.pick(values) : random_text(rng, 20);
    }
    return s;
}

// The invariants of the request record after any parse.
void check_request(size_t lang_max)
{
    ASSERT_EQ(g_request.lang[sizeof g_request.lang - 1], '\0');
    EXPECT_LE(strlen(g_request.lang), lang_max);
    const char* lang = http_lang();
    ASSERT_NE(lang, nullptr);
    EXPECT_NE(lang[0], '\0');
    EXPECT_NE(lang[0], '.');
    EXPECT_EQ(strchr(lang, '/'), nullptr);
    for (const char* name : {"", "step", "ip", "Kennwort", "remote", "no_such_field", "x"})
        ASSERT_NE(http_var(name), nullptr) << name;
}

// A readable stream over text (kept alive by the caller).
FILE* stream_of(std::string& text)
{
    if (text.empty())
        return fopen("/dev/null", "r");
    return fmemopen(&text[0], text.size(), "r");
}

void set_or_unset(const char* name, const char* value)
{
    if (value)
        setenv(name, value, 1);
    else
        unsetenv(name);
}

std::set<std::string>* g_walk = nullptr;
int collect(const char* path, const struct stat*, int, struct FTW*)
{
    g_walk->insert(path);
    return 0;
}
int remove_entry(const char* path, const struct stat*, int, struct FTW*) { return remove(path); }

std::set<std::string> tree(const std::string& base)
{
    std::set<std::string> paths;
    g_walk = &paths;
    nftw(base.c_str(), collect, 16, FTW_PHYS);
    g_walk = nullptr;
    return paths;
}

void write_text(const std::string& path, const std::string& text)
{
    FILE* f = fopen(path.c_str(), "wb");
    ASSERT_NE(f, nullptr) << path;
    fwrite(text.data(), 1, text.size(), f);
    fclose(f);
}

size_t count_of(const std::string& hay, const std::string& needle)
{
    size_t n = 0;
    for (size_t at = hay.find(needle); at != std::string::npos; at = hay.find(needle, at + 1))
        ++n;
    return n;
}

// A fresh sandbox (GWADMIN_ROOT) and document root per test, the working
// folder inside the document root as in a request.
class ParserStress : public ::testing::Test {
protected:
    void SetUp() override
    {
        // A memory-backed folder when there is one: the run rewrites files
        // many thousand times.
        std::string parent = access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
        std::string dir = parent + "/gwadmin-stress-XXXXXX";
        ASSERT_NE(mkdtemp(&dir[0]), nullptr);
        base = dir;
        root = base + "/root";
        doc = base + "/doc";
        for (const char* d : {"/root", "/root/tmp", "/root/tmp/ulsp", "/root/tmp/upload", "/root/var",
                              "/root/var/log", "/doc", "/doc/english"})
            ASSERT_EQ(mkdir((base + d).c_str(), 0755), 0) << d;
        ASSERT_NE(getcwd(old_cwd, sizeof old_cwd), nullptr);
        ASSERT_EQ(chdir(doc.c_str()), 0);
        setenv("GWADMIN_ROOT", root.c_str(), 1);
        ASSERT_EQ(dev_init(), 0);
        for (const char* v : {"QUERY_STRING", "REQUEST_METHOD", "CONTENT_LENGTH", "CONTENT_TYPE"})
            unsetenv(v);
        memset(&g_request, 0, sizeof g_request);
    }
    void TearDown() override
    {
        http_set_input(nullptr);
        http_free();
        tmpl_free();
        if (chdir(old_cwd) != 0) {
        }
        if (!base.empty())
            nftw(base.c_str(), remove_entry, 16, FTW_DEPTH | FTW_PHYS);
    }

    // Parses once with the environment and input given; checks the record.
    void parse(std::string input, std::vector<std::string> args, size_t lang_max)
    {
        ++parses;
        FILE* in = stream_of(input);
        ASSERT_NE(in, nullptr);
        http_set_input(in);
        std::vector<char*> argv{const_cast<char*>("gwadmin")};
        for (auto& a : args)
            argv.push_back(&a[0]);
        argv.push_back(nullptr);
        int result;
        {
            Quiet quiet;
            result = http_parse(int(argv.size() - 1), argv.data());
        }
        http_set_input(nullptr);
        fclose(in);
        EXPECT_EQ(result, 0);
        check_request(lang_max);
        langs_seen += g_request.lang[0] != '\0';
        variables_seen += g_request.variables && g_request.variables->next;
        http_free();
        EXPECT_EQ(g_request.variables, nullptr);
        EXPECT_EQ(g_request.files, nullptr);
    }

    std::string base, root, doc;
    char old_cwd[4096];
    int parses = 0, langs_seen = 0, variables_seen = 0;  // how much the inputs reached
};

TEST_F(ParserStress, DecodeAndPairs)
{
    Rng rng(SEED);
    for (int round = 0; round < ROUNDS * 4; ++round) {
        std::string raw = rng.chance(50) ? mutate(rng, valid_form(rng)) : random_text(rng, 80);
        std::vector<char> text(raw.begin(), raw.end());
        text.push_back('\0');
        char* out = http_decode(text.data());
        ASSERT_EQ(out, text.data());
        // Leading blanks of the raw text and trailing blanks of the decoded
        // text go; a decoded %00 ends the text early.
        size_t len = strlen(out);
        ASSERT_LE(len, raw.size());
        size_t first = raw.find_first_not_of(" \t\n\v\f\r");
        if (len > 0 && first != std::string::npos && raw[first] != '+' && raw[first] != '%') {
            EXPECT_EQ(strchr(" \t\n\v\f\r", out[0]), nullptr) << raw;
        }
        if (len > 0 && raw.find("%00") == std::string::npos) {
            EXPECT_EQ(strchr(" \t\n\v\f\r", out[len - 1]), nullptr) << raw;
        }
    }
    // Pairs added one by one, as from the program's arguments.
    for (int round = 0; round < ROUNDS; ++round) {
        {
            Quiet quiet;
            ASSERT_EQ(http_parse(1, nullptr), 0);
            http_add_pair(nullptr);
            for (int i = int(rng.below(6)); i > 0; --i) {
                std::string piece = rng.chance(50) ? mutate(rng, valid_form(rng)) : random_text(rng, 40);
                http_add_pair(piece.c_str());
            }
        }
        check_request(6);
        http_free();
    }
}

TEST_F(ParserStress, UrlencodedRequests)
{
    Rng rng(SEED + 1);
    static const char* const methods[] = {"GET", "POST", "POSTED", "post", "", "HEAD"};
    static const char* const types[] = {"application/x-www-form-urlencoded", "text/plain", "", "multipart/form"};
    for (int round = 0; round < ROUNDS; ++round) {
        std::string query = rng.chance(60) ? mutate(rng, valid_form(rng)) : random_text(rng, 120);
        std::string body = rng.chance(60) ? mutate(rng, valid_form(rng)) : random_text(rng, 300);
        std::string length;
        switch (rng.below(7)) {
        case 0: length = std::to_string(body.size()); break;
        case 1: length = std::to_string(rng.below(body.size() + 1)); break;
        case 2: length = std::to_string(body.size() + 1 + rng.below(1000)); break;
        case 3: length = "-" + std::to_string(rng.below(100000)); break;
        case 4: length = std::to_string(16L * 1024 * 1024 + 1 + long(rng.below(1000))); break;
        case 5: length = random_text(rng, 12); break;
        default: length = std::to_string(body.size()); break;
        }
        set_or_unset("QUERY_STRING", rng.chance(85) ? query.c_str() : nullptr);
        set_or_unset("REQUEST_METHOD", rng.chance(90) ? rng.pick(methods) : nullptr);
        set_or_unset("CONTENT_LENGTH", rng.chance(90) ? length.c_str() : nullptr);
        set_or_unset("CONTENT_TYPE", rng.chance(80) ? rng.pick(types) : nullptr);
        std::vector<std::string> args;
        for (int i = int(rng.below(3)); i > 0; --i)
            args.push_back(rng.chance(50) ? valid_form(rng) : random_text(rng, 30));
        parse(body, args, 6);
        if (HasFatalFailure() || HasFailure()) {
            ADD_FAILURE() << "round " << round << " query [" << query << "] body [" << body << "]";
            return;
        }
    }
    EXPECT_GT(langs_seen, parses / 20);
    EXPECT_GT(variables_seen, parses / 4);
}

// One multipart/form-data body; file parts carry random content with pieces
// of the boundary in it.
std::string valid_multipart(Rng& rng, const std::string& boundary)
{
    static const char* const fields[] = {"lang", "item", "act", "step", "x509pwd", "cert_type", "Kennwort"};
    static const char* const files[] = {"vpnpeer.p12", "cert.pem", "a", "..", ".", "../escape", "/etc/passwd",
                                        "sub/dir",     "",         "x y", "..hidden", "....", "a\\b"};
    std::string body;
    int parts = int(rng.below(6));
    for (int i = 0; i < parts; ++i) {
        body += "--" + boundary + "\r\n";
        if (rng.chance(40)) {
            std::string name = rng.chance(70) ? rng.pick(files) : word(rng, 20);
            body += "Content-Disposition: form-data; name=\"upload" + std::to_string(i) + "\"; filename=\"" + name +
                    "\"\r\nContent-Type: application/octet-stream\r\n\r\n";
            std::string content = random_text(rng, 400);
            for (int k = int(rng.below(3)); k > 0; --k) {
                std::string piece = "\r\n--" + boundary.substr(0, rng.below(boundary.size() + 1));
                content.insert(rng.below(content.size() + 1), piece);
            }
            body += content + "\r\n";
        } else {
            std::string name = rng.chance(70) ? rng.pick(fields) : word(rng, 20);
            body += "Content-Disposition: form-data; name=\"" + name + "\"\r\n\r\n";
            body += (rng.chance(50) ? std::string(rng.chance(50) ? "deutsch" : "english") : random_text(rng, 30)) +
                    "\r\n";
        }
    }
    body += "--" + boundary + "--\r\n";
    return body;
}

TEST_F(ParserStress, MultipartRequestsWriteOnlyUploads)
{
    Rng rng(SEED + 2);
    const std::string upload = root + "/tmp/upload/";
    const std::string messages = root + "/var/log/messages";
    const std::set<std::string> before = tree(base);
    int uploads = 0, refused = 0;
    for (int round = 0; round < ROUNDS; ++round) {
        std::string boundary = "----gw" + word(rng, rng.chance(10) ? 95 : 30);
        std::string body = valid_multipart(rng, boundary);
        int mode = int(rng.below(4));
        if (mode == 1)
            body = mutate(rng, body);
        else if (mode == 2)
            body.resize(rng.below(body.size() + 1));
        else if (mode == 3 && rng.chance(30))
            body = random_text(rng, 600);
        std::string type = "multipart/form-data; boundary=" + boundary;
        setenv("CONTENT_TYPE", type.c_str(), 1);
        setenv("REQUEST_METHOD", "POST", 1);
        setenv("CONTENT_LENGTH", std::to_string(body.size()).c_str(), 1);

        // Direct call: its result is 0 or -1; the files it keeps are the
        // uploads it wrote, each with a plain name.
        {
            std::string input = body;
            FILE* in = stream_of(input);
            ASSERT_NE(in, nullptr);
            http_set_input(in);
            memset(&g_request, 0, sizeof g_request);
            g_request.variables = http_node_new("", "");
            int result;
            {
                Quiet quiet;
                result = http_parse_multipart(0, nullptr);
            }
            http_set_input(nullptr);
            fclose(in);
            EXPECT_TRUE(result == 0 || result == -1) << result;
            refused += result == -1;
            check_request(7);
            for (HListNode* f = g_request.files; f; f = f->next) {
                std::string name = f->value;
                EXPECT_TRUE(name.find('/') == std::string::npos && name != "." && name != ".." && !name.empty())
                    << name;
                struct stat st;
                EXPECT_EQ(stat((upload + name).c_str(), &st), 0) << name;
                ++uploads;
            }
            http_free();
        }
        // Through the request entry.
        parse(body, {}, 7);

        for (const std::string& path : tree(base)) {
            if (before.count(path) || path == messages)
                continue;
            bool in_upload = path.compare(0, upload.size(), upload) == 0 &&
                             path.find('/', upload.size()) == std::string::npos;
            ASSERT_TRUE(in_upload) << "round " << round << " created " << path;
            ASSERT_EQ(remove(path.c_str()), 0) << path;
        }
        if (HasFailure()) {
            ADD_FAILURE() << "round " << round << " body [" << body << "]";
            return;
        }
    }
    EXPECT_GT(uploads, ROUNDS / 10);
    EXPECT_GT(refused, ROUNDS / 20);
    EXPECT_GT(variables_seen, ROUNDS / 10);
}

// Configuration file contents: settings, comments, odd and long lines.
std::string random_config(Rng& rng, std::vector<std::string>& keys, bool short_lines)
{
    static const char* const odd[] = {"#COMMENT='x'\n", "\n", "=\n", "NOVALUE=\n", "EMPTY=''\n", "Q='\n",
                                      "A=B\n",         "'\n", "KEY='a'b'\n", "  SPACE='x'\n"};
    std::string text;
    int lines = int(rng.below(24));
    for (int i = 0; i < lines; ++i) {
        int kind = int(rng.below(10));
        if (kind < 6) {
            std::string key = keys.empty() || rng.chance(60) ? word(rng, 12) : keys[rng.below(keys.size())] + word(rng, 2);
            if (short_lines)
                key = "k" + key;  // never a prefix of the list keys ("L_N")
            keys.push_back(key);
            std::string value = rng.chance(70) ? word(rng, 20) : random_text(rng, short_lines ? 40 : 300);
            if (short_lines) {
                for (char& c : value)
                    if (c == '\n' || c == '\r')
                        c = ' ';
            }
            text += key + "='" + value + "'\n";
        } else if (kind < 8) {
            text += rng.pick(odd);
        } else if (!short_lines) {
            text += random_text(rng, 400) + "\n";
        }
    }
    if (!short_lines && rng.chance(20))
        text = mutate(rng, text);
    return text;
}

std::string random_key(Rng& rng, const std::vector<std::string>& keys)
{
    if (!keys.empty() && rng.chance(60)) {
        std::string k = keys[rng.below(keys.size())];
        if (rng.chance(30))
            k.resize(rng.below(k.size() + 1));
        else if (rng.chance(30))
            k += word(rng, 3);
        return k;
    }
    return rng.chance(10) ? std::string(60 + rng.below(20), 'K') : random_text(rng, 20);
}

TEST_F(ParserStress, ConfigurationFiles)
{
    Rng rng(SEED + 3);
    const std::string file = "stress.config";
    const std::string path = root + "/tmp/ulsp/" + file;
    const int rounds = ROUNDS / 2;
    int found = 0, listed = 0;
    for (int round = 0; round < rounds; ++round) {
        std::vector<std::string> keys;
        std::string content = random_config(rng, keys, false);
        write_text(path, content);

        for (int i = 0; i < 4; ++i) {
            std::string key = random_key(rng, keys);
            size_t size = 1 + rng.below(300);
            std::vector<char> out(size, 'Z');
            char* got;
            {
                Quiet quiet;
                got = conf_get(key.c_str(), out.data(), size, file.c_str());
            }
            ASSERT_EQ(got, out.data());
            ASSERT_LT(strnlen(out.data(), size), size) << "key [" << key << "] size " << size;
            found += out[0] != '\0';
            std::string value = conf_value(key.c_str(), file.c_str(), rng.below(300));
            EXPECT_LT(value.size(), CONF_VALUE_SIZE);
        }

        std::string key = random_key(rng, keys);
        std::string value = rng.chance(80) ? random_text(rng, 60) : std::string();
        int set;
        {
            Quiet quiet;
            set = rng.chance(20) ? conf_delete(key.c_str(), file.c_str())
                                 : conf_set(key.c_str(), value.c_str(), file.c_str());
        }
        EXPECT_EQ(set, 0) << "key [" << key << "]";
        struct stat st;
        EXPECT_EQ(stat(path.c_str(), &st), 0);
        EXPECT_NE(stat((path + ".new").c_str(), &st), 0);

        // Lists over the same file: a random count for a list name.
        std::string list_name = keys.empty() || rng.chance(50) ? word(rng, 6) : keys[rng.below(keys.size())];
        static const char* const counts[] = {"0", "1", "3", "99", "100", "150", "-4", "x", "", "2147483648"};
        std::string lists = content + list_name + "_N='" + rng.pick(counts) + "'\n";
        for (int i = 1; i < 5; ++i)
            lists += list_name + "_" + std::to_string(i) + "_field='" + word(rng, 40) + "'\n";
        write_text(path, lists);
        std::string options = "kept", list = "kept";
        size_t value_max = rng.below(60);
        int n;
        {
            Quiet quiet;
            n = conf_list_options(list_name.c_str(), "field", options, list, file.c_str(), value_max);
        }
        if (n > 0) {
            ++listed;
            EXPECT_EQ(size_t(n), list.size());
            EXPECT_LE(count_of(options, "<option>"), size_t(CONF_LIST_MAX));
            size_t word_start = 0;
            for (size_t at = list.find(' '); at != std::string::npos; at = list.find(' ', word_start)) {
                EXPECT_LE(at - word_start, value_max) << list;
                word_start = at + 1;
            }
        } else if (n == 0) {
            EXPECT_EQ(options, "kept");
            EXPECT_EQ(list, "kept");
        }
    }
    EXPECT_GT(found, rounds / 2);
    EXPECT_GT(listed, rounds / 5);
}

size_t line_count(const std::string& path)
{
    FILE* f = fopen(path.c_str(), "r");
    if (!f)
        return 0;
    size_t n = 0;
    for (int c; (c = getc(f)) != EOF;)
        n += c == '\n';
    fclose(f);
    return n;
}

TEST_F(ParserStress, ListsKeepAtMost99Entries)
{
    Rng rng(SEED + 4);
    const std::string file = "lists.config";
    const std::string path = root + "/tmp/ulsp/" + file;
    for (int round = 0; round < ROUNDS / 10; ++round) {
        std::vector<std::string> keys;
        std::string content = random_config(rng, keys, true) + "L_N='" + std::to_string(rng.below(120)) + "'\n";
        write_text(path, content);
        size_t lines_before = line_count(path);
        std::string words;
        for (int i = int(rng.below(160)); i > 0; --i)
            words += (rng.chance(90) ? word(rng, 8) : std::string()) + (rng.chance(90) ? " " : "  ");
        int result;
        {
            Quiet quiet;
            result = conf_list_store("L", "f", int(rng.below(120)) - 10, words.c_str(), file.c_str());
        }
        EXPECT_EQ(result, 0);
        EXPECT_LE(line_count(path), lines_before + CONF_LIST_MAX);
        int count;
        {
            Quiet quiet;
            count = conf_list_count("L", file.c_str());
        }
        EXPECT_GE(count, 0);
        EXPECT_LE(count, CONF_LIST_MAX);
    }
}

TEST_F(ParserStress, TemplateReplacement)
{
    Rng rng(SEED + 5);
    static const char* const marks[] = {"{A}", "{AB}", "{MESSAGE}", "{", "}", "{{", "AA", "x", "{HEADLINE}"};
    for (int round = 0; round < ROUNDS * 2; ++round) {
        std::string page;
        for (int i = int(rng.below(12)); i > 0; --i)
            page += rng.chance(50) ? std::string(rng.pick(marks)) : random_text(rng, 20);
        std::string mark = rng.chance(85) ? rng.pick(marks) : random_text(rng, 5);
        std::string text;
        for (int i = int(rng.below(4)); i > 0; --i)
            text += rng.chance(40) ? std::string(rng.pick(marks)) : random_text(rng, 10);
        if (rng.chance(10))
            text = mark + text + mark;

        tmpl_free();
        g_request.page = strdup(page.c_str());
        ASSERT_NE(g_request.page, nullptr);
        {
            Quiet quiet;
            tmpl_replace(mark.c_str(), text.c_str());
            tmpl_replace("", text.c_str());
            tmpl_replace(mark.c_str(), nullptr);
            tmpl_replace(nullptr, text.c_str());
        }
        ASSERT_NE(tmpl_page(), nullptr);
        std::string result = tmpl_page();
        if (!mark.empty() && text.find(mark) == std::string::npos) {
            EXPECT_EQ(result.find(mark), std::string::npos)
                << "page [" << page << "] mark [" << mark << "] text [" << text << "]";
        }
        if (mark.empty() || page.find(mark) == std::string::npos) {
            EXPECT_EQ(result, page);
        }
    }
    tmpl_free();
    {
        Quiet quiet;
        tmpl_replace("{A}", "x");  // no page loaded
    }
    EXPECT_EQ(tmpl_page(), nullptr);
}

TEST_F(ParserStress, MessageFiles)
{
    Rng rng(SEED + 6);
    static const char* const langs[] = {"english", "", "../", ".", "engl/sh", "deutsch", "..", "englis"};
    const std::string messages = doc + "/english/messages";
    char* out = static_cast<char*>(malloc(AUX_MESSAGE_SIZE));  // exactly the promised size
    ASSERT_NE(out, nullptr);
    int found = 0;
    for (int round = 0; round < ROUNDS; ++round) {
        std::vector<std::string> keys;
        std::string content;
        for (int i = int(rng.below(20)); i > 0; --i) {
            int kind = int(rng.below(10));
            if (kind < 6) {
                std::string key = word(rng, 14);
                keys.push_back(key);
                content += key + ":" + (rng.chance(80) ? random_text(rng, 60) : std::string(rng.below(700), 'm')) + "\n";
            } else if (kind < 8) {
                content += random_text(rng, 900) + "\n";
            } else {
                content += rng.chance(50) ? ":\n" : "::x:\n";
            }
        }
        if (rng.chance(20))
            content = mutate(rng, content);
        write_text(messages, content);

        const char* lang = rng.pick(langs);
        memset(g_request.lang, 0, sizeof g_request.lang);
        memcpy(g_request.lang, lang, strlen(lang));
        std::string key = keys.empty() || rng.chance(30) ? random_text(rng, 10) : keys[rng.below(keys.size())];
        if (rng.chance(20))
            key.resize(rng.below(key.size() + 1));
        memset(out, 'Z', AUX_MESSAGE_SIZE);
        char* got;
        {
            Quiet quiet;
            got = aux_message(key.c_str(), out);
        }
        if (strcmp(http_lang(), "english") == 0) {
            ASSERT_EQ(got, out) << "lang [" << lang << "]";
            ASSERT_LT(strnlen(out, AUX_MESSAGE_SIZE), AUX_MESSAGE_SIZE) << "key [" << key << "]";
            found += out[0] != '\0';
        } else {
            EXPECT_EQ(got, nullptr) << "lang [" << lang << "]";  // no such folder
        }
    }
    free(out);
    EXPECT_GT(found, ROUNDS / 4);
}

}  // namespace
