// The digital inputs page (item 48). (The redundancy and remote-dial items 41 and 42 keep no handler: the main
// flow tests show that they print their templates as they are.)

#include "page_support.h"

namespace {

const std::string kOn = "#000000|#EF7B00|on", kOff = "#EF7B00|#000000|off", kNone = "#000000|#C0C0C0|no service";

std::string digin(const std::string& opt, const std::string& t1, const std::string& t2, const std::string& t3,
                  const std::string& t4)
{
    return "# Digital inputs.\nDIGIN_OPT='" + opt + "'\nDIGIN_DI1LH='" + t1 + "'\nDIGIN_DI1HL='" + t2 +
           "'\nDIGIN_DI2LH='" + t3 + "'\nDIGIN_DI2HL='" + t4 + "'\n";
}

void setup(const Sandbox& sb)
{
    page_setup(sb, "distat", "{DI1COLOR}|{DI1BGCOL}|{DI1STATE}|{DI2COLOR}|{DI2BGCOL}|{DI2STATE}|{DIMSTATE}|{ALLOW}|"
                             "{CHECK1LH}|{CHECK1HL}|{CHECK2LH}|{CHECK2HL}", "distat_head:Inputs\ndistat_rslt:Stored\n");
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
        EXPECT_EQ(sb.get("item=48").out, c.in1 + "|" + c.in2 + "||disabled|checked||checked|")
            << (c.content ? c.content : "none");
    }
    EXPECT_EQ(sb.messages(), Lines{});
    // {digin.config, the marks}
    const Lines marks[] = {{digin("yes", "yes", "yes", "yes", "yes"), "checked||checked|checked|checked|checked"},
                           {digin("Yes", "Yes", "yes ", "yess", ""), "|disabled||||"},
                           {digin("yes", "no", "no", "no", "YES"), "checked|||||"},
                           {"", "|disabled||||"}};
    for (const Lines& c : marks) {
        EXPECT_EQ(shown(sb, "item=48", "digin.config", c[0]), kOff + "|" + kOff + "|" + c[1]) << c[0];
    }
}

TEST(DigitalInputsPage, ApplyStoresTransitionsOnlyWithMonitoringOn)
{
    const std::string old = digin("old", "old", "old", "old", "old");
    const Lines cases[] = {  // {body, file after}
        {"dim=yes&di1lh=Yes&di1hl=yes&di2lh=yes+no&di2hl=yes", digin("yes", "no", "yes", "no", "yes")},
        {"dim=yes&di1lh=yes&di2lh=yes", digin("yes", "yes", "no", "yes", "no")},
        // Off, or anything but exactly "yes": only the switch, the transitions stay.
        {"di1lh=yes&di1hl=yes&di2lh=yes&di2hl=yes", digin("no", "old", "old", "old", "old")},
        {"dim=yesyes&di1lh=yes", digin("no", "old", "old", "old", "old")},
    };
    for (const Lines& c : cases) {
        Sandbox sb;
        setup(sb);
        sb.config("digin.config", old);
        EXPECT_EQ(applied(sb, "48", c[0], "digin.config"), "Inputs\n|Stored\n|" + c[1]) << c[0];
    }
}
