// The request front end: pieces, lookups, urlencoded and multipart parsing, bounds, uploads and their move.
#include <memory>
#include <set>
#include <vector>

#include "unit_support.h"

namespace fs = std::filesystem;

namespace {

const std::string D = "--XYZ", END = D + "--\r\n";  // the delimiter line of the forms below, and the last one

std::string field(const std::string& name, const std::string& value, const std::string& delim = D)
{
    return delim + "\r\nContent-Disposition: form-data; name=\"" + name + "\"\r\n\r\n" + value + "\r\n";
}
// A file part up to and including the empty line before its content.
std::string file_head(const std::string& name, const std::string& file, const std::string& delim = D)
{
    return delim + "\r\nContent-Disposition: form-data; name=\"" + name + "\"; filename=\"" + file +
           "\"\r\nContent-Type: application/octet-stream\r\n\r\n";
}
std::string http_error(const char* line, int error) { return error_page(std::string("in file http line ") + line, error); }
// "lang|item|act|name=value;...|field=file;..." with both lists newest first (the sentinel shows as "=").
std::string state()
{
    std::string s = g_request.lang + ("|" + std::to_string(g_request.item)) + "|" + std::to_string(g_request.act);
    for (const HListNode* node : {g_request.variables, g_request.files})
        for (s += "|"; node; node = node->next)
            s += std::string(node->name) + "=" + node->value + (node->next ? ";" : "");
    return s;
}
void set_env(const char* name, const char* value) { value ? setenv(name, value, 1) : unsetenv(name); }

class Http : public SandboxTest {
protected:
    void feed(const std::string& body)
    {
        body_ = body;
        in_.reset(body_.empty() ? fopen("/dev/null", "r") : fmemopen(&body_[0], body_.size(), "r"));
        http_set_input(in_.get());
    }
    // http_parse with the program arguments after the program's name; returns what went to stdout.
    std::string parse(std::vector<const char*> args)
    {
        args.insert(args.begin(), "gwadmin");
        testing::internal::CaptureStdout();
        EXPECT_EQ(http_parse(int(args.size()), const_cast<char**>(args.data())), 0);
        return testing::internal::GetCapturedStdout();
    }
    // http_parse_multipart on body after a fresh record; returns what went to stdout, its result in rc_.
    std::string multipart(const std::string& body)
    {
        http_free(), request("");
        feed(body);
        testing::internal::CaptureStdout();
        rc_ = http_parse_multipart(0, nullptr);
        return testing::internal::GetCapturedStdout();
    }

    std::string body_;
    std::unique_ptr<FILE, int (*)(FILE*)> in_{nullptr, &fclose};
    int rc_ = 0;
};

}  // namespace

TEST_F(Http, PiecesAreDecodedThenValidatedAndStored)
{
    const char* const decoded[][2] = {{"", ""}, {"  \t\r\n\v\f a+b  ", "a b"}, {"%41%4a%7e", "AJ~"}, {"%4g", "%4g"},
                                      {"50%", "50%"}, {"%2", "%2"}, {"%%41", "%A"}, {"a%00b", "a"}, {"x%20", "x"},
                                      {"%20x", " x"}, {"+x", " x"}, {"a%0Db", "a\rb"}};
    for (const auto& c : decoded) {
        std::string text = c[0];
        EXPECT_EQ(http_decode(&text[0]), &text[0]);  // in place
        EXPECT_STREQ(text.c_str(), c[1]) << "raw: " << c[0];
    }
    const std::pair<std::vector<const char*>, const char*> cases[] = {
        {{"1abc=x", "=x", "a-b=x", "abc", "", "a.b=1", "+x=1", "x%00=1", "\xc3\xa9=1", nullptr, "lang=de", "lang="},
         "|0|0|=|"},
        {{"_x=1", "a_1=", "Ab9_=v", "ip=1", "ip=2", "lang=english"}, "englis|0|0|ip=2;ip=1;Ab9_=v;a_1=;_x=1;=|"},
        {{" \tx=1", "a%3Db=c", "c=x%26y", "name=+John+Smith+", "item=-3", "act=1"},
         "|-3|1|name= John Smith;c=x&y;a=b=c;x=1;=|"},
        {{"lang=english", "lang=de"}, "de|0|0|=|"}, {{"lang%3Dit", "item=5", "item=abc"}, "it|0|0|=|"},
        {{"item=7x", "act=2", "act=4"}, "|7|4|=|"},
        {{"LANG=de", "items=2", "acts=1", "lan=x"}, "|0|0|lan=x;acts=1;items=2;LANG=de;=|"},
    };
    for (const auto& [pieces, expected] : cases) {
        http_free(), request("");
        for (const char* piece : pieces)
            http_add_pair(piece);
        EXPECT_EQ(state(), expected) << "first piece: " << pieces[0];
        EXPECT_EQ(std::string(g_request.lang, 8).find_first_not_of('\0', strlen(g_request.lang)), std::string::npos);
    }
    // http_lang() falls back to english for an empty lang or one that could leave the folder; the raw value stays.
    for (const char* lang : {"", ".hid", "en_GB", "a%2Fb"}) {
        http_add_pair(("lang=" + std::string(lang)).c_str());
        EXPECT_STREQ(http_lang(), std::string(lang) == "en_GB" ? "en_GB" : "english") << lang;
    }
    EXPECT_STREQ(g_request.lang, "a/b");
}

TEST_F(Http, LookupTakesPrefixesNewestFirstAndTheLastNodeUnchecked)
{
    EXPECT_EQ(http_var("x"), nullptr);  // no list at all
    multipart(file_head("key", "a.pem") + "\r\n" + file_head("cert", "b.pem") + "\r\n" + END);
    http_add_pair("ipaddr=1");
    http_add_pair("ip=2");
    for (auto [name, value] : {std::pair{"ip", "2"}, {"ipa", "1"}, {"ipaddr", "1"}, {"ipaddrx", ""}, {"", "2"}})
        EXPECT_STREQ(http_var(name), value) << name;
    for (auto [name, value] : {std::pair{"cert", "b.pem"}, {"c", "b.pem"}, {"key", "a.pem"}, {"other", "a.pem"}})
        EXPECT_STREQ(http_file(name), value) << name;
    EXPECT_STREQ(http_var("cert"), "");  // the lists are apart

    char page[] = "page";
    g_request.page = page;
    EXPECT_EQ(http_free(), 0);  // clears the record but not the page
    EXPECT_EQ(state(), "|0|0||");
    EXPECT_EQ(std::string(g_request.lang, sizeof g_request.lang), std::string(sizeof g_request.lang, '\0'));
    EXPECT_EQ(g_request.page, page);
    g_request.page = nullptr;

    testing::internal::CaptureStdout();  // missing texts are reported
    EXPECT_EQ(http_node_new(nullptr, "v"), nullptr);
    EXPECT_EQ(http_node_new("n", nullptr), nullptr);
    EXPECT_EQ(http_strdup(nullptr), nullptr);
    http_node_free(nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              http_error("55", EINVAL) + http_error("55", EINVAL) + http_error("105", EINVAL));
}

TEST_F(Http, UrlencodedTakesQueryThenBodyThenArgumentsUnlessTheTypeIsMultipart)
{
    // The content type chooses the parser by its prefix (the last one leaves the urlencoded parser).
    for (const char* type : {"multipart/form-data; boundary=XYZ", "multipart/form-dataX", "multipart/form-dat"}) {
        http_free();
        setenv("CONTENT_TYPE", type, 1);
        feed(field("x", "1") + D + "\r\nno name here\r\n");  // multipart stops at line 369, http_parse gives 0
        const bool multi = type[18] == 'a';
        EXPECT_EQ(parse({"item=27", "act=5"}), multi ? http_error("369", EINVAL) : "") << type;
        EXPECT_EQ(state(), multi ? "|0|0|x=1;=|" : "|27|5|=|") << type;
    }
    const struct { const char *query, *method, *length, *body; std::vector<const char*> args; const char* state; }
        cases[] = {
        {"item=24&lang=de&step=2", "GET", nullptr, "", {}, "de|24|0|step=2;=|"},
        {"&&a=1&&b=2&", nullptr, nullptr, "", {}, "|0|0|b=2;a=1;=|"},
        {nullptr, "POST", "3", "a=1&b=2", {}, "|0|0|a=1;=|"},
        {nullptr, "POST", "100", "a=1&b=2", {}, "|0|0|b=2;a=1;=|"},  // short body
        {nullptr, "POST", nullptr, "a=1", {}, "|0|0|=|"}, {nullptr, "POST", "-5", "a=1", {}, "|0|0|=|"},
        {nullptr, "GET", "3", "a=1", {}, "|0|0|=|"}, {nullptr, "POSTED", "3", "a=1", {}, "|0|0|a=1;=|"},
        {nullptr, "POST", "262144", "a=1", {"x=1"}, "|0|0|x=1;a=1;=|"},  // 256 KiB: the most a form may bring
        {"v=q&item=1&lang=qq&act=1", "POST", "18", "v=b&item=2&lang=bb", {"v=a", "item=3", "lang=a%41", "bad-arg"},
         "aA|3|1|v=a;v=b;v=q;=|"},
    };
    for (const auto& c : cases) {
        http_free();
        set_env("QUERY_STRING", c.query);
        set_env("REQUEST_METHOD", c.method);
        set_env("CONTENT_LENGTH", c.length);
        feed(c.body);
        EXPECT_EQ(parse(c.args), "");
        EXPECT_EQ(state(), c.state) << (c.query ? c.query : "-") << " / " << c.body;
    }
}

// Past a bound of its query string or body a request is refused whole, as an allocation failure, and what it
// brought is dropped. (A query string of megabytes only an in-process caller can pass.)
TEST_F(Http, RequestsPastTheirBoundsAreRefusedWhole)
{
    std::string vars, fields, uploads;  // 1,000 of each, 8 uploads
    for (int i = 0; i < 1000; ++i)
        vars += "v" + std::to_string(i) + "=x&", fields += field("v" + std::to_string(i), "x");
    for (int i = 0; i < 8; ++i)
        uploads += file_head("f", "up" + std::to_string(i)) + "x\r\n";
    const std::string form = field("item", "41") + field("act", "1") + END, refused = http_error("258", ENOMEM);
    std::string query = vars + "item=47&act=1&";  // 64 KiB, the longest
    query += std::string(64 * 1024 - query.size(), '&');
    const struct { bool multi; std::string length, body; std::vector<const char*> args; std::string out, kept, query = ""; }
        cases[] = {
        {false, "", "", {}, "", "47|1|1000|0", query}, {false, "", "", {}, refused, "0|0|0|0", query + "&"},
        {false, "", "", {}, refused, "0|0|0|0", vars + "v=1&item=47"},
        {false, "", "", {}, refused, "0|0|0|0", "item=47&" + std::string(4 << 20, '&')},
        {false, "", vars + "item=47", {}, "", "47|0|1000|0"}, {false, "", vars + "v=1&item=47", {}, refused, "0|0|0|0"},
        {false, "", vars + "item=47", {"w=1"}, refused, "0|0|0|0"},  // the last from the arguments
        {false, "x7", "item=41", {}, "", "0|0|0|0"},
        {false, "262145", "a=1", {"x=1"}, refused, "0|0|0|0", "q=1&item=24&act=1"},  // the query's variables go too
        {true, "", fields + field("item", "47") + END, {}, "", "47|0|1000|0"},
        {true, "", fields + field("v", "1") + field("item", "47") + END, {}, refused, "0|0|0|0"},
        {true, "", uploads + field("item", "47") + END, {}, "", "47|0|0|8"},
        {true, "", uploads + file_head("f", "up8") + "x\r\n" + field("item", "47") + END, {}, refused, "0|0|0|0"},
        {true, std::to_string(1LL << 40), form, {}, refused, "0|0|0|0"},  // refused unread
        {true, std::to_string((16 << 20) + 1), form, {}, refused, "0|0|0|0"},  // 16 MiB at most
        {true, std::to_string(16 << 20), form, {}, "", "41|1|0|0"},
        {true, std::to_string(form.find(D, 4)), form, {}, "", "41|0|0|0"}, {true, "9999", form, {}, "", "41|1|0|0"},
        {true, "x", form, {}, http_error("297", EMSGSIZE), "0|0|0|0"},
    };
    for (const auto& c : cases) {
        http_free();
        setenv("QUERY_STRING", c.query.c_str(), 1);
        setenv("CONTENT_LENGTH", (c.length.empty() ? std::to_string(c.body.size()) : c.length).c_str(), 1);
        setenv("REQUEST_METHOD", "POST", 1);
        feed(c.body);
        EXPECT_EQ(c.multi ? multipart(c.body) : parse(c.args), c.out) << c.body.substr(0, 80);
        size_t count[2] = {};
        for (const HListNode* node = g_request.variables; node && node->next; node = node->next)
            ++count[0];
        for (int i = 0; i < 9; ++i)
            count[1] += fs::exists(root_ + "/tmp/upload/up" + std::to_string(i));
        EXPECT_EQ(std::to_string(g_request.item) + "|" + std::to_string(g_request.act) + "|" + std::to_string(count[0]) +
                  "|" + std::to_string(count[1]), c.kept) << c.body.substr(0, 80);
        for (int i = 0; i < 9; ++i)
            fs::remove(root_ + "/tmp/upload/up" + std::to_string(i));
    }
}

TEST_F(Http, MultipartFormsAndUploads)
{
    fs::create_directories(root_ + "/tmp/upload/sub");
    const std::string b96 = "--" + std::string(93, 'b') + "c";  // with CR LF exactly 98 characters
    const std::string rest = "abc\r\n" + field("z", "1", "--XX") + "--XX--\r\n", f = file_head("f", "u.bin");
    static const char raw[] = "bin\0ary\r\n-\r\n--X\r\n--\xff--XZ end";
    const std::string small(raw, sizeof raw - 1), old(500, 'o');
    std::string large(100000, '\0');  // all bytes below 251, never two dashes in a row
    for (size_t i = 0; i < large.size(); ++i)
        large[i] = char(i * 138 % 251);
    // stored: the upload u.bin afterwards; when empty, the old file must be left alone.
    const struct { std::string body; int rc; const char* state; std::string out, stored = ""; } cases[] = {
        // The first lang/item/act win, repeats are variables.
        {field("lang", "englishX") + field("item", "7x") + field("act", "1") + field("lang", "fr") +
             field("item", "9") + field("act", "2") + field("note", "") + END,
         0, "english|7|1|note=;act=2;item=9;lang=fr;=|", ""},
        // Uploads are copied byte for byte over any old file, with the CR LF ahead of the delimiter.
        {field("lang", "de") + f + small + "\r\n" + file_head("cert", "..b.bin") + large + "\r\n" + field("x", "1") + END,
         0, "de|0|0|x=1;=|cert=..b.bin;f=u.bin", "", small + "\r\n"},
        // A value keeps its first line only, the rest is read as headers.
        {field("msg", "line1\r\nline2") + field("x", "1") + END, -1, "|0|0|msg=line1;=|", http_error("369", EINVAL)},
        // An empty file name skips the part and loses the later fields.
        {field("a", "1") + file_head("f", "") + "\r\n" + field("b", "2") + END, -1, "|0|0|a=1;=|",
         http_error("369", EINVAL)},
        // filename= ahead of name= names the field from inside it.
        {D + "\r\nContent-Disposition: form-data; filename=\"u.bin\"; name=\"f\"\r\nContent-Type: x\r\n\r\nhi\r\n" + END,
         0, "|0|0|=|u.bin=u.bin", "", "hi\r\n"},
        // A delimiter line of 98 characters fits; a longer one is reported and its rest read as a header.
        {field("x", "1", b96) + file_head("f", "u.bin", b96) + "data\r\n" + b96 + "--\r\n", 0, "|0|0|x=1;=|f=u.bin", "",
         "data\r\n"},
        {field("x", "1", "--" + std::string(95, 'b')), -1, "|0|0|=|", http_error("301", EMSGSIZE) + http_error("369", EINVAL)},
        // A header line of 1022 characters fits; a longer one is reported and parsing goes on.
        {D + "\r\nContent-Disposition: form-data; name=\"big\"; pad=\"" + std::string(970, 'p') + "\"\r\n\r\nv\r\n",
         0, "|0|0|big=v;=|", ""},
        {D + "\r\nContent-Disposition: form-data; name=\"big\"; pad=\"" + std::string(971, 'p') + "\"\r\n\r\nv\r\n",
         0, "|0|0|big=;=|", http_error("309", EMSGSIZE)},
        {"", 0, "|0|0|=|", http_error("297", EMSGSIZE)},
        // An upload ends at the end of input or at the first text like the delimiter but for its last character;
        // a delimiter ending in a doubled character never matches.
        {f + "hi", 0, "|0|0|=|f=u.bin", "", "hi"},  // shorter than the delimiter
        {f + "ab" + field("x", "1", "--XYQ") + END, 0, "|0|0|x=1;=|f=u.bin", "", "ab"},
        {file_head("f", "u.bin", "--XX") + rest, 0, "|0|0|=|f=u.bin", "", rest},
        // A name leaving the folder is refused like a failed open, and parsing stops.
        {file_head("f", "../evil") + "x\r\n" + field("b", "2") + END, -1, "|0|0|=|", http_error("339", EACCES)},
        {file_head("f", "..") + "x\r\n" + END, -1, "|0|0|=|", http_error("339", EACCES)},
        {file_head("f", ".") + "x\r\n" + END, -1, "|0|0|=|", http_error("339", EACCES)},
        {file_head("f", "sub/x") + "x\r\n" + END, -1, "|0|0|=|", http_error("339", EACCES)},
    };
    for (const auto& c : cases) {
        spit(root_ + "/tmp/upload/u.bin", old);
        EXPECT_EQ(multipart(c.body), c.out) << c.body;
        EXPECT_EQ(rc_, c.rc) << c.body;
        EXPECT_EQ(state(), c.state) << c.body;
        EXPECT_EQ(slurp(root_ + "/tmp/upload/u.bin"), c.stored.empty() ? old : c.stored) << c.body;
    }
    EXPECT_EQ(slurp(root_ + "/tmp/upload/..b.bin"), large + "\r\n");
    std::set<std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(root_ + "/tmp"))
        found.insert(entry.path().string().substr(root_.size()));
    EXPECT_EQ(found, (std::set<std::string>{"/tmp/ulsp", "/tmp/upload", "/tmp/upload/sub", "/tmp/upload/u.bin",
                                            "/tmp/upload/..b.bin"}));
    fs::remove_all(root_ + "/tmp/upload");  // an open that fails reports its own reason
    EXPECT_EQ(multipart(f + "x\r\n" + END), http_error("339", ENOENT));
    EXPECT_EQ(rc_, -1);
}
