// The show and apply handlers of the pages, as the page table calls them.
// Each takes no argument and returns 0 when the page is to be printed.
#pragma once

#include <ctime>

// network
int cbasis_act();   // basic network settings
int cbasis_show();
int cccdns_act();   // DNS forwarder and host list
int cccdns_show();
int cdebug_act();   // system log settings
int cdebug_show();
int cdhcps_act();   // DHCP server
int cdhcps_show();
int cipsec_act();   // IPsec and L2TP
int cipsec_show();
int cpppoe_act();   // PPPoE and DSL access (item 35, whose page name is empty)
int cpppoe_show();
int cccvmp_act();   // virtual IP mapping
int cccvmp_show();
int blwhit_act();   // black and white lists
int blwhit_show();
int ccospf_act();   // OSPF routing
int ccospf_show();
int ccsnmp_act();   // SNMP agent
int ccsnmp_show();

// wan: routing and firewall
int statrt_act();   // static routes and default gateway
int statrt_show();
int portfw_act();   // port forwarding
int portfw_show();
int portfi_act();   // port filter
int portfi_show();
int fwruls_act();   // firewall rules
int fwruls_show();

// wan: modems and dialling
int modint_act();   // modems (internal by model, external by choice)
int modint_show();
int diaout_act();   // dial-out
int diaout_show();
int dialin_act();   // dial-in and callback
int dialin_show();
int dyndns_act();   // dynamic DNS
int dyndns_show();
// Redundancy and remote dial: built and ready, while their items (41, 42)
// keep no handler and print their templates as they are.
int redunt_act();
int redunt_show();
int crdial_act();
int crdial_show();

// wan: maintenance
int update_act();   // firmware-update settings
int update_show();
int rstart_act();   // restart (the reboot follows the page)
int facdef_act();   // factory defaults
int speich_act();   // save the configuration (shown and applied alike)

// vpn
int ccovpn_act();   // OpenVPN settings
int ccovpn_show();
int ovpnstatus_show();  // OpenVPN status (shown and applied alike)
int cvpnca_act();   // certificate authority: make a certificate
int cvpnca_show();
int mgcert_act();   // certificate management: revoke or revalidate
int mgcert_show();
// The authority page's mode selector and trace operations; kept with the
// module, called by no page.
void read_vpnca_mode();
void read_caman_settings();
void read_certgen_settings();
void read_certman_settings();

// status
int cctime_act();   // time and NTP
int cctime_show();
int cctime_show_clock(time_t now);  // the clock placeholders for a moment
int netstat_show(); // network status
int logstat_show(); // system log
int timstat_show(); // system time
int distat_act();   // digital inputs
int distat_show();
