// The certificate authority (item 26) and certificate management (item 27) pages.

#include <ctime>
#include <regex>

#include "page_support.h"

namespace {

const std::string kClient = "/tmp/certs/config/VPNClient.config", kServer = "/tmp/certs/config/VPNServer.config";
const std::string kCa = "/tmp/certs/config/RouterCA.config", kIdx = "/tmp/certs/index.txt";
const std::regex kDateTime(R"(\d\d\.\d\d\.\d{4}, \d\d:\d\d:\d\d)");
// The first line holding a key is the one rewritten, a comment too; later ones stay.
const std::string kTemplate =
    "[ req ]\ncommonName = Common Name\ncommonName_default = old-cn\norganizationalUnitName_default = old-ou\n"
    "0.organizationName_default = old-o\n; localityName_default = town\nlocalityName_default = city\n"
    "stateOrProvinceName_default = st\nemailAddress_default = old@x\ncountryName_default = DE\n"
    "countryName_default = AT\ncommonName_default = x\n";
const std::string kForm = "common=cn1&org_unit=ou+1&orga=o1&locatio=l1&region=r1&email=e%40x&country=CH";
const std::string kWritten = "[ req ]\ncommonName = Common Name\ncommonName_default              = cn1\n"
                             "organizationalUnitName_default  = ou 1\n0.organizationName_default      = o1\n"
                             "localityName_default            = l1\nlocalityName_default = city\n"
                             "stateOrProvinceName_default     = r1\nemailAddress_default            = e@x\n"
                             "countryName_default             = CH\ncountryName_default = AT\ncommonName_default = x\n";
const std::string kIndex = "V\t301231235959Z\t\t01\tunknown\t/C=DE/O=Example/CN=gw1/emailAddress=x\n"
                           "V\t310102030405Z\t\t02\tunknown\t/C=DE/O=Example/CN=peer1/emailAddress=y\n"
                           "R\t290615120000Z\t240101083000Z\t03\tunknown\t/C=DE/CN=old/emailAddress=z\n";

}  // namespace

TEST(CertificateAuthorityPage, ApplyWritesTheSubjectAndRunsTheToolPerType)
{
    const std::string chmod = "/bin/chmod 644 /tmp/tmpcert.config", sudo = "/usr/bin/sudo ";
    const std::string mv = sudo + "/bin/mv -f /tmp/tmpcert.config ", chown = sudo + "/bin/chown admin:admin ";
    const std::string gen = "6 certificate generation: ", done = "Certificates\n|Generated\n";
    const std::string act = "6 cvpnca cvpnca_act() geht los";
    // target: where the edited copy ends up ("": no template).
    const struct { std::string query, type, passwords, target, page; Lines commands, records; } cases[] = {
        {"act=1", "peer", "so_pass=so&su_pass=", kClient, done,
         {chmod, mv + kClient, chown + kServer, sudo + "/usr/sbin/cert gen peer 'so' ",
          sudo + "/bin/cp /tmp/certs/vpnpeer.p12 /home/httpd/vpnpeer.p12"},
         {act, gen + "mv_tmp_peer returns 0", gen + "chown returns 256", gen + "cert_gen_peer returns 512",
          gen + "cp returns 0"}},
        // Step 2 without act: the apply handler on the page's second template.
        {"step=2", "gate", "so_pass=s+o&su_pass=x%27y", kServer, done + "||{ORG}",
         {chmod, mv + kServer, chown + kServer, sudo + "/usr/sbin/cert gen gateway 's o' 'x'\\''y'"},
         {act, gen + "mv_tmp_gate returns 0", gen + "chown returns 256", gen + "cert_gen_gateway returns 512"}},
        {"act=1", "auth", "so_pass=r;oot&su_pass=unused", kCa, done,
         {chmod, sudo + "/bin/rm /tmp/cert/*", mv + kCa, chown + kCa, sudo + "/usr/sbin/cert gen root 'r;oot'"},
         {act, gen + "mv_tmp_auth returns 0", gen + "mv_tmp_auth returns 0", gen + "chown returns 256",
          gen + "cert_gen_root returns 512"}},
        // Compared exactly: anything else only makes the scratch copy.
        {"act=1", "Peer", "so_pass=so", "/tmp/tmpcert.config", done, {chmod}, {act}},
        {"act=1", "peer", "so_pass=a", "", "Zertifikate generieren|hat nicht geklappt", {}, {act}},
    };
    for (const auto& c : cases) {
        Sandbox sb;
        vpn_tools(sb, 2, 1);
        result_page(sb, "vpnca_head:Certificates\nvpnca_rslt:Generated\n");
        sb.write_doc("english/vpnca2.tmpl", "{HEADLINE}|{MESSAGE}|{COUNTRYOPTS}|{ORG}");
        if (!c.target.empty())
            sb.write(kClient, kTemplate);
        sb.write("/home/httpd/index.html", "");
        sb.write("/tmp/certs/vpnpeer.p12", "PKCS12");
        sb.write("/tmp/cert/old.pem", "old");
        EXPECT_EQ(sb.post("item=26&" + c.query, kForm + "&cert_type=" + c.type + "&" + c.passwords).out, c.page);
        EXPECT_EQ(sb.commands(), c.commands) << c.type;
        EXPECT_EQ(sb.messages(), c.records) << c.type;
        EXPECT_EQ(sb.read(c.target.empty() ? kClient : c.target), c.target.empty() ? "" : kWritten) << c.type;
        EXPECT_EQ(sb.exists("/tmp/tmpcert.config"), c.target == "/tmp/tmpcert.config") << c.type;
        EXPECT_EQ(sb.exists("/tmp/cert/old.pem"), c.type != "auth") << c.type;
    }
}

TEST(CertificateAuthorityPage, ShowFillsTheSubjectFromTheClientTemplate)
{
    // {country, option selected}: two characters after "=", the last one dropped.
    for (const Lines& c : {Lines{"DE", "DE"}, Lines{"de", ""}, Lines{"DEU", "DE"}}) {
        Sandbox sb;
        sb.write_doc("english/vpnca.tmpl", "{ORGUNIT}|{ORG}|{LOCATION}|{REGION}|{EMAIL}|{COUNTRYOPTS}|{SYSTEMDATUM}");
        sb.write(kClient, "commonName_default = cn\ncountryName_default = " + c[0] + "\norganizationalUnitName_default"
                          " = ou\n0.organizationName_default = Ex Org\n; localityName_default = town\n"
                          "localityName_default = city\nstateOrProvinceName_default =xBY\nemailAddress_default = a@b\n"
                          "organizationName_default = second\ncountryName_default = US\n");
        const std::string page = "ou|Ex Org|town|BY|a@b|" + country_options(c[1], false);
        const std::string out = sb.get("item=26").out;
        EXPECT_EQ(out.substr(0, page.size() + 1), page + "|") << c[0];
        EXPECT_TRUE(std::regex_match(out.substr(std::min(out.size(), page.size() + 1)), kDateTime)) << out;
    }
}

TEST(CertificateManagementPage, ApplyRevokesAndRestoresByPositionThenShowsTheIndex)
{
    const std::string mg = "6 certificate management: ", sudo = "/usr/bin/sudo ";
    auto utc_now = [](time_t now = time(nullptr)) {
        struct tm tm;
        char text[16];
        return std::string(text, strftime(text, sizeof text, "%y%m%d%H%M%SZ", gmtime_r(&now, &tm)));
    };
    Sandbox sb;
    vpn_tools(sb, 2, 1);
    result_page(sb, "mgcert_head:Certificates\nmgcert_rslt:Updated\n");
    sb.write_doc("english/mgcert.tmpl", "{NUMBOPTS}|{STATEOPTS}|{COMNAMEOPTS}|{EXPDATEOPTS}|{SYSTEMDATUM}");
    sb.get("item=27");  // no index yet: only the date is shown
    EXPECT_EQ(sb.messages(), (Lines{"6 mgcert mgcert: los gehts", "6 mgcert mgcert: fopen kackt!"}));
    sb.remove("/var/log/messages");
    sb.write(kIdx, kIndex + "V\t330101000000Z\t\t04\tunknown\t/CN=4\nV\t33\t\t05\tunknown\t/CN=5/e\n");
    const std::string body = "numblist=01|02|03|04&statelist=V|R|V|E&so_pwd=p+w", before = utc_now();
    // A zone far from UTC: the revocation time must not follow it.
    CgiResult r = sb.run({{"REQUEST_METHOD", "POST"}, {"QUERY_STRING", "item=27&act=1"}, {"TZ", "XYZ-14"},
                          {"CONTENT_TYPE", "application/x-www-form-urlencoded"},
                          {"CONTENT_LENGTH", std::to_string(body.size())}}, body);
    const std::string after = utc_now();
    EXPECT_EQ(r.out, "Certificates\n|Updated\n");
    // By position: V stays, R revokes now, V restores, another letter repeats the line before, no state: as it was.
    const std::string restored = "V\t290615120000Z\t\t03\tunknown\t/C=DE/CN=old/emailAddress=z\n";
    const std::string expected = kIndex.substr(0, kIndex.find('\n') + 1) +
                                 "R\t310102030405Z\t@\t02\tunknown\t/C=DE/O=Example/CN=peer1/emailAddress=y\n" +
                                 restored + restored + "V\t33\t\t05\tunknown\t/CN=5/e\n";
    std::string index = sb.read(kIdx);
    const size_t at = expected.find('@');
    const std::string stamp = index.substr(at, 13);
    EXPECT_TRUE(before <= stamp && stamp <= after && stamp.back() == 'Z') << before << " " << stamp << " " << after;
    EXPECT_EQ(index.replace(at, 13, "@"), expected);
    EXPECT_EQ(sb.commands(), (Lines{"/bin/chmod 644 /tmp/crt.tmp", sudo + "/bin/mv -f /tmp/crt.tmp " + kIdx,
                                    sudo + "/bin/chown admin:admin " + kIdx,
                                    sudo + "/usr/sbin/cert update crl 'p w'"}));
    EXPECT_EQ(sb.messages(), (Lines{mg + "chmod returns 0", mg + "mv returns 0", mg + "chown returns 256",
                                    mg + "/usr/sbin/cert update crl p w", mg + "cert update returns 512"}));
    // The lists: the expiry YYMMDDhhmmssZ as DD.MM.20YY,hh:mm:ss, pair by pair (a short one keeps the rest of the
    // line before), and the CN.
    std::string page;
    for (const char* v : {"01", "02", "03", "03", "05", "|", "V", "R", "V", "V", "V", "|", "gw1", "peer1", "old", "old",
                          "5", "|", "31.12.2030,23:59:59", "02.01.2031,03:04:05", "15.06.2029,12:00:00",
                          "15.06.2029,12:00:00", "15.06.2033,12:00:00", "|"})
        page += *v == '|' ? std::string("|") : "\n    <option>" + std::string(v) + "</option>";
    const std::string out = sb.get("item=27").out;
    ASSERT_EQ(out.substr(0, page.size()), page);
    EXPECT_TRUE(std::regex_match(out.substr(page.size()), kDateTime)) << out;
}
