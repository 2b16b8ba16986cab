// The modem page (item 7, "modem.config") and the dial-out page (item 9, "dialout.config").

#include "page_support.h"

namespace {

const std::string KORU = "MX-RT-210B-KORU", ANALOG = "MX-RT-210B-AN-KORU", ISDN = "MX-RT-210B-ISDN-KORU",
                  GSM = "MX-RT-210B-GSM-KORU";

std::string countries(const std::string& selected) { return country_options(selected, true); }

const std::string kAtLong = "AT+CGDCONT=1,\"IP\",\"internet.example\"";  // 37 characters, shown as 31, escaped
const std::string kModemFile =
    "# Modems.\nEXT_MODEM_TYPE='none'\nINT_MODEM_COUNTRY_CODE='09'\nINT_MODEM_ISDN_MSN='4711'\n"
    "INT_MODEM_GSM_ATCMD='" + kAtLong + "'\nINT_MODEM_GSM_PIN='1234'\nEXT_MODEM_COUNTRY_CODE='04x'\n"
    "EXT_MODEM_ISDN_MSN='0815'\nEXT_MODEM_GSM_ATCMD='ATZ'\nEXT_MODEM_GSM_PIN='9999'\n";

// The model ("": no /etc/deviceID), modem.config and the template of the page.
void setup(const Sandbox& sb, const std::string& model, const std::string& modem, const std::string& page,
           const std::string& tmpl)
{
    page_setup(sb, page, tmpl, "modint_head:Modems\nmodint_rslt:Stored\ndiaout_head:Dial-out\ndiaout_rslt:Stored\n"
                               "diaout_not_configured:No modem\n");
    if (!model.empty())
        sb.write("/etc/deviceID", model + "\n");
    sb.config("modem.config", modem);
}

}  // namespace

TEST(ModemPage, ShowFillsTheInternalModemOfTheModelAndTheExternalOne)
{
    const std::string tmpl = "{EXT_MODEM_POS}|{INTERNAL_MODEM_FIELD}|{ANALOG_MODEM}|{ISDN_MODEM}|{GSM_MODEM}|"
                             "{INT_COUNTRY_LIST}|{INT_ISDN_MSN}|{INT_GSM_ATCMD}|{INT_GSM_PIN}|"
                             "{EXT_COUNTRY_LIST}|{EXT_ISDN_MSN}|{EXT_GSM_ATCMD}|{EXT_GSM_PIN}";
    const std::string ext = "|" + countries("04") + "|0815|ATZ|9999";  // "04x" counts as "04"
    const std::string none = "|{ANALOG_MODEM}|{ISDN_MODEM}|{GSM_MODEM}|{INT_COUNTRY_LIST}|{INT_ISDN_MSN}|"
                             "{INT_GSM_ATCMD}|{INT_GSM_PIN}" + ext;
    auto field = [](const std::string& kind) {
        return "250px|<fieldset style=\"height:100px;\"><legend>" + kind + " Modem (intern) </legend></fieldset>|";
    };
    const Lines cases[] = {  // {model, page}
        {KORU, "110px|\n" + none}, {KORU + "-X", "110px|\n" + none},
        {"MX-RT-210B", "250px|{INTERNAL_MODEM_FIELD}" + none},
        {ANALOG, field("Analog") + "visible|hidden|hidden|" + countries("09") +
                     "|{INT_ISDN_MSN}|{INT_GSM_ATCMD}|{INT_GSM_PIN}" + ext},
        {ISDN, field("ISDN") + "hidden|visible|hidden|{INT_COUNTRY_LIST}|4711|{INT_GSM_ATCMD}|{INT_GSM_PIN}" + ext},
        {GSM, field("GSM") + "hidden|hidden|visible|{INT_COUNTRY_LIST}|{INT_ISDN_MSN}|" +
                  "AT+CGDCONT=1,&quot;IP&quot;,&quot;internet.exa|1234" + ext},
        {"", error_page("in file modint line 121", "No such file or directory")},
    };
    for (const Lines& c : cases) {
        Sandbox sb;
        setup(sb, c[0], kModemFile, "modint", tmpl);
        EXPECT_EQ(sb.get("item=7").out, c[1]) << c[0];
    }
    // The type buttons check every type the stored value begins.
    auto radios = [](const std::string& marks) {
        std::string out;
        for (int i = 0; i < 3; ++i)
            out += "\n    <input type=\"radio\" name=\"Modemtype\" value=\"" + Lines{"none", "analog", "dsl"}[i] +
                   "\" " + (marks[i] == '1' ? "checked" : "") + " onclick=\"chooseDiv(" + std::to_string(i) +
                   ");\">" + Lines{"None", "Analog", "DSL"}[i];
        return out;
    };
    // {stored type ("-": no line), checked, section, country code, selected}
    const Lines types[] = {{"-", "111", "0", "4", ""},      {"none", "100", "0", "B3", "B3"},
                           {"a", "010", "1", "9F", "9F"},   {"dsl", "001", "2", "", ""},
                           {"isdn", "000", "{EXT_MODEM_TYPE}", "b3", ""},
                           {"gsm", "000", "{EXT_MODEM_TYPE}", "AE", "AE"}};  // TR's code
    for (const Lines& c : types) {
        Sandbox sb;
        setup(sb, KORU, edit_conf(kModemFile, {{"EXT_MODEM_TYPE", c[0]}, {"EXT_MODEM_COUNTRY_CODE", c[3]}}),
              "modint", "{EXT_RADIO_OPTS}|{EXT_MODEM_TYPE}|{EXT_COUNTRY_LIST}");
        EXPECT_EQ(sb.get("item=7").out, radios(c[1]) + "|" + c[2] + "|" + countries(c[4])) << c[0];
    }
}

TEST(ModemPage, ApplyStoresTheModelsInternalModemAndTheChosenExternalType)
{
    const std::string body = "INT_country=0A&INT_msn=m1&INT_pinAT=AT1&INT_pin=1111&EXT_country=9F&EXT_msn=m2&"
                             "EXT_pinAT=AT2&EXT_pin=2222&Modemtype=";
    // Country, MSN and GSM settings of each modem.
    const std::vector<Lines> in[] = {{{"INT_MODEM_COUNTRY_CODE", "0A"}}, {{"INT_MODEM_ISDN_MSN", "m1"}},
                                     {{"INT_MODEM_GSM_ATCMD", "AT1"}, {"INT_MODEM_GSM_PIN", "1111"}}, {}};
    const std::vector<Lines> ex[] = {{{"EXT_MODEM_COUNTRY_CODE", "9F"}}, {{"EXT_MODEM_ISDN_MSN", "m2"}},
                                     {{"EXT_MODEM_GSM_ATCMD", "AT2"}, {"EXT_MODEM_GSM_PIN", "2222"}}, {}};
    const struct {
        std::string model, type;
        int in, ex;  // 3: nothing
    } cases[] = {{KORU, "none", 3, 3},    {ANALOG, "analog", 0, 0}, {ISDN, "analogue", 1, 0}, {GSM, "isdn", 2, 1},
                 {KORU + "\n", "gsm", 3, 2}, {"MX-RT", "", 3, 3},  {ANALOG, "Analog", 0, 3}};
    for (const auto& c : cases) {
        Sandbox sb;
        setup(sb, c.model, kModemFile, "modint", "");
        EXPECT_EQ(sb.post("item=7&act=1", body + c.type).out, "Modems\n|Stored\n") << c.model << " " << c.type;
        EXPECT_EQ(sb.config("modem.config"),
                  edit_conf(kModemFile, concat(concat(in[c.in], {{"EXT_MODEM_TYPE", c.type}}), ex[c.ex])))
            << c.model << " " << c.type;
    }
    // Without the model nothing is stored, not even the type.
    Sandbox sb;
    setup(sb, "", kModemFile, "modint", "");
    EXPECT_EQ(sb.post("item=7&act=1", body + "dsl").out,
              error_page("in file modint line 221", "No such file or directory"));
    EXPECT_EQ(sb.config("modem.config"), kModemFile);
}

namespace {

const std::string kDialTmpl = "{DIALOUT_VISIBILITY}|{NO_DIALOUT_MESSAGE}|{DIALOUT_DEV}|{ALLOW}|"
                              "{DIALOUT_ANALOG_VISIBILITY}|{CMND}|{DELAY}|{APN}|{DOUTNUM}|{DOUTDELAY}|";
const std::string kListTmpl =
    "{NAMEOPTS}|{NAMELIST}|{NMBOPTS}|{NMBLIST}|{USROPTS}|{USRLIST}|{PASSLIST}|{SELNO}|{SELNAME}";
const std::string kDialFile = "# Dial-out.\nDIALOUT_DEV='ttyS1'\nDIALOUT_MTU='1492'\nDIALOUT_MRU='1492'\n"
                              "DIALOUT_MODEM_CMD='ATZ'\nDIALOUT_IDLE_TIME='300'\nDIALOUT_RETRIES='3'\n"
                              "DIALOUT_RETRY_DELAY='30'\nDIALOUT_GPRS_APN='web'\nDIALOUT_ISP_ACTIVE='1'\n"
                              "DIALOUT_ISP_N='0'\n";

void dial_setup(const Sandbox& sb, const std::string& model, const std::string& type, const std::string& dial)
{
    setup(sb, model, "EXT_MODEM_TYPE='" + type + "'\n", "diaout", kDialTmpl + kListTmpl);
    sb.config("dialout.config", dial);
}

}  // namespace

TEST(DialOutPage, ShowOffersTheModemsPresentAndTheStoredDeviceWhileItsModemIsThere)
{
    // {model ("": none readable), modem type, stored device, marks of none/internal/external ("-": not offered), state}
    const Lines cases[] = {
        {KORU, "analog", "ttyS1", "1-0", "disabled"},  {KORU, "analog", "ttyS2", "0-1", "enabled"},
        {ANALOG, "none", "ttyS2", "10-", "disabled"},  {ANALOG, "dsl", "ttyS2", "100", "disabled"},
        {ANALOG, "dsl", "eth1", "001", "enabled"},     {ANALOG, "analog", "eth1", "100", "disabled"},
        {ANALOG, "dsl", "eth1x", "000", "enabled"},    {"MX-RT", "none", "ttyS1", "01-", "enabled"},
        {"", "none", "ttyS1", "01-", "enabled"},       {ISDN, "isdn", "", "111", "enabled"},
        {ISDN, "gsm", "ttyS2xyz", "001", "enabled"},
    };
    const Lines devices = {"none", "None", "internal", "Intern", "external", "Extern"};
    for (const Lines& c : cases) {
        Sandbox sb;
        dial_setup(sb, c[0], c[1], edit_conf(kDialFile, {{"DIALOUT_DEV", c[2]}}));
        EXPECT_EQ(sb.get("item=9").out, (c[0].empty() ? error_page("in file diaout line 26", "No such file or "
                                                                   "directory") : "") + "visible||" +
                                            offered_options(devices, c[3]) + "|" + c[4] +
                                            (c[1] == "dsl" ? "|hidden|{CMND}" : "|visible|ATZ") + "|300|web|3|30||||||||1|")
            << c[0] << " " << c[1] << " " << c[2];
    }
    Sandbox sb;  // no modem at all: only the message
    dial_setup(sb, KORU + "-2", "nonexistent", kDialFile);
    EXPECT_EQ(sb.get("item=9").out,
              "hidden|No modem\n|" + kDialTmpl.substr(kDialTmpl.find("{DIALOUT_DEV}")) + kListTmpl);
    // The providers cut; the active one's name is not cut, and an entry past the count is still found.
    const std::string name2 = "a-provider-name-of-25-chr", user = std::string(70, 'u'), pass = std::string(35, 'p');
    const std::string list = "DIALOUT_ISP_N='2'\nDIALOUT_ISP_1_NAME='one'\nDIALOUT_ISP_1_NUM='0123456789012345678901'\n"
                             "DIALOUT_ISP_1_USER='" + user + "'\nDIALOUT_ISP_1_PASS='" + pass + "'\n"
                             "DIALOUT_ISP_2_NAME='" + name2 + "'\nDIALOUT_ISP_2_NUM='2'\nDIALOUT_ISP_2_USER='x\"y'\n"
                             "DIALOUT_ISP_2_PASS='s'\nDIALOUT_ISP_3_NAME='beyond'\n";
    const std::string shown = list_options({"one", name2.substr(0, 20)}) + "|one " + name2.substr(0, 20) + " |" +
                              list_options({"01234567890123456789", "2"}) + "|01234567890123456789 2 |" +
                              list_options({user.substr(0, 63), "x&quot;y"}) + "|" + user.substr(0, 63) +
                              " x&quot;y |" + pass.substr(0, 30) + " s |";
    for (const Lines& c : {Lines{"2", name2}, Lines{"3", "beyond"}, Lines{"", ""}}) {  // {active provider, its name}
        dial_setup(sb, GSM, "none",
                   edit_conf(kDialFile, {{"DIALOUT_ISP_ACTIVE", c[0]}, {"DIALOUT_ISP_N", "-"}}) + list);
        sb.write_doc("english/diaout.tmpl", kListTmpl);
        EXPECT_EQ(sb.get("item=9").out, shown + c[0] + "|" + c[1]) << c[0];
    }
}

TEST(DialOutPage, ApplyStoresTheDeviceByModemAndThenTheRest)
{
    const std::string file = edit_conf(kDialFile, {{"DIALOUT_ISP_N", "1"}}) +
                             "DIALOUT_ISP_1_NUM='n'\nDIALOUT_ISP_1_USER='u'\nDIALOUT_ISP_1_PASS='p'\n"
                             "DIALOUT_ISP_1_NAME='o'\nDIALOUT_ISP_2_NUM='n2'\n";
    const std::string body = "Cmnd=AT%26F&Timeout=90&doutnum=5&doutdelay=10&numberlist=0191+0192+&"
                             "userlist=me+you+&passlist=s1+s2+&selno=2&dialout_dev=";
    const std::string rest = "DIALOUT_ISP_2_NUM='n2'\nDIALOUT_ISP_1_NUM='0191'\nDIALOUT_ISP_2_NUM='0192'\n"
                             "DIALOUT_ISP_1_USER='me'\nDIALOUT_ISP_2_USER='you'\nDIALOUT_ISP_1_PASS='s1'\n"
                             "DIALOUT_ISP_2_PASS='s2'\nDIALOUT_ISP_1_NAME='isp'\n";
    const std::vector<Lines> redial = {{"DIALOUT_IDLE_TIME", "90"}, {"DIALOUT_RETRIES", "5"},
                                       {"DIALOUT_RETRY_DELAY", "10"}, {"DIALOUT_ISP_ACTIVE", "2"},
                                       {"DIALOUT_ISP_N", "1"}};  // the count of the names
    const std::vector<Lines> modem = {{"DIALOUT_MTU", "576"}, {"DIALOUT_MRU", "576"}, {"DIALOUT_MODEM_CMD", "AT&F"}};
    const struct {
        std::string dev, type;
        std::vector<Lines> edits;
    } cases[] = {
        {"internal", "dsl", concat({{"DIALOUT_DEV", "ttyS1"}}, modem)},
        {"externally", "analog", concat({{"DIALOUT_DEV", "ttyS2"}}, modem)},
        {"external", "dslx", {{"DIALOUT_DEV", "eth1"}}},  // MTU and MRU stay 1492, no command
        {"bogus", "dsl", {{"DIALOUT_MTU", "576"}, {"DIALOUT_MRU", "576"}}},
    };
    for (const auto& c : cases) {
        Sandbox sb;
        dial_setup(sb, ANALOG, c.type, file);
        EXPECT_EQ(applied(sb, "9", body + c.dev + "&namelist=isp+", "dialout.config"),
                  "Dial-out\n|Stored\n|" + edit_conf(kDialFile, concat(c.edits, redial)) + rest) << c.dev;
    }
    // "none": only the device and the packet sizes, and no texts on the result page.
    Sandbox sb;
    dial_setup(sb, ANALOG, "dsl", file);
    EXPECT_EQ(sb.post("item=9&act=1", body + "nonesuch").out, "{HEADLINE}|{MESSAGE}");
    EXPECT_EQ(sb.config("dialout.config"),
              edit_conf(file, {{"DIALOUT_DEV", "none"}, {"DIALOUT_MTU", "576"}, {"DIALOUT_MRU", "576"}}));
}
