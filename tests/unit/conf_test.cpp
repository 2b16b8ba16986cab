// The configuration store: KEY='value' files under the sandbox's /tmp/ulsp/
// and the numbered lists kept in them.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <sys/stat.h>

#include "conf/conf.h"
#include "device/device.h"

namespace fs = std::filesystem;

namespace {

std::string slurp(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

class ConfTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        char dir[] = "/tmp/gwconf-XXXXXX";
        ASSERT_NE(mkdtemp(dir), nullptr);
        root_ = dir;
        setenv("GWADMIN_ROOT", dir, 1);
        ASSERT_EQ(dev_init(), 0);
        fs::create_directories(root_ + "/tmp/ulsp");
    }
    void TearDown() override { fs::remove_all(root_); }

    std::string path(const char* name = "t.config") { return root_ + "/tmp/ulsp/" + name; }
    void put(const std::string& text, const char* name = "t.config")
    {
        std::ofstream(path(name), std::ios::binary) << text;
    }
    std::string content(const char* name = "t.config") { return slurp(path(name)); }
    std::string log() { return slurp(root_ + "/var/log/messages"); }

    // The call prints the error page of where and records it, nothing else.
    void expect_report(const std::function<void()>& call, const char* where, int err)
    {
        fs::remove(root_ + "/var/log/messages");
        testing::internal::CaptureStdout();
        call();
        std::string page = testing::internal::GetCapturedStdout();
        std::string text = strerror(err);
        EXPECT_EQ(page, std::string("<html><head></head><body>Error <b>") + where + "</b>: <b>" + text +
                            "</b> <br>Please contact the customer support. </body></html>");
        EXPECT_EQ(log(), std::string("3 Error ") + where + ": " + text + "\n");
    }

    std::string root_;
};

TEST_F(ConfTest, GetTakesTheFirstLineWhoseKeyIsAPrefixOfTheKeyAsked)
{
    struct Case { const char* file; const char* key; const char* value; } cases[] = {
        {"A='1'\nAB='2'\n", "AB", "1"},
        {"A='1'\nAB='2'\n", "A", "1"},
        {"A='1'\nAB='2'\n", "ABC", "1"},
        {"AB='2'\nA='1'\n", "A", "1"},  // a longer key in the file does not answer
        {"AB='2'\nA='1'\n", "B", ""},
        {"KEY='x'\nKEY='y'\n", "KEY", "x"},
        {"KEY=''\nKEY='y'\n", "KEY", ""},  // the first match ends the search
        {"KEY='a'b'\n", "KEY", "a"},
        {"KEY=abc\n", "KEY", "abc\n"},
        {"KEY='v'", "KEY", "v"},
        {"KEY=", "KEY", ""},
        {"=KEY='v'\n", "KEY", "v"},
        {"#KEY='c'\n\nKEY='v'\n", "KEY", "v"},
        {"", "KEY", ""},
    };
    for (const auto& c : cases) {
        put(c.file);
        char out[CONF_VALUE_SIZE] = "junk";
        EXPECT_EQ(conf_get(c.key, out, sizeof out, "t.config"), out);
        EXPECT_STREQ(out, c.value) << "file \"" << c.file << "\" key " << c.key;
    }
    EXPECT_EQ(log(), "");
}

TEST_F(ConfTest, GetCutsTheValueToTheOutputAndReadsLinesInPieces)
{
    put("X='abcdef'\nLONG='" + std::string(300, 'a') + "'\n");
    char out[4];
    EXPECT_STREQ(conf_get("X", out, sizeof out, "t.config"), "abc");
    EXPECT_EQ(conf_value("X", "t.config", 2), "ab");
    EXPECT_EQ(conf_value("X", "t.config"), "abcdef");
    EXPECT_EQ(conf_value("LONG", "t.config"), std::string(255 - 6, 'a'));
}

TEST_F(ConfTest, FailuresAreReportedWithTheirLocation)
{
    char out[16] = "junk";
    expect_report([&] { conf_get(nullptr, out, sizeof out, "t.config"); }, "in file conf line 24", EINVAL);
    EXPECT_STREQ(out, "");
    expect_report([&] { conf_get("K", out, sizeof out, nullptr); }, "in file conf line 24", EINVAL);

    strcpy(out, "junk");
    fs::remove(root_ + "/var/log/messages");
    testing::internal::CaptureStdout();
    conf_get("K", out, sizeof out, "missing.config");
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "<html><head></head><body>Error <b>in file conf line 36</b>: <b>No such file or directory</b> "
              "<br>Please contact the customer support. </body></html>");
    EXPECT_EQ(log(), "3 Error in file conf line 36: No such file or directory\n");
    EXPECT_STREQ(out, "");

    expect_report([] { EXPECT_EQ(conf_add("K", "v", "nodir/x.config"), -1); }, "in file conf line 80", ENOENT);
    expect_report([] { EXPECT_EQ(conf_set(nullptr, "v", "t.config"), -1); }, "in file conf line 96", EINVAL);
    expect_report([] { EXPECT_EQ(conf_set("K", "v", nullptr), -1); }, "in file conf line 96", EINVAL);
    expect_report([] { EXPECT_EQ(conf_set("K", "v", "missing.config"), -1); }, "in file conf line 111", ENOENT);
    expect_report([] { EXPECT_EQ(conf_delete("K", "missing.config"), -1); }, "in file conf line 111", ENOENT);
    EXPECT_FALSE(fs::exists(path("missing.config")));  // never created

    // A "file" that is a folder cannot be written back, neither through the
    // sibling file nor in place.
    fs::create_directory(path("d.config"));
    expect_report([] { EXPECT_EQ(conf_set("K", "v", "d.config"), -1); }, "in file conf line 151", EISDIR);
    EXPECT_FALSE(fs::exists(path("d.config.new")));
    fs::create_directory(path("d.config.new"));
    expect_report([] { EXPECT_EQ(conf_set("K", "v", "d.config"), -1); }, "in file conf line 151", EISDIR);
}

TEST_F(ConfTest, SetRewritesEveryLineWhoseKeyBeginsWithTheKeyGiven)
{
    const std::string key63(63, 'K');
    struct Case { std::string before, key; const char* value; std::string after; } cases[] = {  // value none: delete
        {"AB='2'\nA='1'\n", "A", "x", "A='x'\nA='x'\n"},
        {"A='1'\nB='2'\n", "NEW", "v", "A='1'\nB='2'\n"},  // never adds a key
        {"A='1'\n", "AB", "x", "A='1'\n"},
        {"#KEY='x'\nKEY='y'\n", "KEY", "z", "#KEY='x'\nKEY='z'\n"},
        {"\n# note\nKEY='1'\nX='2'\nK", "K", "v", "\n# note\nK='v'\nX='2'\nK"},  // short last line kept
        {"KEY='1'\n", "KEY", "", "KEY=''\n"},
        {"KEY='1'\nKEYWORD\n", "KEY", "2", "KEY='2'\nKEY='2'\n"},
        {"", "A", "x", ""},
        {"HOST_1_IP='a'\nHOST_10_IP='b'\nHOST_2_IP='c'\n", "HOST_1", nullptr, "HOST_2_IP='c'\n"},
        {"HOST_1_IP='a'\nHOST_1_IPX='x'\nHOST_10_IP='b'\n", "HOST_1_IP", nullptr, "HOST_10_IP='b'\n"},
        {"#HOST='a'\nHOST='b'\n", "HOST", nullptr, "#HOST='a'\n"},
        {"# note\nA='1'\n", "#", nullptr, "# note\nA='1'\n"},  // comments are never keys
        // the key is cut at 63 characters
        {key63 + "XY='1'\n", key63 + "XYZ", "2", key63 + "='2'\n"},
    };
    for (const auto& c : cases) {
        put(c.before);
        int rc = c.value ? conf_set(c.key.c_str(), c.value, "t.config") : conf_delete(c.key.c_str(), "t.config");
        EXPECT_EQ(rc, 0);
        EXPECT_EQ(content(), c.after) << "before \"" << c.before << "\" key " << c.key;
    }
    EXPECT_EQ(log(), "");

    chmod(path().c_str(), 0640);
    EXPECT_EQ(conf_set("A", "y", "t.config"), 0);
    struct stat st;
    ASSERT_EQ(stat(path().c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0640u);
    EXPECT_EQ(std::distance(fs::directory_iterator(root_ + "/tmp/ulsp"), fs::directory_iterator()), 1);
}

// The files are read as shell text by the device's scripts: a value can
// neither close its quotes nor start a line of its own.
TEST_F(ConfTest, ValuesCannotBreakOutOfTheirLine)
{
    put("HOSTNAME='gw'\nOTHER='x'\n");
    EXPECT_EQ(conf_set("HOSTNAME", "a'; /sbin/reboot; '\nOTHER='evil\r", "t.config"), 0);
    EXPECT_EQ(conf_add("NEW", "it's\nX='y'", "t.config"), 0);
    EXPECT_EQ(content(), "HOSTNAME='a; /sbin/reboot; OTHER=evil'\nOTHER='x'\nNEW='itsX=y'\n");
}

TEST_F(ConfTest, AddAppendsAndCreatesTheFile)
{
    put("A='1'\n");
    EXPECT_EQ(conf_add("A", "2", "t.config"), 0);
    EXPECT_EQ(conf_add("B", "", "t.config"), 0);
    EXPECT_EQ(content(), "A='1'\nA='2'\nB=''\n");
    EXPECT_EQ(conf_value("A", "t.config"), "1");

    EXPECT_EQ(conf_add(std::string(70, 'K').c_str(), "v", "new.config"), 0);
    EXPECT_EQ(content("new.config"), std::string(63, 'K') + "='v'\n");
    EXPECT_EQ(log(), "");
}

TEST_F(ConfTest, ListOptionsRenderEveryEntry)
{
    struct Case { const char* file; int result; const char* options; const char* list; } cases[] = {
        {"H_N='0'\nH_1_F='a'\n", 0, "keep", "keep"},
        {"H_1_F='a'\n", 0, "keep", "keep"},
        {"H_N='x'\nH_1_F='a'\n", 0, "keep", "keep"},
        {"H_N=''\nH_1_F='a'\n", 0, "keep", "keep"},
        {"H_N='-2'\nH_1_F='a'\n", -2, "", ""},
        {"H_N='2'\nH_1_F='a'\nH_2_F='b'\n", 4, "\n      <option>a</option>\n      <option>b</option>", "a b "},
        {"H_N='3'\nH_1_F='a'\nH_3_F='c'\n", 5,
         "\n      <option>a</option>\n      <option></option>\n      <option>c</option>", "a  c "},
        {"H_N='1'\nH_1_G='g'\nH_1_F='f'\n", 2, "\n      <option>f</option>", "f "},
    };
    for (const auto& c : cases) {
        put(c.file);
        std::string options = "keep", list = "keep";
        EXPECT_EQ(conf_list_options("H", "F", options, list, "t.config"), c.result) << c.file;
        EXPECT_EQ(options, c.options) << c.file;
        EXPECT_EQ(list, c.list) << c.file;
    }

    put("H_N='1'\nH_1_F='abcdef'\n");
    std::string options, list;
    EXPECT_EQ(conf_list_options("H", "F", options, list, "t.config", 3), 4);
    EXPECT_EQ(list, "abc ");

    put("H_N='150'\nH_1_F='a'\n");  // at most 99 entries
    EXPECT_EQ(conf_list_options("H", "F", options, list, "t.config"), 100);
    EXPECT_EQ(list, "a " + std::string(98, ' '));
    EXPECT_EQ(options.size(), strlen("\n      <option>a</option>") + 98 * strlen("\n      <option></option>"));
}

TEST_F(ConfTest, ListAddAppendsOneEntryPerWord)
{
    struct Case { const char* text; int added; const char* after; } cases[] = {
        {"x  y z", 3, "O='o'\nH_1_F='x'\nH_2_F='y'\nH_3_F='z'\n"},
        {" ab ", 1, "O='o'\nH_1_F='ab'\n"},
        {"x", 0, "O='o'\n"},  // one character counts as empty
        {"", 0, "O='o'\n"},
    };
    for (const auto& c : cases) {
        put("O='o'\n");
        std::string text = c.text;
        EXPECT_EQ(conf_list_add("H", "F", &text[0], "t.config"), c.added) << c.text;
        EXPECT_EQ(content(), c.after) << c.text;
    }
    EXPECT_EQ(conf_list_add("H", "F", nullptr, "t.config"), 0);

    put("");
    std::string many;
    for (int i = 1; i <= 120; ++i)
        many += "w" + std::to_string(i) + " ";
    EXPECT_EQ(conf_list_add("H", "F", &many[0], "t.config"), 99);
    EXPECT_EQ(conf_value("H_99_F", "t.config"), "w99");
    EXPECT_EQ(conf_value("H_100_F", "t.config"), "");
}

TEST_F(ConfTest, ListStoreReplacesTheEntriesAndWritesTheCount)
{
    put("L_N='3'\nL_1_F='a'\nL_2_F='b'\nL_3_F='c'\nL_1_G='g'\nO='o'\n");
    EXPECT_EQ(conf_list_store("L", "F", 3, "x  y z", "t.config"), 0);
    EXPECT_EQ(content(), "L_N='3'\nL_1_G='g'\nO='o'\nL_1_F='x'\nL_2_F='y'\nL_3_F='z'\n");
    EXPECT_EQ(conf_list_store("L", "F", 3, "q", "t.config"), 0);
    EXPECT_EQ(content(), "L_N='0'\nL_1_G='g'\nO='o'\n");
    EXPECT_EQ(conf_list_store("L", "F", 0, nullptr, "t.config"), 0);
    EXPECT_EQ(content(), "L_N='0'\nL_1_G='g'\nO='o'\n");

    // Without its count line the entries are added but no count appears.
    put("O='o'\n");
    EXPECT_EQ(conf_list_store("L", "F", 0, "a b", "t.config"), 0);
    EXPECT_EQ(content(), "O='o'\nL_1_F='a'\nL_2_F='b'\n");
    EXPECT_EQ(conf_list_count("L", "t.config"), 0);
    EXPECT_EQ(log(), "");
}

TEST_F(ConfTest, ListClearDeletesByPrefixUpToTheCount)
{
    const std::string file = "HOST_1_IP='a'\nHOST_1_IPX='b'\nHOST_10_IP='c'\nHOST_2_IP='d'\nHOST_1_NAME='n'\n";
    put(file);
    conf_list_clear("HOST", "IP", 0, "t.config");
    conf_list_clear("HOST", "IP", -1, "t.config");
    EXPECT_EQ(content(), file);
    conf_list_clear("HOST", "IP", 1, "t.config");
    EXPECT_EQ(content(), "HOST_10_IP='c'\nHOST_2_IP='d'\nHOST_1_NAME='n'\n");
    conf_list_clear("HOST", "IP", 2, "t.config");
    EXPECT_EQ(content(), "HOST_10_IP='c'\nHOST_1_NAME='n'\n");
}

}  // namespace
