// Set-up and expectations shared by the page tests.
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "sandbox.h"

using Lines = std::vector<std::string>;

// The result page "{HEADLINE}|{MESSAGE}" and the texts ("key:text" lines).
inline void result_page(const Sandbox& sb, const std::string& messages)
{
    sb.write_doc("templates/resultpage.tmpl", "{HEADLINE}|{MESSAGE}");
    sb.write_doc("english/messages", messages);
}
// The factory files, the English template of a page and the result page with its texts.
inline void page_setup(const Sandbox& sb, const std::string& tmpl, const std::string& text,
                       const std::string& messages = "")
{
    sb.defaults();
    sb.write_doc("english/" + tmpl + ".tmpl", text);
    result_page(sb, messages);
}

// Option lines from {value, label, value, label...}; marks[i] == '1' selects option i. With gap a blank
// follows the value whether the option is selected or not.
inline std::string option_lines(const Lines& options, const std::string& marks, bool gap = false,
                                const std::string& indent = "    ")
{
    std::string out;
    for (size_t i = 0; i + 1 < options.size(); i += 2)
        out += "\n" + indent + "<option value=\"" + options[i] + "\"" + (gap ? " " : "") +
               (marks[i / 2] == '1' ? (gap ? "selected" : " selected") : "") + ">" + options[i + 1] + "</option>";
    return out;
}
// Option lines (blank before the mark) of those {value, label...} options whose mark is not '-'.
inline std::string offered_options(const Lines& options, const std::string& marks)
{
    Lines offered;
    std::string kept;
    for (size_t i = 0; i < marks.size(); ++i)
        if (marks[i] != '-')
            offered.insert(offered.end(), {options[2 * i], options[2 * i + 1]}), kept += marks[i];
    return option_lines(offered, kept, true);
}
// The country options (value the T.35 code, or the ISO code; label the ISO code), the one of value selected marked.
inline std::string country_options(const std::string& selected, bool t35)
{
    std::istringstream in(
        "AE B3 AR 07 AU 09 AT 0A AZ F7 BB 0E BD 0D BE 0F BG 1B BO 14 BR 16 BY F4 CA 20 CH A6 CL 25 CN 26 CO 27 CR 2B "
        "CY 2D CZ 2E DK 31 DE 04 EC 35 EE FA EG 36 ES A0 FI 3C FR 3D GB B4 GR 46 GT 49 GU 48 HR F5 HK 50 HU 51 ID 54 "
        "IE 57 IN 53 IL 58 IS 52 IT 59 JP 00 JO 5E KR 61 KW 62 LB 64 LI 68 LK A1 LT F9 LU 69 LV F8 MA 77 MT 70 MX 73 "
        "MY 6C NI 7F NL 7B NO 82 NZ 7E OM 83 PA 85 PE 88 PH 89 PK 84 PL 8A PR 8C PT 8B PY 87 RO 8E RU B8 SA 98 SE A5 "
        "SG 9C SI FD SK FC TH A9 TR AE TW FE UA B2 US B5 UY B7 VE BB VI 19 VN BC ZA 9F");
    Lines rows;
    std::string marks;
    for (std::string iso, code; in >> iso >> code; marks += (t35 ? code : iso) == selected ? '1' : '0')
        rows.insert(rows.end(), {t35 ? code : iso, iso});
    return option_lines(rows, marks, true, "      ");
}
// A list's plain options, one per value.
inline std::string list_options(const Lines& values, const std::string& indent = "      ")
{
    std::string out;
    for (const std::string& v : values)
        out += "\n" + indent + "<option>" + v + "</option>";
    return out;
}

// A stand-in ip tool; the network status runs these commands and shows this (escaped).
inline void ip_tool(const Sandbox& sb)
{
    sb.tool("/sbin/ip", "case \"$*\" in\n'addr show dev eth0') echo '1: eth0 <UP> inet 192.168.0.1/24';;\n"
                        "'addr show dev eth1') echo '2: eth1 inet 10.0.0.2/8';;\n"
                        "'route show') echo 'default via 10.0.0.1 & <b>';;\nesac");
}
inline const char kNetworkOutput[] =
    "1: eth0 &lt;UP&gt; inet 192.168.0.1/24\n\n2: eth1 inet 10.0.0.2/8\n\ndefault via 10.0.0.1 &amp; &lt;b&gt;\n";
inline const Lines kNetworkCommands = {"/sbin/ip addr show dev eth0", "/bin/echo", "/sbin/ip addr show dev eth1",
                                       "/bin/echo", "/sbin/ip route show"};

// The settings file written, then the page the query shows.
inline std::string shown(const Sandbox& sb, const std::string& query, const std::string& file, const std::string& text)
{
    sb.config(file, text);
    return sb.get(query).out;
}
// The apply of item given the form body: the result page, "|", then the whole settings file afterwards.
inline std::string applied(const Sandbox& sb, const std::string& item, const std::string& body, const std::string& file)
{
    const std::string page = sb.post("item=" + item + "&act=1", body).out;
    return page + "|" + sb.config(file);
}

// The text with the line of each {key, value[, new key]} rewritten ("-": removed); a missing key spoils it.
inline std::string edit_conf(std::string text, const std::vector<Lines>& edits)
{
    for (const Lines& e : edits) {
        size_t at = text.find("\n" + e[0] + "='");
        if (at == std::string::npos)
            return "no line " + e[0];
        text.replace(at, text.find('\n', at + 1) - at,
                     e[1] == "-" ? "" : "\n" + (e.size() > 2 ? e[2] : e[0]) + "='" + e[1] + "'");
    }
    return text;
}
// The edits a followed by those of b.
inline std::vector<Lines> concat(std::vector<Lines> a, const std::vector<Lines>& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}
// A multipart post of the fields "name=value&..." (taken as they are) and, when given, a file part.
inline CgiResult post_fields(const Sandbox& sb, const std::string& fields, const Part& file = {})
{
    std::vector<Part> parts;
    for (size_t at = 0, end = 0; end != std::string::npos; at = end + 1) {
        end = fields.find('&', at);
        const std::string f = fields.substr(at, end - at);
        parts.push_back({f.substr(0, f.find('=')), f.substr(f.find('=') + 1), "", false});
    }
    if (file.is_file)
        parts.push_back(file);
    return sb.post_multipart("xyz", multipart_body("xyz", parts));
}
// Stand-ins: cert logs "$#" and its arguments, one a line, in /var/log/cert; chown and cert exit as told, save 0.
inline void vpn_tools(const Sandbox& sb, int cert_exit, int chown_exit)
{
    sb.tool("/usr/sbin/cert", "printf '%s\\n' \"$#\" \"$@\" >> \"$GWADMIN_ROOT/var/log/cert\"; exit " +
                                  std::to_string(cert_exit));
    sb.tool("/bin/chown", "exit " + std::to_string(chown_exit));
    sb.tool("/usr/sbin/save", "exit 0");
}
