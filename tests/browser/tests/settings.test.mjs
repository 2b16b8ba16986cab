// The round trip through the settings pages: filled in as a user would, applied, opened again showing the new values,
// which the page reads back from the running configuration. A row per page (item, language, model, `before()` the
// page opens, `check(page)` as it opens), then its applies in order, each on the page as shown after the last one:
//   fill, add, edit    the fields to set (as `fill` takes them), the list editors' entries, what else to do;
//   head, rename       the result page's headline (default the row's); the device's new name;
//   shown, lists       what the page shows again besides `fill` (password fields empty, their values nowhere in it);
//   off, on, visible   fields disabled, enabled, sections shown ({ selector: bool }), when filled and shown again;
//   config, check      what the running configuration holds ({ file: { key: value } }); more to check.
import assert from "node:assert/strict";
import fs from "node:fs";
import {
  expectConfig, expectFields, fill, headline, listEdit, lists, openItem, pageTest, reachAs, sandboxPath, sel, setConfig,
  setModel, submit,
} from "./support.mjs";

// A file to upload whose bytes a form's parsing could trip over: NUL, CR LF, dashes.
const P12 = { name: "peer.p12", mimeType: "application/x-pkcs12", buffer: Buffer.from("0\x82\x00\r\n--\xffpeer", "latin1") };
const GSM = "MX-RT-210B-GSM-KORU";
const radio = (name, value) => `input[name=${name}][value=${value}]`;
const modeDivs = (...shown) => Object.fromEntries(shown.map((v, i) => [`.modediv[data-div='${i}']`, v]));
// List editor entries: the inputs' ids, then a row of values per entry.
const entries = (inputs, ...rows) => rows.map((r) => Object.fromEntries(inputs.map((id, i) => [id, r[i]])));
// The firewall's rules as their rows read: a list per column.
const FW = ["act", "srchost", "dsthost", "prot", "srcport", "dstport"];
const rule = (page, row, action) => listEdit(page, entries(FW.map((c) => `${c}input`), row.split(" "))[0], action);
async function rules(page) {
  const cols = Object.values(await lists(page, FW.map((c) => `${c}list`)));
  return cols[0].map((_, i) => cols.map((col) => col[i]).join(" "));
}

const PAGES = [
  { item: 24, name: "names, LAN address and masquerading, then reached by its new name; DHCP greys the address out",
    head: "Basic settings stored", applies: [
      { fill: { Hostname: "edge-router", Domainname: "branch.test", ETH0_ip: "192.168.77.1", ETH0_prefix: "25",
        ETH0_masq: true }, off: ["ETH1_ip"], rename: "edge-router.branch.test", shown: { ETH1_mode: "dhcp" } },
      // Changes by the new name go through; an interface on DHCP has its address fields off.
      { fill: { ETH0_mode: "dhcp", ETH1_mode: "static" }, off: ["ETH0_ip", "ETH0_masq"], on: ["ETH1_ip"],
        shown: { ETH0_ip: "192.168.77.1" } }] },
  { item: 3, name: "host table: added, one removed by its address; forwarders", head: "DNS settings stored", applies: [
    { fill: { Forwarder: "192.168.0.254 192.168.0.253" },
      add: entries(["hostinput", "ipinput"], ["alpha", "192.168.0.10"], ["beta", "192.168.0.11"], ["gamma", "192.168.0.12"]),
      edit: async (page) => {
        await page.selectOption("select[data-list=iplist]", { label: "192.168.0.11" });
        assert.equal(await page.inputValue("#hostinput"), "beta", "choosing a row in one column chooses it in the other");
        await page.click(".listedit button[data-action=remove]");
      }, lists: { hostlist: ["alpha", "gamma"], iplist: ["192.168.0.10", "192.168.0.12"] } }] },
  { item: 37, name: "a one-address pool, the longest lease (in hours); no interface greys the fields out",
    head: "DHCP server settings stored", applies: [
      { fill: { dhcpfromaddr: "192.168.0.100", dhcptoaddr: "192.168.0.100", dhcplease: "596523", dhcpdomain: "lan.test" } },
      { fill: { dhcps_interface: "none" }, off: ["dhcpfromaddr", "dhcplease"], shown: { dhcplease: "596523" } }] },
  { item: 1, name: "protocol, server, directory and file", head: "Firmware update settings stored", applies: [
    { fill: { updt_protocol: "ftp", updt_svr: "fw.branch.test", updt_path: "/images/gw", updt_file: "gw-2.1.img" } }] },
  { item: 6, name: "level and remote logging", head: "System log settings stored", applies: [
    { fill: { loglevel: "Warning", remoteLog: true, syslog_remote_ip: "loghost.test", syslog_remote_port: "5140" } }] },
  // The zone goes out as the rule that the page's script takes from the zone chosen.
  { item: 2, name: "NTP with two servers, a zone east of UTC and the time service", head: "Time settings stored", applies: [
    { fill: { mode_ntp: true, tsvr1: "ntp1.branch.test", tsvr2: "ntp2.branch.test",
      tzidx: { label: "(UTC+05:30) Mumbai, New Delhi" }, time_service: true }, visible: modeDivs(true, false),
    shown: { time_clt: true }, config: { "time.config": { NTP_TIME_INFO: "UCT-5:30UCST,M3.5.0,M10.5.0" } } }] },
  { item: 36, name: "rules added, one moved up, one replaced, kept in order", head: "Firewall rules stored", applies: [
    { edit: async (page) => {
      for (const r of ["accept any 192.168.0.10 tcp any 22", "drop 10.0.0.5 any udp any 53", "reject any any all any any"]) {
        await rule(page, r);
      }
      await page.selectOption("select[data-list=dstportlist]", { index: 2 });
      for (const _ of [1, 2]) await page.click(".listedit button[data-action=up]");
      await page.selectOption("select[data-list=actlist]", { index: 1 });
      await rule(page, "accept any 192.168.0.11 tcp any 443", "replace");
    }, check: async (page) => assert.deepEqual(await rules(page), ["reject any any all any any",
      "accept any 192.168.0.11 tcp any 443", "drop 10.0.0.5 any udp any 53"]) }] },
  { item: 28, name: "pairs on the LAN, kept when the mapping is off", head: "Virtual IP mapping stored", applies: [
    { fill: { vmap_interface: { label: "LAN" } }, on: ["ip2minput"], shown: { vmap_interface: "eth0" },
      add: entries(["ip2minput", "m2ipinput"], ["10.1.0.10", "192.168.0.10"], ["10.1.0.12", "192.168.0.12"]),
      lists: { ip2mlist: ["10.1.0.10", "10.1.0.12"], m2iplist: ["192.168.0.10", "192.168.0.12"] } },
    { fill: { vmap_interface: "none" }, off: ["ip2minput"], lists: { m2iplist: ["192.168.0.10", "192.168.0.12"] } }] },
  { item: 32, lang: "deutsch", name: "entries of a white list", head: "Schwarze und weiße Listen übernommen", applies: [
    { fill: { listwhite: true }, shown: { listblack: false }, add: entries(["hostinput", "protinput", "portinput"],
      ["192.168.0.20", "all", "6881:6889"], ["10.0.0.5", "udp", "53"]),
    lists: { hostlist: ["192.168.0.20", "10.0.0.5"], protlist: ["all", "udp"], portlist: ["6881:6889", "53"] } }] },
  { item: 45, name: "on with the LAN interface", head: "OSPF settings stored", applies: [
    { fill: { ospf_service: true, rname: "area-router", authkey: "k3y", ospf_static: true, if1: true, hello1: "5",
      nettyp1: "point-to-point", Zebra_Pass: "vty-pass", Zebra_PassRe: "vty-pass" }, on: ["hello1"], off: ["hello2"],
    shown: { nettyp1: { label: "Point-To-Point" } }, config: { "ospf.config": { OSPF_TELNET_PASSWORD: "vty-pass" } } }] },
  { item: 39, name: "system, communities, trap receivers, an SNMPv3 user; empty passwords keep theirs",
    head: "SNMP settings stored", applies: [
      { fill: { sysname: "edge-gw", location: "Rack 3", rocomm: "watch", v3name: "monitor", auth_sha: true, priv_aes: true,
        authpwd: "auth-secret-1", privpwd: "priv-secret-1" }, add: entries(["sinkinput"], ["192.168.0.50"], ["10.2.2.2"]),
      lists: { sinklist: ["192.168.0.50", "10.2.2.2"] } },
      { fill: { auth_md5: true, privpwd: "priv-secret-2" },
        config: { "snmp.config": { SNMP_V3AUTHPASS: "auth-secret-1", SNMP_V3PRIVPASS: "priv-secret-2" } } }] },
  { item: 10, name: "provider, host and account", head: "Dynamic DNS stored", applies: [
    { fill: { DDNS_Provider: { label: "no-ip.com" }, DDNS_Host: "gw.no-ip.test", DDNS_User: "owner", DDNS_Pass: "Dyn-Pw-1" },
      config: { "dyndns.config": { DYNDNS_PASS: "Dyn-Pw-1" } } }] },
  { item: 35, name: "on with PPTP and dial on demand", head: "DSL settings stored", applies: [
    { fill: { enabled: true, nterface: "eth0", proto: "pptp", demand: true, idletime: "300", user: "bob@isp",
      password: "dsl-Pass-1" }, config: { "pppoe.config": { DSL_PASSWORD: "dsl-Pass-1" } } }] },
  { item: 48, name: "monitoring on with transitions, off again keeps them", head: "Digital inputs stored", applies: [
    { fill: { dim: true, di1lh: true, di2hl: true }, on: ["di1hl"], shown: { di1hl: false } },
    { fill: { dim: false }, off: ["di1lh"], shown: { di1lh: true, di2hl: true } }] },
  { item: 29, lang: "deutsch", name: "peer with a certificate upload; gateway with peers, pool, L2TP, without a file; off",
    head: "IPsec-Einstellungen übernommen", applies: [
      { fill: { [radio("ipsmode", "peer")]: true, rtarget: "vpn.example.com", ipskey: "peerkey", ipsec_x509: true,
        x509pwd: "p12-Pass" }, edit: (page) => page.setInputFiles("#certfile", P12) },
      // Without a file, the fields after the file field arrive too.
      { fill: { [radio("ipsmode", "gateway")]: true, ipsec_interface: "eth0", ipsecgateway: true, startaddress: "10.1.0.10",
        endaddress: "10.1.0.99", dns: "10.1.0.1", l2tp_service: true, rwpppaddr: "10.2.0.1", chap_user: "road",
        l2tp_pass: "chap-Pass", l2tp_pass_again: "chap-Pass" },
      visible: { "#ipseccommon": true, ".modediv[data-div='3']": true },
      add: entries(["peerinput", "keyinput"], ["branch1", "key-one"], ["branch2", "\"two\"key"]),
      lists: { keylist: ["key-one", "\"two\"key"] }, config: { "l2tp.config": { L2TP_CHAP_PASS: "chap-Pass" } } },
      { fill: { [radio("ipsmode", "off")]: true }, visible: { "#ipseccommon": false } }] },
  { item: 46, name: "client with a PKCS#12 file, server with pushed routes, tunnel; off keeps them",
    head: "OpenVPN settings stored", applies: [
      { fill: { [radio("vpnmode", "client")]: true, ovpn_interface: "eth0", [radio("vpnprot", "tcp")]: true, vport: "1195",
        remote_host: "vpn.hq.test", x509pwd: "p12-Pass" }, visible: modeDivs(false, false, true),
      edit: (page) => page.setInputFiles("#certfile", P12), config: { "openvpn.config": { OVPN_PKCS12_PASSWD: "p12-Pass" } },
      // The stored upload has the file's bytes, with the CR LF before the form's next boundary.
      check: () => {
        const stored = fs.readFileSync(sandboxPath("tmp/keys/openvpn/vpnpeer.p12"));
        assert.deepEqual(stored.subarray(0, P12.buffer.length + 2), Buffer.concat([P12.buffer, Buffer.from("\r\n")]));
      } },
      { fill: { [radio("vpnmode", "server")]: true, vport: "65535", ovpnservernet: "10.20.0.0", ovpnredirectdefaults: true },
        shown: { ovpnclientsvisible: false }, add: entries(["peerinput", "maskinput"], ["192.168.0.0", "255.255.255.0"],
          ["172.16.0.0", "255.240.0.0"]), lists: { peerlist: ["192.168.0.0", "172.16.0.0"] } },
      { fill: { [radio("vpnmode", "tunnel")]: true, gateway: "peer.branch.test", lokal: "10.99.0.1", remote: "10.99.0.2" } },
      { fill: { [radio("vpnmode", "none")]: true }, visible: { "#ovpncommon": false },
        shown: { ovpnservernet: "10.20.0.0", lokal: "10.99.0.1" } }] },
  // The modem pages on the model without an internal modem and on one with.
  { item: 7, name: "no internal modem: an analog modem attached", head: "Modem settings stored",
    check: async (page) => assert.equal(await page.locator("#internal, [name^=INT_]").count(), 0, "no internal modem"),
    applies: [{ fill: { [radio("Modemtype", "analog")]: true, EXT_country: { label: "AT" } },
      visible: modeDivs(false, true, false) }] },
  { item: 7, model: GSM, name: "internal GSM modem: AT command and PIN; external DSL modem", head: "Modem settings stored",
    check: async (page) => assert.deepEqual([(await page.textContent("#internal legend")).trim(),
      await page.locator("#INT_country, #INT_msn").count()], ["GSM Modem (intern)", 0]),
    applies: [{ fill: { INT_pinAT: "AT+CFUN=1", INT_pin: "4321", [radio("Modemtype", "dsl")]: true },
      shown: { INT_pin: "4321" }, visible: modeDivs(false, false, true) }] },
  { item: 9, before: () => setConfig("modem.config", { EXT_MODEM_TYPE: "analog" }),
    name: "through the external modem to the providers entered, the active one kept", head: "Dial-out settings stored",
    applies: [
      { fill: { dialout_dev: "external", Cmnd: "AT&F", doutnum: "5" }, on: ["Cmnd", "selno"],
        add: entries(["nameinput", "numberinput", "userinput", "passinput"], ["isp-one", "0191011", "alice", "pw-1"],
          ["isp-two", "0192022", "bob", "pw-2"]),
        edit: (page) => fill(page, { selno: { label: "isp-two" } }),  // the active provider, chosen among the names entered
        shown: { selno: { label: "isp-two" } }, lists: { namelist: ["isp-one", "isp-two"], passlist: ["pw-1", "pw-2"] } },
      { edit: async (page) => {
        await page.selectOption("select[data-list=namelist]", { label: "isp-one" });
        await page.click(".listedit button[data-action=remove]");
      }, shown: { selno: { label: "isp-two" } }, lists: { namelist: ["isp-two"] } }] },
  { item: 11, model: GSM, name: "on the internal modem: callback, account, addresses", head: "Dial-in settings stored",
    applies: [{ fill: { dialin_dev: "ttyS1", [radio("mode", "callback")]: true, user: "caller", pass: "Dial-Pass-9",
      peerip: "10.9.0.2", masq: true }, on: ["user"], config: { "dialin.config": { DIALIN_PASS: "Dial-Pass-9" } } }] },
];

async function expectState(page, { off = [], on = [], visible = {} }, where) {
  for (const s of [...off, ...on]) assert.equal(await page.isDisabled(sel(s)), off.includes(s), `${where}: ${s} disabled`);
  for (const [s, v] of Object.entries(visible)) assert.equal(await page.isVisible(s), v, `${where}: ${s} shown`);
}

for (const row of PAGES) {
  const lang = row.lang ?? "english";
  pageTest(`item ${row.item} ${lang}${row.model ? ` (${row.model})` : ""}: ${row.name}`, async (page) => {
    if (row.model) setModel(row.model);
    row.before?.();
    await openItem(page, row.item, lang);
    await row.check?.(page);
    for (const [i, step] of row.applies.entries()) {
      const where = `apply ${i + 1}`;
      await fill(page, step.fill ?? {});
      await expectState(page, step, `${where}, filled`);
      for (const entry of step.add ?? []) await listEdit(page, entry);
      await step.edit?.(page);
      await submit(page);
      assert.equal(await headline(page), step.head ?? row.head, where);
      if (step.rename) reachAs(step.rename);
      await openItem(page, row.item, lang);
      const shown = { ...step.fill, ...step.shown };
      for (const s of Object.keys(step.fill ?? {})) {
        if (s in (step.shown ?? {}) || (await page.getAttribute(sel(s), "type")) !== "password") continue;
        assert.ok(!(await page.content()).includes(shown[s]), `${where}: the password ${s} in the page`);
        shown[s] = "";
      }
      await expectFields(page, shown);
      await expectState(page, step, `${where}, shown again`);
      if (step.lists) assert.deepEqual(await lists(page, Object.keys(step.lists)), step.lists, where);
      expectConfig(step.config ?? {});
      await step.check?.(page);
    }
  });
}
