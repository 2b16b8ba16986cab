// The request front end: decoding and storing pieces, the lookups, the
// urlencoded and multipart parsers, uploads, the move of an upload and the
// debug dumps. Everything runs in-process against a fresh sandbox root.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "cgi/http.h"
#include "device/device.h"

namespace fs = std::filesystem;
using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

namespace {

const char* const kCgiVars[] = {"QUERY_STRING", "REQUEST_METHOD", "CONTENT_LENGTH", "CONTENT_TYPE",
                                "HTTP_CONTENT_LENGTH"};
const std::string D = "--XYZ";  // the delimiter line of the forms below, without CR LF

std::string field(const std::string& name, const std::string& value, const std::string& delim = D)
{
    return delim + "\r\nContent-Disposition: form-data; name=\"" + name + "\"\r\n\r\n" + value + "\r\n";
}

// A file part up to and including the empty line before its content.
std::string upload_head(const std::string& name, const std::string& file, const std::string& delim = D)
{
    return delim + "\r\nContent-Disposition: form-data; name=\"" + name + "\"; filename=\"" + file +
           "\"\r\nContent-Type: application/octet-stream\r\n\r\n";
}

std::string upload(const std::string& name, const std::string& file, const std::string& content,
                   const std::string& delim = D)
{
    return upload_head(name, file, delim) + content + "\r\n";
}

std::string closing(const std::string& delim = D) { return delim + "--\r\n"; }

std::string error_page(const char* line, int error)
{
    return std::string("<html><head></head><body>Error <b>in file http line ") + line + "</b>: <b>" +
           strerror(error) + "</b> <br>Please contact the customer support. </body></html>";
}

std::string slurp(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string list_text(const HListNode* node, char sep)
{
    std::string out;
    for (; node; node = node->next)
        out += std::string(node->name) + sep + node->value + (node->next ? ";" : "");
    return out;
}

// "lang|item|act|name=value;..." with the variables newest first (the sentinel shows as "=").
std::string state()
{
    return std::string(g_request.lang) + "|" + std::to_string(g_request.item) + "|" +
           std::to_string(g_request.act) + "|" + list_text(g_request.variables, '=');
}
std::string files() { return list_text(g_request.files, ':'); }

void add_file(const char* field_name, const char* file_name)
{
    HListNode* node = http_node_new(field_name, file_name);
    ASSERT_NE(node, nullptr);
    node->next = g_request.files;
    g_request.files = node;
}

class Http : public ::testing::Test {
protected:
    void SetUp() override
    {
        char dir[] = "/tmp/gwhttp-XXXXXX";
        ASSERT_NE(mkdtemp(dir), nullptr);
        root_ = dir;
        fs::create_directories(root_ + "/tmp/upload");
        setenv("GWADMIN_ROOT", root_.c_str(), 1);
        ASSERT_EQ(dev_init(), 0);
        for (const char* name : kCgiVars)
            unsetenv(name);
        http_free();
    }
    void TearDown() override
    {
        http_set_input(nullptr);
        if (in_)
            fclose(in_);
        http_free();
        for (const char* name : kCgiVars)
            unsetenv(name);
        fs::remove_all(root_);
    }

    // The request body the parsers read.
    void feed(const std::string& body)
    {
        http_set_input(nullptr);
        if (in_)
            fclose(in_);
        body_ = body;
        in_ = body_.empty() ? fopen("/dev/null", "r") : fmemopen(&body_[0], body_.size(), "r");
        ASSERT_NE(in_, nullptr);
        http_set_input(in_);
    }
    // An empty request: the record holds the sentinel only.
    void fresh()
    {
        http_free();
        for (const char* name : kCgiVars)
            unsetenv(name);
        ASSERT_EQ(http_parse(0, nullptr), 0);
    }
    // http_parse with the program arguments after the program's name; returns what went to stdout.
    std::string parse(std::vector<std::string> args)
    {
        std::vector<char*> argv{const_cast<char*>("gwadmin")};
        for (std::string& a : args)
            argv.push_back(&a[0]);
        CaptureStdout();
        EXPECT_EQ(http_parse(int(argv.size()), argv.data()), 0);
        return GetCapturedStdout();
    }
    // http_parse_multipart on body after a fresh record; returns its result, stdout in *out.
    int multipart(const std::string& body, std::string* out)
    {
        fresh();
        feed(body);
        CaptureStdout();
        int rc = http_parse_multipart(0, nullptr);
        *out = GetCapturedStdout();
        return rc;
    }
    std::string uploaded(const std::string& name) { return slurp(root_ + "/tmp/upload/" + name); }
    std::string records() { return slurp(root_ + "/var/log/messages"); }

    std::string root_, body_;
    FILE* in_ = nullptr;
};

void set_env(const char* name, const char* value) { value ? setenv(name, value, 1) : unsetenv(name); }

}  // namespace

TEST_F(Http, DecodeWorksInPlace)
{
    const struct {
        const char* raw;
        const char* decoded;
    } cases[] = {
        {"", ""},          {"  \t\r\n\v\f a+b  ", "a b"}, {"%41%42", "AB"}, {"%4a%4A%7e", "JJ~"},
        {"%4g", "%4g"},    {"50%", "50%"},                {"%2", "%2"},     {"%%41", "%A"},
        {"a%00b", "a"},    {"x%20", "x"},                 {"x+", "x"},      {"%20x", " x"},
        {"+x", " x"},      {"a%0Db", "a\rb"},
    };
    for (const auto& c : cases) {
        char buf[64];
        snprintf(buf, sizeof buf, "%s", c.raw);
        EXPECT_EQ(http_decode(buf), buf);
        EXPECT_STREQ(buf, c.decoded) << "raw: " << c.raw;
    }
}

TEST_F(Http, PiecesAreDecodedThenValidatedAndStored)
{
    const struct {
        std::vector<const char*> pieces;
        const char* state;
    } cases[] = {
        {{"1abc=x", "=x", "a-b=x", "abc", "", "a.b=1", "+x=1", "%20x=1", "x%00=1", "\xc3\xa9=1"}, "|0|0|="},
        {{"_x=1", "a_1=", "Ab9_=v"}, "|0|0|Ab9_=v;a_1=;_x=1;="},
        {{" \tx=1"}, "|0|0|x=1;="},
        {{"a=b%3Dc"}, "|0|0|a=b=c;="},
        {{"a%3Db=c"}, "|0|0|a=b=c;="},
        {{"a=b=c", "c=x%26y"}, "|0|0|c=x&y;a=b=c;="},
        {{"name=+John+Smith+"}, "|0|0|name= John Smith;="},
        {{"x=50%", "y=%4g", "z=%41%42", "w=a%00b"}, "|0|0|w=a;z=AB;y=%4g;x=50%;="},
        {{"ip=1", "ip=2"}, "|0|0|ip=2;ip=1;="},
        {{"lang=english"}, "englis|0|0|="},
        {{"lang=de", "lang=fr"}, "fr|0|0|="},
        {{"lang=english", "lang=de"}, "de|0|0|="},
        {{"lang=de", "lang="}, "|0|0|="},
        {{"lang%3Dit"}, "it|0|0|="},
        {{"item=7x"}, "|7|0|="},
        {{"item=abc"}, "|0|0|="},
        {{"item=5", "item=abc"}, "|0|0|="},
        {{"item=-3", "act=1"}, "|-3|1|="},
        {{"item=+5", "act=2", "act=4"}, "|5|4|="},
        {{"LANG=de", "items=2", "acts=1", "lan=x"}, "|0|0|lan=x;acts=1;items=2;LANG=de;="},
    };
    for (const auto& c : cases) {
        fresh();
        for (const char* piece : c.pieces)
            http_add_pair(piece);
        EXPECT_EQ(state(), c.state) << "first piece: " << c.pieces[0];
        for (size_t i = strlen(g_request.lang); i < sizeof g_request.lang; ++i)
            EXPECT_EQ(g_request.lang[i], '\0') << "first piece: " << c.pieces[0];
    }
    fresh();
    http_add_pair(nullptr);
    EXPECT_EQ(state(), "|0|0|=");
}

TEST_F(Http, LangFallsBackToEnglishButKeepsTheRawValue)
{
    const char* const cases[][3] = {{"lang=de", "de", "de"},          {"lang=", "", "english"},
                                    {"lang=..%2Fx", "../x", "english"}, {"lang=.hid", ".hid", "english"},
                                    {"lang=a%2Fb", "a/b", "english"},   {"lang=en_GB", "en_GB", "en_GB"}};
    for (const auto& c : cases) {
        fresh();
        http_add_pair(c[0]);
        EXPECT_STREQ(g_request.lang, c[1]);
        EXPECT_STREQ(http_lang(), c[2]) << c[0];
    }
}

TEST_F(Http, LookupTakesPrefixesNewestFirstAndTheLastNodeUnchecked)
{
    EXPECT_EQ(http_var("x"), nullptr);  // no list at all
    fresh();
    http_add_pair("ipaddr=1");
    http_add_pair("ip=2");
    EXPECT_STREQ(http_var("ip"), "2");
    EXPECT_STREQ(http_var("ipa"), "1");
    EXPECT_STREQ(http_var("ipaddr"), "1");
    EXPECT_STREQ(http_var("ipaddrx"), "");
    EXPECT_STREQ(http_var("never"), "");
    EXPECT_STREQ(http_var(""), "2");
    EXPECT_EQ(http_lookup("ip", 0), nullptr);
    EXPECT_EQ(http_lookup("ip", 3), nullptr);

    EXPECT_EQ(http_file("cert"), nullptr);
    add_file("key", "a.pem");
    EXPECT_STREQ(http_file("cert"), "a.pem");
    EXPECT_STREQ(http_lookup("cert", 2), "a.pem");
    add_file("cert", "b.pem");
    EXPECT_STREQ(http_file("cert"), "b.pem");
    EXPECT_STREQ(http_file("c"), "b.pem");
    EXPECT_STREQ(http_file(""), "b.pem");
    EXPECT_STREQ(http_file("key"), "a.pem");
    EXPECT_STREQ(http_file("other"), "a.pem");
    EXPECT_STREQ(http_var("cert"), "");  // the lists are apart
}

TEST_F(Http, FreeClearsTheRecordButNotThePage)
{
    fresh();
    for (const char* piece : {"lang=de", "item=3", "act=1", "x=y"})
        http_add_pair(piece);
    add_file("f", "a.pem");
    char page[] = "page";
    g_request.page = page;
    EXPECT_EQ(http_free(), 0);
    EXPECT_EQ(g_request.variables, nullptr);
    EXPECT_EQ(g_request.files, nullptr);
    EXPECT_EQ(std::string(g_request.lang, sizeof g_request.lang), std::string(sizeof g_request.lang, '\0'));
    EXPECT_EQ(g_request.item, 0);
    EXPECT_EQ(g_request.act, 0);
    EXPECT_EQ(g_request.page, page);
    g_request.page = nullptr;
    EXPECT_EQ(http_var("x"), nullptr);
}

TEST_F(Http, MissingTextsAreReported)
{
    CaptureStdout();
    EXPECT_EQ(http_node_new(nullptr, "v"), nullptr);
    EXPECT_EQ(http_node_new("n", nullptr), nullptr);
    EXPECT_EQ(http_strdup(nullptr), nullptr);
    http_node_free(nullptr);
    EXPECT_EQ(GetCapturedStdout(), error_page("55", EINVAL) + error_page("55", EINVAL) + error_page("105", EINVAL));
    EXPECT_EQ(records(), "3 Error in file http line 55: Invalid argument\n"
                         "3 Error in file http line 55: Invalid argument\n"
                         "3 Error in file http line 105: Invalid argument\n");
}

TEST_F(Http, UrlencodedTakesQueryThenBodyThenArguments)
{
    const struct {
        const char* query;
        const char* method;
        const char* length;
        const char* body;
        std::vector<std::string> args;
        const char* state;
    } cases[] = {
        {"item=24&lang=de&step=2", "GET", nullptr, "", {}, "de|24|0|step=2;="},
        {"&&a=1&&b=2&", nullptr, nullptr, "", {}, "|0|0|b=2;a=1;="},
        {nullptr, "POST", "7", "a=1&b=2", {}, "|0|0|b=2;a=1;="},
        {nullptr, "POST", "3", "a=1&b=2", {}, "|0|0|a=1;="},
        {nullptr, "POST", "100", "a=1&b=2", {}, "|0|0|b=2;a=1;="},  // short body
        {nullptr, "POST", nullptr, "a=1", {}, "|0|0|="},
        {nullptr, "POST", "-5", "a=1", {}, "|0|0|="},
        {nullptr, "GET", "3", "a=1", {}, "|0|0|="},
        {nullptr, "POSTED", "3", "a=1", {}, "|0|0|a=1;="},
        {"v=q&item=1&lang=qq&act=1", "POST", "18", "v=b&item=2&lang=bb", {}, "bb|2|1|v=b;v=q;="},
        {"v=q&item=1&lang=qq&act=1", "POST", "18", "v=b&item=2&lang=bb", {"v=a", "item=3", "lang=aa", "bad-arg"},
         "aa|3|1|v=a;v=b;v=q;="},
        {nullptr, nullptr, nullptr, "", {"x=1", "y=%41"}, "|0|0|y=A;x=1;="},
    };
    for (const auto& c : cases) {
        http_free();
        set_env("QUERY_STRING", c.query);
        set_env("REQUEST_METHOD", c.method);
        set_env("CONTENT_LENGTH", c.length);
        feed(c.body);
        EXPECT_EQ(parse(c.args), "");
        EXPECT_EQ(state(), c.state) << (c.query ? c.query : "-") << " / " << c.body;
        EXPECT_EQ(files(), "");
    }
}

TEST_F(Http, OversizedBodyIsRefusedAndStopsTheParse)
{
    setenv("QUERY_STRING", "q=1", 1);
    setenv("REQUEST_METHOD", "POST", 1);
    setenv("CONTENT_LENGTH", "16777217", 1);
    feed("a=1");
    EXPECT_EQ(parse({"x=1"}), error_page("258", ENOMEM));
    EXPECT_EQ(state(), "|0|0|q=1;=");
    EXPECT_EQ(records(), "3 Error in file http line 258: " + std::string(strerror(ENOMEM)) + "\n");

    http_free();
    setenv("CONTENT_LENGTH", "16777216", 1);
    feed("a=1");
    EXPECT_EQ(parse({"x=1"}), "");
    EXPECT_EQ(state(), "|0|0|x=1;a=1;q=1;=");
}

TEST_F(Http, ContentTypeChoosesTheParser)
{
    const struct {
        const char* type;
        const char* state;
    } cases[] = {
        {"multipart/form-data; boundary=XYZ", "|0|0|x=1;="},
        {"multipart/form-dataX", "|0|0|x=1;="},
        {"multipart/form-dat", "|27|5|="},
        {nullptr, "|27|5|="},
    };
    for (const auto& c : cases) {
        http_free();
        set_env("CONTENT_TYPE", c.type);
        setenv("QUERY_STRING", "item=27", 1);
        setenv("REQUEST_METHOD", "POST", 1);
        setenv("CONTENT_LENGTH", "0", 1);
        // The multipart parser stops at line 369; http_parse still returns 0.
        feed(field("x", "1") + D + "\r\nno name here\r\n");
        std::string out = parse({"act=5"});
        EXPECT_EQ(state(), c.state) << (c.type ? c.type : "unset");
        EXPECT_EQ(out, c.type && strncmp(c.type, "multipart/form-data", 19) == 0 ? error_page("369", EINVAL) : "")
            << (c.type ? c.type : "unset");
    }
}

TEST_F(Http, MultipartForms)
{
    const std::string b96 = "--" + std::string(93, 'b') + "c";  // with CR LF exactly 98 characters
    const std::string long_header =
        D + "\r\nContent-Disposition: form-data; name=\"big\"; pad=\"" + std::string(1000, 'p') + "\"\r\n\r\nv\r\n";
    const struct {
        const char* what;
        std::string body;
        int rc;
        const char* state;
        const char* files;
        std::string out;
    } cases[] = {
        {"first lang/item/act win, repeats are variables",
         field("lang", "englishX") + field("item", "7x") + field("act", "1") + field("lang", "fr") +
             field("item", "9") + field("act", "2") + field("note", "") + closing(),
         0, "english|7|1|note=;act=2;item=9;lang=fr;=", "", ""},
        {"a value keeps its first line only, the rest is read as headers",
         field("msg", "line1\r\nline2") + field("x", "1") + closing(), -1, "|0|0|msg=line1;=", "",
         error_page("369", EINVAL)},
        {"an empty file field loses the later fields",
         field("a", "1") + upload("f", "", "") + field("b", "2") + closing(), -1, "|0|0|a=1;=", "",
         error_page("369", EINVAL)},
        {"filename= ahead of name= names the field from inside it",
         D + "\r\nContent-Disposition: form-data; filename=\"a.txt\"; name=\"f\"\r\nContent-Type: x\r\n\r\nhi\r\n" +
             closing(),
         0, "|0|0|=", "a.txt:a.txt", ""},
        {"a delimiter line of 98 characters fits",
         field("x", "1", b96) + upload("f", "long.bin", "data", b96) + closing(b96), 0, "|0|0|x=1;=",
         "f:long.bin", ""},
        {"a longer delimiter line is reported, its rest is a header",
         field("x", "1", "--" + std::string(95, 'b')), -1, "|0|0|=", "",
         error_page("301", EMSGSIZE) + error_page("369", EINVAL)},
        {"an over-long header line is reported and parsing goes on", long_header, 0, "|0|0|big=;=", "",
         error_page("309", EMSGSIZE)},
        {"no input at all", "", 0, "|0|0|=", "", error_page("297", EMSGSIZE)},
        {"the delimiter line only", D + "\r\n", 0, "|0|0|=", "", ""},
    };
    for (const auto& c : cases) {
        std::string out;
        EXPECT_EQ(multipart(c.body, &out), c.rc) << c.what;
        EXPECT_EQ(state(), c.state) << c.what;
        EXPECT_EQ(files(), c.files) << c.what;
        EXPECT_EQ(out, c.out) << c.what;
    }
    EXPECT_EQ(uploaded("a.txt"), "hi\r\n");
    EXPECT_EQ(uploaded("long.bin"), "data\r\n");
}

TEST_F(Http, UploadsAreStreamedWithTrailingCrLf)
{
    static const char raw[] = "bin\0ary\r\n-\r\n--X\r\n--\xff--XZ end";
    const std::string small(raw, sizeof raw - 1);
    std::string large;
    unsigned seed = 12345;
    for (int i = 0; i < 100000; ++i) {
        seed = seed * 1103515245u + 12345u;
        char c = char(seed >> 16);
        large += c == '-' ? '+' : c;
    }
    std::ofstream(root_ + "/tmp/upload/a.pem") << std::string(500, 'o');  // truncated by the upload
    std::string out;
    EXPECT_EQ(multipart(field("lang", "de") + upload("key", "a.pem", small) + upload("cert", "..b.bin", large) +
                            field("x", "1") + closing(),
                        &out),
              0);
    EXPECT_EQ(out, "");
    EXPECT_EQ(state(), "de|0|0|x=1;=");
    EXPECT_EQ(files(), "cert:..b.bin;key:a.pem");
    EXPECT_EQ(uploaded("a.pem"), small + "\r\n");
    EXPECT_EQ(uploaded("..b.bin"), large + "\r\n");
    EXPECT_STREQ(http_file("cert"), "..b.bin");
    EXPECT_STREQ(http_file("key"), "a.pem");
}

TEST_F(Http, UploadRunsToTheEndOfInputWithoutAMatchingBoundary)
{
    const std::string rest = "abc\r\n" + field("z", "1", "--XX") + closing("--XX");
    const struct {
        std::string body;
        std::string stored;
    } cases[] = {
        {upload_head("f", "u.bin") + "hello world", "hello world"},
        {upload_head("f", "u.bin") + "hi", "hi"},  // shorter than the ring
        {upload_head("f", "u.bin", "--XX") + rest, rest},  // the boundary never matches
    };
    for (const auto& c : cases) {
        std::string out;
        EXPECT_EQ(multipart(c.body, &out), 0);
        EXPECT_EQ(out, "");
        EXPECT_EQ(state(), "|0|0|=");
        EXPECT_EQ(files(), "f:u.bin");
        EXPECT_EQ(uploaded("u.bin"), c.stored);
    }
}

TEST_F(Http, UploadNamesLeavingTheFolderAreRefused)
{
    fs::create_directories(root_ + "/tmp/upload/sub");
    std::string expected_records;
    for (const char* name : {"../evil", "..", ".", "sub/x", "/abs"}) {
        std::string out;
        EXPECT_EQ(multipart(field("a", "1") + upload("f", name, "x") + field("b", "2") + closing(), &out), -1);
        EXPECT_EQ(out, error_page("339", EACCES)) << name;
        EXPECT_EQ(state(), "|0|0|a=1;=") << name;
        EXPECT_EQ(files(), "") << name;
        expected_records += "3 Error in file http line 339: " + std::string(strerror(EACCES)) + "\n";
    }
    EXPECT_EQ(records(), expected_records);
    std::set<std::string> found;
    for (const auto& entry : fs::recursive_directory_iterator(root_))
        found.insert(entry.path().string().substr(root_.size()));
    EXPECT_EQ(found, (std::set<std::string>{"/tmp", "/tmp/upload", "/tmp/upload/sub", "/var", "/var/log",
                                            "/var/log/messages"}));

    fs::remove_all(root_ + "/tmp/upload");  // an open that fails reports its own reason
    std::string out;
    EXPECT_EQ(multipart(upload("f", "a.pem", "x") + closing(), &out), -1);
    EXPECT_EQ(out, error_page("339", ENOENT));
}

TEST(HttpRing, CompareIgnoresTheNewestByte)
{
    const struct {
        const char* bytes;
        int position;
        const char* text;
        int result;
    } cases[] = {
        {"--XYZ", 0, "--XYZ", 0},  {"--XYQ", 0, "--XYZ", 0}, {"--XQZ", 0, "--XYZ", 1}, {"Q-XYZ", 0, "--XYZ", 1},
        {"YZ--X", 2, "--XYZ", 0},  {"Q--XY", 1, "--XYZ", 0}, {"Y--XQ", 1, "--XYZ", 1}, {"--XX", 0, "--XX", 1},
        {"--XY", 0, "--XYZ", -1},  {"--XYZW", 0, "--XYZ", 1},
    };
    for (const auto& c : cases) {
        std::string bytes = c.bytes;
        FILE* in = fmemopen(&bytes[0], bytes.size(), "r");
        ASSERT_NE(in, nullptr);
        RingBuffer ring{};
        int32_t filled = -1;
        ASSERT_EQ(ring_init(&ring, int32_t(bytes.size()), in, &filled), 0);
        fclose(in);
        EXPECT_EQ(filled, int32_t(bytes.size()));
        ring.position = c.position;
        EXPECT_EQ(ring_compare(&ring, c.text), c.result) << c.bytes << " at " << c.position << " vs " << c.text;
        ring_free(&ring);
    }
}

TEST(HttpRing, PutGetAndShortFill)
{
    char text[] = "ab";
    FILE* in = fmemopen(text, 2, "r");
    ASSERT_NE(in, nullptr);
    RingBuffer ring{};
    int32_t filled = -1;
    ASSERT_EQ(ring_init(&ring, 3, in, &filled), 0);
    fclose(in);
    EXPECT_EQ(filled, 2);
    EXPECT_EQ(ring_get(&ring), 'a');
    ring.position = 2;
    ring_put(&ring, 'z');  // stores at the position and wraps
    EXPECT_EQ(std::string(reinterpret_cast<char*>(ring.bytes), 3), std::string("abz"));
    ring_put(&ring, 'y');
    EXPECT_EQ(ring.position, 1);
    EXPECT_EQ(ring_get(&ring), 'b');
    ring_free(&ring);
    EXPECT_EQ(ring.bytes, nullptr);
}

TEST_F(Http, MoveUploadRunsThePrivilegedMove)
{
    testing::internal::CaptureStderr();
    EXPECT_EQ(http_move_upload("a.p12", "/tmp/certs/", "b.p12"), 0);  // no stand-in tools yet

    // Stand-ins: sudo runs its arguments, mv is the real one.
    fs::create_directories(root_ + "/usr/bin");
    fs::create_directories(root_ + "/bin");
    fs::create_directories(root_ + "/tmp/certs");
    std::ofstream(root_ + "/usr/bin/sudo") << "#!/bin/sh\nexec \"$@\"\n";
    chmod((root_ + "/usr/bin/sudo").c_str(), 0755);
    fs::create_symlink("/bin/mv", root_ + "/bin/mv");
    std::ofstream(root_ + "/tmp/upload/it's a.p12") << "CERT";
    EXPECT_EQ(http_move_upload("it's a.p12", "/tmp/certs/", "x.p12"), 0);
    std::string err = testing::internal::GetCapturedStderr();

    EXPECT_EQ(slurp(root_ + "/var/log/commands"),
              "/usr/bin/sudo /bin/mv -f /tmp/upload/'a.p12' /tmp/certs/'b.p12' > /dev/null\n"
              "/usr/bin/sudo /bin/mv -f /tmp/upload/'it'\\''s a.p12' /tmp/certs/'x.p12' > /dev/null\n");
    EXPECT_EQ(slurp(root_ + "/tmp/certs/x.p12"), "CERT") << err;
    EXPECT_FALSE(fs::exists(root_ + "/tmp/upload/it's a.p12"));
}

TEST_F(Http, DebugDumps)
{
    fresh();
    for (const char* piece : {"lang=de", "item=3", "act=1", "x=y"})
        http_add_pair(piece);
    add_file("f", "a.pem");
    setenv("HTTP_CONTENT_LENGTH", "5", 1);
    setenv("CONTENT_LENGTH", "7", 1);
    char a0[] = "gwadmin", a1[] = "x=1";
    char* argv[] = {a0, a1};
    CaptureStdout();
    http_debug_head();
    http_debug_line("hello");
    http_debug_args(2, argv);
    http_debug_state();
    http_debug_cgi();
    setenv("CONTENT_TYPE", "text/plain", 1);
    http_debug_cgi();
    http_debug_tail();
    EXPECT_EQ(GetCapturedStdout(),
              "\n\n<html><head></head><body>\n<p>hello</p>\n<p>gwadmin</p>\n<p>x=1</p>\n"
              "<p><b>Inhalt von HList:</b></p>\n<p>Language:de</p>\n<p>Item:3</p>\n<p>Act:1</p>\n"
              "<hr><p>Variables:</p>\n<p>x:y</p>\n<p>:</p>\n<hr><p>Files:</p>\n<p>f:a.pem</p>\n"
              "<p>HTTP_CONTENT_LENGTH:5</p>\n<p>CONTENT_LENGTH:7</p>\n<p>CONTENT_TYPE </p>\n<p>QUERY_STRING</p>\n"
              "<p>HTTP_CONTENT_LENGTH:5</p>\n<p>CONTENT_LENGTH:7</p>\n<p>CONTENT_TYPE text/plain</p>\n"
              "<p>QUERY_STRING</p>\n</body></html>\n");

    setenv("GWTEST_MARK", "42", 1);
    CaptureStdout();
    http_debug_environ();
    std::string env = GetCapturedStdout();
    unsetenv("GWTEST_MARK");
    EXPECT_EQ(env.rfind("<p><b>Inhalt von environ:</b></p>\n<p>", 0), 0u);
    EXPECT_NE(env.find("\n<p>GWTEST_MARK=42</p>\n"), std::string::npos);

    const struct {
        std::string text;
        std::string out;
    } traces[] = {
        {"a\nb filename=\"x\"\nc\nd\ne\n", "<p>a\n</p>\n<p>b filename=\"x\"\n</p>\n<p>c\n</p>\n<p>d\n</p>\n"},
        {std::string(1000, 'x') + "\nc filename=\"y\"\n",
         "<p>" + std::string(998, 'x') + "</p>\n<p>xx\n</p>\n<p>c filename=\"y\"\n</p>\n"},
    };
    for (const auto& t : traces) {
        std::string copy = t.text;
        FILE* in = fmemopen(&copy[0], copy.size(), "r");
        ASSERT_NE(in, nullptr);
        CaptureStdout();
        http_debug_multipart(in);
        fclose(in);
        EXPECT_EQ(GetCapturedStdout(), t.out);
    }
}
