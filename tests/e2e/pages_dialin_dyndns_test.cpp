// The dial-in page (item 11) and the dynamic DNS page (item 10).

#include "page_support.h"

namespace {

const char kDialinFile[] = "# Dial-in.\nDIALIN_DEV='ttyS1'\nDIALIN_MODE='dialin'\nDIALIN_USER='old'\n"
                           "DIALIN_PASS='oldpw'\nDIALIN_LOCAL_IP='10.1.1.1'\nDIALIN_PEER_IP='10.1.1.2'\n"
                           "DIALIN_INIT_AT='ATZ'\nDIALIN_MASQ='no'\n";
const std::string kGsm = "MX-RT-210B-GSM-KORU", kBare = "MX-RT-210B-KORU";

// The model ("": no /etc/deviceID), the external modem type ("-": no line) and the dial-in settings.
void dialin_setup(const Sandbox& sb, const std::string& model, const std::string& modem,
                  const std::string& dialin = kDialinFile)
{
    page_setup(sb, "dialin", "{DIALIN_VISIBILITY}|{NO_DIALIN_MESSAGE}|{DIALIN_MODE}|{DIALIN_DEV}|{ALLOW}|{USER}|"
                             "{LOCAL_IP}|{PEER_IP}|{INIT_AT}|{MASQ}",
               "dialin_head:Dial-in\ndialin_rslt:Saved\ndialin_not_configured:No modem\n");
    if (!model.empty())
        sb.write("/etc/deviceID", model);
    sb.config("modem.config", modem == "-" ? "INT_MODEM_GSM_PIN='1234'\n" : "EXT_MODEM_TYPE='" + modem + "'\n");
    sb.config("dialin.config", dialin);
}

// The page: the mode buttons (checked[i] == '1' marks button i, each carrying the state), the line options
// (marks of none, ttyS1 and ttyS2, "-": not offered), the state and the texts.
std::string dialin_page(const std::string& checked, const std::string& lines, const std::string& state,
                        const std::string& user = "old", const std::string& masq = "")
{
    std::string out = "visible||";
    for (int i = 0; i < 2; ++i)
        out += "\n    <input type=\"radio\" name=\"mode\" value=\"" + Lines{"dialin", "callback"}[i] + "\" " +
               (checked[i] == '1' ? "checked" : "") + " " + state + ">" + Lines{"DialIn", "Callback"}[i];
    return out + "|" + offered_options({"none", "None", "ttyS1", "Intern", "ttyS2", "Extern"}, lines) + "|" + state +
           "|" + user + "|10.1.1.1|10.1.1.2|ATZ|" + masq;
}

}  // namespace

TEST(DialinPage, ShowOffersTheLinesThatHaveAModem)
{
    // {model, modem type, stored line, line marks, state}
    const Lines cases[] = {
        {kGsm, "none", "ttyS1", "01-", "enabled"},      {kGsm, "analog", "ttyS2", "001", "enabled"},
        {kGsm, "none", "ttyS2", "10-", "disabled"},     // no external modem: off
        {kBare, "analog", "ttyS1", "1-0", "disabled"},  // no internal modem: off
        {"XYZ", "dsl", "ttyS2", "001", "enabled"},      // unknown model; DSL keeps its row
        {kBare + "-X\n", "-", "", "1-1", "enabled"},    // empty value selects every row
        {"MX-RT-210B-AN-KORU", "none", "nonesuch", "00-", "disabled"},
        {"", "none", "ttyS1", "01-", "enabled"},  // no model: reported, taken as one with a modem
    };
    for (const Lines& c : cases) {
        Sandbox sb;
        dialin_setup(sb, c[0], c[1], edit_conf(kDialinFile, {{"DIALIN_DEV", c[2]}}));
        EXPECT_EQ(sb.get("item=11").out, (c[0].empty() ? error_page("in file dialin line 27", "No such file or "
                                                                    "directory") : "") + dialin_page("10", c[3], c[4]))
            << c[0] << " " << c[1] << " " << c[2];
    }
    // Without a modem that can answer: only the message.
    for (const char* modem : {"nonexistent", "dsl2"}) {
        Sandbox sb;
        dialin_setup(sb, kBare + "\n", modem);
        EXPECT_EQ(sb.get("item=11").out,
                  "hidden|No modem\n|{DIALIN_MODE}|{DIALIN_DEV}|{ALLOW}|{USER}|{LOCAL_IP}|{PEER_IP}|{INIT_AT}|{MASQ}")
            << modem;
    }
    // {mode ("-": no line), checked buttons, masq, mark}; a mode under two characters counts as "dialin".
    const Lines modes[] = {{"-", "10", "yes", "checked"}, {"c", "10", "yesterday", "checked"}, {"ca", "01", "Yes", ""},
                           {"callback", "01", "no", ""},  {"dialin", "10", "-", ""},           {"dialing", "00", "y", ""}};
    Sandbox sb;
    for (const Lines& c : modes) {
        dialin_setup(sb, kGsm, "analog", edit_conf(kDialinFile, {{"DIALIN_MODE", c[0]}, {"DIALIN_MASQ", c[2]}}));
        EXPECT_EQ(sb.get("item=11").out, dialin_page(c[1], "010", "enabled", "old", c[3])) << c[0] << " " << c[2];
    }
    // The shown texts are cut to 63 characters.
    EXPECT_EQ(shown(sb, "item=11", "dialin.config", edit_conf(kDialinFile, {{"DIALIN_USER", std::string(70, 'u')}})),
              dialin_page("10", "010", "enabled", std::string(63, 'u')));
}

TEST(DialinPage, ApplyStoresTheLinkUnlessSwitchedOff)
{
    const std::string link = "&mode=callback&user=bob&pass=&localip=1.1.1.1&peerip=2.2.2.2&initat=ATS0=1";
    const Lines cases[] = {  // {body, file, page}
        {"dialin_dev=ttyS2" + link + "&masq=yesplease",
         edit_conf(kDialinFile, {{"DIALIN_DEV", "ttyS2"}, {"DIALIN_MODE", "callback"}, {"DIALIN_USER", "bob"},
                                 {"DIALIN_PASS", ""}, {"DIALIN_LOCAL_IP", "1.1.1.1"}, {"DIALIN_PEER_IP", "2.2.2.2"},
                                 {"DIALIN_INIT_AT", "ATS0=1"}, {"DIALIN_MASQ", "yes"}}),
         "Dial-in\n|Saved\n"},
        {"dialin_dev=x&mode=c&pass=secret&masq=Yes",
         edit_conf(kDialinFile, {{"DIALIN_DEV", "x"}, {"DIALIN_MODE", "c"}, {"DIALIN_USER", ""},
                                 {"DIALIN_PASS", "secret"}, {"DIALIN_LOCAL_IP", ""}, {"DIALIN_PEER_IP", ""},
                                 {"DIALIN_INIT_AT", ""}, {"DIALIN_MASQ", "no"}}),
         "Dial-in\n|Saved\n"},
        // Off: only the line is stored and the result page keeps its marks.
        {"dialin_dev=nonesuch" + link + "&masq=yes", edit_conf(kDialinFile, {{"DIALIN_DEV", "nonesuch"}}),
         "{HEADLINE}|{MESSAGE}"},
    };
    for (const Lines& c : cases) {
        Sandbox sb;
        dialin_setup(sb, kGsm, "analog");
        EXPECT_EQ(applied(sb, "11", c[0], "dialin.config"), c[2] + "|" + c[1]) << c[0];
    }
}

TEST(DyndnsPage, ShowSelectsEveryProviderTheStoredValueBeginsAndApplyKeepsTheAccountForNone)
{
    const char file[] = "# Dynamic DNS.\nDYNDNS_PROVIDER='tzo'\nDYNDNS_HOST='gw.example.org'\nDYNDNS_USER='me'\n"
                        "DYNDNS_PASS='oldpw'\n";
    auto providers = [](const std::string& marks) {
        return option_lines({"none", "None", "hn", "hn.org", "regfish", "regfish.de", "eurodyndns", "eurodyndns.org",
                             "noip", "no-ip.com", "dyndns", "dyndns.org", "tzo", "tzo.com", "changeip",
                             "changeip.com", "ovh", "ovh.com", "ods", "ods.org"}, marks);
    };
    Sandbox sb;
    page_setup(sb, "dyndns", "{ENABLED}|{PROVIDER_LIST}|{HOST}|{USER}", "dyndns_head:Dynamic DNS\ndyndns_rslt:Saved\n");
    // {provider ("-": no line), marks, state}
    const Lines cases[] = {{"-", "1111111111", "enabled"},        {"none", "1000000000", "disabled"},
                           {"o", "0000000011", "enabled"},        {"dyndns", "0000010000", "enabled"},
                           {"nonesuch", "0000000000", "disabled"}, {"e", "0001000000", "enabled"}};
    for (const Lines& c : cases)
        EXPECT_EQ(shown(sb, "item=10", "dyndns.config", edit_conf(file, {{"DYNDNS_PROVIDER", c[0]}})),
                  c[2] + "|" + providers(c[1]) + "|gw.example.org|me") << c[0];
    // Host and user are shown cut to 31 characters; the password never.
    const std::string host(40, 'h'), user(40, 'u');
    sb.config("dyndns.config", edit_conf(file, {{"DYNDNS_HOST", host}, {"DYNDNS_USER", user}}));
    EXPECT_EQ(sb.get("item=10").out,
              "enabled|" + providers("0000001000") + "|" + host.substr(0, 31) + "|" + user.substr(0, 31));
    const Lines applies[] = {  // {body, file after}
        {"DDNS_Provider=noip&DDNS_Host=h.no-ip.org&DDNS_User=al&DDNS_Pass=s3cret",
         edit_conf(file, {{"DYNDNS_PROVIDER", "noip"}, {"DYNDNS_HOST", "h.no-ip.org"}, {"DYNDNS_USER", "al"},
                          {"DYNDNS_PASS", "s3cret"}})},
        {"DDNS_Provider=ovh&DDNS_Host=&DDNS_User=bo&DDNS_Pass=",
         edit_conf(file, {{"DYNDNS_PROVIDER", "ovh"}, {"DYNDNS_HOST", ""}, {"DYNDNS_USER", "bo"}})},
        {"DDNS_Provider=nonesuch&DDNS_Host=x&DDNS_User=y&DDNS_Pass=z", edit_conf(file, {{"DYNDNS_PROVIDER", "nonesuch"}})},
        {"", edit_conf(file, {{"DYNDNS_PROVIDER", ""}, {"DYNDNS_HOST", ""}, {"DYNDNS_USER", ""}})},
    };
    for (const Lines& c : applies) {
        sb.config("dyndns.config", file);
        EXPECT_EQ(applied(sb, "10", c[0], "dyndns.config"), "Dynamic DNS\n|Saved\n|" + c[1]) << c[0];
    }
}
