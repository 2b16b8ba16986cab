// Page rendering: templates, the message catalogue, the error page, running
// commands, password hashing, folders and dates.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <functional>
#include <limits>
#include <sstream>
#include <string>
#include <sys/stat.h>

#include "cgi/http.h"
#include "device/device.h"
#include "render/aux.h"
#include "render/tmpl.h"

namespace fs = std::filesystem;

namespace {

// Whether text has the shape of pattern, "9" standing for any digit.
bool shaped(const std::string& text, const std::string& pattern)
{
    if (text.size() != pattern.size())
        return false;
    for (size_t i = 0; i < text.size(); ++i)
        if (pattern[i] == '9' ? !isdigit(static_cast<unsigned char>(text[i])) : text[i] != pattern[i])
            return false;
    return true;
}

std::string slurp(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

void write(const std::string& path, const std::string& text)
{
    if (fs::path(path).has_parent_path())
        fs::create_directories(fs::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

std::string printed(const std::function<void()>& call)
{
    testing::internal::CaptureStdout();
    call();
    return testing::internal::GetCapturedStdout();
}

// Runs in a fresh sandbox, with the document root as working directory.
class RenderTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        char dir[] = "/tmp/gwrender-XXXXXX";
        ASSERT_NE(mkdtemp(dir), nullptr);
        root_ = dir;
        setenv("GWADMIN_ROOT", dir, 1);
        ASSERT_EQ(dev_init(), 0);
        fs::create_directories(root_ + "/tmp");
        cwd_ = fs::current_path();
        fs::create_directories(root_ + "/www");
        fs::current_path(root_ + "/www");
    }
    void TearDown() override
    {
        tmpl_free();
        g_request.lang[0] = '\0';
        fs::current_path(cwd_);
        fs::remove_all(root_);
    }

    std::string log(const char* name = "messages") { return slurp(root_ + "/var/log/" + name); }
    void tool(const char* name, const std::string& script)
    {
        std::string path = root_ + "/usr/bin/" + name;
        write(path, "#!/bin/sh\n" + script);
        chmod(path.c_str(), 0755);
    }
    void load(const std::string& page)
    {
        write("p.tmpl", page);
        ASSERT_EQ(tmpl_load("p.tmpl"), 0);
    }
    // The call prints the error page of where and records it after earlier_log.
    void expect_report(const std::function<void()>& call, const char* where, int err,
                       const std::string& earlier_log = "")
    {
        fs::remove(root_ + "/var/log/messages");
        std::string text = strerror(err);
        EXPECT_EQ(printed(call), std::string("<html><head></head><body>Error <b>") + where + "</b>: <b>" + text +
                                     "</b> <br>Please contact the customer support. </body></html>");
        EXPECT_EQ(log(), earlier_log + "3 Error " + where + ": " + text + "\n");
    }

    std::string root_;
    fs::path cwd_;
};

TEST_F(RenderTest, ReplaceSubstitutesEveryOccurrence)
{
    struct Case { const char* page; const char* mark; const char* text; const char* result; } cases[] = {
        {"a{X}b{X}c", "{X}", "1", "a1b1c"},
        {"<{HEADLINE}>{MESSAGE}{HEADLINE}", "{HEADLINE}", "Time", "<Time>{MESSAGE}Time"},
        {"a{X}b", "{X}", "", "ab"},
        {"a{X}b", "{Y}", "z", "a{X}b"},
        {"{{X}}", "{X}", "X", "X"},  // joins with the neighbours are replaced again
        {"ab{{X}X}", "{X}", "", "ab"},
        {"{X}-{X}", "{X}", "<{X}>", "<{X}>-<{X}>"},  // a text holding its placeholder ends
        {"{X}{X}", "{X}", "{X}{X}", "{X}{X}{X}{X}"},
        {"", "{X}", "1", ""},
        {"{X}", "{X}", nullptr, "{X}"},
        {"{X}", nullptr, "1", "{X}"},
    };
    for (const auto& c : cases) {
        load(c.page);
        tmpl_replace(c.mark, c.text);
        EXPECT_STREQ(tmpl_page(), c.result) << c.page;
    }
}

TEST_F(RenderTest, LoadPrintAndFree)
{
    load("Content-type: text/html\n\n<p>{X}</p>");
    tmpl_replace("{X}", "hi");
    EXPECT_EQ(printed(tmpl_print), "Content-type: text/html\n\n<p>hi</p>");

    load(std::string("ab\0{X}cd", 8));  // a zero byte ends the page
    tmpl_replace("{X}", "1");
    EXPECT_EQ(printed(tmpl_print), "ab");

    load("");
    EXPECT_STREQ(tmpl_page(), "");
    tmpl_free();
    EXPECT_EQ(tmpl_page(), nullptr);
    EXPECT_EQ(printed(tmpl_print), "");

    expect_report([] { EXPECT_EQ(tmpl_load("missing.tmpl"), -1); }, "in file tmpl line 25", ENOENT);
}

TEST_F(RenderTest, InsertFileReplacesThePlaceholderByTheFile)
{
    load("<{F}>{F}");
    write("part.html", "hi\n");
    EXPECT_EQ(tmpl_insert_file("{F}", "part.html"), 0);
    EXPECT_STREQ(tmpl_page(), "<hi\n>hi\n");

    load("<{F}>");
    EXPECT_EQ(printed([] { EXPECT_EQ(tmpl_insert_file("{G}", "missing.html"), 0); }), "");
    EXPECT_FALSE(fs::exists(root_ + "/var/log/messages"));
    expect_report([] { EXPECT_EQ(tmpl_insert_file("{F}", "missing.html"), -1); }, "in file tmpl line 99", ENOENT);
    EXPECT_STREQ(tmpl_page(), "<{F}>");
}

TEST_F(RenderTest, MessageTakesTheFirstLineWhoseKeyIsAPrefixOfTheKeyAsked)
{
    write("english/messages",
          "ospf_head:OSPF settings\nx_rslt:Saved: reboot needed\ndup:first\ndup:second\nlast:no newline");
    write("de/messages", "ospf_head:OSPF-Einstellungen\n");
    write("em/messages", "");
    struct Case { const char* lang; const char* key; const char* text; } cases[] = {
        {"", "ospf_headline", "OSPF settings\n"},
        {"", "ospf_head", "OSPF settings\n"},
        {"", "ospf", ""},
        {"", "x_rslt", "Saved"},
        {"", "dup", "first\n"},
        {"", "last", "no newline"},
        {"", "unknown_head", ""},
        {"de", "ospf_head", "OSPF-Einstellungen\n"},
        {"../de", "ospf_head", "OSPF settings\n"},
        {"em", "ospf_head", ""},
    };
    for (const auto& c : cases) {
        strcpy(g_request.lang, c.lang);
        char out[AUX_MESSAGE_SIZE] = "junk";
        EXPECT_EQ(aux_message(c.key, out), out);
        EXPECT_STREQ(out, c.text) << c.lang << "/" << c.key;
    }
    EXPECT_FALSE(fs::exists(root_ + "/var/log/messages"));

    strcpy(g_request.lang, "fr");
    char out[AUX_MESSAGE_SIZE];
    expect_report([&] { EXPECT_EQ(aux_message("ospf_head", out), nullptr); }, "in file aux line 86", ENOENT);
}

TEST_F(RenderTest, RunCaptureReadsTheWholeOutput)
{
    tool("emit", "head -c \"$1\" /dev/zero | tr '\\000' x\n");
    write(root_ + "/etc/hostname", "gw\n");
    struct Case { const char* command; std::string output; } cases[] = {
        {"emit 0", ""},
        {"emit 1", "x"},
        {"emit 255", std::string(255, 'x')},
        {"emit 256", std::string(256, 'x')},
        {"emit 512", std::string(512, 'x')},
        {"emit 513", std::string(513, 'x')},
        {"emit 3; exit 7", "xxx"},  // the exit status is not looked at
        {"cat /etc/hostname", "gw\n"},
        {"no_such_tool 2>/dev/null", ""},
    };
    std::string commands;
    for (const auto& c : cases) {
        char* got = aux_run_capture(c.command, nullptr);
        ASSERT_NE(got, nullptr) << c.command;
        EXPECT_EQ(got, c.output) << c.command;
        free(got);
        commands += std::string(c.command) + "\n";
    }
    char* text = strdup("pre:");
    char* got = aux_run_capture("emit 70000", text);
    ASSERT_NE(got, nullptr);
    EXPECT_EQ(got, "pre:" + std::string(70000, 'x'));
    free(got);
    EXPECT_EQ(log("commands"), commands + "emit 70000\n");
    EXPECT_FALSE(fs::exists(root_ + "/var/log/messages"));
}

TEST_F(RenderTest, CryptpwHandsThePasswordToTheToolAsOneWord)
{
    tool("cryptpw", "printf '%s:%s\\n' \"$#\" \"$1\"\n");
    struct Case { const char* password; size_t size; const char* hash; } cases[] = {
        {"0123456789abcdef", 64, "1:0123456789abcdef"},
        {"a b'c", 64, "1:a b'c"},
        {"$(id) *;x", 64, "1:$(id) *;x"},
        {"abcdef", 5, "1:ab"},
    };
    std::string commands;
    for (const auto& c : cases) {
        char out[64] = {};
        EXPECT_EQ(aux_cryptpw(c.password, out, c.size), 0) << c.password;
        EXPECT_STREQ(out, c.hash);
        commands += "cryptpw " + sh_quote(c.password) + "\n";
    }
    EXPECT_EQ(log("commands"), commands);
    EXPECT_FALSE(fs::exists(root_ + "/var/log/messages"));

    char out[64] = {};
    for (const char* bad : {"0123456789abcdefg", "", static_cast<const char*>(nullptr)})
        expect_report([&] { EXPECT_EQ(aux_cryptpw(bad, out, sizeof out), -1); }, "in file aux line 116", EINVAL);
    expect_report([] { EXPECT_EQ(aux_cryptpw("pw", nullptr, 64), -1); }, "in file aux line 116", EINVAL);
    EXPECT_EQ(log("commands"), commands);  // nothing ran
}

TEST_F(RenderTest, MkdirsCreatesNestedFoldersUnderTheDeviceFolder)
{
    const fs::path here = fs::current_path();
    EXPECT_EQ(aux_mkdirs("/tmp", "a/b/c"), 0);
    EXPECT_TRUE(fs::is_directory(root_ + "/tmp/a/b/c"));
    EXPECT_EQ(aux_mkdirs("/tmp", "a/b/d"), 0);  // existing folders are accepted
    struct stat st;
    ASSERT_EQ(stat((root_ + "/tmp/a/b/d").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0700u);
    EXPECT_EQ(fs::current_path(), here);
    EXPECT_FALSE(fs::exists(root_ + "/var/log/messages"));

    expect_report([] { EXPECT_EQ(aux_mkdirs("/tmp", "e/../f"), -1); }, "in file aux line 160", EINVAL);
    EXPECT_TRUE(fs::is_directory(root_ + "/tmp/e"));
    EXPECT_FALSE(fs::exists(root_ + "/tmp/f"));
    EXPECT_FALSE(fs::exists(root_ + "/tmp/e/f"));

    write(root_ + "/tmp/plain", "");
    expect_report([] { EXPECT_EQ(aux_mkdirs("/tmp", "plain/x"), -1); }, "in file aux line 160", ENOTDIR);
    fs::current_path(here);
    printed([] { EXPECT_EQ(aux_mkdirs("/nowhere", "a"), -1); });
    EXPECT_FALSE(fs::exists(root_ + "/nowhere"));
    fs::current_path(here);
}

TEST_F(RenderTest, DatesAreWrittenInUtc)
{
    const char* old_tz = getenv("TZ");
    std::string saved_tz = old_tz ? old_tz : "";
    setenv("TZ", "JST-9", 1);  // local time a day ahead of UTC at 23:30
    tzset();
    struct Case { time_t when; bool with_time; const char* text; } cases[] = {
        {1709681400, false, "05.03.2024"},
        {1709681400, true, "05.03.2024, 23:30:00"},
        {0, true, "01.01.1970, 00:00:00"},
        {1709681400 + 5 * 3600 + 59, true, "06.03.2024, 04:30:59"},
    };
    for (const auto& c : cases) {
        char out[AUX_DATETIME_SIZE] = "junk";
        EXPECT_EQ(aux_format_date(c.when, out, c.with_time), out);
        EXPECT_STREQ(out, c.text);
    }
    char out[AUX_DATETIME_SIZE];
    const time_t never = std::numeric_limits<time_t>::max();
    expect_report([&] { EXPECT_EQ(aux_format_date(never, out, false), nullptr); }, "in file aux line 186",
                  EOVERFLOW, "6 aux auxDate: gmtime_r fails\n");
    expect_report([&] { EXPECT_EQ(aux_format_date(never, out, true), nullptr); }, "in file aux line 212",
                  EOVERFLOW, "6 aux auxDate: gmtime_r fails\n");

    // The clock's dates: same texts as for the moment read around the call.
    char date[AUX_DATE_SIZE], stamp[AUX_DATETIME_SIZE], before[AUX_DATE_SIZE], after[AUX_DATE_SIZE];
    aux_format_date(time(nullptr), before, false);
    ASSERT_EQ(auxDate(date), date);
    ASSERT_EQ(auxDateTime(stamp), stamp);
    aux_format_date(time(nullptr), after, false);
    EXPECT_TRUE(shaped(date, "99.99.9999")) << date;
    EXPECT_TRUE(shaped(stamp, "99.99.9999, 99:99:99")) << stamp;
    EXPECT_TRUE(strcmp(date, before) == 0 || strcmp(date, after) == 0) << date;

    fs::remove(root_ + "/var/log/messages");
    EXPECT_EQ(auxDate(nullptr), nullptr);
    EXPECT_EQ(auxDateTime(nullptr), nullptr);
    EXPECT_EQ(log(), "6 aux: invalid argument\n6 aux: invalid argument\n");

    if (old_tz)
        setenv("TZ", saved_tz.c_str(), 1);
    else
        unsetenv("TZ");
    tzset();
}

}  // namespace
