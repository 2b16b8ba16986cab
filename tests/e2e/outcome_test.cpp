// Result pages of applies that run the device's tools: the first failed step with its status and what to do next
// above the table of steps, or that all worked; the client's PKCS#12 file offered only when this request made it.

#include "page_support.h"

namespace {

const std::string kOk = "<div class=\"outcome ok\">\n<p>Done: every step worked.</p>\n";
const std::string kFailed = "<div class=\"outcome failed\" role=\"alert\">\n<p>Failed: ";
const std::string kPeerForm = "common=c1&cert_type=peer&so_pass=ca&su_pass=p12";

std::string link(int item, const std::string& name, const std::string& lang = "english")
{
    return "<a href=\"/cgi-bin/gwadmin?item=" + std::to_string(item) + "&amp;lang=" + lang + "\">" + name + "</a>";
}
const std::string kRetry = "Try again; if it fails again, restart the router (" + link(20, "Restart") + ").";
const std::string kCaPassword = "Check the password of the authority&#39;s key and try again. If no certificate "
                                "authority has been set up yet, set it up first: " +
                                link(26, "Certificate authority") + ", new root certificate.";
const std::string kSaveAgain =
    "Save again (" + link(19, "Save configuration") + "); until saving works, changes are lost at the next restart.";
const std::string kTakeEffect =
    "<div class=\"outcome next\" role=\"note\">\n<p>OpenVPN goes on with its previous settings until it starts again. "
    "For these settings to take effect, save the configuration (" + link(19, "Save configuration") +
    "), then restart the router (" + link(20, "Restart") + ").</p>\n</div>\n";

// A device whose tools all work; the result pages show "{OUTCOME}|{MESSAGE}", the certificate authority's second
// step "{OUTCOME}|{DOWNLOAD}".
void device(const Sandbox& sb)
{
    sb.defaults();
    // A language is named by its first 6 characters.
    for (const char* lang : {"english", "deutsc"}) {
        sb.write_doc(std::string(lang) + "/messages", "");
        sb.write_doc(std::string(lang) + "/vpnca2.tmpl", "{OUTCOME}|{DOWNLOAD}");
        sb.write_doc(std::string(lang) + "/speich.tmpl", "{OUTCOME}|{MESSAGE}");
    }
    sb.write_doc("templates/resultpage.tmpl", "{OUTCOME}|{MESSAGE}");
    for (const char* t : {"/usr/sbin/cert", "/usr/sbin/save", "/usr/sbin/load", "/bin/date", "/bin/chown",
                          "/etc/init.d/S95openvpn"})
        sb.tool(t, "exit 0");
    sb.tool("/usr/bin/sudo", "[ \"$1\" = -i ] && shift; exec \"$@\"");
    sb.tool("/usr/bin/cryptpw", "echo '$1$salt$hash'");
    sb.write("/tmp/certs/config/VPNClient.config", "commonName_default = x\n");
    sb.write("/tmp/certs/index.txt", "V\t301231235959Z\t\t01\tunknown\t/CN=a/emailAddress=x\n");
    sb.write("/tmp/certs/vpnpeer.p12", "the previous client's file");
    sb.write("/home/httpd/index.html", "");
    sb.write("/tmp/keys/ipsec/.keep", "");
}

}  // namespace

TEST(Outcome, EachApplyNamesTheFailedStepWithItsStatusAndAdviceOrSaysAllWorked)
{
    const struct {
        std::string request;  // the form's fields, with the client's PKCS#12 file when it names item 46 or 29
        std::string tool;     // the one that fails
        std::string step;     // the step it makes fail
        std::string status;   // as the page shows it
        std::string advice;
    } actions[] = {
        {"item=26&step=2&" + kPeerForm, "/usr/sbin/cert", "Generate the client certificate", " (status 256)",
         kCaPassword},
        {"item=26&act=1&cert_type=gate&so_pass=ca&su_pass=gw", "/usr/sbin/cert", "Generate the gateway certificate",
         " (status 256)", kCaPassword},
        {"item=26&act=1&cert_type=auth&so_pass=ca", "/usr/sbin/cert", "Generate the root certificate of the authority",
         " (status 256)", kRetry},
        {"item=27&act=1&numblist=01&statelist=R&so_pwd=ca", "/usr/sbin/cert", "Rebuild the revocation list",
         " (status 256)", "Check the password of the authority&#39;s key and apply again: the certificates have their "
         "new states, but the revocation list is still the old one."},
        {"item=46&act=1&vpnmode=client", "/usr/sbin/save", "Save the OpenVPN keys permanently", " (status 256)",
         "Save the configuration (" + link(19, "Save configuration") +
             "); until saving works, the installed file is lost at the next restart."},
        {"item=29&act=1&ipsmode=peer&x509pwd=pw", "/usr/sbin/cert",
         "Unpack the certificate and keys from the PKCS#12 file", " (status 256)",
         "Check the file&#39;s password and that it is a PKCS#12 file, then upload it again (" +
             link(29, "IPsec and L2TP") + "). The keys have not been saved."},
        {"item=29&act=1&ipsmode=peer&x509pwd=pw", "/usr/sbin/save", "Save the IPsec keys permanently", " (status 256)",
         "Upload the file again (" + link(29, "IPsec and L2TP") +
             "); until saving works, the keys are lost at the next restart."},
        {"item=2&act=1&timemode=man&jahr=2026&monat=1&tag=5", "/bin/date", "Set the clock", " (status 256)",
         "Check the date and time entered and try again (" + link(2, "Time") + ")."},
        {"item=2&act=1&timemode=ntp", "/etc/init.d/S95openvpn", "Restart OpenVPN for the new time", " (status 256)",
         "Check the OpenVPN settings (" + link(46, "OpenVPN") + "); the system log (" +
             link(43, "System log status") + ") tells why OpenVPN did not start. Restarting the router (" +
             link(20, "Restart") + ") starts it too."},
        {"item=19", "/usr/sbin/save", "Save the configuration", " (status 256)", kSaveAgain},  // opening it saves
        {"item=38&act=1", "/usr/sbin/load", "Load the factory settings", " (status 256)", kRetry},
        // The hash tool's status is not the page's: only that it failed.
        {"item=24&act=1&Kennwort=new&KennwortRe=new", "/usr/bin/cryptpw", "Set the new administrator password", "",
         "The previous password is still valid. Enter the new one again (at most 16 characters) and apply."},
    };
    for (const auto& a : actions) {
        for (bool fails : {false, true}) {
            Sandbox sb;
            device(sb);
            sb.config("openvpn.config", "OVPN_MODE='server'\n");  // the clock restarts it
            if (fails)
                sb.tool(a.tool, "exit 1");
            const bool file = a.request.find("item=46") == 0 || a.request.find("item=29") == 0;
            const std::string page = post_fields(sb, a.request, {"certfile", "P12", "peer.p12", file}).out;
            const std::string row = "<tr><td>" + a.step + "</td><td>" + (fails ? "failed" + a.status : "worked");
            EXPECT_NE(page.find(row + "</td></tr>\n"), std::string::npos) << a.step << fails << page;
            const std::string failed = kFailed + a.step + a.status + ".</p>\n<p>What to do: " + a.advice + "</p>\n";
            EXPECT_NE(page.find(fails ? failed : kOk), std::string::npos) << a.step << page;
            EXPECT_EQ(page.find(fails ? "outcome ok" : "outcome failed"), std::string::npos) << a.step << page;
        }
    }
    Sandbox sb;  // in German
    device(sb);
    sb.config("openvpn.config", "OVPN_MODE='server'\n");
    sb.tool("/etc/init.d/S95openvpn", "exit 1");
    const std::string de = "deutsch", page = sb.post("item=2&act=1&lang=deutsch", "timemode=ntp").out;
    EXPECT_NE(page.find("<p>Fehlgeschlagen: OpenVPN für die neue Zeit neu starten (Status 256).</p>\n<p>Was zu tun ist: "
                        "Prüfen Sie die OpenVPN-Einstellungen (" + link(46, "OpenVPN", de) + "); das Systemprotokoll (" +
                        link(43, "Protokollstatus", de) + ") zeigt, warum OpenVPN nicht startete. Ein Neustart des "
                        "Routers (" + link(20, "Neustart", de) + ") startet es ebenfalls.</p>\n"), std::string::npos) << page;
    sb.tool("/usr/sbin/save", "exit 1");
    EXPECT_NE(sb.get("item=19&lang=deutsch").out.find("(" + link(19, "Konfiguration sichern", de) + ")"), std::string::npos);
}

TEST(Outcome, TheClientCertificateIsOfferedOnlyWhenThisRequestMadeIt)
{
    const std::string de = "deutsch";
    const struct {
        std::string lang;
        bool made;
        std::string page;
    } cases[] = {
        // The copy works, but it is the previous client's file: no download.
        {"", false,
         kFailed + "Generate the client certificate (status 256).</p>\n<p>What to do: " + kCaPassword +
             "</p>\n<table class=\"steps\">\n<tr><th scope=\"col\">Step</th><th scope=\"col\">Result</th></tr>\n"
             "<tr><td>Prepare the subject</td><td>worked</td></tr>\n"
             "<tr><td>Store the subject for client certificates</td><td>worked</td></tr>\n"
             "<tr><td>Generate the client certificate</td><td>failed (status 256)</td></tr>\n"
             "<tr><td>Provide the PKCS#12 file for download</td><td>worked</td></tr>\n</table>\n</div>\n|"},
        {de, false,
         "<div class=\"outcome failed\" role=\"alert\">\n<p>Fehlgeschlagen: Client-Zertifikat erzeugen (Status 256)."
         "</p>\n<p>Was zu tun ist: Prüfen Sie das Kennwort des Schlüssels der Zertifizierungsstelle und versuchen Sie "
         "es erneut. Gibt es noch keine Zertifizierungsstelle, richten Sie sie zuerst ein: " +
             link(26, "Zertifizierungsstelle", de) +
             ", neues Stammzertifikat.</p>\n<table class=\"steps\">\n<tr><th scope=\"col\">Schritt</th>"
             "<th scope=\"col\">Ergebnis</th></tr>\n<tr><td>Antragsdaten vorbereiten</td><td>geklappt</td></tr>\n"
             "<tr><td>Antragsdaten für Client-Zertifikate ablegen</td><td>geklappt</td></tr>\n"
             "<tr><td>Client-Zertifikat erzeugen</td><td>fehlgeschlagen (Status 256)</td></tr>\n"
             "<tr><td>PKCS#12-Datei zum Herunterladen bereitstellen</td><td>geklappt</td></tr>\n</table>\n</div>\n|"},
        {"", true,
         "|<fieldset id=\"download\" style=\"margin-top:16px\">\n<legend>Client certificate</legend>\n"
         "<p><a href=\"/vpnpeer.p12\" download=\"vpnpeer.p12\">Download the client certificate (vpnpeer.p12)</a></p>\n"
         "<p class=\"note\">The PKCS#12 file holds the client&#39;s key, its certificate and the certificate of the "
         "authority, protected by the password given for the certificate. Import it into the VPN client.</p>\n"
         "</fieldset>"},
        {de, true,
         "|<fieldset id=\"download\" style=\"margin-top:16px\">\n<legend>Client-Zertifikat</legend>\n"
         "<p><a href=\"/vpnpeer.p12\" download=\"vpnpeer.p12\">Client-Zertifikat herunterladen (vpnpeer.p12)</a></p>\n"
         "<p class=\"note\">Die PKCS#12-Datei enthält den Schlüssel des Clients, sein Zertifikat und das Zertifikat der "
         "Zertifizierungsstelle, geschützt durch das für das Zertifikat vergebene Kennwort. Importieren Sie sie in "
         "den VPN-Client.</p>\n</fieldset>"},
    };
    for (const auto& c : cases) {
        Sandbox sb;
        device(sb);
        if (!c.made)
            sb.tool("/usr/sbin/cert", "exit 1");
        const std::string page = sb.post("item=26&step=2&lang=" + c.lang, kPeerForm).out;
        EXPECT_EQ(c.made ? page.substr(page.find("</div>\n|") + 7) : page, c.page) << c.lang;
        // The commands run as before: the previous client's file was copied, only not offered.
        EXPECT_EQ(sb.commands().back(), "/usr/bin/sudo /bin/cp /tmp/certs/vpnpeer.p12 /home/httpd/vpnpeer.p12");
        EXPECT_EQ(sb.read("/home/httpd/vpnpeer.p12"), "the previous client's file");
    }
}

TEST(Outcome, PagesWithoutToolStepsShowOnlyTheirNotes)
{
    const struct {
        std::string query, body, outcome;
    } cases[] = {
        {"item=37&act=1", "dhcp_start=10", ""},
        // OpenVPN stores its settings; the service takes them when it starts.
        {"item=46&act=1", "vpnmode=server", kTakeEffect},
        {"item=20&act=1", "",
         "<div class=\"outcome next\" role=\"note\">\n<p>The router restarts once this page has been sent, so this "
         "page cannot tell whether the restart worked. If the router does not answer again within a few minutes, "
         "switch it off and on.</p>\n</div>\n"},
    };
    for (const auto& c : cases) {
        Sandbox sb;
        device(sb);
        const std::string page = sb.post(c.query, c.body).out;
        EXPECT_EQ(page.substr(0, page.find('|')), c.outcome) << c.query;
    }
    // A client upload's steps come before the note.
    Sandbox sb;
    device(sb);
    const std::string page = post_fields(sb, "item=46&act=1&vpnmode=client", {"certfile", "P12", "peer.p12", true}).out;
    EXPECT_NE(page.find("</table>\n</div>\n" + kTakeEffect + "|"), std::string::npos) << page;
}
