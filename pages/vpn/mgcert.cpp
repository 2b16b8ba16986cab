// Certificate management (item 27): the certificates the device's authority
// issued, from its index file; revoking them or making them valid again, and
// rebuilding the revocation list.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <string>
#include <sys/time.h>
#include <syslog.h>
#include <vector>

#include "cgi/http.h"
#include "device/device.h"
#include "pages/pages.h"
#include "render/aux.h"
#include "render/escape.h"
#include "render/outcome.h"
#include "render/pagehelp.h"
#include "render/tmpl.h"

namespace {

constexpr const char* INDEX = "/tmp/certs/index.txt";
constexpr const char* SCRATCH = "/tmp/crt.tmp";
constexpr int LINE_SIZE = 1024;
constexpr int FIELDS = 6;  // status, expiry, revocation, serial, file, subject

// The longest value each list shows per certificate (its share of the
// page's per-line budget less the option markup).
constexpr size_t STATE_MAX = 2, SERIAL_MAX = 3, NAME_MAX = 65, DATE_MAX = 19;

// The tab-separated fields of an index line; the last keeps the end of line.
struct IndexLine {
    const char* field[FIELDS];
    explicit IndexLine(char* line)
    {
        char* p = line;
        for (int i = 0; i < FIELDS; ++i) {
            field[i] = p ? p : "";
            if (p) {
                char* tab = strchr(p, '\t');
                if (tab)
                    *tab = '\0';
                p = tab ? tab + 1 : nullptr;
            }
        }
    }
};

std::string utc_stamp()
{
    struct timeval now;
    gettimeofday(&now, nullptr);
    struct tm tm;
    gmtime_r(&now.tv_sec, &tm);
    char text[32];
    snprintf(text, sizeof text, "%02d%02d%02d%02d%02d%02dZ", tm.tm_year % 100, tm.tm_mon + 1, tm.tm_mday,
             tm.tm_hour, tm.tm_min, tm.tm_sec);
    return text;
}

// The fields of an index line joined by tabs.
std::string join(std::initializer_list<const char*> parts)
{
    std::string out;
    bool first = true;
    for (const char* p : parts) {
        if (!first)
            out += '\t';
        out += p;
        first = false;
    }
    return out;
}

// Rewrites the index by position: the n-th state sent applies to the n-th
// line. A line the form sent no state for stays as it is.
// Returns false when the scratch name held a file that is not the program's own
// (a planted link or another's file): such a file is never moved over the index.
bool rewrite_index(const std::vector<std::string>& states)
{
    FILE* in = dev_fopen(INDEX, "r");
    FILE* out = dev_create(SCRATCH, "w");
    const bool planted = !out && (errno == ELOOP || errno == EPERM);
    if (in && out) {
        std::string written;  // a state other than V or R repeats the line before
        char line[LINE_SIZE];
        for (size_t n = 0; fgets(line, sizeof line, in); ++n) {
            if (n >= states.size()) {
                fputs(line, out);
                continue;
            }
            IndexLine l(line);
            const char* const* f = l.field;
            char state = states[n][0];
            if (state == f[0][0])
                written = join({f[0], f[1], f[2], f[3], f[4], f[5]});
            else if (state == 'R')
                written = join({"R", f[1], utc_stamp().c_str(), f[3], f[4], f[5]});
            else if (state == 'V')
                written = join({"V", f[1], "", f[3], f[4], f[5]});
            fputs(written.c_str(), out);
        }
    }
    if (in)
        fclose(in);
    if (out)
        fclose(out);
    return !planted;
}

// The steps of a change, as the result page lists them.
const Advice CRL_ADVICE = {
    "Check the password of the authority's key and apply again: the certificates have their new states, but the "
    "revocation list is still the old one.",
    "Prüfen Sie das Kennwort des Schlüssels der Zertifizierungsstelle und übernehmen Sie erneut: Die Zertifikate "
    "haben ihren neuen Zustand, die Sperrliste ist aber noch die alte."};
const Step PREPARE_INDEX = {{"Prepare the new certificate list", "Neue Zertifikatsliste vorbereiten"}, &ADVICE_RETRY};
const Step REPLACE_INDEX = {{"Replace the certificate list", "Zertifikatsliste ersetzen"}, &ADVICE_RETRY};
const Step OWN_INDEX = {{"Set the owner of the certificate list", "Eigentümer der Zertifikatsliste setzen"},
                        &ADVICE_RETRY};
const Step UPDATE_CRL = {{"Rebuild the revocation list", "Sperrliste neu erstellen"}, &CRL_ADVICE};

void run_logged(const std::string& command, const char* log_format, const Step& step)
{
    int status = dev_system(command.c_str());
    dev_syslog(LOG_INFO, log_format, status);
    outcome_step(step, status);
}

void add_option(std::string& list, const char* value, size_t max)
{
    // Cut to the list's share first, then escaped: the index is outside text.
    list += "\n    <option>";
    html_escape_append(list, value, strnlen(value, max));
    list += "</option>";
}

void show_date()
{
    char now[AUX_DATETIME_SIZE];
    const char* date = auxDateTime(now);
    tmpl_replace("{SYSTEMDATUM}", date ? date : "");
}

}  // namespace

int mgcert_act()
{
    if (*http_var("numblist")) {
        std::vector<std::string> states;
        std::string list = http_var("statelist");
        for (size_t start = 0;;) {
            size_t bar = list.find('|', start);
            states.push_back(list.substr(start, bar == std::string::npos ? std::string::npos : bar - start));
            if (bar == std::string::npos)
                break;
            start = bar + 1;
        }
        if (rewrite_index(states)) {
            run_logged(std::string("/bin/chmod 644 ") + SCRATCH, "certificate management: chmod returns %d",
                       PREPARE_INDEX);
            run_logged(std::string("/usr/bin/sudo /bin/mv -f ") + SCRATCH + " " + INDEX,
                       "certificate management: mv returns %d", REPLACE_INDEX);
            run_logged(std::string("/usr/bin/sudo /bin/chown admin:admin ") + INDEX,
                       "certificate management: chown returns %d", OWN_INDEX);
        } else {
            dev_syslog(LOG_ERR, "certificate management: %s is not the program's own file; the index stays as it is",
                       SCRATCH);
        }
        const char* password = http_var("so_pwd");
        dev_syslog(LOG_INFO, "certificate management: /usr/sbin/cert update crl %s", password);
        run_logged("/usr/bin/sudo /usr/sbin/cert update crl " + sh_quote(password),
                   "certificate management: cert update returns %d", UPDATE_CRL);
    }
    return page_result("mgcert");
}

int mgcert_show()
{
    char date[] = "01.01.2009,10:30:00";
    dev_syslog(LOG_INFO, "mgcert mgcert: los gehts");
    FILE* in = dev_fopen(INDEX, "r");
    if (!in) {
        dev_syslog(LOG_INFO, "mgcert mgcert: fopen kackt!");
        show_date();
        return 0;
    }
    dev_syslog(LOG_INFO, "mgcert mgcert: auslesen");
    std::string states, serials, names, dates;
    char line[LINE_SIZE];
    while (fgets(line, sizeof line, in)) {
        IndexLine l(line);
        add_option(states, l.field[0], STATE_MAX);
        const char* expiry = l.field[1];
        dev_syslog(LOG_INFO, "mgcert mgcert: datefield |%s|", expiry);
        // YYMMDDhhmmssZ into DD.MM.20YY,hh:mm:ss, pair by pair
        static const int from[] = {4, 2, 0, 6, 8, 10}, to[] = {0, 3, 8, 11, 14, 17};
        size_t known = strlen(expiry);
        for (int pair = 0; pair < 6; ++pair) {
            for (int k = 0; k < 2; ++k)
                if (size_t(from[pair] + k) < known)
                    date[to[pair] + k] = expiry[from[pair] + k];
            dev_syslog(LOG_INFO, "mgcert mgcert: bis hier %d", pair + 1);
        }
        add_option(dates, date, DATE_MAX);
        add_option(serials, l.field[3], SERIAL_MAX);
        const char* cn = strstr(l.field[5], "/CN=");
        std::string name = cn ? std::string(cn + 4, strcspn(cn + 4, "/")) : std::string();
        add_option(names, name.c_str(), NAME_MAX);
    }
    fclose(in);
    dev_syslog(LOG_INFO, "mgcert mgcert: fertig ausgelesen");
    tmpl_replace("{NUMBOPTS}", serials.c_str());
    tmpl_replace("{STATEOPTS}", states.c_str());
    tmpl_replace("{COMNAMEOPTS}", names.c_str());
    tmpl_replace("{EXPDATEOPTS}", dates.c_str());
    show_date();
    return 0;
}
