// The certificate pages: the certificate authority (item 26) writes the
// subject into the client template and runs the cert tool; certificate
// management (item 27) lists the authority's index and revokes or restores
// certificates by position, then has the revocation list rebuilt.
#include <gtest/gtest.h>

#include <ctime>
#include <regex>
#include <sstream>

#include "page_support.h"

namespace {

const std::string kClient = "/tmp/certs/config/VPNClient.config";
const std::string kDateTime = R"(\d\d\.\d\d\.\d{4}, \d\d:\d\d:\d\d)";

// The first line holding a key is the one rewritten, a comment too; later ones stay.
const std::string kTemplate =
    "[ req ]\ncommonName = Common Name\ncommonName_default = old-cn\n"
    "organizationalUnitName_default = old-ou\n0.organizationName_default = old-o\n"
    "; localityName_default = town\nlocalityName_default = city\nstateOrProvinceName_default = st\n"
    "emailAddress_default = old@x\ncountryName_default = DE\ncountryName_default = AT\n"
    "commonName_default = again\n";
const std::string kForm = "common=cn1&org_unit=ou+1&orga=o1&locatio=l1&region=r1&email=e%40x&country=CH";
const std::string kWritten =
    "[ req ]\ncommonName = Common Name\ncommonName_default              = cn1\n"
    "organizationalUnitName_default  = ou 1\n0.organizationName_default      = o1\n"
    "localityName_default            = l1\nlocalityName_default = city\n"
    "stateOrProvinceName_default     = r1\nemailAddress_default            = e@x\n"
    "countryName_default             = CH\ncountryName_default = AT\ncommonName_default = again\n";

// The cert tool records its arguments one a line and fails with 2; chown fails with 1.
void cert_tools(const Sandbox& sb)
{
    sb.tool("/usr/sbin/cert", "printf '%s\\n' \"$#\" \"$@\" >> \"$GWADMIN_ROOT/var/log/cert\"; exit 2");
    sb.tool("/bin/chown", "exit 1");
}

Lines records(const Sandbox& sb, const std::string& part)
{
    Lines out;
    for (const std::string& m : sb.messages())
        if (m.find(part) != std::string::npos)
            out.push_back(m);
    return out;
}

std::string country_options(const std::string& selected)
{
    std::istringstream codes(
        "AE AR AU AT AZ BB BD BE BG BO BR BY CA CH CL CN CO CR CY CZ DK DE EC EE EG ES FI FR GB GR GT GU HR HK "
        "HU ID IE IN IL IS IT JP JO KR KW LB LI LK LT LU LV MA MT MX MY NI NL NO NZ OM PA PE PH PK PL PR PT PY "
        "RO RU SA SE SG SI SK TH TR TW UA US UY VE VI VN ZA");
    std::string out;
    int n = 0;
    for (std::string c; codes >> c; ++n)
        out += "\n      <option value=\"" + c + "\" " + (c == selected ? "selected" : "") + ">" + c + "</option>";
    EXPECT_EQ(n, 85);
    return out;
}

}  // namespace

TEST(CertificateAuthorityPage, ApplyWritesTheSubjectAndRunsTheToolPerType)
{
    const std::string gen = "6 certificate generation: ";
    const struct {
        std::string type, passwords, target;  // target: where the edited copy ends up
        Lines commands, records, tool_args;
    } cases[] = {
        {"peer", "so_pass=so&su_pass=", kClient,
         {"/usr/bin/sudo /bin/mv -f /tmp/tmpcert.config " + kClient,
          "/usr/bin/sudo /bin/chown admin:admin /tmp/certs/config/VPNServer.config",
          "/usr/bin/sudo /usr/sbin/cert gen peer 'so' ",
          "/usr/bin/sudo /bin/cp /tmp/certs/vpnpeer.p12 /home/httpd/vpnpeer.p12"},
         {gen + "mv_tmp_peer returns 0", gen + "chown returns 256", gen + "cert_gen_peer returns 512",
          gen + "cp returns 0"},
         {"3", "gen", "peer", "so"}},
        {"gate", "so_pass=s+o&su_pass=x%27y", "/tmp/certs/config/VPNServer.config",
         {"/usr/bin/sudo /bin/mv -f /tmp/tmpcert.config /tmp/certs/config/VPNServer.config",
          "/usr/bin/sudo /bin/chown admin:admin /tmp/certs/config/VPNServer.config",
          "/usr/bin/sudo /usr/sbin/cert gen gateway 's o' 'x'\\''y'"},
         {gen + "mv_tmp_gate returns 0", gen + "chown returns 256", gen + "cert_gen_gateway returns 512"},
         {"4", "gen", "gateway", "s o", "x'y"}},
        {"auth", "so_pass=r;oot&su_pass=unused", "/tmp/certs/config/RouterCA.config",
         {"/usr/bin/sudo /bin/rm /tmp/cert/*",
          "/usr/bin/sudo /bin/mv -f /tmp/tmpcert.config /tmp/certs/config/RouterCA.config",
          "/usr/bin/sudo /bin/chown admin:admin /tmp/certs/config/RouterCA.config",
          "/usr/bin/sudo /usr/sbin/cert gen root 'r;oot'"},
         {gen + "mv_tmp_auth returns 0", gen + "mv_tmp_auth returns 0", gen + "chown returns 256",
          gen + "cert_gen_root returns 512"},
         {"3", "gen", "root", "r;oot"}},
        // Compared exactly: anything else only makes the scratch copy.
        {"Peer", "so_pass=so", "/tmp/tmpcert.config", {}, {}, {}},
    };
    for (const auto& c : cases) {
        Sandbox sb;
        cert_tools(sb);
        result_page(sb, "vpnca_head:Certificates\nvpnca_rslt:Generated\n");
        sb.write(kClient, kTemplate);
        sb.write("/tmp/certs/vpnpeer.p12", "PKCS12");
        sb.write("/home/httpd/index.html", "");
        sb.write("/tmp/cert/old.pem", "old");
        CgiResult r = sb.post("item=26&act=1", kForm + "&cert_type=" + c.type + "&" + c.passwords);
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, "Certificates\n|Generated\n") << c.type;
        Lines commands = {"/bin/chmod 644 /tmp/tmpcert.config"};
        commands.insert(commands.end(), c.commands.begin(), c.commands.end());
        EXPECT_EQ(sb.commands(), commands) << c.type;
        Lines messages = {"6 cvpnca cvpnca_act() geht los"};
        messages.insert(messages.end(), c.records.begin(), c.records.end());
        EXPECT_EQ(records(sb, "6 c"), messages) << c.type;
        EXPECT_EQ(split_lines(sb.read("/var/log/cert")), c.tool_args) << c.type;
        EXPECT_EQ(sb.read(c.target), kWritten) << c.type;
        EXPECT_EQ(sb.read(kClient), c.target == kClient ? kWritten : kTemplate) << c.type;
        EXPECT_EQ(sb.exists("/tmp/tmpcert.config"), c.target == "/tmp/tmpcert.config") << c.type;
        EXPECT_EQ(sb.exists("/home/httpd/vpnpeer.p12"), c.type == "peer") << c.type;
        EXPECT_EQ(sb.exists("/tmp/cert/old.pem"), c.type != "auth") << c.type;
        EXPECT_TRUE(sb.exists("/tmp/certs/vpnpeer.p12")) << c.type;
    }
}

TEST(CertificateAuthorityPage, MissingTemplateAndStepTwoDispatch)
{
    Sandbox sb;
    cert_tools(sb);
    result_page(sb, "vpnca_head:Certificates\nvpnca_rslt:Generated\n");
    CgiResult r = sb.post("item=26&act=1", kForm + "&cert_type=peer&so_pass=a");
    EXPECT_EQ(r.out, "Zertifikate generieren|hat nicht geklappt");
    EXPECT_TRUE(sb.commands().empty());
    EXPECT_FALSE(sb.exists("/tmp/tmpcert.config"));
    // Step 2 without act: the apply handler on the page's second template.
    sb.write(kClient, kTemplate);
    sb.write_doc("english/vpnca2.tmpl", "{HEADLINE}|{MESSAGE}|{COUNTRYOPTS}|{ORG}");
    r = sb.post("item=26&step=2", kForm + "&cert_type=gate&so_pass=a&su_pass=b");
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(r.out, "Certificates\n|Generated\n||{ORG}");
    EXPECT_EQ(sb.read("/tmp/certs/config/VPNServer.config"), kWritten);
    EXPECT_EQ(sb.commands().back(), "/usr/bin/sudo /usr/sbin/cert gen gateway 'a' 'b'");
}

TEST(CertificateAuthorityPage, ShowFillsTheSubjectFromTheClientTemplate)
{
    // {country line, option selected}: two characters after "=", the last one dropped.
    const Lines cases[] = {{"countryName_default = DE\n", "DE"}, {"countryName_default = de\n", ""},
                           {"countryName_default = DEU\n", "DE"}, {"countryName_default =  AT\n", ""},
                           {"countryName_default =xAT\n", "AT"}};
    for (const Lines& c : cases) {
        Sandbox sb;
        sb.write_doc("english/vpnca.tmpl", "{ORGUNIT}|{ORG}|{LOCATION}|{REGION}|{EMAIL}|{COUNTRYOPTS}|{SYSTEMDATUM}");
        sb.write(kClient, "commonName_default = cn\n" + c[0] + "organizationalUnitName_default = ou\n"
                          "0.organizationName_default = Ex Org\n; localityName_default = town\n"
                          "localityName_default = city\nstateOrProvinceName_default =xBY\n"
                          "emailAddress_default = a@b\norganizationName_default = second\n"
                          "countryName_default = US\n");
        CgiResult r = sb.get("item=26");
        EXPECT_EQ(r.status, 0);
        const std::string page = "ou|Ex Org|town|BY|a@b|" + country_options(c[1]) + "|";
        ASSERT_EQ(r.out.substr(0, page.size()), page) << c[0];
        EXPECT_TRUE(std::regex_match(r.out.substr(page.size()), std::regex(kDateTime))) << r.out;
    }
    Sandbox sb;
    sb.write_doc("english/vpnca.tmpl", "{ORGUNIT}|{ORG}|{LOCATION}|{REGION}|{EMAIL}|{COUNTRYOPTS}|{SYSTEMDATUM}");
    EXPECT_EQ(sb.get("item=26").out, "||||||{SYSTEMDATUM}");
}

namespace {

const std::string kIndex =
    "V\t301231235959Z\t\t01\tunknown\t/C=DE/O=Example/CN=gw1/emailAddress=x\n"
    "V\t310102030405Z\t\t02\tunknown\t/C=DE/O=Example/CN=peer1/emailAddress=y\n"
    "R\t290615120000Z\t240101083000Z\t03\tunknown\t/C=DE/CN=old/emailAddress=z\n";

std::string utc_now()
{
    time_t now = time(nullptr);
    struct tm tm;
    gmtime_r(&now, &tm);
    char text[16];
    strftime(text, sizeof text, "%y%m%d%H%M%SZ", &tm);
    return text;
}

}  // namespace

TEST(CertificateManagementPage, ApplyRevokesAndRestoresByPosition)
{
    const Lines in = split_lines(kIndex);
    const std::string revoked = "R\t310102030405Z\t@\t02\tunknown\t/C=DE/O=Example/CN=peer1/emailAddress=y";
    const std::string restored = "V\t290615120000Z\t\t03\tunknown\t/C=DE/CN=old/emailAddress=z";
    // {numblist, statelist, index lines afterwards ("@": the revocation time)}
    const struct {
        std::string numbs, states;
        Lines after;
    } cases[] = {
        {"01|02|03", "V|R|V", {in[0], revoked, restored}},
        {"01|02|03", "V|E|R", {in[0], in[0], in[2]}},  // another letter repeats the line before
        {"", "R|R|R", in},
    };
    const std::string password = "x';reboot;'";
    for (const auto& c : cases) {
        Sandbox sb;
        cert_tools(sb);
        result_page(sb, "mgcert_head:Certificates\nmgcert_rslt:Updated\n");
        sb.write("/tmp/certs/index.txt", kIndex);
        const std::string body = "numblist=" + c.numbs + "&statelist=" + c.states + "&so_pwd=x%27%3Breboot%3B%27";
        const std::string before = utc_now();
        // A zone far from UTC: the revocation time must not follow it.
        CgiResult r = sb.run({{"REQUEST_METHOD", "POST"}, {"QUERY_STRING", "item=27&act=1"}, {"TZ", "XYZ-14"},
                              {"CONTENT_TYPE", "application/x-www-form-urlencoded"},
                              {"CONTENT_LENGTH", std::to_string(body.size())}},
                             body);
        const std::string after = utc_now();
        EXPECT_EQ(r.status, 0);
        EXPECT_EQ(r.out, "Certificates\n|Updated\n") << c.states;
        Lines lines = split_lines(sb.read("/tmp/certs/index.txt"));
        ASSERT_EQ(lines.size(), c.after.size()) << c.states;
        for (size_t i = 0; i < lines.size(); ++i) {
            size_t at = c.after[i].find('@');
            if (at == std::string::npos) {
                EXPECT_EQ(lines[i], c.after[i]) << c.states << " line " << i;
                continue;
            }
            std::string stamp = lines[i].substr(at, 13);
            EXPECT_TRUE(std::regex_match(stamp, std::regex(R"(\d{12}Z)"))) << stamp;
            EXPECT_TRUE(before <= stamp && stamp <= after) << before << " " << stamp << " " << after;
            EXPECT_EQ(lines[i].substr(0, at) + "@" + lines[i].substr(at + 13), c.after[i]);
        }
        EXPECT_FALSE(sb.exists("/var/log/reboots"));
        if (c.numbs.empty()) {
            EXPECT_TRUE(sb.commands().empty());
            EXPECT_TRUE(records(sb, "certificate management").empty());
            continue;
        }
        EXPECT_EQ(sb.commands(), (Lines{"/bin/chmod 644 /tmp/crt.tmp",
                                        "/usr/bin/sudo /bin/mv -f /tmp/crt.tmp /tmp/certs/index.txt",
                                        "/usr/bin/sudo /bin/chown admin:admin /tmp/certs/index.txt",
                                        "/usr/bin/sudo /usr/sbin/cert update crl 'x'\\'';reboot;'\\'''"}));
        const std::string mg = "6 certificate management: ";
        EXPECT_EQ(records(sb, mg), (Lines{mg + "chmod returns 0", mg + "mv returns 0", mg + "chown returns 256",
                                          mg + "/usr/sbin/cert update crl " + password,
                                          mg + "cert update returns 512"}));
        EXPECT_EQ(split_lines(sb.read("/var/log/cert")), (Lines{"3", "update", "crl", password}));
        EXPECT_FALSE(sb.exists("/tmp/crt.tmp"));
    }
}

TEST(CertificateManagementPage, ShowListsTheIndex)
{
    const std::string tmpl = "{NUMBOPTS}|{STATEOPTS}|{COMNAMEOPTS}|{EXPDATEOPTS}|{SYSTEMDATUM}";
    auto opts = [](const Lines& values) {
        std::string out;
        for (const std::string& v : values)
            out += "\n    <option>" + v + "</option>";
        return out;
    };
    // {index (none: no file), page before the date}
    const struct {
        const char* index;
        std::string page;
    } cases[] = {
        {kIndex.c_str(), opts({"01", "02", "03"}) + "|" + opts({"V", "V", "R"}) + "|" +
                             opts({"gw1", "peer1", "old"}) + "|" +
                             opts({"31.12.2030,23:59:59", "02.01.2031,03:04:05", "15.06.2029,12:00:00"}) + "|"},
        {"", "||||"},
        {nullptr, "{NUMBOPTS}|{STATEOPTS}|{COMNAMEOPTS}|{EXPDATEOPTS}|"},
    };
    for (const auto& c : cases) {
        Sandbox sb;
        sb.write_doc("english/mgcert.tmpl", tmpl);
        if (c.index)
            sb.write("/tmp/certs/index.txt", c.index);
        CgiResult r = sb.get("item=27");
        EXPECT_EQ(r.status, 0);
        ASSERT_EQ(r.out.substr(0, c.page.size()), c.page);
        EXPECT_TRUE(std::regex_match(r.out.substr(c.page.size()), std::regex(kDateTime))) << r.out;
        EXPECT_EQ(records(sb, "fopen kackt!"), c.index ? Lines{} : Lines{"6 mgcert mgcert: fopen kackt!"});
        if (c.index && *c.index) {
            EXPECT_EQ(records(sb, "datefield"), (Lines{"6 mgcert mgcert: datefield |301231235959Z|",
                                                       "6 mgcert mgcert: datefield |310102030405Z|",
                                                       "6 mgcert mgcert: datefield |290615120000Z|"}));
        }
    }
}
