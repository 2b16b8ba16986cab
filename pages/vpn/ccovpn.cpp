// OpenVPN settings (item 46): four modes (none, client, server, tunnel), each
// keeping its own keys when another is chosen; the client's PKCS#12 upload;
// the static key of the tunnel mode.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <syslog.h>
#include <unistd.h>

#include "cgi/http.h"
#include "conf/conf.h"
#include "device/device.h"
#include "pages/pages.h"
#include "render/aux.h"
#include "render/escape.h"
#include "render/outcome.h"
#include "render/pagehelp.h"
#include "render/tmpl.h"

namespace {

constexpr const char* OPENVPN = "openvpn.config";
constexpr const char* KEY_FOLDER = "/home/httpd/openvpn/";

const char* const MODES[] = {"none", "client", "server", "tunnel"};  // numbers 1 to 4

// Written in every mode but "none"; shown by the rules of ccovpn_show.
const TextField COMMON[] = {
    {"ovpn_interface", "OVPN_LISTEN_IF", nullptr},
    {"vpnprot", "OVPN_PROTOCOL", nullptr},
    {"vport", "OVPN_PORT", nullptr},
    {"kompress", "OVPN_COMPRESSION", nullptr},
};
const TextField CLIENT[] = {
    {"remote_host", "OVPN_HOST_REMOTE", "{OVPN_HOST_REMOTE}"},
    {"remote_port", "OVPN_PORT_REMOTE", "{OVPN_PORT_REMOTE}"},
};
const TextField SERVER_NETWORK[] = {
    {"ovpnservernet", "OVPN_SVR_NET", "{OVPN_SVR_NET}"},
    {"ovpnservermask", "OVPN_SVR_MASK", "{OVPN_SVR_MASK}"},
    {"ovpnservermsdns", "OVPN_SVR_DNS", "{OVPN_SVR_DNS}"},
    {"ovpnservermswins", "OVPN_SVR_WINS", "{OVPN_SVR_WINS}"},
};
const TextField SERVER_REDIRECT = {"ovpnredirectdefaults", "OVPN_SVR_REDIRECT_DEFAULT", "{OVPN_SVR_REDIRECT_DEFAULT}"};
const TextField SERVER_CLIENTS[] = {{"ovpnservermaxclnts", "OVPN_SVR_CLIENTS_MAX", "{OVPN_SVR_CLIENTS_MAX}"}};
const TextField SERVER_VISIBILITY = {"ovpnclientsvisible", "OVPN_SVR_CLIENT_VISIBILITY",
                                     "{OVPN_SVR_CLIENT_VISIBILITY}"};
const ListField ROUTES[] = {
    {"OVPN_ROUTE", "NET", "peerlist", "{PEEROPTS}", "{PEERLIST}", 41, 16, "in file ccovpn line 100"},
    {"OVPN_ROUTE", "MASK", "masklist", "{MASKOPTS}", "{MASKLIST}", 41, 16, "in file ccovpn line 115"},
};
const TextField TUNNEL[] = {
    {"gateway", "OVPN_HOST_REMOTE", "{GATEWAY}"},
    {"lokal", "OVPN_TUNNEL_LOCAL", "{LOKAL}"},
    {"remote", "OVPN_TUNNEL_REMOTE", "{REMOTE}"},
};

const Option LISTEN_INTERFACES[] = {{"eth0", "LAN"}, {"eth1", "WAN"}};
const OptionStyle LISTEN_STYLE = {"    ", "", " selected", match_exact};

bool is(const char* value, const char* word) { return strcmp(value, word) == 0; }

// An option of the server: any value sent switches it on.
void store_switch(const TextField& f) { conf_set(f.key, yes_no(*http_var(f.form) != '\0'), OPENVPN); }

// The steps of the client upload, as the result page lists them.
const Step INSTALL_P12 = {{"Install the uploaded PKCS#12 file", "Hochgeladene PKCS#12-Datei installieren"},
                          &ADVICE_RETRY};
const Step OWN_P12 = {{"Set the owner of the PKCS#12 file", "Eigentümer der PKCS#12-Datei setzen"}, &ADVICE_RETRY};
const Advice SAVE_KEYS_AGAIN = {
    "Save the configuration ([19]); until saving works, the installed file is lost at the next restart.",
    "Sichern Sie die Konfiguration ([19]); bis das Sichern gelingt, geht die installierte Datei beim nächsten "
    "Neustart verloren."};
const Step SAVE_KEYS = {{"Save the OpenVPN keys permanently", "OpenVPN-Schlüssel dauerhaft sichern"},
                        &SAVE_KEYS_AGAIN};
// The page stores the settings; the service reads them when it starts.
const Advice TAKE_EFFECT = {
    "OpenVPN goes on with its previous settings until it starts again. For these settings to take effect, save "
    "the configuration ([19]), then restart the router ([20]).",
    "OpenVPN arbeitet mit den bisherigen Einstellungen weiter, bis es neu startet. Damit diese Einstellungen "
    "gelten, sichern Sie die Konfiguration ([19]) und starten Sie dann den Router neu ([20])."};

// A failed step of the client upload: the result page is filled but, as the
// status is handed back, never printed.
int upload_failed(int status)
{
    put_message("{HEADLINE}", "ccovpn_head");
    put_message("{MESSAGE}", "ccovpn_err1");
    return status;
}

// Installs the client's PKCS#12 upload; 0, or the status of the failed step.
int install_client_certificate()
{
    const char* name = http_file("certfile");
    dev_syslog(LOG_INFO, "ccovpn: certfile %s", name ? name : "(null)");
    if (!name || !*name) {
        dev_syslog(LOG_INFO, "OpenVPN client mode: no upload file");
        return 0;
    }
    dev_system("/usr/bin/sudo /bin/mkdir /tmp/keys/openvpn");
    std::string move = "/usr/bin/sudo /bin/mv -f /tmp/upload/" + sh_quote(name) + " /tmp/keys/openvpn/vpnpeer.p12";
    dev_syslog(LOG_INFO, "ccovpn: kommando %s", move.c_str());
    int status = outcome_step(INSTALL_P12, dev_system(move.c_str()));
    dev_syslog(LOG_INFO, "OpenVPN client mode: mv returns %d", status);
    if (status != 0)
        return upload_failed(status);
    status = outcome_step(OWN_P12,
                          dev_system("/usr/bin/sudo /bin/chown admin:admin /tmp/keys/openvpn/vpnpeer.p12"));
    dev_syslog(LOG_INFO, "OpenVPN client mode: chown returns %d", status);
    if (status != 0)
        return upload_failed(status);
    store_field(OPENVPN, "x509pwd", "OVPN_PKCS12_PASSWD");
    status = outcome_step(SAVE_KEYS, dev_system("/usr/bin/sudo /usr/sbin/save openvpn > /dev/null"));
    dev_syslog(LOG_INFO, "OpenVPN client mode: savekeys returns %d", status);
    return 0;
}

// Generates or installs the static key as keystate asks.
void static_key_action()
{
    const char* state = http_var("keystate");
    dev_syslog(LOG_INFO, "ccovpn ccovpn(): keystate %s", state);
    switch (strtol(state, nullptr, 10)) {
    case 1: {
        dev_syslog(LOG_INFO, "ccovpn: switch keymode case 1, pt1");
        std::string generate = std::string("/usr/sbin/openvpn --genkey --secret ") + KEY_FOLDER + "stqatic.key";
        dev_syslog(LOG_INFO, "%s", generate.c_str());
        dev_system(generate.c_str());
        break;
    }
    case 3:
        if (const char* name = http_file("Datei"))
            if (*name)
                http_move_upload(name, KEY_FOLDER, name);
        break;
    default:
        break;
    }
    dev_syslog(LOG_INFO, "ccovpn: nach switch keymode, pt1");
}

// The start of the static key: the fifth line of "static.key" (the first key
// line after the header), at most 16 characters; a shorter file leaves its
// last line.
std::string static_key_start()
{
    std::string path = std::string(KEY_FOLDER) + "static.key";
    // opened first, so that a missing file costs no stdio stream
    int fd = dev_open(path.c_str(), O_RDONLY | O_CLOEXEC);
    FILE* f = fd < 0 ? nullptr : fdopen(fd, "r");
    if (!f) {
        if (fd >= 0)
            close(fd);
        return std::string();
    }
    char line[PAGE_BUFFER] = {0};
    for (int i = 0; i < 5 && fgets(line, sizeof line, f); ++i) {
    }
    fclose(f);
    line[16] = '\0';
    return line;
}

}  // namespace

int ccovpn_act()
{
    const char* mode = http_var("vpnmode");
    conf_set("OVPN_MODE", mode, OPENVPN);
    if (!is(mode, "none"))
        store_texts(OPENVPN, COMMON);
    if (is(mode, "client")) {
        store_texts(OPENVPN, CLIENT);
        if (int status = install_client_certificate())
            return status;
    } else if (is(mode, "server")) {
        store_texts(OPENVPN, SERVER_NETWORK);
        store_switch(SERVER_REDIRECT);
        store_texts(OPENVPN, SERVER_CLIENTS);
        store_switch(SERVER_VISIBILITY);
        list_store_all(OPENVPN, ROUTES);
    } else if (is(mode, "tunnel")) {
        store_texts(OPENVPN, TUNNEL);
    }
    outcome_note(TAKE_EFFECT);
    return page_result("ccovpn");
}

int ccovpn_show()
{
    std::string mode = conf_value("OVPN_MODE", OPENVPN);
    int number = 1;
    for (int i = 1; i < 4; ++i)
        if (is(mode.c_str(), MODES[i]))
            number = i + 1;
    char digits[AUX_INT_SIZE];
    tmpl_replace("{CHOOSEN_DIV}", aux_int_text(number, digits));
    for (int n = 1; n <= 4; ++n) {
        char mark[32];
        aux_concat(mark, sizeof mark, {"{MODE_CHK", aux_int_text(n, digits), "}"});
        tmpl_replace(mark, mark_if(n == number, "checked"));
    }

    std::string itf = conf_value("OVPN_LISTEN_IF", OPENVPN);
    tmpl_replace("{INTERFACE_OPTS}", option_list(LISTEN_INTERFACES, itf.c_str(), LISTEN_STYLE).c_str());
    bool udp = is(conf_value("OVPN_PROTOCOL", OPENVPN).c_str(), "udp");
    tmpl_replace("{CHECK1}", mark_if(udp, "checked"));
    tmpl_replace("{CHECK2}", mark_if(!udp, "checked"));
    show_key(OPENVPN, "OVPN_PORT", "{VPORT}");
    tmpl_replace("{KOMP}", mark_if(!conf_value("OVPN_COMPRESSION", OPENVPN).empty(), "checked"));
    show_texts(OPENVPN, CLIENT);
    show_texts(OPENVPN, SERVER_NETWORK);
    for (const TextField* f : {&SERVER_REDIRECT, &SERVER_VISIBILITY})
        tmpl_replace(f->placeholder, mark_if(is(conf_value(f->key, OPENVPN).c_str(), "yes"), "checked"));
    show_texts(OPENVPN, SERVER_CLIENTS);
    if (list_show_all(OPENVPN, ROUTES) != 0)
        return -1;
    show_texts(OPENVPN, TUNNEL);

    static_key_action();
    tmpl_replace_text("{SECKEY}", static_key_start().c_str());
    return 0;
}
