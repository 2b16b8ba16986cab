#include "cgi/sameorigin.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <strings.h>
#include <syslog.h>
#include <unistd.h>

#include "cgi/http.h"
#include "conf/conf.h"
#include "device/device.h"

namespace {

bool present(const char* text) { return text && *text; }

std::string lower(std::string text)
{
    for (char& c : text)
        if (c >= 'A' && c <= 'Z')
            c = char(c - 'A' + 'a');
    return text;
}

bool is_digit(char c) { return c >= '0' && c <= '9'; }
bool all_digits(const std::string& text, size_t from = 0)
{
    for (size_t i = from; i < text.size(); ++i)
        if (!is_digit(text[i]))
            return false;
    return true;
}

// ---------------------------------------------------------------------------
// Which requests are changes. One row per kind of change: the item it concerns
// (ANY_ITEM: every item) and the condition under which the request changes
// something. Everything else only shows a page: reading settings, running the
// status tools that only print (ip ... show, logread, date without -s).
// ---------------------------------------------------------------------------

constexpr int ANY_ITEM = -1;

bool with_act(const RequestKind& r) { return r.act != 0; }
bool with_upload(const RequestKind& r) { return r.uploaded; }
bool always(const RequestKind&) { return true; }
bool on_a_step(const RequestKind& r) { return r.step != 0; }
bool makes_or_installs_a_key(const RequestKind& r)
{
    long state = strtol(r.keystate, nullptr, 10);
    return state == 1 || state == 3;
}

struct ChangeRow {
    int item;
    bool (*when)(const RequestKind&);
};

const ChangeRow CHANGES[] = {
    // Every page's apply: stores the form in /tmp/ulsp/ and runs what the page
    // runs (the clock, the OpenVPN restart, certificate tools, the index of the
    // certificate management page); the restart (20) reboots, factory defaults
    // (38) load the defaults. With act even where no handler stores anything.
    {ANY_ITEM, with_act},
    // A multipart form with a file: the parser has written it to /tmp/upload/.
    {ANY_ITEM, with_upload},
    // The save page, shown or applied: saves the configuration, the OpenVPN
    // files and the certificates to permanent storage.
    {19, always},
    // The certificate authority on any step but 0: writes /tmp/tmpcert.config
    // and a certificate template, and makes a root, gateway or peer certificate.
    {26, on_a_step},
    // The OpenVPN page, shown with keystate 1: a new static key
    // (openvpn --genkey); with keystate 3: the uploaded file moved into
    // /home/httpd/openvpn/.
    {46, makes_or_installs_a_key},
};

// ---------------------------------------------------------------------------
// Signals
// ---------------------------------------------------------------------------

struct HostPort {
    std::string host;  // lower case; an IPv6 address keeps its brackets
    std::string port;  // the scheme's default when none is written
};

const char* default_port(const std::string& scheme)
{
    return scheme == "https" ? "443" : scheme == "http" ? "80" : "";
}

// "host", "host:port", "[v6]" or "[v6]:port".
bool split_host(const std::string& text, const char* port_by_default, HostPort& out)
{
    size_t colon;
    if (!text.empty() && text[0] == '[') {
        size_t close = text.find(']');
        if (close == std::string::npos)
            return false;
        out.host = text.substr(0, close + 1);
        colon = close + 1;
        if (colon < text.size() && text[colon] != ':')
            return false;
    } else {
        colon = text.find(':');
        out.host = text.substr(0, colon);
    }
    out.port = colon < text.size() ? text.substr(colon + 1) : "";
    if (out.port.empty())
        out.port = port_by_default;
    out.host = lower(out.host);
    return !out.host.empty();
}

// Whether url ("scheme://[user@]host[:port][/...]") names the request's Host
// and port; a text that names no host does not.
bool names_host(const char* url, const char* host)
{
    const char* mark = strstr(url, "://");
    if (!mark || mark == url || !present(host))
        return false;
    const std::string scheme = lower(std::string(url, mark));
    std::string authority(mark + 3, strcspn(mark + 3, "/?#"));
    size_t at = authority.rfind('@');
    if (at != std::string::npos)
        authority.erase(0, at + 1);
    HostPort from, to;
    if (!split_host(authority, default_port(scheme), from) || !split_host(host, default_port(scheme), to))
        return false;
    return from.host == to.host && from.port == to.port;
}

// ---------------------------------------------------------------------------
// The Host rule
// ---------------------------------------------------------------------------

bool ipv4_literal(const std::string& name)
{
    int parts = 0;
    for (size_t at = 0; at <= name.size(); ++parts) {
        size_t dot = name.find('.', at);
        size_t end = dot == std::string::npos ? name.size() : dot;
        if (end == at || end - at > 3 || !all_digits(name.substr(at, end - at)) ||
            atoi(name.substr(at, end - at).c_str()) > 255)
            return false;
        at = end + 1;
    }
    return parts == 4;
}

bool ipv6_literal(const std::string& inner)
{
    if (inner.find(':') == std::string::npos)
        return false;
    for (char c : inner)
        if (!is_digit(c) && !(c >= 'a' && c <= 'f') && c != ':' && c != '.')
            return false;
    return true;
}

bool same_name(const std::string& name, const char* mine)
{
    if (!present(mine))
        return false;
    std::string own = lower(mine);
    if (own.back() == '.')
        own.pop_back();
    return !own.empty() && name == own;
}

// ---------------------------------------------------------------------------
// The refusal
// ---------------------------------------------------------------------------

struct RefusalText {
    const char* html_lang;
    const char* title;
    const char* other_site;  // the request came from another web site
    const char* other_host;  // the request named an address that is not this device's
    const char* nothing_changed;
    const char* open_menu;   // before the link
    const char* link;        // the link's text
    const char* menu_lang;   // the lang of the link
};

const RefusalText ENGLISH = {
    "en",
    "Request refused",
    "This request came from another web site, not from the pages of this device, so it was refused.",
    "This request was sent to a name that is not this device's own address, so it was refused. "
    "Open the device by its IP address or by its own host name.",
    "Nothing was changed on the device.",
    "Please open the page from the device's menu:",
    "Go to the menu",
    "english",
};

const RefusalText GERMAN = {
    "de",
    "Anfrage abgelehnt",
    "Diese Anfrage kam von einer anderen Website, nicht von den Seiten dieses Ger&auml;ts, und wurde deshalb "
    "abgelehnt.",
    "Diese Anfrage ging an einen Namen, der nicht die Adresse dieses Ger&auml;ts ist, und wurde deshalb "
    "abgelehnt. Rufen Sie das Ger&auml;t &uuml;ber seine IP-Adresse oder seinen eigenen Namen auf.",
    "Am Ger&auml;t wurde nichts ge&auml;ndert.",
    "Bitte &ouml;ffnen Sie die Seite &uuml;ber das Men&uuml; des Ger&auml;ts:",
    "Zum Men&uuml;",
    "deutsch",
};

void print_refusal(bool other_host)
{
    const RefusalText& t = strncmp(http_lang(), "deutsc", 6) == 0 ? GERMAN : ENGLISH;
    printf("Status: 403 Forbidden\n"
           "Content-Type: text/html; charset=utf-8\n"
           "X-Frame-Options: DENY\n"
           "Content-Security-Policy: default-src 'none'; style-src 'self'; frame-ancestors 'none'\n"
           "X-Content-Type-Options: nosniff\n"
           "Referrer-Policy: same-origin\n"
           "\n"
           "<!DOCTYPE html>\n"
           "<html lang=\"%s\">\n<head>\n<meta charset=\"utf-8\">\n"
           "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
           "<title>%s</title>\n<link rel=\"stylesheet\" href=\"/style.css\">\n</head>\n<body>\n"
           "<main id=\"main\">\n<h1>%s</h1>\n<p>%s</p>\n<p>%s</p>\n"
           "<p>%s <a href=\"/cgi-bin/gwadmin?item=0&amp;lang=%s\">%s</a></p>\n</main>\n</body>\n</html>\n",
           t.html_lang, t.title, t.title, other_host ? t.other_host : t.other_site, t.nothing_changed,
           t.open_menu, t.menu_lang, t.link);
    fflush(stdout);  // the whole answer, whatever happens after it
}

}  // namespace

BrowserHeaders sameorigin_headers()
{
    // One pass over the environment instead of a getenv for each header; the
    // first entry of a name counts, as with getenv.
    static const struct {
        const char* name;  // behind "HTTP_", with its "="
        const char* BrowserHeaders::*field;
    } HEADERS[] = {{"USER_AGENT=", &BrowserHeaders::user_agent},    {"SEC_FETCH_SITE=", &BrowserHeaders::fetch_site},
                   {"SEC_FETCH_MODE=", &BrowserHeaders::fetch_mode}, {"SEC_FETCH_DEST=", &BrowserHeaders::fetch_dest},
                   {"SEC_FETCH_USER=", &BrowserHeaders::fetch_user}, {"ORIGIN=", &BrowserHeaders::origin},
                   {"REFERER=", &BrowserHeaders::referer},           {"HOST=", &BrowserHeaders::host}};
    BrowserHeaders h{};
    for (char** entry = environ; entry && *entry; ++entry) {
        const char* e = *entry;
        if (e[0] != 'H' || strncmp(e, "HTTP_", 5) != 0)
            continue;
        for (const auto& header : HEADERS) {
            size_t len = strlen(header.name);
            if (strncmp(e + 5, header.name, len) == 0) {
                if (!(h.*header.field))
                    h.*header.field = e + 5 + len;
                break;
            }
        }
    }
    return h;
}

bool sameorigin_from_browser(const BrowserHeaders& h)
{
    for (const char* header : {h.user_agent, h.fetch_site, h.fetch_mode, h.fetch_dest, h.fetch_user, h.origin,
                               h.referer})
        if (present(header))
            return true;
    return false;
}

bool sameorigin_same_site(const char* fetch_site, const char* origin, const char* referer, const char* host)
{
    if (present(fetch_site))
        return strcasecmp(fetch_site, "same-origin") == 0 || strcasecmp(fetch_site, "same-site") == 0 ||
               strcasecmp(fetch_site, "none") == 0;
    if (present(origin))
        return names_host(origin, host);
    if (present(referer))
        return names_host(referer, host);
    return false;
}

bool sameorigin_device_host(const char* host, const char* hostname, const char* domain)
{
    if (!present(host))
        return true;
    std::string text = lower(host), name;
    if (text[0] == '[') {
        size_t close = text.find(']');
        if (close == std::string::npos)
            return false;
        const std::string rest = text.substr(close + 1);
        if (!rest.empty() && (rest[0] != ':' || !all_digits(rest, 1)))
            return false;
        return ipv6_literal(text.substr(1, close - 1));
    }
    size_t colon = text.find(':');
    if (colon != std::string::npos && !all_digits(text, colon + 1))
        return false;
    name = text.substr(0, colon);
    if (!name.empty() && name.back() == '.')
        name.pop_back();
    if (name.empty())
        return false;
    if (ipv4_literal(name) || name == "localhost" || same_name(name, hostname))
        return true;
    return present(hostname) && present(domain) && same_name(name, (std::string(hostname) + "." + domain).c_str());
}

bool sameorigin_changes(const RequestKind& r)
{
    for (const ChangeRow& row : CHANGES)
        if ((row.item == ANY_ITEM || row.item == r.item) && row.when(r))
            return true;
    return false;
}

bool sameorigin_refused(int item, int act, long step)
{
    const BrowserHeaders h = sameorigin_headers();
    if (!sameorigin_from_browser(h) ||
        !sameorigin_changes({item, act, step, http_var("keystate"), g_request.files != nullptr}))
        return false;
    bool other_host = false;
    if (sameorigin_same_site(h.fetch_site, h.origin, h.referer, h.host)) {
        // A name that is not an address: the device's own names decide.
        if (sameorigin_device_host(h.host, nullptr, nullptr))
            return false;
        std::string hostname, domain;
        conf_find("HOSTNAME", hostname, "network.config");
        conf_find("DOMAIN_NAME", domain, "network.config");
        if (sameorigin_device_host(h.host, hostname.c_str(), domain.c_str()))
            return false;
        other_host = true;
    }
    // The parser has already stored the request's files; they go too.
    for (const HListNode* upload = g_request.files; upload; upload = upload->next)
        dev_unlink((std::string("/tmp/upload/") + upload->value).c_str());
    print_refusal(other_host);
    dev_syslog(LOG_ERR, "Error %s: %s", "in file sameorigin line 41", strerror(EPERM));
    return true;
}
