#include "cgi/pagetable.h"

#include "pages/pages.h"

namespace {

// One row per item. Names and gaps are the device's own: the DSL handlers sit
// at item 35, whose name is empty, items 41 and 42 have pages but no
// handlers here (theirs are built and wait in pages/wan), and items 22, 43
// and 44 share one template. An item without handlers prints its template
// as it is.
const PageEntry PAGE_TABLE[PAGE_COUNT] = {
    /*  0 */ {"intro", nullptr, nullptr},
    /*  1 */ {"update", update_act, update_show},
    /*  2 */ {"time", cctime_act, cctime_show},
    /*  3 */ {"dns", cccdns_act, cccdns_show},
    /*  4 */ {"", nullptr, nullptr},
    /*  5 */ {"", nullptr, nullptr},
    /*  6 */ {"debug", cdebug_act, cdebug_show},
    /*  7 */ {"modint", modint_act, modint_show},
    /*  8 */ {"", nullptr, nullptr},
    /*  9 */ {"diaout", diaout_act, diaout_show},
    /* 10 */ {"dyndns", dyndns_act, dyndns_show},
    /* 11 */ {"dialin", dialin_act, dialin_show},
    /* 12 */ {"", nullptr, nullptr},
    /* 13 */ {"", nullptr, nullptr},
    /* 14 */ {"", nullptr, nullptr},
    /* 15 */ {"", nullptr, nullptr},
    /* 16 */ {"", nullptr, nullptr},
    /* 17 */ {"", nullptr, nullptr},
    /* 18 */ {"portfi", portfi_act, portfi_show},
    /* 19 */ {"speich", speich_act, speich_act},
    /* 20 */ {"rstart", rstart_act, netstat_show},
    /* 21 */ {"", nullptr, nullptr},
    /* 22 */ {"ccstat", netstat_show, netstat_show},
    /* 23 */ {"vpstat", nullptr, nullptr},
    /* 24 */ {"basis", cbasis_act, cbasis_show},
    /* 25 */ {"noconf", nullptr, nullptr},
    /* 26 */ {"vpnca", cvpnca_act, cvpnca_show},
    /* 27 */ {"mgcert", mgcert_act, mgcert_show},
    /* 28 */ {"vmp", cccvmp_act, cccvmp_show},
    /* 29 */ {"ipsec", cipsec_act, cipsec_show},
    /* 30 */ {"statrt", statrt_act, statrt_show},
    /* 31 */ {"portfw", portfw_act, portfw_show},
    /* 32 */ {"blwhit", blwhit_act, blwhit_show},
    /* 33 */ {"cpppoe", nullptr, nullptr},
    /* 34 */ {"crunsv", nullptr, nullptr},
    /* 35 */ {"", cpppoe_act, cpppoe_show},
    /* 36 */ {"fwruls", fwruls_act, fwruls_show},
    /* 37 */ {"dhcps", cdhcps_act, cdhcps_show},
    /* 38 */ {"facdef", facdef_act, nullptr},
    /* 39 */ {"snmp", ccsnmp_act, ccsnmp_show},
    /* 40 */ {"", nullptr, nullptr},
    /* 41 */ {"redunt", nullptr, nullptr},
    /* 42 */ {"rdial", nullptr, nullptr},
    /* 43 */ {"ccstat", logstat_show, logstat_show},
    /* 44 */ {"ccstat", timstat_show, timstat_show},
    /* 45 */ {"ospf", ccospf_act, ccospf_show},
    /* 46 */ {"ovpn", ccovpn_act, ccovpn_show},
    /* 47 */ {"user", nullptr, nullptr},
    /* 48 */ {"distat", distat_act, distat_show},
    /* 49 */ {"ovpnstatus", ovpnstatus_show, ovpnstatus_show},
};

const PageEntry NO_PAGE = {"", nullptr, nullptr};

}  // namespace

const PageEntry& page_entry(int item)
{
    return item >= 0 && item < PAGE_COUNT ? PAGE_TABLE[item] : NO_PAGE;
}
