#include "render/outcome.h"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "cgi/http.h"
#include "render/escape.h"
#include "render/tmpl.h"

const Advice ADVICE_RETRY = {
    "Try again; if it fails again, restart the router ([20]).",
    "Versuchen Sie es erneut; schlägt es wieder fehl, starten Sie den Router neu ([20]).",
};
const Advice ADVICE_CA_PASSWORD = {
    "Check the password of the authority's key and try again. If no certificate authority has been set up yet, "
    "set it up first: [26], new root certificate.",
    "Prüfen Sie das Kennwort des Schlüssels der Zertifizierungsstelle und versuchen Sie es erneut. Gibt es noch "
    "keine Zertifizierungsstelle, richten Sie sie zuerst ein: [26], neues Stammzertifikat.",
};

namespace {

struct Record {
    const Step* step;
    bool has_status;  // false: failed without a status of a tool
    int status;
    bool worked() const { return has_status && status == 0; }
};
std::vector<Record> g_steps;
std::vector<const Advice*> g_notes;

bool german() { return strncmp(http_lang(), "deutsc", 6) == 0; }

// The pages advice can lead to, by their menu names.
struct PageName {
    int item;
    Words name;
};
const PageName PAGES[] = {
    {2, {"Time", "Uhrzeit"}},
    {19, {"Save configuration", "Konfiguration sichern"}},
    {20, {"Restart", "Neustart"}},
    {26, {"Certificate authority", "Zertifizierungsstelle"}},
    {27, {"Certificate management", "Zertifikatsverwaltung"}},
    {29, {"IPsec and L2TP", "IPsec und L2TP"}},
    {43, {"System log status", "Protokollstatus"}},
    {46, {"OpenVPN", "OpenVPN"}},
};

const PageName* page_named(const char* open, const char** after)
{
    if (!isdigit(static_cast<unsigned char>(open[1])))
        return nullptr;
    char* end = nullptr;
    long item = strtol(open + 1, &end, 10);
    if (*end != ']')
        return nullptr;
    for (const PageName& p : PAGES)
        if (p.item == item) {
            *after = end + 1;
            return &p;
        }
    return nullptr;
}

void append_text(std::string& out, const char* text) { html_escape_append(out, text, strlen(text)); }

// The text escaped, each "[N]" of a known page a link to it.
void append_advice(std::string& out, const Advice& advice)
{
    const char* p = words(advice);
    while (const char* open = strchr(p, '[')) {
        const char* after = nullptr;
        const PageName* page = page_named(open, &after);
        html_escape_append(out, p, size_t(open - p) + (page ? 0 : 1));
        p = open + 1;
        if (!page)
            continue;
        out += "<a href=\"/cgi-bin/gwadmin?item=" + std::to_string(page->item) +
               "&amp;lang=" + (german() ? "deutsch" : "english") + "\">";
        append_text(out, words(page->name));
        out += "</a>";
        p = after;
    }
    append_text(out, p);
}

void append_status(std::string& out, const Record& r)
{
    if (r.has_status)
        out += std::string(german() ? " (Status " : " (status ") + std::to_string(r.status) + ")";
}

void append_steps(std::string& out)
{
    out += "<table class=\"steps\">\n<tr><th scope=\"col\">";
    append_text(out, words({"Step", "Schritt"}));
    out += "</th><th scope=\"col\">";
    append_text(out, words({"Result", "Ergebnis"}));
    out += "</th></tr>\n";
    for (const Record& r : g_steps) {
        out += "<tr><td>";
        append_text(out, words(r.step->name));
        out += "</td><td>";
        append_text(out, words(r.worked() ? Words{"worked", "geklappt"} : Words{"failed", "fehlgeschlagen"}));
        if (!r.worked())
            append_status(out, r);
        out += "</td></tr>\n";
    }
    out += "</table>\n";
}

}  // namespace

const char* words(const Words& w) { return german() ? w.de : w.en; }

int outcome_step(const Step& step, int status)
{
    g_steps.push_back({&step, true, status});
    return status;
}

void outcome_failure(const Step& step) { g_steps.push_back({&step, false, -1}); }

void outcome_note(const Advice& note) { g_notes.push_back(&note); }

bool outcome_recorded() { return !g_steps.empty() || !g_notes.empty(); }

std::string outcome_block()
{
    std::string out;
    if (!g_steps.empty()) {
        const Record* failed = nullptr;
        for (const Record& r : g_steps)
            if (!failed && !r.worked())
                failed = &r;
        if (failed) {
            out += "<div class=\"outcome failed\" role=\"alert\">\n<p>";
            append_text(out, words({"Failed: ", "Fehlgeschlagen: "}));
            append_text(out, words(failed->step->name));
            append_status(out, *failed);
            out += ".</p>\n<p>";
            append_text(out, words({"What to do: ", "Was zu tun ist: "}));
            append_advice(out, failed->step->advice ? *failed->step->advice : ADVICE_RETRY);
            out += "</p>\n";
        } else {
            out += "<div class=\"outcome ok\">\n<p>";
            append_text(out, words({"Done: every step worked.", "Erledigt: Alle Schritte haben geklappt."}));
            out += "</p>\n";
        }
        append_steps(out);
        out += "</div>\n";
    }
    for (const Advice* note : g_notes) {
        out += "<div class=\"outcome next\" role=\"note\">\n<p>";
        append_advice(out, *note);
        out += "</p>\n</div>\n";
    }
    return out;
}

void outcome_fill() { tmpl_replace("{OUTCOME}", outcome_block().c_str()); }

void outcome_reset()
{
    g_steps.clear();
    g_notes.clear();
}
