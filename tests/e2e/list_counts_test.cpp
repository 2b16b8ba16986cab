// The entry count of the list pages, as each page reads it: once by the page itself before its lists (a read that
// reports a missing file like any other), then by every list field again. The page sizes its list buffers per
// entry for that count, so a count below 0 is an allocation that fails: reported at the page's location, and the
// page is not printed (IPsec alone goes on without its lists).

#include <algorithm>

#include "page_support.h"

namespace {

// The page, its template, file and count key, placeholders (all from that file), the file's reads while showing
// (the count's included), where a count below 0 fails the buffers and what IPsec still shows then (others: none).
struct ListPage {
    std::string item, name, file, count, tmpl;
    int reads;
    std::string failure, shown;
};

const ListPage kPages[] = {
    {"3", "dns", "name.config", "HOST_N", "{HOSTLIST}|{IPOPTIONS}", 4, "in file cccdns line 36", ""},
    {"28", "vmp", "mapping.config", "VMAP_VIRTETH_N", "{IP2MLIST}|{M2IPOPTIONS}", 4, "in file cccvmp line 80", ""},
    {"32", "blwhit", "blackwhite.config", "BLWH_LIST_N", "{HOSTLIST}|{PORTOPTS}", 5, "in file blwhit line 36", ""},
    {"39", "snmp", "snmp.config", "SNMP_TRAPSINK_N", "{SINKLIST}|{SNMPV3NAME}", 11, "in file ccsnmp line 52", ""},
    {"29", "ipsec", "ipsec.config", "IPSEC_PEERS_N", "{PEERLIST}|{KEYOPTS}|{IPSEC_GW_NATIV_ADDR}", 16,
     "in file cipsec line 119", "{PEERLIST}|{KEYOPTS}|192.168.50.10"},
    {"30", "statrt", "static.config", "STATIC_ROUTE_N", "{ROUTELIST}|{MASQOPTS}", 6, "in file statrt line 73", ""},
    {"31", "portfw", "forward.config", "PORTFW_N", "{PORTLIST}|{TARGOPTS}", 4, "in file portfw line 32", ""},
    {"18", "portfi", "portfilter.config", "PORTFILTER_N", "{DENYLIST}|{RULEOPTS}", 3, "in file portfi line 28", ""},
    {"36", "fwruls", "spec.config", "FW_RULES_N", "{ACTLIST}|{DSTPORTOPTS}", 7, "in file fwruls line 29", ""},
    // The names are shown first.
    {"9", "diaout", "dialout.config", "DIALOUT_ISP_N", "{NMBLIST}|{PASSLIST}|{SELNAME}", 13,
     "in file diaout line 152", ""},
    {"46", "ovpn", "openvpn.config", "OVPN_ROUTE_N", "{PEERLIST}|{MASKOPTS}|{REMOTE}", 20,
     "in file ccovpn line 100", ""},
};

// The template with its placeholders emptied.
std::string emptied(std::string text)
{
    for (size_t at; (at = text.find('{')) != std::string::npos;)
        text.erase(at, text.find('}', at) - at + 1);
    return text;
}

void setup(const Sandbox& sb, const ListPage& p)
{
    page_setup(sb, p.name, p.tmpl);
    sb.write("/etc/deviceID", "MX-RT-210B-GSM-KORU\n");  // a modem to dial out with
}

}  // namespace

TEST(ListCounts, MissingFileReportsTheCountReadToo)
{
    for (const ListPage& p : kPages) {
        Sandbox sb;
        setup(sb, p);
        sb.remove("/tmp/ulsp/" + p.file);
        std::string expected;
        for (int i = 0; i < p.reads; ++i)
            expected += error_page("in file conf line 36", "No such file or directory");
        EXPECT_EQ(sb.get("item=" + p.item).out, expected + emptied(p.tmpl)) << "item " << p.item;
    }
}

TEST(ListCounts, CountBelowZeroFailsTheListBuffers)
{
    for (const ListPage& p : kPages)
        for (const std::string count : {"-1", "-1000"}) {
            Sandbox sb;
            setup(sb, p);
            sb.config(p.file, edit_conf(sb.config(p.file), {{p.count, count}}));
            // keystate 1 would make the OpenVPN page generate a key after its lists.
            EXPECT_EQ(sb.get("item=" + p.item + "&keystate=1").out,
                      error_page(p.failure, "Cannot allocate memory") + p.shown) << "item " << p.item << " " << count;
            EXPECT_EQ(sb.commands(), Lines{}) << "item " << p.item;
            const Lines log = sb.messages();
            const std::string record = "3 Error " + p.failure + ": Cannot allocate memory";
            EXPECT_NE(std::find(log.begin(), log.end(), record), log.end()) << "item " << p.item;
        }
}
