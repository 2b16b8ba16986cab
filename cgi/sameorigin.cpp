#include "cgi/sameorigin.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <strings.h>

#include "cgi/http.h"
#include "device/device.h"
#include "render/aux.h"

namespace {

constexpr int ITEM_SAVE = 19;
constexpr int ITEM_VPNCA = 26;

bool present(const char* text) { return text && *text; }

std::string lower(std::string text)
{
    for (char& c : text)
        if (c >= 'A' && c <= 'Z')
            c = char(c - 'A' + 'a');
    return text;
}

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

// Whether url ("scheme://[user@]host[:port][/...]") names another host and
// port than the request's Host; a text that names no host does.
bool other_host(const char* url, const char* host)
{
    const char* mark = strstr(url, "://");
    if (!mark || mark == url || !present(host))
        return true;
    const std::string scheme = lower(std::string(url, mark));
    std::string authority(mark + 3, strcspn(mark + 3, "/?#"));
    size_t at = authority.rfind('@');
    if (at != std::string::npos)
        authority.erase(0, at + 1);
    HostPort from, to;
    if (!split_host(authority, default_port(scheme), from) || !split_host(host, default_port(scheme), to))
        return true;
    return from.host != to.host || from.port != to.port;
}

}  // namespace

bool sameorigin_cross_site(const char* fetch_site, const char* origin, const char* referer, const char* host)
{
    if (present(fetch_site))
        return strcasecmp(fetch_site, "cross-site") == 0;
    if (present(origin))
        return other_host(origin, host);
    if (present(referer))
        return other_host(referer, host);
    return false;
}

bool sameorigin_changes(int item, int act, long step)
{
    return act != 0 || item == ITEM_SAVE || (item == ITEM_VPNCA && step != 0);
}

bool sameorigin_refused(int item, int act, long step)
{
    if (!sameorigin_changes(item, act, step) ||
        !sameorigin_cross_site(getenv("HTTP_SEC_FETCH_SITE"), getenv("HTTP_ORIGIN"), getenv("HTTP_REFERER"),
                               getenv("HTTP_HOST")))
        return false;
    // The parser has already stored the request's files; they go too.
    for (const HListNode* upload = g_request.files; upload; upload = upload->next)
        dev_unlink((std::string("/tmp/upload/") + upload->value).c_str());
    fputs("Status: 403 Forbidden\nContent-Type: text/html; charset=utf-8\n\n", stdout);
    aux_error("in file sameorigin line 41", EPERM);
    return true;
}
