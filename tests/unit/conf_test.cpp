// The configuration store: KEY='value' files under /tmp/ulsp/ and the numbered lists in them.
#include <sys/stat.h>

#include "unit_support.h"

namespace fs = std::filesystem;

namespace {

struct Conf : SandboxTest {
    std::string path(const char* name = "t.config") { return root_ + "/tmp/ulsp/" + name; }
    long files() { return std::distance(fs::directory_iterator(root_ + "/tmp/ulsp"), fs::directory_iterator()); }
};

TEST_F(Conf, GetTakesTheFirstLineWhoseKeyIsAPrefixOfTheKeyAsked)
{
    struct { const char *file, *key, *value; } cases[] = {
        {"A='1'\nAB='2'\n", "AB", "1"}, {"AB='2'\nA='1'\n", "A", "1"}, {"AB='2'\nA='1'\n", "B", ""},
        {"KEY=''\nKEY='y'\n", "KEY", ""}, {"KEY='a'b'\n", "KEY", "a"}, {"KEY=abc\n", "KEY", "abc\n"},
        {"KEY='v'", "KEY", "v"}, {"KEY=", "KEY", ""}, {"=KEY='v'\n", "KEY", "v"}, {"#KEY='c'\n\nKEY='v'\n", "KEY", "v"},
    };
    for (const auto& c : cases) {
        config("t.config", c.file);
        char out[CONF_VALUE_SIZE] = "junk";
        EXPECT_EQ(conf_get(c.key, out, sizeof out, "t.config"), out);
        EXPECT_STREQ(out, c.value) << "file \"" << c.file << "\" key " << c.key;
    }
    config("t.config", "X='abcdef'\nLONG='" + std::string(300, 'a') + "'\n");
    char out[4];
    EXPECT_STREQ(conf_get("X", out, sizeof out, "t.config"), "abc");
    EXPECT_EQ(conf_value("X", "t.config", 2), "ab");
    EXPECT_EQ(conf_value("LONG", "t.config"), std::string(255 - 6, 'a'));  // read in pieces
    EXPECT_EQ(records(), "");

    char a[8] = "junk", b[8] = "junk";  // failures
    expect_report([&] { conf_get(nullptr, a, sizeof a, "t.config"); }, "in file conf line 24", EINVAL);
    expect_report([&] { conf_get("K", b, sizeof b, "missing.config"); }, "in file conf line 36", ENOENT);
    EXPECT_EQ(std::string(a) + b, "");  // the output is emptied
    expect_report([] { EXPECT_EQ(conf_add("K", "v", "nodir/x.config"), -1); }, "in file conf line 80", ENOENT);
    expect_report([] { EXPECT_EQ(conf_set("K", "v", nullptr), -1); }, "in file conf line 96", EINVAL);
    expect_report([] { EXPECT_EQ(conf_delete("K", "missing.config"), -1); }, "in file conf line 111", ENOENT);
    EXPECT_FALSE(fs::exists(path("missing.config")));  // never created
    fs::create_directory(path("d.config"));  // a folder is written neither through a sibling file nor in place
    expect_report([] { EXPECT_EQ(conf_set("K", "v", "d.config"), -1); }, "in file conf line 151", EISDIR);
    EXPECT_EQ(files(), 2);  // no sibling left behind
    config("big.config", std::string((8 << 20) + 1, 'x'));  // larger than any settings file
    expect_report([] { EXPECT_EQ(conf_set("K", "v", "big.config"), -1); }, "in file conf line 111", EFBIG);
}

TEST_F(Conf, SetRewritesEveryLineWhoseKeyBeginsWithTheKeyGivenAndAddAppends)
{
    const std::string k63(63, 'K');
    struct { std::string before, key; const char* value; std::string after; } cases[] = {  // no value: delete
        {"AB='2'\nA='1'\n", "A", "x", "A='x'\nA='x'\n"}, {"A='1'\n", "AB", "x", "A='1'\n"},
        {"A='1'\nB='2'\n", "NEW", "v", "A='1'\nB='2'\n"},  // never adds a key
        {"#KEY='x'\nKEY='y'\n", "KEY", "z", "#KEY='x'\nKEY='z'\n"}, {"KEY='1'\nKEYWORD\n", "KEY", "2", "KEY='2'\nKEY='2'\n"},
        {"\n# note\nKEY='1'\nX='2'\nK", "K", "v", "\n# note\nK='v'\nX='2'\nK"},  // short last line kept
        {"HOST_1_IP='a'\nHOST_10_IP='b'\nHOST_2_IP='c'\n", "HOST_1", nullptr, "HOST_2_IP='c'\n"},
        {"# note\nA='1'\n", "#", nullptr, "# note\nA='1'\n"},  // comments are never keys
        {k63 + "XY='1'\n", k63 + "XYZ", "2", k63 + "='2'\n"},  // keys are cut at 63 characters
    };
    for (const auto& c : cases) {
        config("t.config", c.before);
        EXPECT_EQ(c.value ? conf_set(c.key.c_str(), c.value, "t.config") : conf_delete(c.key.c_str(), "t.config"), 0);
        EXPECT_EQ(config("t.config"), c.after) << "before \"" << c.before << "\" key " << c.key;
    }
    fs::permissions(path(), fs::perms(0640));
    EXPECT_EQ(conf_set("A", "y", "t.config"), 0);
    EXPECT_EQ(fs::status(path()).permissions(), fs::perms(0640));
    EXPECT_EQ(files(), 1);

    // Add appends and creates the file; no value closes its quotes or starts a line of its own.
    config("t.config", "HOSTNAME='gw'\nOTHER='x'\n");
    EXPECT_EQ(conf_set("HOSTNAME", "a'; /sbin/reboot; '\nOTHER='evil\r", "t.config"), 0);
    EXPECT_EQ(conf_add("NEW", "it's\nX='y'", "t.config"), 0);
    EXPECT_EQ(conf_add("OTHER", "", "t.config"), 0);
    EXPECT_EQ(config("t.config"), "HOSTNAME='a'\\''; /sbin/reboot; '\\''OTHER='\\''evil'\nOTHER='x'\n"
                                  "NEW='it'\\''sX='\\''y'\\'''\nOTHER=''\n");
    EXPECT_EQ(conf_add(std::string(70, 'K').c_str(), "v", "new.config"), 0);
    EXPECT_EQ(config("new.config"), k63 + "='v'\n");
}

TEST_F(Conf, FilesAreRewrittenWhereTheyAre)
{
    for (const std::string kind : {"symbolic link", "hard link", "owned by another"}) {
        const std::string real = root_ + "/" + kind;  // the file the folder's name leads to
        config("t.config", "");
        fs::remove(path());
        spit(real, "A='1'\nB='2'\n");
        kind == "symbolic link" ? fs::create_symlink(real, path()) : fs::create_hard_link(real, path());
        ASSERT_EQ(kind == "owned by another" ? chown(real.c_str(), 1234, 1234) : 0, 0);
        struct stat before {}, after {};
        stat(real.c_str(), &before);
        EXPECT_EQ(conf_set("A", "x", "t.config"), 0);
        EXPECT_EQ(config("t.config"), "A='x'\nB='2'\n") << kind;
        EXPECT_EQ(slurp(real), "A='x'\nB='2'\n") << kind;
        stat(real.c_str(), &after);
        EXPECT_EQ(std::to_string(after.st_ino) + " " + std::to_string(after.st_uid) + " " + std::to_string(files()),
                  std::to_string(before.st_ino) + " " + std::to_string(before.st_uid) + " 1") << kind;
        EXPECT_EQ(fs::is_symlink(path()), kind == "symbolic link") << kind;
    }
}

TEST_F(Conf, ListsRenderAddStoreAndClear)
{
    struct { const char *file, *shown; size_t max = CONF_VALUE_SIZE - 1; } cases[] = {  // result|options|list
        {"H_N='0'\nH_1_F='a'\n", "0|keep|keep"}, {"H_N='-2'\nH_1_F='a'\n", "-2||"},
        {"H_N='3'\nH_1_F='a'\nH_3_F='c'\n",
         "5|\n      <option>a</option>\n      <option></option>\n      <option>c</option>|a  c "},
        {"H_N='1'\nH_1_G='g'\nH_1_F='f'\n", "2|\n      <option>f</option>|f "},
        {"H_N='1'\nH_1_F='abcdef'\n", "4|\n      <option>abc</option>|abc ", 3},
    };
    for (const auto& c : cases) {
        config("t.config", c.file);
        std::string options = "keep", list = "keep";
        const int rc = conf_list_options("H", "F", options, list, "t.config", c.max);
        EXPECT_EQ(std::to_string(rc) + "|" + options + "|" + list, c.shown) << c.file;
    }
    std::string options, list, many;
    config("t.config", "H_N='150'\nH_1_F='a'\n");  // at most 99 entries
    EXPECT_EQ(conf_list_options("H", "F", options, list, "t.config"), 100);
    EXPECT_EQ(list, "a " + std::string(98, ' '));
    EXPECT_EQ(options.size(), strlen("\n      <option>a</option>") + 98 * strlen("\n      <option></option>"));

    struct { const char *text, *shown; } adds[] = {  // count|file
        {"x  y z", "3|O='o'\nH_1_F='x'\nH_2_F='y'\nH_3_F='z'\n"}, {" ab ", "1|O='o'\nH_1_F='ab'\n"},
        {"x", "0|O='o'\n"},  // one character counts as empty
    };
    for (const auto& c : adds) {
        config("t.config", "O='o'\n");
        std::string text = c.text;
        const int added = conf_list_add("H", "F", &text[0], "t.config");
        EXPECT_EQ(std::to_string(added) + "|" + config("t.config"), c.shown);
    }
    EXPECT_EQ(conf_list_add("H", "F", nullptr, "t.config"), 0);
    for (int i = 1; i <= 120; ++i)
        many += "w" + std::to_string(i) + " ";
    EXPECT_EQ(conf_list_add("H", "F", &many[0], "t.config"), 99);
    EXPECT_EQ(conf_value("H_10_F", "t.config") + "|" + conf_value("H_99_F", "t.config") + "|" +
              conf_value("H_100_F", "t.config"), "w10|w99|");

    config("t.config", "L_N='3'\nL_1_F='a'\nL_2_F='b'\nL_3_F='c'\nL_1_G='g'\nO='o'\n");
    EXPECT_EQ(conf_list_store("L", "F", 3, "x  y z", "t.config"), 0);
    EXPECT_EQ(config("t.config"), "L_N='3'\nL_1_G='g'\nO='o'\nL_1_F='x'\nL_2_F='y'\nL_3_F='z'\n");
    EXPECT_EQ(conf_list_store("L", "F", 3, "q", "t.config"), 0);
    EXPECT_EQ(conf_list_store("L", "F", 0, nullptr, "t.config"), 0);
    EXPECT_EQ(config("t.config"), "L_N='0'\nL_1_G='g'\nO='o'\n");
    config("t.config", "O='o'\n");  // without its count line no count appears
    EXPECT_EQ(conf_list_store("L", "F", 0, "a b", "t.config"), 0);
    EXPECT_EQ(config("t.config"), "O='o'\nL_1_F='a'\nL_2_F='b'\n");
    EXPECT_EQ(conf_list_count("L", "t.config"), 0);
    config("t.config", "HOST_1_IP='a'\nHOST_1_IPX='b'\nHOST_10_IP='c'\nHOST_2_IP='d'\nHOST_1_NAME='n'\n");
    conf_list_clear("HOST", "IP", 2, "t.config");
    EXPECT_EQ(config("t.config"), "HOST_10_IP='c'\nHOST_1_NAME='n'\n");
    // A zero byte ends its line there, joining it to the next: several keys are deleted one after the other.
    config("t.config", std::string("A='1'\nC") + '\0' + "x\nD='4'\nE='5'\n");
    EXPECT_EQ(conf_delete_all({"A", "CD"}, "t.config"), 0);
    EXPECT_EQ(config("t.config"), "E='5'\n");
}

TEST_F(Conf, ACommandMakesTheNextReadLookAtTheFileAgain)
{
    dev_before_command(nullptr);  // as at a request's start: a read sets it up
    config("t.config", "A='1'\n");
    char value[8];
    EXPECT_STREQ(conf_get("A", value, sizeof value, "t.config"), "1");
    free(aux_run_capture("echo \"A='2'\" > /tmp/ulsp/t.config", nullptr));
    EXPECT_STREQ(conf_get("A", value, sizeof value, "t.config"), "2");
}

// Whatever a value holds, the file stays lines that a shell sourcing it only assigns, each within the piece the
// store reads, each value read back as it was stored (a longer one cut, never mid-character).
TEST_F(Conf, ValuesComeBackWholeFromTheStoreAndFromAShell)
{
    const std::string long_value = std::string(245, 'a') + "DOMAIN_NAME=x", attack = "$(touch /tmp/x) #";
    for (const std::string& v : {std::string("Bob's lab"), std::string("'"), std::string("it'"), std::string("''x''"),
                                 std::string("a\\'b"), attack, "é" + long_value, long_value, std::string(100, '\'')}) {
        config("t.config", "HOSTNAME='gw'\nDOMAIN_NAME='d'\n");
        ASSERT_EQ(conf_set("HOSTNAME", v.c_str(), "t.config") + conf_set("DOMAIN_NAME", attack.c_str(), "t.config"), 0);
        const std::string text = config("t.config");
        EXPECT_TRUE(text.find('\n') < 255 && text.size() - text.find('\n') - 1 <= 255) << v;  // lines of 255 at most
        conf_forget();
        const std::string read = conf_value("HOSTNAME", "t.config");
        EXPECT_EQ(v.compare(0, read.size(), read), 0) << v;  // what was kept is the value's start
        const size_t kept = v.find_first_not_of('\'') == std::string::npos ? 60 : 180;  // a quote takes 4
        EXPECT_GE(read.size(), std::min(v.size(), kept)) << v;
        EXPECT_EQ(conf_value("DOMAIN_NAME", "t.config"), attack);
        const std::string script = ". ./t.config && printf '%s|%s' \"$HOSTNAME\" \"$DOMAIN_NAME\"";
        FILE* sh = popen(("cd " + root_ + "/tmp/ulsp && " + script).c_str(), "r");
        char out[1024] = {};
        EXPECT_GE(fread(out, 1, sizeof out - 1, sh), 0u);
        EXPECT_EQ(pclose(sh), 0);
        EXPECT_EQ(std::string(out), read + "|" + attack) << v;
    }
}

}  // namespace
