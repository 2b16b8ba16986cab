// OpenVPN status (item 49): whether the service runs, in which role, and its
// connections from the list the device's OpenVPN scripts keep.
#include <cstdio>
#include <cstring>
#include <string>
#include <sys/stat.h>

#include "cgi/http.h"
#include "conf/conf.h"
#include "device/device.h"
#include "pages/pages.h"
#include "render/escape.h"
#include "render/tmpl.h"

namespace {

struct StatusSettings {
    const char* list_file;
    const char* pid_file;
    int line_size;
};
constexpr StatusSettings SETTINGS = {"/tmp/vpnlist", "/var/run/openvpn.pid", 1024};

struct Captions {
    const char* incoming;
    const char* outgoing;
};
const Captions GERMAN = {
    "<caption>Status eingehender OpenVPN-Verbindungen</caption><tr><td>IP-Adresse des Clients</td>"
    "<td>Remote-Port des Clients</td><td>CN des X509-Zertifikats</td></tr>",
    "<caption>Status ausgehender OpenVPN-Verbindungen</caption><tr><td>Device</td>"
    "<td>Remote-IP des Servers</td></tr>",
};
const Captions ENGLISH = {
    "<caption>Status of incoming OpenVPN connections</caption><tr><td>IP address of clients</td>"
    "<td>Remote port of clients</td><td>CN of X509 Certificate</td></tr>",
    "<caption>Status of outgoing OpenVPN connection</caption><tr><td>Device</td><td>Remote IP of server</td></tr>",
};

const char* const RUNNING = "<p style=\"background-color:#00FF00; color:#FFFFFF;\">RUNNING</p>";
const char* const NOT_RUNNING = "<p style=\"background-color:#FF0000; color:#FFFFFF;\">NOT RUNNING</p>";
const char* const NOT_CONNECTED = "<tr><td colspan=\"2\">Not connected</td></tr>";
const char* const NO_CONNECTIONS = "<tr><td colspan=\"3\">No connections</td></tr>";

// One table row of the "|"-separated fields of a line (the last keeps the
// line's end).
std::string row(char* line, int columns)
{
    std::string out = "<tr>";
    char* save = nullptr;
    for (int i = 0; i < columns; ++i) {
        const char* field = strtok_r(i == 0 ? line : nullptr, "|", &save);
        out += "<td>";
        if (field)
            html_escape_append(out, field, strlen(field));
        out += "</td>";
    }
    return out + "</tr>";
}

std::string outgoing(FILE* list)
{
    char line[SETTINGS.line_size];
    if (!list || !fgets(line, sizeof line, list) || line[0] == '\0')
        return NOT_CONNECTED;
    return row(line, 2);
}

std::string incoming(FILE* list)
{
    char line[SETTINGS.line_size];
    if (!list || !fgets(line, sizeof line, list) || strlen(line) <= 2)
        return NO_CONNECTIONS;
    std::string rows;
    do {
        if (strlen(line) > 3)
            rows += row(line, 3);
    } while (fgets(line, sizeof line, list));
    return rows.empty() ? NO_CONNECTIONS : rows;
}

}  // namespace

int ovpnstatus_show()
{
    std::string mode = conf_value("OVPN_MODE", "openvpn.config");
    const Captions& captions = strncmp(http_lang(), "deutsc", 6) == 0 ? GERMAN : ENGLISH;
    struct stat st;
    tmpl_replace("{STATUS}", dev_stat(SETTINGS.pid_file, &st) == 0 ? RUNNING : NOT_RUNNING);

    FILE* list = dev_fopen(SETTINGS.list_file, "r");
    bool client = strncmp(mode.c_str(), "client", 6) == 0;
    tmpl_replace("{MODE}", client ? "Client" : "Server");
    tmpl_replace("{HEAD}", client ? captions.outgoing : captions.incoming);
    tmpl_replace("{CONNECTIONS}", (client ? outgoing(list) : incoming(list)).c_str());
    if (list)
        fclose(list);
    return 0;
}
