// Set-up shared by the page tests.
#pragma once

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

// Option lines from {value, label, value, label...}; marks[i] == '1' selects option i.
inline std::string option_lines(const Lines& options, const std::string& marks)
{
    std::string out;
    for (size_t i = 0; i + 1 < options.size(); i += 2)
        out += "\n    <option value=\"" + options[i] + "\"" + (marks[i / 2] == '1' ? " selected" : "") + ">" +
               options[i + 1] + "</option>";
    return out;
}

// A stand-in ip tool; the network status runs these commands and shows this.
inline void ip_tool(const Sandbox& sb)
{
    sb.tool("/sbin/ip", "case \"$*\" in\n'addr show dev eth0') echo '1: eth0 <UP> inet 192.168.0.1/24';;\n"
                        "'addr show dev eth1') echo '2: eth1 inet 10.0.0.2/8';;\n"
                        "'route show') echo 'default via 10.0.0.1 & <b>';;\nesac");
}
inline const char kNetworkOutput[] =
    "1: eth0 <UP> inet 192.168.0.1/24\n\n2: eth1 inet 10.0.0.2/8\n\ndefault via 10.0.0.1 & <b>\n";
inline const Lines kNetworkCommands = {"/sbin/ip addr show dev eth0", "/bin/echo", "/sbin/ip addr show dev eth1",
                                       "/bin/echo", "/sbin/ip route show"};
