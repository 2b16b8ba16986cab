#include "cgi/pagetable.h"

#include "pages/pages.h"

namespace {

// One row per item. Names and gaps are the device's own: the DSL handlers sit
// at item 35, whose name is empty, items 41 and 42 have pages but no
// handlers, and items 22, 43 and 44 share one template. A page whose
// handlers are not built yet has none here and prints its template as it is.
const PageEntry PAGE_TABLE[PAGE_COUNT] = {
    /*  0 */ {"intro", nullptr, nullptr},
    /*  1 */ {"update", nullptr, nullptr},
    /*  2 */ {"time", nullptr, nullptr},
    /*  3 */ {"dns", nullptr, nullptr},
    /*  4 */ {"", nullptr, nullptr},
    /*  5 */ {"", nullptr, nullptr},
    /*  6 */ {"debug", nullptr, nullptr},
    /*  7 */ {"modint", nullptr, nullptr},
    /*  8 */ {"", nullptr, nullptr},
    /*  9 */ {"diaout", nullptr, nullptr},
    /* 10 */ {"dyndns", nullptr, nullptr},
    /* 11 */ {"dialin", nullptr, nullptr},
    /* 12 */ {"", nullptr, nullptr},
    /* 13 */ {"", nullptr, nullptr},
    /* 14 */ {"", nullptr, nullptr},
    /* 15 */ {"", nullptr, nullptr},
    /* 16 */ {"", nullptr, nullptr},
    /* 17 */ {"", nullptr, nullptr},
    /* 18 */ {"portfi", nullptr, nullptr},
    /* 19 */ {"speich", nullptr, nullptr},
    /* 20 */ {"rstart", nullptr, nullptr},
    /* 21 */ {"", nullptr, nullptr},
    /* 22 */ {"ccstat", nullptr, nullptr},
    /* 23 */ {"vpstat", nullptr, nullptr},
    /* 24 */ {"basis", nullptr, nullptr},
    /* 25 */ {"noconf", nullptr, nullptr},
    /* 26 */ {"vpnca", nullptr, nullptr},
    /* 27 */ {"mgcert", nullptr, nullptr},
    /* 28 */ {"vmp", nullptr, nullptr},
    /* 29 */ {"ipsec", nullptr, nullptr},
    /* 30 */ {"statrt", nullptr, nullptr},
    /* 31 */ {"portfw", nullptr, nullptr},
    /* 32 */ {"blwhit", nullptr, nullptr},
    /* 33 */ {"cpppoe", nullptr, nullptr},
    /* 34 */ {"crunsv", nullptr, nullptr},
    /* 35 */ {"", nullptr, nullptr},
    /* 36 */ {"fwruls", nullptr, nullptr},
    /* 37 */ {"dhcps", nullptr, nullptr},
    /* 38 */ {"facdef", nullptr, nullptr},
    /* 39 */ {"snmp", nullptr, nullptr},
    /* 40 */ {"", nullptr, nullptr},
    /* 41 */ {"redunt", nullptr, nullptr},
    /* 42 */ {"rdial", nullptr, nullptr},
    /* 43 */ {"ccstat", nullptr, nullptr},
    /* 44 */ {"ccstat", nullptr, nullptr},
    /* 45 */ {"ospf", nullptr, nullptr},
    /* 46 */ {"ovpn", nullptr, nullptr},
    /* 47 */ {"user", nullptr, nullptr},
    /* 48 */ {"distat", nullptr, nullptr},
    /* 49 */ {"ovpnstatus", nullptr, nullptr},
};

const PageEntry NO_PAGE = {"", nullptr, nullptr};

}  // namespace

const PageEntry& page_entry(int item)
{
    return item >= 0 && item < PAGE_COUNT ? PAGE_TABLE[item] : NO_PAGE;
}
