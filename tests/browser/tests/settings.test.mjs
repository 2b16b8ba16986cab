// Round trips through the settings pages: fill in the form as a user would,
// apply, read the result page, open the page again and find the new values;
// the sandbox's running configuration holds them as the device keeps them.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import {
  config, expectConfig, expectDisabled, expectFields, fill, headline, listEdit, login, openItem, optionTexts, pageTest, reachAs,
  readLog, roundTrip, shot, submit,
} from "./support.mjs";

// The message next to a field of the page ("" when it has none).
const problem = (page, id) => page.evaluate((i) => document.getElementById(`${i}-problem`)?.textContent ?? "", id);

pageTest("basic settings: names, LAN address and masquerading, password, DHCP; shown again after apply", async (page) => {
  await openItem(page, 24);
  await expectFields(page, { Hostname: "gateway", ETH0_masq: false });
  await expectDisabled(page, ["ETH1_ip"]);  // the WAN side takes its address by DHCP
  const fields = { Hostname: "edge-router", Domainname: "branch.test", ETH0_mode: "static", ETH0_ip: "192.168.77.1",
    ETH0_prefix: "25", ETH0_masq: true };
  // A repetition that differs keeps the form from going out.
  await fill(page, { ...fields, Kennwort: "Secret-42", KennwortRe: "Secret-43" });
  await page.click(".actions input[type=submit]");
  assert.equal(await page.locator("#KennwortRe").evaluate((e) => e.validationMessage), "The two entries differ.");
  assert.match(page.url(), /item=24/);
  expectConfig("network.config", { HOSTNAME: "gateway" });

  // From the result page on the administrator has the new password, and the device its new name.
  await fill(page, { KennwortRe: "Secret-42" });
  await login(page, "Secret-42");
  await submit(page);
  assert.equal(await headline(page), "Basic settings stored");
  reachAs("edge-router.branch.test");
  // The password is never shown; the WAN side was left alone.
  await openItem(page, 24);
  await expectFields(page, { ...fields, Kennwort: "", ETH1_mode: "dhcp", ETH1_masq: true });
  expectConfig("network.config", { IP_ETH0_IPADDR: "192.168.77.1/25", IP_ETH0_MASQ: "yes", IP_ETH1_IPADDR: "192.168.1.1/24" });
  // The password is kept as a real MD5-crypt hash of what was typed.
  const hash = config("system.config").SYSTEM_USER_PASS;
  const salt = /^\$1\$([^$]{1,8})\$[./0-9A-Za-z]{22}$/.exec(hash)?.[1];
  assert.ok(salt, `an MD5-crypt hash, not "${hash}"`);
  assert.equal(hash, execFileSync("openssl", ["passwd", "-1", "-salt", salt, "--", "Secret-42"], { encoding: "utf8" }).trim());

  // An interface on DHCP has its address fields off and keeps its address.
  const lan = ["ETH0_ip", "ETH0_prefix", "ETH0_masq"];
  await expectDisabled(page, lan, false);
  await fill(page, { ETH0_mode: "dhcp", ETH1_mode: "static" });
  await expectDisabled(page, lan);
  await expectDisabled(page, ["ETH1_ip"], false);
  await roundTrip(page, 24, {}, "Basic settings stored", { open: false, shown: { ETH0_mode: "dhcp", ETH0_ip: "192.168.77.1" } });
  await expectDisabled(page, lan);
  expectConfig("network.config", { IP_ETH1_TYPE: "static" });
});

pageTest("DHCP server: no interface greys the fields out; the lease is set in hours", async (page) => {
  const STORED = "DHCP server settings stored";
  const fields = ["dhcpfromaddr", "dhcptoaddr", "dhcpmask", "dhcplease", "dhcpgateway", "dhcpdns", "dhcpdomain"];
  await openItem(page, 37);
  await expectFields(page, { dhcps_interface: "eth0", dhcplease: "24" });
  await expectDisabled(page, fields, false);
  await fill(page, { dhcps_interface: "none" });
  await expectDisabled(page, fields);
  await fill(page, { dhcps_interface: "eth0" });
  await roundTrip(page, 37, { dhcplease: "12", dhcpfromaddr: "192.168.0.50", dhcpdomain: "office.test" }, STORED,
    { open: false });
  expectConfig("dhcp.config", { DHCPD_LEASE_TIME: "43200", DHCPD_LEASE_START: "192.168.0.50" });
  // Switched off: the page opens with the fields greyed out, values kept.
  await roundTrip(page, 37, { dhcps_interface: "none" }, STORED,
    { open: false, shown: { dhcps_interface: "none", dhcplease: "12" } });
  await expectDisabled(page, fields);
  expectConfig("dhcp.config", { DHCPD_INTERFACE: "none" });
});

pageTest("DNS: the host table editor adds and removes hosts, refuses bad entries, and the list comes back", async (page) => {
  await openItem(page, 3);
  const table = async () => [await optionTexts(page, "select[data-list=hostlist]"),
    await optionTexts(page, "select[data-list=iplist]")];
  const add = async (host, ip) => {
    await listEdit(page, { hostinput: host, ipinput: ip });
    return [await problem(page, "hostinput"), await problem(page, "ipinput")].join("|");
  };
  // Choosing a row in one column chooses it in the other and fills the inputs.
  const remove = async (list, label, host) => {
    await page.selectOption(`select[data-list=${list}]`, { label });
    assert.equal(await page.inputValue("#hostinput"), host);
    await page.click(".listedit button[data-action=remove]");
  };
  assert.deepEqual(await table(), [[], []]);
  for (const [i, host] of ["alpha", "beta", "gamma"].entries()) await add(host, `192.168.0.1${i}`);
  assert.deepEqual(await table(), [["alpha", "beta", "gamma"], ["192.168.0.10", "192.168.0.11", "192.168.0.12"]]);
  await remove("iplist", "192.168.0.11", "beta");
  const kept = [["alpha", "gamma"], ["192.168.0.10", "192.168.0.12"]];
  assert.deepEqual(await table(), kept);
  // Refused, with the message next to the field: a blank inside, not a host name or address, an
  // empty field. The fields take no more characters than the page shows back.
  assert.deepEqual([await page.getAttribute("#hostinput", "maxlength"), await page.getAttribute("#ipinput", "maxlength")],
    ["25", "15"]);
  for (const [host, ip, message] of [
    ["bad name", "192.168.0.13", "Entries must not contain blanks.|"],
    ["-delta", "192.168.0.13", "Enter a host name: letters, digits and hyphens, its parts separated by dots.|"],
    ["delta", "192.168.100.256", "|Enter an IPv4 address such as 192.168.0.1: four numbers from 0 to 255, separated by dots."],
    ["delta", "", "|Please fill in this field."],
  ]) {
    assert.equal(await add(host, ip), message, `"${host}" "${ip}"`);
    assert.deepEqual(await table(), kept, `"${host}" not added`);
  }
  // The longest allowed name goes in.
  assert.equal(await add("b".repeat(25), "192.168.0.14"), "|");
  await remove("hostlist", "b".repeat(25), "b".repeat(25));
  await fill(page, { Forwarder: "192.168.0.254 192.168.0.253" });
  await shot(page, "dns-editing");
  await roundTrip(page, 3, {}, "DNS settings stored", { open: false, shown: { Forwarder: "192.168.0.254 192.168.0.253" } });
  assert.deepEqual(await table(), kept);
  expectConfig("name.config", { HOST_N: "2", HOST_1_NAME: "alpha", HOST_1_IP: "192.168.0.10", HOST_2_NAME: "gamma",
    HOST_2_IP: "192.168.0.12" });
});

pageTest("system log: level and remote logging, on and off again", async (page) => {
  const STORED = "System log settings stored";
  const remote = ["syslog_remote_ip", "syslog_remote_port"];
  await openItem(page, 6);
  await expectFields(page, { loglevel: "Error", remoteLog: false });
  await expectDisabled(page, remote);
  await fill(page, { remoteLog: true });
  await expectDisabled(page, remote, false);
  await roundTrip(page, 6, { loglevel: "Warning", remoteLog: true, syslog_remote_ip: "loghost.test",
    syslog_remote_port: "5140" }, STORED, { open: false });
  await expectDisabled(page, remote, false);
  expectConfig("log.config", { SYSLOGD_LOG_LEVEL: "Warning", SYSLOGD_REMOTE_LOG: "yes",
    SYSLOGD_REMOTE_HOST: "loghost.test", SYSLOGD_REMOTE_PORT: "5140" });
  // Remote logging off again: the host is kept, its fields greyed out.
  await fill(page, { remoteLog: false });
  await expectDisabled(page, remote);
  await roundTrip(page, 6, {}, STORED, { open: false, shown: { remoteLog: false, syslog_remote_ip: "loghost.test" } });
  await expectDisabled(page, remote);
  expectConfig("log.config", { SYSLOGD_REMOTE_LOG: "no" });
});

pageTest("firmware update: protocol, server, directory and file", async (page) => {
  await roundTrip(page, 1, { updt_protocol: "ftp", updt_svr: "fw.branch.test", updt_path: "/images/gw",
    updt_file: "gw-2.1.img" }, "Firmware update settings stored");
  expectConfig("update.config", { UPDATE_PROTOCOL: "ftp", UPDATE_SERVER: "fw.branch.test", UPDATE_PATH: "/images/gw",
    UPDATE_FILE: "gw-2.1.img" });
});

pageTest("time: NTP mode with two servers, a zone and the time service; kept on reopening", async (page) => {
  const ntpShown = async (ntp) => assert.deepEqual(
    [await page.isVisible(".modediv[data-div='0']"), await page.isVisible(".modediv[data-div='1']")], [ntp, !ntp]);
  await openItem(page, 2);
  // The factory state sets the clock by hand: the NTP section is hidden.
  await expectFields(page, { mode_man: true });
  await ntpShown(false);
  assert.match(await page.inputValue("#jahr"), /^20\d\d$/);
  await fill(page, { mode_ntp: true });
  await ntpShown(true);
  await expectFields(page, { time_clt: true });  // NTP mode always fetches the time at boot
  const fields = { tsvr1: "ntp1.branch.test", tsvr2: "ntp2.branch.test",
    tzidx: { label: "(UTC+05:30) Mumbai, New Delhi" }, time_service: true };
  await roundTrip(page, 2, fields, "Time settings stored", { open: false, shown: { mode_ntp: true, ...fields } });
  await ntpShown(true);
  // Zones east of UTC are negative; NTP mode leaves the clock alone.
  expectConfig("time.config", { NTP_ON_BOOT: "yes", NTP_REMOTE_1_IP: "ntp1.branch.test", NTP_REMOTE_2_IP: "ntp2.branch.test",
    NTP_TIME_INFO: "UCT-5:30UCST,M3.5.0,M10.5.0", OPT_NTP: "yes" });
  assert.doesNotMatch(readLog("commands"), /date -s/);
});

pageTest("firewall rules: a table of rules edited, reordered, applied and shown again in order", async (page) => {
  // A rule as its row reads (each column a list, each with its input): action, hosts, protocol, ports.
  const columns = ["act", "srchost", "dsthost", "prot", "srcport", "dstport"];
  const rows = async () => {
    const cols = await Promise.all(columns.map((c) => optionTexts(page, `select[data-list=${c}list]`)));
    return cols[0].map((_, i) => cols.map((col) => col[i]).join(" "));
  };
  const rule = (row, button) => listEdit(page, Object.fromEntries(row.split(" ").map((v, i) => [`${columns[i]}input`, v])),
    button);
  await openItem(page, 36);
  for (const r of ["accept any 192.168.0.10 tcp any 22", "drop 10.0.0.5 any udp any 53", "reject any any all any any"])
    await rule(r);
  // The third rule moves to the top; the (now) second one is replaced.
  await page.selectOption("select[data-list=dstportlist]", { index: 2 });
  await page.click(".listedit button[data-action=up]");
  await page.click(".listedit button[data-action=up]");
  await page.selectOption("select[data-list=actlist]", { index: 1 });
  await rule("accept any 192.168.0.11 tcp any 443", "replace");
  const expected = ["reject any any all any any", "accept any 192.168.0.11 tcp any 443", "drop 10.0.0.5 any udp any 53"];
  assert.deepEqual(await rows(), expected);
  await shot(page, "fwruls-editing");
  await roundTrip(page, 36, {}, "Firewall rules stored", { open: false });
  assert.deepEqual(await rows(), expected);
  expectConfig("spec.config", { FW_RULES_N: "3", FW_RULES_1_ACT: "reject", FW_RULES_2_DSTPORT: "443",
    FW_RULES_3_SRCHOST: "10.0.0.5" });
});
