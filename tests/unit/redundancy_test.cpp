// The redundancy and remote-dial handlers, called directly (their items keep no handler).
#include "pages/pages.h"

#include <algorithm>
#include <cerrno>
#include <utility>
#include <vector>

#include "unit_support.h"

namespace {

using Keys = std::vector<std::pair<std::string, std::string>>;

std::string file_of(const Keys& keys)
{
    std::string text = "# Redundant pair and remote dial.\n";
    for (const auto& [key, value] : keys)
        text += key + "='" + value + "'\n";
    return text;
}

// The keys with some values changed (keys not there yet are appended).
Keys with(Keys keys, const Keys& changes)
{
    for (const auto& change : changes) {
        auto k = std::find_if(keys.begin(), keys.end(), [&](const auto& kv) { return kv.first == change.first; });
        k == keys.end() ? keys.push_back(change) : void(k->second = change.second);
    }
    return keys;
}

// n marks joined by ",", "selected" at index chosen.
std::string marks(int n, int chosen)
{
    std::string out;
    for (int i = 0; i < n; ++i)
        out += std::string(i ? "," : "") + (i == chosen ? "selected" : "");
    return out;
}

class Redundancy : public SandboxTest {
protected:
    void SetUp() override
    {
        SandboxTest::SetUp();
        messages("redunt_head:Redundancy head\nredunt_rslt:Redundancy stored\ncrdial_head:Dial head\n"
                 "crdial_rslt:Dial stored\n");
    }
    // Runs an apply handler on the request; both answer with the remote dial's texts.
    void apply(int (*handler)(), const char* query)
    {
        request(query);
        page("{HEADLINE}|{MESSAGE}");
        EXPECT_EQ(handler(), 0) << query;
        EXPECT_EQ(page(), "Dial head\n|Dial stored\n") << query;
        tmpl_free();
        http_free();
    }
};

const Keys kRedundancy = {{"REDUNT_TYP", "old"},  {"REDUNT_IFACE", "old"}, {"REDUNT_IP", "old"},
                          {"REDUNT_PORT", "old"}, {"REDUNT_PASS", "old"},  {"REDUNT_PARA", "old"},
                          {"REDUNT_REMOTE_CONTROL", "old"}, {"REDUNT_EX_PORT", "old"}};
const Keys kDial = {{"RDIAL_OPT", "no"}, {"RDIAL_PORT", "old"}, {"RDIAL_PASS", "old"}, {"RDIAL_CLIENT_N", "2"},
                    {"RDIAL_CLIENT_1_IP", "10.0.0.1"}, {"RDIAL_CLIENT_2_IP", "10.0.0.2"}};

TEST_F(Redundancy, ShowMarksOnlyWholeValuesAndNeverThePassword)
{
    // {type, interface, priority, chosen index of each select}
    const struct {
        const char *typ, *iface, *para;
        int t, i, e;
    } cases[] = {
        {"simple", "eth0", "recessive", 1, 0, 1}, {"peer", "eth1", "dominant", 2, 1, 2},
        {"target", "eth0", "none", 3, 0, 0},      {"Peer", "eth0 ", "Dominant", 0, 1, 0},
        {"peer ", "ETH0", "recessive2", 0, 1, 0}, {"", "", "dominan", 0, 1, 0},
    };
    for (const auto& c : cases) {
        config("redundant.config",
               file_of({{"REDUNT_TYP", c.typ}, {"REDUNT_IFACE", c.iface}, {"REDUNT_IP", "10.1.1.2"},
                        {"REDUNT_PORT", "4711"}, {"REDUNT_PASS", "s3cret"}, {"REDUNT_PARA", c.para},
                        {"REDUNT_REMOTE_CONTROL", "10.9.9.9"}, {"REDUNT_EX_PORT", "4712"}}));
        page("{TYP0},{TYP1},{TYP2},{TYP3}|{IFSEL0},{IFSEL1}|{EXT0},{EXT1},{EXT2}|"
             "{REDUNT_IP}|{REDUNT_PORT}|{REDUNT_REMOTE_CONTROL}|{REDUNT_EX_PORT}|{REDUNT_PASS}");
        EXPECT_EQ(redunt_show(), 0);
        EXPECT_EQ(page(), marks(4, c.t) + "|" + marks(2, c.i) + "|" + marks(3, c.e) +
                              "|10.1.1.2|4711|10.9.9.9|4712|{REDUNT_PASS}")
            << c.typ << "/" << c.iface << "/" << c.para;
        tmpl_free();
    }
    EXPECT_EQ(records(), "");
}

TEST_F(Redundancy, ApplyWritesWhatTheTypeUses)
{
    const std::string fields = "&rdialif=eth1&rdial_ip=10.2.2.2&rdial_port=5000&rextended=dominant"
                               "&rex_ip=10.3.3.3&rex_port=6000";
    const Keys partner = {{"REDUNT_IFACE", "eth1"}, {"REDUNT_IP", "10.2.2.2"}, {"REDUNT_PORT", "5000"},
                          {"REDUNT_PARA", "dominant"}};
    const struct {
        std::string query;
        Keys written;
    } cases[] = {
        {"redunt_typ=simple&rdial_pass=pw" + fields, with(partner, {{"REDUNT_TYP", "simple"}, {"REDUNT_PASS", "pw"}})},
        {"redunt_typ=peer&rdial_pass=pw" + fields,
         with(partner, {{"REDUNT_TYP", "peer"}, {"REDUNT_PASS", "pw"}, {"REDUNT_REMOTE_CONTROL", "10.3.3.3"},
                        {"REDUNT_EX_PORT", "6000"}})},
        // An empty password keeps the stored one.
        {"redunt_typ=peer&rdial_pass=" + fields,
         with(partner, {{"REDUNT_TYP", "peer"}, {"REDUNT_REMOTE_CONTROL", "10.3.3.3"}, {"REDUNT_EX_PORT", "6000"}})},
        {"redunt_typ=target&rdial_pass=pw" + fields, {{"REDUNT_TYP", "target"}, {"REDUNT_EX_PORT", "6000"}}},
        // Anything but the exact words: only the type.
        {"redunt_typ=Peer&rdial_pass=pw" + fields, {{"REDUNT_TYP", "Peer"}}},
        {"redunt_typ=+simple&rdial_pass=pw" + fields, {{"REDUNT_TYP", " simple"}}},
        {"redunt_typ=simple+peer&rdial_pass=pw" + fields, {{"REDUNT_TYP", "simple peer"}}},
        {"rdial_pass=pw" + fields, {{"REDUNT_TYP", ""}}},
    };
    for (const auto& c : cases) {
        config("redundant.config", file_of(kRedundancy) + file_of(kDial));
        apply(redunt_act, c.query.c_str());
        EXPECT_EQ(config("redundant.config"), file_of(with(kRedundancy, c.written)) + file_of(kDial)) << c.query;
    }
}

TEST_F(Redundancy, RemoteDialShowsStateAndClientsButNotThePassword)
{
    const char* tmpl = "{RDIALSTATE}|{ALLOW}|{RDIAL_PORT}|{IPOPTS}|{IPLIST}|{RDIAL_PASS}";
    // Only exactly "yes" is on.
    for (const auto& [opt, shown] : std::vector<std::pair<std::string, std::string>>{
             {"yes", "checked|enabled"}, {"Yes", "|disabled"}, {"yes ", "|disabled"}}) {
        config("redundant.config", file_of(with(kDial, {{"RDIAL_OPT", opt}})));
        page(tmpl);
        EXPECT_EQ(crdial_show(), 0);
        EXPECT_EQ(page(), shown + "|old|\n      <option>10.0.0.1</option>\n      <option>10.0.0.2</option>|"
                                  "10.0.0.1 10.0.0.2 |{RDIAL_PASS}")
            << opt;
        tmpl_free();
    }
    // Clients cut to 15 characters, entries past the count not shown; no count or 0: no clients.
    for (const auto& [count, shown] : std::vector<std::pair<std::string, std::string>>{
             {"RDIAL_CLIENT_N='1'\n", "\n      <option>192.168.100.100</option>|192.168.100.100 "},
             {"RDIAL_CLIENT_N='0'\n", "|"},
             {"", "|"}}) {
        config("redundant.config", "RDIAL_OPT='yes'\n" + count +
                                       "RDIAL_CLIENT_1_IP='192.168.100.1001'\nRDIAL_CLIENT_2_IP='10.0.0.2'\n");
        page("{IPOPTS}|{IPLIST}");
        EXPECT_EQ(crdial_show(), 0);
        EXPECT_EQ(page(), shown) << count;
        tmpl_free();
    }
    EXPECT_EQ(records(), "");
    // A count below 0 sizes the client buffers below 0: they cannot be had.
    config("redundant.config", "RDIAL_OPT='yes'\nRDIAL_CLIENT_N='-1'\nRDIAL_CLIENT_1_IP='10.0.0.1'\n");
    page("{IPOPTS}|{IPLIST}");
    expect_report([] { EXPECT_EQ(crdial_show(), -1); }, "in file crdial line 36", ENOMEM);
    EXPECT_EQ(page(), "{IPOPTS}|{IPLIST}");
}

TEST_F(Redundancy, RemoteDialApplyStoresOnlyWhenSwitchedOn)
{
    const Keys cleared = {{"RDIAL_OPT", "yes"}, {"RDIAL_PORT", "7000"}, {"RDIAL_PASS", "old"}, {"RDIAL_CLIENT_N", "3"}};
    const struct {
        std::string query, file;
    } cases[] = {
        // The old entries go, the new ones are appended, the count follows.
        {"rdial_dout=yes&rdial_port=7000&rdial_pass=pw&iplist=10.5.5.5+10.6.6.6++10.7.7.7+",
         file_of(with(cleared, {{"RDIAL_PASS", "pw"}})) +
             "RDIAL_CLIENT_1_IP='10.5.5.5'\nRDIAL_CLIENT_2_IP='10.6.6.6'\nRDIAL_CLIENT_3_IP='10.7.7.7'\n"},
        // An empty password keeps the stored one; no clients sent leaves none.
        {"rdial_dout=yes&rdial_port=7000&rdial_pass=&iplist=", file_of(with(cleared, {{"RDIAL_CLIENT_N", "0"}}))},
        // Anything but exactly "yes": switched off, the rest kept.
        {"rdial_dout=yes+no&rdial_port=7000&rdial_pass=pw&iplist=10.5.5.5", file_of(kDial)},
        {"rdial_dout=+yes&rdial_port=7000&rdial_pass=pw&iplist=10.5.5.5", file_of(kDial)},
        {"rdial_port=7000&rdial_pass=pw&iplist=10.5.5.5", file_of(kDial)},
    };
    for (const auto& c : cases) {
        config("redundant.config", file_of(with(kDial, {{"RDIAL_OPT", "yes"}})));
        apply(crdial_act, c.query.c_str());
        EXPECT_EQ(config("redundant.config"), c.file) << c.query;
    }
}

}  // namespace
