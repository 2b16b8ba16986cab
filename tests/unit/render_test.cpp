// Page rendering: templates, messages, commands, password hashes, folders and dates.
#include <limits>

#include "unit_support.h"

namespace fs = std::filesystem;

namespace {

using Render = SandboxTest;

TEST_F(Render, TemplatesReplaceInsertAndPrint)
{
    const struct { const char *page, *mark, *text, *result; } cases[] = {
        {"a{X}b{X}c", "{X}", "1", "a1b1c"}, {"a{X}b", "{Y}", "z", "a{X}b"},
        {"{{X}}", "{X}", "X", "X"}, {"ab{{X}X}", "{X}", "", "ab"},  // joins with neighbours are replaced again
        {"{X}-{X}", "{X}", "<{X}>", "<{X}>-<{X}>"}, {"{X}{X}", "{X}", "{X}{X}", "{X}{X}{X}{X}"},
        {"{X}", "{X}", nullptr, "{X}"}, {"{X}", nullptr, "1", "{X}"},
    };
    for (const auto& c : cases) {
        page(c.page);
        tmpl_replace(c.mark, c.text);
        EXPECT_EQ(page(), c.result) << c.page;
    }
    page(std::string("ab\0{X}cd", 8));  // a zero byte ends the page; a freed page prints nothing
    tmpl_replace("{X}", "1");
    testing::internal::CaptureStdout();
    tmpl_print(), tmpl_free(), tmpl_print();
    EXPECT_EQ(testing::internal::GetCapturedStdout() + (tmpl_page() ? "|not freed" : ""), "ab");
    fs::create_symlink("/dev/null", base_ + "/www/null.tmpl");  // no plain file: read through stdio
    EXPECT_EQ(tmpl_load("null.tmpl"), 0);
    EXPECT_EQ(page() + records(), "");
    expect_report([] { EXPECT_EQ(tmpl_load("missing.tmpl"), -1); }, "in file tmpl line 25", ENOENT);

    std::string large, replaced;  // every mark of a large page
    for (int i = 0; i < 100; ++i)
        large += std::string(30000, 'x') + "{X}", replaced += std::string(30000, 'x') + "gw";
    page(large);
    tmpl_replace("{X}", "gw");
    EXPECT_TRUE(page() == replaced);

    page("<{F}>{F}");
    spit(base_ + "/www/part.html", "hi\n");
    EXPECT_EQ(tmpl_insert_file("{F}", "part.html"), 0);
    EXPECT_EQ(page(), "<hi\n>hi\n");
    page("<{F}>");  // an absent placeholder opens nothing
    expect_report([] { EXPECT_EQ(tmpl_insert_file("{G}", "no.html") + tmpl_insert_file("{F}", "no.html"), -1); },
                  "in file tmpl line 99", ENOENT);
    EXPECT_EQ(page(), "<{F}>");
}

TEST_F(Render, MessageTakesTheFirstLineWhoseKeyIsAPrefixOfTheKeyAsked)
{
    messages("ospf_head:OSPF settings\nx_rslt:Saved: reboot needed\ndup:first\ndup:second\nlast:no newline");
    spit(base_ + "/www/de/messages", "ospf_head:OSPF-Einstellungen\n");
    const struct { const char *lang, *key, *text; } cases[] = {
        {"", "ospf_headline", "OSPF settings\n"}, {"", "ospf", ""}, {"", "x_rslt", "Saved"}, {"", "dup", "first\n"},
        {"", "last", "no newline"}, {"de", "ospf_head", "OSPF-Einstellungen\n"}, {"../de", "ospf_head", "OSPF settings\n"},
    };
    char out[AUX_MESSAGE_SIZE];
    for (const auto& c : cases) {
        strcpy(g_request.lang, c.lang);
        strcpy(out, "junk");
        EXPECT_EQ(aux_message(c.key, out), out);
        EXPECT_STREQ(out, c.text) << c.lang << "/" << c.key;
    }
    EXPECT_EQ(records(), "");
    strcpy(g_request.lang, "fr");
    expect_report([&] { EXPECT_EQ(aux_message("ospf_head", out), nullptr); }, "in file aux line 86", ENOENT);
}

TEST_F(Render, RunCaptureReadsTheWholeOutputAndCryptpwQuotesThePassword)
{
    EXPECT_EQ(sh_quote("abc") + "|" + sh_quote("") + "|" + sh_quote("a'b") + "|" + sh_quote("$(x); `y` \"z\""),
              "'abc'||'a'\\''b'|'$(x); `y` \"z\"'");  // an empty text gives no word, as a bare empty text gives none
    spit(root_ + "/usr/bin/emit", "#!/bin/sh\nhead -c \"$1\" /dev/zero | tr '\\000' x\n");
    spit(root_ + "/usr/bin/cryptpw", "#!/bin/sh\nprintf '%s:%s\\n' \"$#\" \"$1\"\n");
    for (const char* tool : {"/usr/bin/emit", "/usr/bin/cryptpw"})
        fs::permissions(root_ + tool, fs::perms(0755));
    const struct { const char *command, *text; std::string output; } cases[] = {
        {"emit 0", nullptr, ""}, {"emit 256", nullptr, std::string(256, 'x')}, {"emit 513", "", std::string(513, 'x')},
        {"emit 70000", "pre:", "pre:" + std::string(70000, 'x')}, {"no_such_tool 2>/dev/null", nullptr, ""},
        {"emit 3; exit 7", nullptr, "xxx"},  // the exit status is not looked at
    };
    std::string ran;
    for (const auto& c : cases) {
        char* got = aux_run_capture(c.command, c.text ? strdup(c.text) : nullptr);
        EXPECT_EQ(got ? got : "(none)", c.output) << c.command;
        free(got);
        ran += std::string(c.command) + "\n";
    }
    const struct { const char* password; size_t size; const char* hash; } pws[] = {
        {"0123456789abcdef", 64, "1:0123456789abcdef"}, {"a b'$(id) *;x", 64, "1:a b'$(id) *;x"}, {"abcdef", 5, "1:ab"},
    };
    for (const auto& c : pws) {
        char out[64] = {};
        EXPECT_EQ(aux_cryptpw(c.password, out, c.size), 0) << c.password;
        EXPECT_STREQ(out, c.hash);
        ran += "cryptpw " + sh_quote(c.password) + "\n";
    }
    char out[64] = {};
    for (const char* bad : {"0123456789abcdefg", "", static_cast<const char*>(nullptr)})
        expect_report([&] { EXPECT_EQ(aux_cryptpw(bad, out, sizeof out), -1); }, "in file aux line 116", EINVAL);
    expect_report([] { EXPECT_EQ(aux_cryptpw("pw", nullptr, 64), -1); }, "in file aux line 116", EINVAL);
    EXPECT_EQ(commands(), ran);  // the refused ones ran nothing
}

TEST_F(Render, MkdirsCreatesNestedFoldersUnderTheDeviceFolder)
{
    EXPECT_EQ(aux_mkdirs("/tmp", "a/b/c") + aux_mkdirs("/tmp", "a/b/d"), 0);  // existing folders are accepted
    EXPECT_TRUE(fs::is_directory(root_ + "/tmp/a/b/c"));
    EXPECT_EQ(fs::status(root_ + "/tmp/a/b/d").permissions(), fs::perms(0700));
    EXPECT_EQ(fs::current_path(), fs::path(base_ + "/www"));  // the working folder is kept
    expect_report([] { EXPECT_EQ(aux_mkdirs("/tmp", "e/../f"), -1); }, "in file aux line 160", EINVAL);
    EXPECT_FALSE(fs::exists(root_ + "/tmp/f") || fs::exists(root_ + "/tmp/e/f"));
    spit(root_ + "/tmp/plain", "");
    expect_report([] { EXPECT_EQ(aux_mkdirs("/tmp", "plain/x"), -1); }, "in file aux line 160", ENOTDIR);
    expect_report([] { EXPECT_EQ(aux_mkdirs("/nowhere", "a"), -1); }, "in file aux line 160", ENOENT);
    EXPECT_FALSE(fs::exists(root_ + "/nowhere"));
}

TEST_F(Render, DatesAreWrittenInUtc)
{
    const char* tz = getenv("TZ");
    const std::string old_tz = tz ? tz : "";
    setenv("TZ", "JST-9", 1), tzset();  // local time a day ahead of UTC at 23:30
    const struct { time_t when; bool with_time; const char* text; } cases[] = {
        {1709681400, false, "05.03.2024"}, {1709681400, true, "05.03.2024, 23:30:00"},
        {1709681400 + 5 * 3600 + 59, true, "06.03.2024, 04:30:59"},
        // the calendar worked out by hand: before 1970, leap days, centuries, a year too long to fit
        {-1, true, "31.12.1969, 23:59:59"}, {-2208988800, false, "01.01.1900"}, {951825600, false, "29.02.2000"},
        {4107542400 - 1, true, "28.02.2100, 23:59:59"}, {253402300800, true, "01.01.10000, 00:00:0"},
    };
    char out[AUX_DATETIME_SIZE];
    for (const auto& c : cases) {
        strcpy(out, "junk");
        EXPECT_EQ(aux_format_date(c.when, out, c.with_time), out);
        EXPECT_STREQ(out, c.text);
    }
    for (bool with_time : {false, true})
        expect_report([&] { EXPECT_EQ(aux_format_date(std::numeric_limits<time_t>::max(), out, with_time), nullptr); },
                      with_time ? "in file aux line 212" : "in file aux line 186", EOVERFLOW, "6 aux auxDate: gmtime_r fails\n");
    const time_t start = time(nullptr);
    char date[AUX_DATE_SIZE], stamp[AUX_DATETIME_SIZE];
    EXPECT_TRUE(auxDate(date) == date && auxDateTime(stamp) == stamp);
    std::string seen;  // the stamps of every moment between the reads
    for (time_t t = start; t <= time(nullptr); ++t)
        seen += aux_format_date(t, out, true) + std::string("|");
    EXPECT_TRUE(seen.find(stamp) != std::string::npos && seen.find(date) != std::string::npos) << seen;
    fs::remove(root_ + "/var/log/messages");
    EXPECT_TRUE(auxDate(nullptr) == nullptr && auxDateTime(nullptr) == nullptr);
    EXPECT_EQ(records(), "6 aux: invalid argument\n6 aux: invalid argument\n");
    tz ? setenv("TZ", old_tz.c_str(), 1) : unsetenv("TZ"), tzset();
}

}  // namespace
