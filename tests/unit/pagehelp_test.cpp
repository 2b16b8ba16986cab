// The helpers the pages are written with.
#include "render/pagehelp.h"

#include "conf/conf.h"
#include "unit_support.h"

namespace {

const Option ROWS[] = {{"static", "Static"}, {"dhcp", "DHCP"}};

TEST(OptionList, StylesAndMatchesAsThePagesWriteThem)
{
    const OptionStyle tight = {"    ", "", " selected", match_exact};
    EXPECT_EQ(option_list(ROWS, "dhcp", tight),
              "\n    <option value=\"static\">Static</option>\n    <option value=\"dhcp\" selected>DHCP</option>");
    const OptionStyle spaced = {"      ", " ", "selected", match_exact};
    EXPECT_EQ(option_list(ROWS, "static", spaced),
              "\n      <option value=\"static\" selected>Static</option>\n      <option value=\"dhcp\" >DHCP</option>");
    // Matching over the stored value's length: a prefix of an option, or
    // nothing at all, selects it.
    const OptionStyle prefix = {"    ", "", " selected", match_stored_prefix};
    EXPECT_EQ(option_list(ROWS, "stat", prefix),
              "\n    <option value=\"static\" selected>Static</option>\n    <option value=\"dhcp\">DHCP</option>");
    EXPECT_EQ(option_list(ROWS, "", prefix).find("\">"), std::string::npos);
    EXPECT_EQ(option_list(ROWS, "statics", prefix).find("selected"), std::string::npos);
    EXPECT_EQ(option_list(ROWS, "", tight).find("selected"), std::string::npos);
    // Markup in a row is written escaped; the stored value is matched as it is.
    const Option odd[] = {{"a\"b", "<i>&"}};
    EXPECT_EQ(option_list(odd, "a\"b", tight), "\n    <option value=\"a&quot;b\" selected>&lt;i&gt;&amp;</option>");
}

TEST(YesNo, PrefixAndExactTestsDiffer)
{
    EXPECT_TRUE(yes_prefix("yesterday"));
    EXPECT_FALSE(yes_exact("yesterday"));
    EXPECT_TRUE(yes_exact("yes"));
    EXPECT_FALSE(yes_prefix("Yes"));
    EXPECT_FALSE(yes_prefix("ye"));
    EXPECT_STREQ(yes_no(true), "yes");
    EXPECT_STREQ(yes_no(false), "no");
    EXPECT_STREQ(mark_if(false, " checked"), "");
}

class PageHelp : public SandboxTest {};

TEST_F(PageHelp, ResultPageTakesTheModulesMessagesCutToTheBuffer)
{
    messages("x_head:Saved\nx_rslt:All settings were stored\n");
    page("<h1>{HEADLINE}</h1><p>{MESSAGE}</p>");
    page_result("x");
    EXPECT_EQ(page(), "<h1>Saved\n</h1><p>All settings were stored\n</p>");
    page("{HEADLINE}|{MESSAGE}");
    page_result("x", 5);
    EXPECT_EQ(page(), "Save|All ");
}

TEST_F(PageHelp, TextFieldsAreStoredAsSentAndShownCut)
{
    config("a.config", "HOST='old'\nDOMAIN='old'\n");
    const TextField fields[] = {{"host", "HOST", "{H}"}, {"domain", "DOMAIN", "{D}"}};
    request("host=router&domain=example.org");
    store_texts("a.config", fields);
    EXPECT_EQ(config("a.config"), "HOST='router'\nDOMAIN='example.org'\n");
    page("{H}.{D}");
    show_texts("a.config", fields, 5);
    EXPECT_EQ(page(), "rout.exam");
}

TEST_F(PageHelp, ListFieldRoundTrip)
{
    config("l.config", "HOST_N='1'\nHOST_1_IP='10.0.0.1'\n");
    // Plain-list entries of 9 bytes: values cut to 8 characters.
    const ListField ip = {"HOST", "IP", "iplist", "{OPTS}", "{LIST}", 33, 9, "in file x line 1"};
    request("iplist=10.0.0.2+10.0.0.3456789");
    ASSERT_EQ(list_store("l.config", ip, 1), 0);
    EXPECT_EQ(config("l.config"), "HOST_N='2'\nHOST_1_IP='10.0.0.2'\nHOST_2_IP='10.0.0.3456789'\n");
    page("[{OPTS}][{LIST}]");
    ASSERT_EQ(list_show("l.config", ip, 2), 0);
    EXPECT_EQ(page(), "[\n      <option>10.0.0.2</option>\n      <option>10.0.0.3</option>][10.0.0.2 10.0.0.3 ]");
    // An empty list leaves both marks empty.
    config("l.config", "HOST_N='0'\n");
    page("[{OPTS}][{LIST}]");
    ASSERT_EQ(list_show("l.config", ip, 0), 0);
    EXPECT_EQ(page(), "[][]");
}

}  // namespace
