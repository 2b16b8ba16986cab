// The settings store as a request leaves it: files rewritten where they are, every mark of a page replaced,
// values with apostrophes stored so that both the store and a shell read them back whole.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "page_support.h"

namespace {

const char kBody[] = "item=24&act=1&Hostname=gw2&Domainname=lab&ETH0_mode=static&ETH0_ip=10.0.0.1&ETH0_prefix=8"
                     "&ETH1_mode=dhcp";

// The value of a key as a shell that sources the settings file sees it.
std::string sourced(const Sandbox& sb, const std::string& key)
{
    const std::string script = "cd " + sb.root + "/tmp/ulsp && . ./network.config && printf %s \"$" + key + "\"";
    FILE* sh = popen(script.c_str(), "r");
    std::string out;
    for (int c; (c = fgetc(sh)) != EOF;)
        out += char(c);
    pclose(sh);
    return out;
}

}  // namespace

TEST(Store, FilesAreRewrittenWhereTheyAreAndNothingIsLeftBeside)
{
    for (const std::string kind : {"symbolic link", "hard link", "owned by another"}) {
        Sandbox sb;
        page_setup(sb, "basis", "");
        const std::string file = sb.root + "/tmp/ulsp/network.config", elsewhere = sb.root + "/etc/network.real";
        if (kind == "symbolic link") {  // the folder names a file kept elsewhere
            ASSERT_EQ(rename(file.c_str(), elsewhere.c_str()), 0);
            ASSERT_EQ(symlink(elsewhere.c_str(), file.c_str()), 0);
        } else {
            ASSERT_EQ(kind == "hard link" ? link(file.c_str(), elsewhere.c_str()) : chown(file.c_str(), 1234, 1234), 0);
        }
        struct stat before {}, after {}, link_after {};
        stat(file.c_str(), &before);
        const auto listed = list_tree(sb.root + "/tmp/ulsp");
        EXPECT_EQ(sb.post("", kBody).status, 0) << kind;
        stat(file.c_str(), &after);
        lstat(file.c_str(), &link_after);
        EXPECT_EQ(after.st_ino, before.st_ino) << kind;
        EXPECT_EQ(after.st_uid, before.st_uid) << kind;
        EXPECT_EQ(S_ISLNK(link_after.st_mode), kind == "symbolic link") << kind;
        EXPECT_NE(read_file(kind == "owned by another" ? file : elsewhere).find("HOSTNAME='gw2'\n"), std::string::npos)
            << kind;
        EXPECT_EQ(list_tree(sb.root + "/tmp/ulsp"), listed) << kind;
    }
}

TEST(Store, EveryMarkOfALargePageIsReplaced)
{
    Sandbox sb;
    std::string page;
    for (int i = 0; i < 100; ++i)
        page += std::string(30000, 'x') + "{HOSTNAME}";
    page_setup(sb, "basis", page);
    const std::string out = sb.get("item=24").out;
    size_t replaced = 0;
    for (size_t at = 0; (at = out.find("xgateway", at)) != std::string::npos; ++at)
        ++replaced;
    EXPECT_EQ(replaced, 100u);
    EXPECT_EQ(out.find("{HOSTNAME}"), std::string::npos);
}

TEST(Store, ApostrophesComeBackWholeFromThePageTheStoreAndAShell)
{
    Sandbox sb;
    page_setup(sb, "basis", "[{HOSTNAME}]");
    ASSERT_EQ(sb.post("", std::string(kBody) + "&Hostname=Bob%27s+lab").status, 0);
    EXPECT_NE(sb.config("network.config").find("HOSTNAME='Bob'\\''s lab'\n"), std::string::npos);
    EXPECT_EQ(sourced(sb, "HOSTNAME"), "Bob's lab");
    EXPECT_EQ(sb.get("item=24").out, "[Bob&#39;s lab]");
    // the attack of a value long enough to push a second setting onto a line of its own
    const std::string attack = std::string(245, 'a') + "DOMAIN_NAME=x";
    sb.post("", std::string(kBody) + "&Hostname=" + attack + "&Domainname=%24%28touch+%2Ftmp%2Fx%29+%23");
    for (const std::string& line : split_lines(sb.config("network.config")))
        EXPECT_LE(line.size() + 1, 255u) << line;
    EXPECT_EQ(sourced(sb, "DOMAIN_NAME"), "$(touch /tmp/x) #");
    EXPECT_EQ(sourced(sb, "HOSTNAME").substr(0, 200), attack.substr(0, 200));
}
