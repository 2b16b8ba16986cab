// The digital inputs page (item 48), and the redundancy and remote-dial pages (items 41, 42) whose items keep
// no handler.
#include <gtest/gtest.h>

#include "page_support.h"

namespace {

const char kTemplate[] = "{DI1COLOR}|{DI1BGCOL}|{DI1STATE}|{DI2COLOR}|{DI2BGCOL}|{DI2STATE}|"
                         "{DIMSTATE}|{ALLOW}|{CHECK1LH}|{CHECK1HL}|{CHECK2LH}|{CHECK2HL}";
const std::string kOn = "#000000|#EF7B00|on", kOff = "#EF7B00|#000000|off", kNone = "#000000|#C0C0C0|no service";

std::string digin(const std::string& opt, const std::string& t1, const std::string& t2, const std::string& t3,
                  const std::string& t4)
{
    return "# Digital inputs.\nDIGIN_OPT='" + opt + "'\nDIGIN_DI1LH='" + t1 + "'\nDIGIN_DI1HL='" + t2 +
           "'\nDIGIN_DI2LH='" + t3 + "'\nDIGIN_DI2HL='" + t4 + "'\n";
}

void setup(Sandbox& sb)
{
    sb.defaults();
    sb.write_doc("english/distat.tmpl", kTemplate);
    result_page(sb, "distat_head:Inputs\ndistat_rslt:Stored\n");
}

}  // namespace

TEST(DigitalInputsPage, ShowReadsTheFirstDigitOfTheKernelFileAndMarksOnlyExactYes)
{
    // {file content (nullptr: no file), input 1, input 2}
    const struct {
        const char* content;
        const std::string &in1, &in2;
    } cases[] = {{nullptr, kNone, kNone}, {"", kNone, kNone}, {"3\n", kOn, kOn}, {"2", kOff, kOn}, {"10", kOn, kOff},
                 {"0", kOff, kOff},       {"9", kOn, kOn},     {"4", kOff, kOn},  {"x3", kOff, kOff}};
    Sandbox sb;
    setup(sb);
    sb.config("digin.config", digin("no", "yes", "no", "yes", "no"));
    for (const auto& c : cases) {
        if (c.content)
            sb.write("/proc/qx_di", c.content);
        else
            sb.remove("/proc/qx_di");
        CgiResult r = sb.get("item=48");
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, c.in1 + "|" + c.in2 + "||disabled|checked||checked|") << (c.content ? c.content : "none");
    }
    EXPECT_EQ(sb.messages(), Lines{});
    // {digin.config, the marks}
    const Lines marks[] = {{digin("yes", "yes", "yes", "yes", "yes"), "checked||checked|checked|checked|checked"},
                           {digin("Yes", "Yes", "yes ", "yess", ""), "|disabled||||"},
                           {digin("yes", "no", "no", "no", "YES"), "checked|||||"},
                           {"", "|disabled||||"}};
    for (const Lines& c : marks) {
        sb.config("digin.config", c[0]);
        EXPECT_EQ(sb.get("item=48").out, kOff + "|" + kOff + "|" + c[1]) << c[0];
    }
}

TEST(DigitalInputsPage, ApplyStoresTransitionsOnlyWithMonitoringOn)
{
    const std::string old = digin("old", "old", "old", "old", "old");
    const std::pair<std::string, std::string> cases[] = {
        {"dim=yes&di1lh=yes&di1hl=Yes&di2lh=yes+no&di2hl=yes", digin("yes", "yes", "no", "no", "yes")},
        {"dim=yes", digin("yes", "no", "no", "no", "no")},
        // Off, or anything but exactly "yes": only the switch, the transitions stay.
        {"di1lh=yes&di1hl=yes&di2lh=yes&di2hl=yes", digin("no", "old", "old", "old", "old")},
        {"dim=yesyes&di1lh=yes", digin("no", "old", "old", "old", "old")},
    };
    for (const auto& [body, file] : cases) {
        Sandbox sb;
        setup(sb);
        sb.config("digin.config", old);
        CgiResult r = sb.post("item=48&act=1", body);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, "Inputs\n|Stored\n") << body;
        EXPECT_EQ(sb.config("digin.config"), file) << body;
    }
    // The factory file holds every key the page writes.
    Sandbox sb;
    setup(sb);
    sb.post("item=48&act=1", "dim=yes&di1lh=yes&di2hl=yes");
    EXPECT_EQ(sb.config("digin.config"), "# Digital inputs: monitoring and the transitions it reports.\n"
                                         "DIGIN_OPT='yes'\nDIGIN_DI1LH='yes'\nDIGIN_DI1HL='no'\n"
                                         "DIGIN_DI2LH='no'\nDIGIN_DI2HL='yes'\n");
}

TEST(RedundancyPages, ItemsWithoutHandlerPrintTheirTemplatesUnfilled)
{
    Sandbox sb;
    sb.defaults();
    const std::string factory = sb.config("redundant.config");
    const std::string redunt = "{TYP0}{TYP2}|{IFSEL0}|{REDUNT_IP}|{EXT1}|{HEADLINE}";
    const std::string rdial = "{RDIALSTATE}|{ALLOW}|{RDIAL_PORT}|{IPOPTS}|{IPLIST}|{MESSAGE}";
    sb.write_doc("english/redunt.tmpl", redunt);
    sb.write_doc("english/rdial.tmpl", rdial);
    result_page(sb, "crdial_head:Dial head\ncrdial_rslt:Dial stored\n");
    const std::string fields = "redunt_typ=peer&rdial_ip=10.1.1.1&rdial_dout=yes&rdial_port=1&iplist=10.2.2.2+";
    for (const Lines& n : {Lines{"41", redunt}, Lines{"42", rdial}}) {
        CgiResult r = sb.get("item=" + n[0]);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, n[1]);
        // With act the result page goes out as it is, and nothing is stored.
        r = sb.post("item=" + n[0] + "&act=1", fields);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, "{HEADLINE}|{MESSAGE}") << n[0];
        EXPECT_EQ(sb.config("redundant.config"), factory);
    }
    EXPECT_FALSE(sb.exists("/var/log/commands"));
    EXPECT_EQ(sb.messages(), Lines{});
}

TEST(RedundancyPages, ShippedTemplates)
{
    // The inputs page leaves no mark; the two pages without handler go out byte for byte.
    for (const std::string lang : {"english", "deutsch"}) {
        auto shipped = [&](const std::string& name) {
            return read_file(std::string(GWADMIN_SOURCE_DIR) + "/www/" + lang + "/" + name + ".tmpl");
        };
        Sandbox sb;
        sb.defaults();
        sb.write("/proc/qx_di", "2\n");
        for (const char* name : {"distat", "redunt", "rdial"})  // a query's lang is cut to 6 characters
            sb.write_doc(lang.substr(0, 6) + "/" + name + ".tmpl", shipped(name));
        const std::string page = sb.get("item=48&lang=" + lang).out;
        EXPECT_EQ(page.rfind("Content-Type: text/html; charset=utf-8\n", 0), 0u) << lang;
        EXPECT_NE(page.find("\n\n<!DOCTYPE html>"), std::string::npos) << lang;
        EXPECT_NE(page.find("color:#EF7B00;background-color:#000000\">off<"), std::string::npos) << lang;
        EXPECT_NE(page.find("color:#000000;background-color:#EF7B00\">on<"), std::string::npos) << lang;
        size_t open = page.find('{');
        EXPECT_EQ(open, std::string::npos) << lang << ": " << page.substr(open == std::string::npos ? 0 : open, 20);
        for (const Lines& n : {Lines{"41", "redunt"}, Lines{"42", "rdial"}})
            EXPECT_EQ(sb.get("item=" + n[0] + "&lang=" + lang).out, shipped(n[1])) << lang << " " << n[1];
    }
}
