// IPsec and L2TP (item 29): off, peer mode (one remote gateway, key or an
// uploaded PKCS#12 certificate) or gateway mode (named peers with their keys,
// an address pool of its own, L2TP for remote clients).
#include <cstring>
#include <string>
#include <syslog.h>

#include "cgi/http.h"
#include "conf/conf.h"
#include "device/device.h"
#include "pages/pages.h"
#include "render/outcome.h"
#include "render/pagehelp.h"
#include "render/tmpl.h"

namespace {

constexpr const char* IPSEC = "ipsec.config";
constexpr const char* L2TP = "l2tp.config";

// Check boxes of this page: exactly "yes" stores yes; shown " checked".
struct Check {
    const char* form;
    const char* key;
    const char* placeholder;
};
const Check TRANSPORT_CHECKS[] = {
    {"ipsec_natt", "IPSEC_NAT_TRAVERSAL", "{IPSEC_NATT}"},
    {"ipsec_x509", "IPSEC_USE_X509", "{IPSEC_X509}"},
};
const Check NATIVE_CHECK = {"ipsecgateway", "IPSEC_GW_NATIV_MODE", "{IPSEC_GW_NATIV_MODE}"};
const Check L2TP_CHECK = {"l2tp_service", "IPSEC_GW_L2TP_MODE", "{IPSEC_GW_L2TP_MODE}"};

const TextField PEER_GATEWAY[] = {
    {"rtarget", "IPSEC_PEER_GW_IP", "{IPSEC_PEER_GW_IP}"},
    {"ipskey", "IPSEC_PEER_GW_PSK", "{IPSEC_PEER_GW_PSK}"},
};
const ListField PEERS[] = {
    {"IPSEC_PEERS", "NAME", "peerlist", "{PEEROPTS}", "{PEERLIST}", 40, 16, "in file cipsec line 119"},
    {"IPSEC_PEERS", "PSK", "keylist", "{KEYOPTS}", "{KEYLIST}", 281, 257, "in file cipsec line 136"},
};
const TextField NATIVE_POOL[] = {
    {"startaddress", "IPSEC_GW_NATIV_ADDR", "{IPSEC_GW_NATIV_ADDR}"},
    {"endaddress", "IPSEC_GW_NATIV_POOL", "{IPSEC_GW_NATIV_END}"},
    {"netmask", "IPSEC_GW_NATIV_MASK", "{IPSEC_GW_NATIV_MASK}"},
    {"dns", "IPSEC_GW_NATIV_DNS", "{IPSEC_GW_NATIV_DNS}"},
    {"wins", "IPSEC_GW_NATIV_WINS", "{IPSEC_GW_NATIV_WINS}"},
};
// The CHAP password (last) is written but never shown.
const TextField L2TP_SHOWN[] = {
    {"rwpppaddr", "L2TP_PPP_ADDR", "{L2TP_PPP_ADDR}"},
    {"rwpppfrom", "L2TP_PPP_STRT", "{L2TP_PPP_STRT}"},
    {"rwpppto", "L2TP_PPP_STOP", "{L2TP_PPP_STOP}"},
    {"rwpppmsdns", "L2TP_PPP_MS_DNS", "{L2TP_PPP_MS_DNS}"},
    {"rwpppmswins", "L2TP_PPP_MS_WINS", "{L2TP_PPP_MS_WINS}"},
    {"chap_user", "L2TP_CHAP_USER", "{L2TP_CHAP_USER}"},
};
const TextField L2TP_PASSWORD[] = {{"l2tp_pass", "L2TP_CHAP_PASS", nullptr}};

bool is(const char* value, const char* word) { return strcmp(value, word) == 0; }

// Stores a check box; returns whether it was on.
bool store_check(const Check& c)
{
    bool on = is(http_var(c.form), "yes");
    conf_set(c.key, yes_no(on), IPSEC);
    return on;
}

void show_check(const Check& c)
{
    tmpl_replace(c.placeholder, mark_if(is(conf_value(c.key, IPSEC).c_str(), "yes"), " checked"));
}

// What peer and gateway mode share: the interface and the transport options.
void store_transport()
{
    store_field(IPSEC, "ipsec_interface", "IPSEC_PHYSICAL_ITF");
    for (const Check& c : TRANSPORT_CHECKS)
        store_check(c);
}

// The steps of the certificate upload, as the result page lists them.
const Advice EXTRACT_ADVICE = {
    "Check the file's password and that it is a PKCS#12 file, then upload it again ([29]). The keys have not "
    "been saved.",
    "Prüfen Sie das Kennwort der Datei und ob es eine PKCS#12-Datei ist, und laden Sie sie erneut hoch ([29]). "
    "Die Schlüssel wurden nicht gesichert."};
const Advice SAVE_ADVICE = {
    "Upload the file again ([29]); until saving works, the keys are lost at the next restart.",
    "Laden Sie die Datei erneut hoch ([29]); bis das Sichern gelingt, gehen die Schlüssel beim nächsten Neustart "
    "verloren."};
const Step TAKE_UPLOAD = {{"Take over the uploaded certificate file", "Hochgeladene Zertifikatsdatei übernehmen"},
                          &ADVICE_RETRY};
const Step OWN_UPLOAD = {{"Set the owner of the certificate file", "Eigentümer der Zertifikatsdatei setzen"},
                         &ADVICE_RETRY};
const Step EXTRACT = {{"Unpack the certificate and keys from the PKCS#12 file",
                       "Zertifikat und Schlüssel aus der PKCS#12-Datei entpacken"}, &EXTRACT_ADVICE};
const Step SAVE_KEYS = {{"Save the IPsec keys permanently", "IPsec-Schlüssel dauerhaft sichern"}, &SAVE_ADVICE};

void run_logged(const std::string& command, const char* log_format, const Step& step)
{
    int status = dev_system(command.c_str());
    dev_syslog(LOG_INFO, log_format, status);
    outcome_step(step, status);
}

// Installs the uploaded PKCS#12 file: renamed in the upload folder, its keys
// extracted, and saved when the extraction worked.
void install_certificate()
{
    const char* name = http_file("certfile");
    if (!name || !*name) {
        dev_syslog(LOG_INFO, "IPSec peer mode: no upload file");
        return;
    }
    run_logged("/usr/bin/sudo /bin/mv -f /tmp/upload/" + sh_quote(name) + " /tmp/upload/vpnpeer.p12",
               "IPSec peer mode: mv returns %d", TAKE_UPLOAD);
    run_logged("/usr/bin/sudo /bin/chown admin:admin /tmp/upload/vpnpeer.p12", "IPSec peer mode: chown returns %d",
               OWN_UPLOAD);
    std::string extract = "/usr/bin/sudo /usr/sbin/cert extract p12 /tmp/upload/vpnpeer.p12 " +
                          sh_quote(http_var("x509pwd")) + " /tmp/keys/ipsec/";
    int extracted = outcome_step(EXTRACT, dev_system(extract.c_str()));
    dev_syslog(LOG_INFO, "IPSec peer mode: extract returns %d", extracted);
    if (extracted == 0)
        run_logged("/usr/bin/sudo /usr/sbin/save ipsec", "IPSec peer mode: savekeys returns %d", SAVE_KEYS);
    else
        dev_syslog(LOG_INFO, "IPSec peer mode: key not saved");
}

}  // namespace

int cipsec_act()
{
    const char* mode = http_var("ipsmode");
    conf_set("IPSEC_MODE", mode, IPSEC);
    if (is(mode, "peer")) {
        store_transport();
        store_texts(IPSEC, PEER_GATEWAY);
        install_certificate();
    } else if (is(mode, "gateway")) {
        store_transport();
        list_store_all(IPSEC, PEERS);
        if (store_check(NATIVE_CHECK))
            store_texts(IPSEC, NATIVE_POOL);
        if (store_check(L2TP_CHECK)) {
            store_texts(L2TP, L2TP_SHOWN);
            store_texts(L2TP, L2TP_PASSWORD);
        }
    }
    return page_result("cipsec");
}

int cipsec_show()
{
    std::string mode = conf_value("IPSEC_MODE", IPSEC);
    int chosen = is(mode.c_str(), "gateway") ? 3 : is(mode.c_str(), "peer") ? 2 : 1;
    tmpl_replace("{CHOOSEN_DIV}", std::to_string(chosen).c_str());
    for (int n = 1; n <= 3; ++n)
        tmpl_replace(("{MODE_CHK" + std::to_string(n) + "}").c_str(), mark_if(n == chosen, "checked"));

    bool eth0 = strncmp(conf_value("IPSEC_PHYSICAL_ITF", IPSEC).c_str(), "eth0", 4) == 0;
    tmpl_replace("{IFSEL0}", mark_if(eth0, "selected"));
    tmpl_replace("{IFSEL1}", mark_if(!eth0, "selected"));
    for (const Check& c : TRANSPORT_CHECKS)
        show_check(c);
    show_texts(IPSEC, PEER_GATEWAY);
    // Lists that cannot be shown are reported and left out; the rest of the
    // page still is.
    list_show_all(IPSEC, PEERS);
    show_check(NATIVE_CHECK);
    show_texts(IPSEC, NATIVE_POOL);
    show_check(L2TP_CHECK);
    show_texts(L2TP, L2TP_SHOWN);
    return 0;
}
