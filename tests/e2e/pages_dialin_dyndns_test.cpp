// The dial-in page (item 11) and the dynamic DNS page (item 10).
#include <gtest/gtest.h>

#include "page_support.h"

namespace {

const char kDialinFile[] = "# Dial-in.\nDIALIN_DEV='ttyS1'\nDIALIN_MODE='dialin'\nDIALIN_USER='old'\n"
                           "DIALIN_PASS='oldpw'\nDIALIN_LOCAL_IP='10.1.1.1'\nDIALIN_PEER_IP='10.1.1.2'\n"
                           "DIALIN_INIT_AT='ATZ'\nDIALIN_MASQ='no'\n";
const std::string kGsm = "MX-RT-210B-GSM-KORU", kBare = "MX-RT-210B-KORU";
const std::string kShown = "|old|10.1.1.1|10.1.1.2|ATZ|";

// The model ("": no /etc/deviceID) and the external modem type ("-": no line).
void dialin_setup(Sandbox& sb, const std::string& model, const std::string& modem)
{
    sb.defaults();
    if (!model.empty())
        sb.write("/etc/deviceID", model);
    sb.config("modem.config", modem == "-" ? "INT_MODEM_GSM_PIN='1234'\n" : "EXT_MODEM_TYPE='" + modem + "'\n");
    sb.write_doc("english/dialin.tmpl", "{DIALIN_VISIBILITY}|{NO_DIALIN_MESSAGE}|{DIALIN_MODE}|{DIALIN_DEV}|{ALLOW}|"
                                        "{USER}|{LOCAL_IP}|{PEER_IP}|{INIT_AT}|{MASQ}");
    result_page(sb, "dialin_head:Dial-in\ndialin_rslt:Saved\ndialin_not_configured:No modem\n");
}

// The mode buttons; checked[i] == '1' marks button i. Each carries the inputs' state.
std::string radios(const std::string& checked, const std::string& allow)
{
    std::string out;
    for (int i = 0; i < 2; ++i)
        out += "\n    <input type=\"radio\" name=\"mode\" value=\"" + Lines{"dialin", "callback"}[i] + "\" " +
               (checked[i] == '1' ? "checked" : "") + " " + allow + ">" + Lines{"DialIn", "Callback"}[i];
    return out;
}

// The line options: marks of none, ttyS1 and ttyS2 ("-": not offered).
std::string lines(const std::string& marks)
{
    return offered_options({"none", "None", "ttyS1", "Intern", "ttyS2", "Extern"}, marks);
}

}  // namespace

TEST(DialinPage, ShowOffersTheLinesThatHaveAModem)
{
    // {model, modem type, stored line, line marks, state}
    const Lines cases[] = {
        {kGsm, "none", "ttyS1", "01-", "enabled"},       {kGsm, "analog", "ttyS2", "001", "enabled"},
        {kGsm, "none", "ttyS2", "10-", "disabled"},      // no external modem: off
        {kBare, "analog", "ttyS1", "1-0", "disabled"},   // no internal modem: off
        {"XYZ", "dsl", "ttyS2", "001", "enabled"},       // unknown model; DSL keeps its row
        {kBare + "-X\n", "-", "", "1-1", "enabled"},     // empty value selects every row
        {"MX-RT-210B-AN-KORU", "none", "nonesuch", "00-", "disabled"},
        {"", "none", "ttyS1", "01-", "enabled"},  // no model: reported, taken as one with a modem
    };
    for (const Lines& c : cases) {
        Sandbox sb;
        dialin_setup(sb, c[0], c[1]);
        sb.config("dialin.config", edit_conf(kDialinFile, {{"DIALIN_DEV", c[2]}}));
        CgiResult r = sb.get("item=11");
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, (c[0].empty() ? error_page("in file dialin line 27", "No such file or directory") : "") +
                             "visible||" + radios("10", c[4]) + "|" + lines(c[3]) + "|" + c[4] + kShown)
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
}

TEST(DialinPage, ShowModeMasqueradingAndCutValues)
{
    Sandbox sb;
    dialin_setup(sb, kGsm, "analog");
    // {mode ("-": no line), checked buttons, masq, mark}; a mode under two characters counts as "dialin".
    const Lines cases[] = {{"-", "10", "yes", "checked"}, {"c", "10", "yesterday", "checked"},
                           {"ca", "01", "Yes", ""},       {"callback", "01", "no", ""},
                           {"dialin", "10", "-", ""},     {"dialing", "00", "y", ""}};
    for (const Lines& c : cases) {
        sb.config("dialin.config", edit_conf(kDialinFile, {{"DIALIN_MODE", c[0]}, {"DIALIN_MASQ", c[2]}}));
        EXPECT_EQ(sb.get("item=11").out,
                  "visible||" + radios(c[1], "enabled") + "|" + lines("010") + "|enabled" + kShown + c[3])
            << c[0] << " " << c[2];
    }
    // The shown texts are cut to 63 characters.
    const std::string user(70, 'u');
    sb.config("dialin.config", edit_conf(kDialinFile, {{"DIALIN_USER", user}}));
    EXPECT_NE(sb.get("item=11").out.find("|" + user.substr(0, 63) + "|10.1.1.1|"), std::string::npos);
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
        sb.config("dialin.config", kDialinFile);
        CgiResult r = sb.post("item=11&act=1", c[0]);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, c[2]) << c[0];
        EXPECT_EQ(sb.config("dialin.config"), c[1]) << c[0];
    }
}

namespace {

const char kDyndnsFile[] = "# Dynamic DNS.\nDYNDNS_PROVIDER='tzo'\nDYNDNS_HOST='gw.example.org'\nDYNDNS_USER='me'\n"
                           "DYNDNS_PASS='oldpw'\n";

void dyndns_setup(Sandbox& sb)
{
    sb.defaults();
    sb.write_doc("english/dyndns.tmpl", "{ENABLED}|{PROVIDER_LIST}|{HOST}|{USER}");
    result_page(sb, "dyndns_head:Dynamic DNS\ndyndns_rslt:Saved\n");
}

std::string providers(const std::string& marks)
{
    return option_lines({"none", "None", "hn", "hn.org", "regfish", "regfish.de", "eurodyndns", "eurodyndns.org",
                         "noip", "no-ip.com", "dyndns", "dyndns.org", "tzo", "tzo.com", "changeip", "changeip.com",
                         "ovh", "ovh.com", "ods", "ods.org"},
                        marks);
}

}  // namespace

TEST(DyndnsPage, ShowSelectsEveryProviderTheStoredValueBegins)
{
    Sandbox sb;
    dyndns_setup(sb);
    // {provider ("-": no line), marks, state}
    const Lines cases[] = {{"-", "1111111111", "enabled"},        {"none", "1000000000", "disabled"},
                           {"o", "0000000011", "enabled"},        {"dyndns", "0000010000", "enabled"},
                           {"nonesuch", "0000000000", "disabled"}, {"e", "0001000000", "enabled"}};
    for (const Lines& c : cases) {
        sb.config("dyndns.config", edit_conf(kDyndnsFile, {{"DYNDNS_PROVIDER", c[0]}}));
        EXPECT_EQ(sb.get("item=10").out, c[2] + "|" + providers(c[1]) + "|gw.example.org|me") << c[0];
    }
    // Host and user are shown cut to 31 characters; the password never.
    const std::string host(40, 'h'), user(40, 'u');
    sb.config("dyndns.config", edit_conf(kDyndnsFile, {{"DYNDNS_HOST", host}, {"DYNDNS_USER", user}}));
    EXPECT_EQ(sb.get("item=10").out,
              "enabled|" + providers("0000001000") + "|" + host.substr(0, 31) + "|" + user.substr(0, 31));
}

TEST(DyndnsPage, ApplyKeepsAccountForNoneAndPasswordWhenEmpty)
{
    const std::pair<std::string, std::string> cases[] = {
        {"DDNS_Provider=noip&DDNS_Host=h.no-ip.org&DDNS_User=al&DDNS_Pass=s3cret",
         edit_conf(kDyndnsFile, {{"DYNDNS_PROVIDER", "noip"}, {"DYNDNS_HOST", "h.no-ip.org"}, {"DYNDNS_USER", "al"},
                                 {"DYNDNS_PASS", "s3cret"}})},
        {"DDNS_Provider=ovh&DDNS_Host=&DDNS_User=bo&DDNS_Pass=",
         edit_conf(kDyndnsFile, {{"DYNDNS_PROVIDER", "ovh"}, {"DYNDNS_HOST", ""}, {"DYNDNS_USER", "bo"}})},
        {"DDNS_Provider=nonesuch&DDNS_Host=x&DDNS_User=y&DDNS_Pass=z",
         edit_conf(kDyndnsFile, {{"DYNDNS_PROVIDER", "nonesuch"}})},
        {"", edit_conf(kDyndnsFile, {{"DYNDNS_PROVIDER", ""}, {"DYNDNS_HOST", ""}, {"DYNDNS_USER", ""}})},
    };
    for (const auto& [body, file] : cases) {
        Sandbox sb;
        dyndns_setup(sb);
        sb.config("dyndns.config", kDyndnsFile);
        CgiResult r = sb.post("item=10&act=1", body);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, "Dynamic DNS\n|Saved\n") << body;
        EXPECT_EQ(sb.config("dyndns.config"), file) << body;
    }
}

TEST(DialinDyndnsPages, FactoryFilesCarryEveryKey)
{
    Sandbox sb;
    dialin_setup(sb, kGsm, "analog");
    dyndns_setup(sb);  // the factory files again
    const std::string link = "dialin_dev=ttyS1&mode=callback&user=u&pass=p&localip=l&peerip=r&initat=i&masq=yes";
    EXPECT_EQ(sb.post("item=11&act=1", link).status, 0);
    EXPECT_EQ(sb.post("item=10&act=1", "DDNS_Provider=hn&DDNS_Host=h&DDNS_User=u&DDNS_Pass=p").status, 0);
    const std::string dialin = sb.config("dialin.config"), dyndns = sb.config("dyndns.config");
    EXPECT_EQ(dialin.substr(dialin.find('\n') + 1),
              "DIALIN_DEV='ttyS1'\nDIALIN_MODE='callback'\nDIALIN_USER='u'\nDIALIN_PASS='p'\n"
              "DIALIN_LOCAL_IP='l'\nDIALIN_PEER_IP='r'\nDIALIN_INIT_AT='i'\nDIALIN_MASQ='yes'\n");
    EXPECT_EQ(dyndns.substr(dyndns.find('\n') + 1),
              "DYNDNS_PROVIDER='hn'\nDYNDNS_HOST='h'\nDYNDNS_USER='u'\nDYNDNS_PASS='p'\n");
}
