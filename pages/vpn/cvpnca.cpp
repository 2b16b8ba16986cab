// Certificate authority (item 26): the subject of the next certificate is
// written into the client template through a scratch copy, then the device's
// cert tool makes a root, gateway or peer certificate from it.
#include <cstdio>
#include <cstring>
#include <string>
#include <syslog.h>

#include "cgi/http.h"
#include "conf/conf.h"
#include "device/device.h"
#include "pages/countries.h"
#include "pages/pages.h"
#include "render/aux.h"
#include "render/escape.h"
#include "render/outcome.h"
#include "render/pagehelp.h"
#include "render/tmpl.h"

namespace {

constexpr const char* CLIENT_TEMPLATE = "/tmp/certs/config/VPNClient.config";
constexpr const char* SERVER_TEMPLATE = "/tmp/certs/config/VPNServer.config";
constexpr const char* CA_TEMPLATE = "/tmp/certs/config/RouterCA.config";
constexpr const char* SCRATCH = "/tmp/tmpcert.config";
constexpr int LINE_SIZE = 1024;

// A subject line: the key searched, the line written (the name padded so the
// "=" stands in the 33rd column), the form field and the placeholder shown.
struct SubjectLine {
    const char* key;
    const char* written;
    const char* form;
    const char* placeholder;
};
const SubjectLine SUBJECT[] = {
    {"commonName_default", "commonName_default              = ", "common", nullptr},
    {"organizationalUnitName_default", "organizationalUnitName_default  = ", "org_unit", "{ORGUNIT}"},
    {"organizationName_default", "0.organizationName_default      = ", "orga", "{ORG}"},
    {"localityName_default", "localityName_default            = ", "locatio", "{LOCATION}"},
    {"stateOrProvinceName_default", "stateOrProvinceName_default     = ", "region", "{REGION}"},
    {"emailAddress_default", "emailAddress_default            = ", "email", "{EMAIL}"},
    {"countryName_default", "countryName_default             = ", "country", "{COUNTRYOPTS}"},
};
constexpr int COUNTRY_LINE = 6;

const Option CA_MODES[] = {
    {"certman", "Zertifikate verwalten"},
    {"certgen", "Neues Zertifikat ausstellen"},
    {"caman", "Zertifizierungsstelle verwalten"},
};

// A form value as one line of the OpenSSL configuration.
std::string one_line(const char* value)
{
    std::string out;
    for (const char* p = value; *p; ++p)
        if (*p != '\n' && *p != '\r')
            out += *p;
    return out;
}

// The steps of a generation, as the result page lists them.
const Step COPY_SUBJECT = {{"Copy the subject template", "Vorlage der Antragsdaten kopieren"}, &ADVICE_RETRY};
const Step PREPARE_SUBJECT = {{"Prepare the subject", "Antragsdaten vorbereiten"}, &ADVICE_RETRY};
const Step STORE_PEER_SUBJECT = {{"Store the subject for client certificates",
                                  "Antragsdaten für Client-Zertifikate ablegen"}, &ADVICE_RETRY};
const Step STORE_GATE_SUBJECT = {{"Store the subject for the gateway certificate",
                                  "Antragsdaten für das Gateway-Zertifikat ablegen"}, &ADVICE_RETRY};
const Step STORE_CA_SUBJECT = {{"Store the subject for the certificate authority",
                                "Antragsdaten für die Zertifizierungsstelle ablegen"}, &ADVICE_RETRY};
const Step OWN_SUBJECT = {{"Set the owner of the subject file", "Eigentümer der Antragsdatei setzen"},
                          &ADVICE_RETRY};
const Step GEN_PEER = {{"Generate the client certificate", "Client-Zertifikat erzeugen"}, &ADVICE_CA_PASSWORD};
const Step GEN_GATE = {{"Generate the gateway certificate", "Gateway-Zertifikat erzeugen"}, &ADVICE_CA_PASSWORD};
const Step GEN_ROOT = {{"Generate the root certificate of the authority",
                        "Stammzertifikat der Zertifizierungsstelle erzeugen"}, &ADVICE_RETRY};
const Step OFFER_PEER = {{"Provide the PKCS#12 file for download", "PKCS#12-Datei zum Herunterladen bereitstellen"},
                         &ADVICE_RETRY};

// Runs a command, logs its status under the given text and records it as
// the step (none: a command whose result says nothing about this
// certificate); returns the status.
int run_logged(const std::string& command, const char* log_format, const Step* step = nullptr)
{
    int status = dev_system(command.c_str());
    dev_syslog(LOG_INFO, log_format, status);
    return step ? outcome_step(*step, status) : status;
}

// The download of the client's PKCS#12 file: offered only when this request
// made it and copied it for the web server.
void offer_download(bool made)
{
    if (!made) {
        tmpl_replace("{DOWNLOAD}", "");
        return;
    }
    const Words legend = {"Client certificate", "Client-Zertifikat"};
    const Words link = {"Download the client certificate (vpnpeer.p12)",
                        "Client-Zertifikat herunterladen (vpnpeer.p12)"};
    const Words note = {
        "The PKCS#12 file holds the client's key, its certificate and the certificate of the authority, protected "
        "by the password given for the certificate. Import it into the VPN client.",
        "Die PKCS#12-Datei enthält den Schlüssel des Clients, sein Zertifikat und das Zertifikat der "
        "Zertifizierungsstelle, geschützt durch das für das Zertifikat vergebene Kennwort. Importieren Sie sie in "
        "den VPN-Client."};
    std::string block = "<fieldset id=\"download\" style=\"margin-top:16px\">\n<legend>" + html_escape(words(legend)) +
                        "</legend>\n<p><a href=\"/vpnpeer.p12\" download=\"vpnpeer.p12\">" + html_escape(words(link)) +
                        "</a></p>\n<p class=\"note\">" + html_escape(words(note)) + "</p>\n</fieldset>";
    tmpl_replace("{DOWNLOAD}", block.c_str());
}

std::string move_scratch_to(const char* target)
{
    return std::string("/usr/bin/sudo /bin/mv -f ") + SCRATCH + " " + target;
}

std::string chown_admin(const char* file) { return std::string("/usr/bin/sudo /bin/chown admin:admin ") + file; }

// The certificate the form asks for, made from the scratch copy; whether it
// made a client's PKCS#12 file for download.
bool generate(const char* type)
{
    std::string so_pass = sh_quote(http_var("so_pass"));
    std::string su_pass = sh_quote(http_var("su_pass"));
    if (strcmp(type, "peer") == 0) {
        run_logged(move_scratch_to(CLIENT_TEMPLATE), "certificate generation: mv_tmp_peer returns %d",
                   &STORE_PEER_SUBJECT);
        // the gateway's file: says nothing about the client certificate
        run_logged(chown_admin(SERVER_TEMPLATE), "certificate generation: chown returns %d");
        int made = run_logged("/usr/bin/sudo /usr/sbin/cert gen peer " + so_pass + " " + su_pass,
                              "certificate generation: cert_gen_peer returns %d", &GEN_PEER);
        int copied = run_logged("/usr/bin/sudo /bin/cp /tmp/certs/vpnpeer.p12 /home/httpd/vpnpeer.p12",
                                "certificate generation: cp returns %d", &OFFER_PEER);
        // Without a new file the copy is the previous client's: never offered.
        return made == 0 && copied == 0;
    } else if (strcmp(type, "gate") == 0) {
        run_logged(move_scratch_to(SERVER_TEMPLATE), "certificate generation: mv_tmp_gate returns %d",
                   &STORE_GATE_SUBJECT);
        run_logged(chown_admin(SERVER_TEMPLATE), "certificate generation: chown returns %d", &OWN_SUBJECT);
        run_logged("/usr/bin/sudo /usr/sbin/cert gen gateway " + so_pass + " " + su_pass,
                   "certificate generation: cert_gen_gateway returns %d", &GEN_GATE);
    } else if (strcmp(type, "auth") == 0) {
        // "/tmp/cert" is no folder of the device's: its status says nothing
        run_logged("/usr/bin/sudo /bin/rm /tmp/cert/*", "certificate generation: mv_tmp_auth returns %d");
        run_logged(move_scratch_to(CA_TEMPLATE), "certificate generation: mv_tmp_auth returns %d",
                   &STORE_CA_SUBJECT);
        run_logged(chown_admin(CA_TEMPLATE), "certificate generation: chown returns %d", &OWN_SUBJECT);
        run_logged("/usr/bin/sudo /usr/sbin/cert gen root " + so_pass,
                   "certificate generation: cert_gen_root returns %d", &GEN_ROOT);
    }
    return false;
}

// The text two characters after the line's first "=", its last character
// (the end of line) dropped.
std::string value_after_equals(char* line)
{
    size_t len = strlen(line);
    if (len > 0)
        line[len - 1] = '\0';
    const char* eq = strchr(line, '=');
    if (!eq)
        return std::string();
    return eq[1] ? std::string(eq + 2) : std::string();
}

// A country is chosen by the stored value's first two characters.
bool same_first_two(const char* stored, const char* iso)
{
    return stored[0] == iso[0] && (stored[0] == '\0' || stored[1] == iso[1]);
}
const OptionStyle COUNTRY_STYLE = {"      ", " ", "selected", same_first_two};

std::string country_options(const char* stored)
{
    Option rows[COUNTRY_COUNT];
    for (int i = 0; i < COUNTRY_COUNT; ++i)
        rows[i] = {COUNTRIES[i].iso, COUNTRIES[i].iso};
    return option_list(rows, COUNTRY_COUNT, stored, COUNTRY_STYLE);
}

void trace(const char* name)
{
    dev_syslog(LOG_INFO, ">>>cvpnca::%s ENTRANCE", name);
    dev_syslog(LOG_INFO, ">>>cvpnca::%s EXIT", name);
}

}  // namespace

int cvpnca_act()
{
    dev_syslog(LOG_INFO, "cvpnca cvpnca_act() geht los");
    tmpl_replace("{COUNTRYOPTS}", "");
    FILE* in = dev_fopen(CLIENT_TEMPLATE, "r");
    FILE* out = in ? dev_create(SCRATCH, "w+") : nullptr;
    if (!out) {
        if (in)
            fclose(in);
        tmpl_replace("{HEADLINE}", "Zertifikate generieren");
        tmpl_replace("{MESSAGE}", "hat nicht geklappt");
        outcome_failure(COPY_SUBJECT);
        offer_download(false);
        return 0;
    }
    bool replaced[7] = {false};
    char buffer[LINE_SIZE];
    while (fgets(buffer, sizeof buffer, in)) {
        std::string line = buffer;
        for (int i = 0; i < 7; ++i) {
            if (!replaced[i] && line.find(SUBJECT[i].key) != std::string::npos) {
                line = SUBJECT[i].written + one_line(http_var(SUBJECT[i].form)) + "\n";
                replaced[i] = true;
            }
        }
        fputs(line.c_str(), out);
    }
    fclose(in);
    fclose(out);
    outcome_step(PREPARE_SUBJECT, dev_system((std::string("/bin/chmod 644 ") + SCRATCH).c_str()));
    offer_download(generate(http_var("cert_type")));
    return page_result("vpnca");
}

int cvpnca_show()
{
    if (strcmp(http_var("step"), "2") == 0)
        return 0;
    FILE* in = dev_fopen(CLIENT_TEMPLATE, "r");
    if (!in) {
        for (const SubjectLine& s : SUBJECT)
            if (s.placeholder)
                tmpl_replace(s.placeholder, "");
        return 0;
    }
    bool shown[7] = {false};
    char line[LINE_SIZE];
    while (fgets(line, sizeof line, in)) {
        if (!strstr(line, "_default"))  // in every key searched
            continue;
        for (int i = 1; i < 7; ++i) {
            if (shown[i] || !strstr(line, SUBJECT[i].key))
                continue;
            shown[i] = true;
            char copy[LINE_SIZE];
            memcpy(copy, line, sizeof copy);
            std::string value = value_after_equals(copy);
            // The country only selects one of the program's own options.
            if (i == COUNTRY_LINE)
                tmpl_replace(SUBJECT[i].placeholder, country_options(value.c_str()).c_str());
            else
                tmpl_replace_text(SUBJECT[i].placeholder, value.c_str());
        }
    }
    fclose(in);
    char now[AUX_DATETIME_SIZE];
    const char* date = auxDateTime(now);
    tmpl_replace("{SYSTEMDATUM}", date ? date : "");
    return 0;
}

void read_vpnca_mode()
{
    dev_syslog(LOG_INFO, ">>>cvpnca::read_vpnca_mode ENTRANCE");
    char stored[8];
    conf_get("CA_MODE_TYPE", stored, sizeof stored, "vpnca.config");
    tmpl_replace("{CA_RADIO_MODS}", radio_buttons("vpncaType", CA_MODES, 3, stored, "{CA_MODE_TYPE}").c_str());
    dev_syslog(LOG_INFO, ">>>cvpnca::read_vpnca_mode EXIT");
}

void read_caman_settings() { trace("read_caman_settings"); }
void read_certgen_settings() { trace("read_certgen_settings"); }
void read_certman_settings() { trace("read_certman_settings"); }
