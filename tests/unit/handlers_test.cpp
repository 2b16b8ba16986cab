// Page handlers called directly: redundancy and remote dial (their items keep no handler), the time page's clock.
#include "pages/pages.h"

#include <algorithm>
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
    std::string out = chosen ? "" : "selected";
    for (int i = 1; i < n; ++i)
        out += i == chosen ? ",selected" : ",";
    return out;
}

const Keys kRedundancy = {{"REDUNT_TYP", "old"}, {"REDUNT_IFACE", "old"}, {"REDUNT_IP", "old"}, {"REDUNT_PORT", "old"},
                          {"REDUNT_PASS", "old"}, {"REDUNT_PARA", "old"}, {"REDUNT_REMOTE_CONTROL", "old"},
                          {"REDUNT_EX_PORT", "old"}};
const Keys kDial = {{"RDIAL_OPT", "no"}, {"RDIAL_PORT", "old"}, {"RDIAL_PASS", "old"}, {"RDIAL_CLIENT_N", "2"},
                    {"RDIAL_CLIENT_1_IP", "10.0.0.1"}, {"RDIAL_CLIENT_2_IP", "10.0.0.2"}};

class Handlers : public SandboxTest {
protected:
    // Runs an apply handler on the request; both answer with the remote dial's texts.
    void apply(int (*handler)(), const std::string& query)
    {
        messages("redunt_head:Redundancy head\nredunt_rslt:Redundancy stored\ncrdial_head:Dial head\ncrdial_rslt:Dial stored\n");
        request(query.c_str());
        EXPECT_EQ(show(handler, "{HEADLINE}|{MESSAGE}"), "Dial head\n|Dial stored\n") << query;
        http_free();
    }
    // Runs a show handler on the page text; returns the page.
    std::string show(int (*handler)(), const char* text, int rc = 0)
    {
        page(text);
        EXPECT_EQ(handler(), rc) << text;
        const std::string shown = page();
        tmpl_free();
        return shown;
    }
};

}  // namespace

TEST_F(Handlers, RedundancyShowMarksOnlyWholeValuesAndNeverThePassword)
{
    const struct { const char *typ, *iface, *para; int t, i, e; } cases[] = {  // the index chosen in each select
        {"simple", "eth0", "recessive", 1, 0, 1}, {"peer", "eth1", "dominant", 2, 1, 2}, {"target", "eth0", "none", 3, 0, 0},
        {"Peer", "eth0 ", "Dominant", 0, 1, 0}, {"peer ", "ETH0", "recessive2", 0, 1, 0}, {"", "", "dominan", 0, 1, 0},
    };
    for (const auto& c : cases) {
        config("redundant.config", file_of({{"REDUNT_TYP", c.typ}, {"REDUNT_IFACE", c.iface}, {"REDUNT_IP", "10.1.1.2"},
                                            {"REDUNT_PORT", "4711"}, {"REDUNT_PASS", "s3cret"}, {"REDUNT_PARA", c.para},
                                            {"REDUNT_REMOTE_CONTROL", "10.9.9.9"}, {"REDUNT_EX_PORT", "4712"}}));
        EXPECT_EQ(show(redunt_show, "{TYP0},{TYP1},{TYP2},{TYP3}|{IFSEL0},{IFSEL1}|{EXT0},{EXT1},{EXT2}|{REDUNT_IP}|"
                                    "{REDUNT_PORT}|{REDUNT_REMOTE_CONTROL}|{REDUNT_EX_PORT}|{REDUNT_PASS}"),
                  marks(4, c.t) + "|" + marks(2, c.i) + "|" + marks(3, c.e) + "|10.1.1.2|4711|10.9.9.9|4712|{REDUNT_PASS}")
            << c.typ << "/" << c.iface << "/" << c.para;
    }
    EXPECT_EQ(records(), "");
}

TEST_F(Handlers, RedundancyApplyWritesWhatTheTypeUses)
{
    const std::string fields =
        "&rdialif=eth1&rdial_ip=10.2.2.2&rdial_port=5000&rextended=dominant&rex_ip=10.3.3.3&rex_port=6000";
    const Keys partner = {{"REDUNT_IFACE", "eth1"}, {"REDUNT_IP", "10.2.2.2"}, {"REDUNT_PORT", "5000"},
                          {"REDUNT_PARA", "dominant"}},
               peer = {{"REDUNT_TYP", "peer"}, {"REDUNT_REMOTE_CONTROL", "10.3.3.3"}, {"REDUNT_EX_PORT", "6000"}};
    const std::pair<std::string, Keys> cases[] = {
        {"redunt_typ=simple&rdial_pass=pw", with(partner, {{"REDUNT_TYP", "simple"}, {"REDUNT_PASS", "pw"}})},
        {"redunt_typ=peer&rdial_pass=pw", with(with(partner, peer), {{"REDUNT_PASS", "pw"}})},
        {"redunt_typ=peer&rdial_pass=", with(partner, peer)},  // an empty password keeps the stored one
        {"redunt_typ=target&rdial_pass=pw", {{"REDUNT_TYP", "target"}, {"REDUNT_EX_PORT", "6000"}}},
        // Anything but the exact words: only the type.
        {"redunt_typ=Peer&rdial_pass=pw", {{"REDUNT_TYP", "Peer"}}},
        {"redunt_typ=+simple&rdial_pass=pw", {{"REDUNT_TYP", " simple"}}},
        {"redunt_typ=simple+peer&rdial_pass=pw", {{"REDUNT_TYP", "simple peer"}}}, {"rdial_pass=pw", {{"REDUNT_TYP", ""}}},
    };
    for (const auto& [query, written] : cases) {
        config("redundant.config", file_of(kRedundancy) + file_of(kDial));
        apply(redunt_act, query + fields);
        EXPECT_EQ(config("redundant.config"), file_of(with(kRedundancy, written)) + file_of(kDial)) << query;
    }
}

TEST_F(Handlers, RemoteDialShowsStateAndClientsButNotThePassword)
{
    for (const auto& [opt, shown] : std::vector<std::pair<std::string, std::string>>{  // only exactly "yes" is on
             {"yes", "checked|enabled"}, {"Yes", "|disabled"}, {"yes ", "|disabled"}}) {
        config("redundant.config", file_of(with(kDial, {{"RDIAL_OPT", opt}})));
        EXPECT_EQ(show(crdial_show, "{RDIALSTATE}|{ALLOW}|{RDIAL_PORT}|{IPOPTS}|{IPLIST}|{RDIAL_PASS}"),
                  shown + "|old|\n      <option>10.0.0.1</option>\n      <option>10.0.0.2</option>|" +
                      "10.0.0.1 10.0.0.2 |{RDIAL_PASS}")
            << opt;
    }
    // Clients cut to 15 characters, entries past the count not shown; no count or 0: no clients.
    for (const auto& [count, shown] : std::vector<std::pair<std::string, std::string>>{
             {"RDIAL_CLIENT_N='1'\n", "\n      <option>192.168.100.100</option>|192.168.100.100 "},
             {"RDIAL_CLIENT_N='0'\n", "|"}, {"", "|"}}) {
        config("redundant.config",
               "RDIAL_OPT='yes'\n" + count + "RDIAL_CLIENT_1_IP='192.168.100.1001'\nRDIAL_CLIENT_2_IP='10.0.0.2'\n");
        EXPECT_EQ(show(crdial_show, "{IPOPTS}|{IPLIST}"), shown) << count;
    }
    EXPECT_EQ(records(), "");
    // A count below 0 sizes the client buffers below 0: they cannot be had.
    config("redundant.config", "RDIAL_OPT='yes'\nRDIAL_CLIENT_N='-1'\nRDIAL_CLIENT_1_IP='10.0.0.1'\n");
    expect_report([&] { EXPECT_EQ(show(crdial_show, "{IPOPTS}|{IPLIST}", -1), "{IPOPTS}|{IPLIST}"); },
                  "in file crdial line 36", ENOMEM);
}

TEST_F(Handlers, RemoteDialApplyStoresOnlyWhenSwitchedOn)
{
    const Keys on = {{"RDIAL_OPT", "yes"}, {"RDIAL_PORT", "7000"}, {"RDIAL_PASS", "old"}, {"RDIAL_CLIENT_N", "3"}};
    const std::pair<std::string, std::string> cases[] = {
        // The old entries go, the new ones are appended, the count follows.
        {"rdial_dout=yes&rdial_port=7000&rdial_pass=pw&iplist=10.5.5.5+10.6.6.6++10.7.7.7+",
         file_of(with(on, {{"RDIAL_PASS", "pw"}})) +
             "RDIAL_CLIENT_1_IP='10.5.5.5'\nRDIAL_CLIENT_2_IP='10.6.6.6'\nRDIAL_CLIENT_3_IP='10.7.7.7'\n"},
        // An empty password keeps the stored one; no clients sent leaves none.
        {"rdial_dout=yes&rdial_port=7000&rdial_pass=&iplist=", file_of(with(on, {{"RDIAL_CLIENT_N", "0"}}))},
        // Anything but exactly "yes": switched off, the rest kept.
        {"rdial_dout=yes+no&rdial_port=7000&rdial_pass=pw&iplist=10.5.5.5", file_of(kDial)},
        {"rdial_dout=+yes&rdial_port=7000&rdial_pass=pw&iplist=10.5.5.5", file_of(kDial)},
        {"rdial_port=7000&rdial_pass=pw&iplist=10.5.5.5", file_of(kDial)},
    };
    for (const auto& [query, file] : cases) {
        config("redundant.config", file_of(with(kDial, {{"RDIAL_OPT", "yes"}})));
        apply(crdial_act, query);
        EXPECT_EQ(config("redundant.config"), file) << query;
    }
}

TEST_F(Handlers, TheClockGivesRawYearAndMonthAndTheSystemTime)
{
    const std::pair<time_t, const char*> cases[] = {
        {1767596649, "126|0|5|7|4|9|05.01.2026, 07:04:09|126"},    // 2026-01-05 07:04:09 UTC
        {1709251199, "124|1|29|23|59|59|29.02.2024, 23:59:59|124"},  // a leap day's last second
        {946598400, "99|11|31|0|0|0|31.12.1999, 00:00:00|99"},
    };
    for (const auto& [when, shown] : cases) {
        page("{YEAR}|{MONTH}|{DAY}|{HOUR}|{MIN}|{SEC}|{SYSTEMZEIT}|{YEAR}");
        EXPECT_EQ(cctime_show_clock(when), 0);
        EXPECT_EQ(page(), shown);
    }
    EXPECT_EQ(records(), "");
}
