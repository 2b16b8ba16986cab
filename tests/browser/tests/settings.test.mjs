// Round trips through the settings pages: fill in the form as a user would,
// apply, read the result page, open the page again and find the new values;
// the sandbox's running configuration holds them as the device keeps them.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import fs from "node:fs";
import { after, before, beforeEach, test } from "node:test";
import {
  closePage, config, headline, launch, newPage, openItem, optionTexts, resetSandbox, sandboxPath, shot, submit,
} from "./support.mjs";

let browser;
before(async () => { browser = await launch(); });
after(async () => { await browser?.close(); });
beforeEach(() => resetSandbox());

test("basic settings: names, LAN address and masquerading, password; shown again after apply", async () => {
  const page = await newPage(browser);
  await openItem(page, 24);
  assert.equal(await page.inputValue("#Hostname"), "gateway");
  assert.equal(await page.isChecked("#ETH0_masq"), false);
  // The WAN side takes its address by DHCP: its address fields are off.
  assert.equal(await page.isDisabled("#ETH1_ip"), true);

  await page.fill("#Hostname", "edge-router");
  await page.fill("#Domainname", "branch.test");
  await page.selectOption("#ETH0_mode", "static");
  await page.fill("#ETH0_ip", "192.168.77.1");
  await page.fill("#ETH0_prefix", "25");
  await page.check("#ETH0_masq");

  // A repetition that differs keeps the form from going out.
  await page.fill("#Kennwort", "Secret-42");
  await page.fill("#KennwortRe", "Secret-43");
  await page.click(".actions input[type=submit]");
  assert.equal(await page.locator("#KennwortRe").evaluate((e) => e.validationMessage), "The two entries differ.");
  assert.match(page.url(), /item=24/);
  assert.equal(config("network.config").HOSTNAME, "gateway", "nothing stored yet");

  await page.fill("#KennwortRe", "Secret-42");
  await submit(page);
  assert.equal(await headline(page), "Basic settings stored");
  await shot(page, "basic-settings-result");

  await openItem(page, 24);
  assert.equal(await page.inputValue("#Hostname"), "edge-router");
  assert.equal(await page.inputValue("#Domainname"), "branch.test");
  assert.equal(await page.inputValue("#ETH0_mode"), "static");
  assert.equal(await page.inputValue("#ETH0_ip"), "192.168.77.1");
  assert.equal(await page.inputValue("#ETH0_prefix"), "25");
  assert.equal(await page.isChecked("#ETH0_masq"), true);
  assert.equal(await page.inputValue("#Kennwort"), "", "the password is never shown");
  // The WAN side was left alone.
  assert.equal(await page.inputValue("#ETH1_mode"), "dhcp");
  assert.equal(await page.isChecked("#ETH1_masq"), true);

  const network = config("network.config");
  assert.equal(network.IP_ETH0_IPADDR, "192.168.77.1/25");
  assert.equal(network.IP_ETH0_MASQ, "yes");
  assert.equal(network.IP_ETH1_IPADDR, "192.168.1.1/24");
  // The password is kept as a real MD5-crypt hash of what was typed.
  const hash = config("system.config").SYSTEM_USER_PASS;
  const m = /^\$1\$([^$]{1,8})\$[./0-9A-Za-z]{22}$/.exec(hash);
  assert.ok(m, `an MD5-crypt hash, not "${hash}"`);
  const again = execFileSync("openssl", ["passwd", "-1", "-salt", m[1], "--", "Secret-42"], { encoding: "utf8" }).trim();
  assert.equal(hash, again, "the hash is the typed password's");
  await closePage(page);
});

test("basic settings: switching an interface to DHCP turns its address fields off", async () => {
  const page = await newPage(browser);
  await openItem(page, 24);
  const lan = ["#ETH0_ip", "#ETH0_prefix", "#ETH0_masq"];
  for (const f of lan) assert.equal(await page.isDisabled(f), false, f);
  await page.selectOption("#ETH0_mode", "dhcp");
  for (const f of lan) assert.equal(await page.isDisabled(f), true, f);
  await page.selectOption("#ETH1_mode", "static");
  assert.equal(await page.isDisabled("#ETH1_ip"), false);
  await submit(page);
  await openItem(page, 24);
  assert.equal(await page.inputValue("#ETH0_mode"), "dhcp");
  for (const f of lan) assert.equal(await page.isDisabled(f), true, `${f} after reopening`);
  // An interface on DHCP keeps its last static address for later.
  assert.equal(await page.inputValue("#ETH0_ip"), "192.168.0.1");
  assert.equal(config("network.config").IP_ETH1_TYPE, "static");
  await closePage(page);
});

test("DHCP server: no interface greys the fields out; the lease is set in hours", async () => {
  const page = await newPage(browser);
  await openItem(page, 37);
  const fields = ["#dhcpfromaddr", "#dhcptoaddr", "#dhcpmask", "#dhcplease", "#dhcpgateway", "#dhcpdns", "#dhcpdomain"];
  assert.equal(await page.inputValue("#dhcps_interface"), "eth0");
  assert.equal(await page.inputValue("#dhcplease"), "24");
  for (const f of fields) assert.equal(await page.isDisabled(f), false, f);

  await page.selectOption("#dhcps_interface", "none");
  for (const f of fields) assert.equal(await page.isDisabled(f), true, `${f} with no interface`);
  await page.selectOption("#dhcps_interface", "eth0");
  for (const f of fields) assert.equal(await page.isDisabled(f), false, `${f} back on`);

  await page.fill("#dhcplease", "12");
  await page.fill("#dhcpfromaddr", "192.168.0.50");
  await page.fill("#dhcpdomain", "office.test");
  await submit(page);
  assert.equal(await headline(page), "DHCP server settings stored");

  await openItem(page, 37);
  assert.equal(await page.inputValue("#dhcplease"), "12");
  assert.equal(await page.inputValue("#dhcpfromaddr"), "192.168.0.50");
  assert.equal(await page.inputValue("#dhcpdomain"), "office.test");
  const dhcp = config("dhcp.config");
  assert.equal(dhcp.DHCPD_LEASE_TIME, "43200", "the lease is stored in seconds");
  assert.equal(dhcp.DHCPD_LEASE_START, "192.168.0.50");

  // Switched off: the page opens with the fields greyed out, values kept.
  await page.selectOption("#dhcps_interface", "none");
  await submit(page);
  await openItem(page, 37);
  assert.equal(await page.inputValue("#dhcps_interface"), "none");
  for (const f of fields) assert.equal(await page.isDisabled(f), true, `${f} after reopening`);
  assert.equal(await page.inputValue("#dhcplease"), "12");
  assert.equal(config("dhcp.config").DHCPD_INTERFACE, "none");
  await closePage(page);
});

test("DNS: the host table editor adds and removes hosts, refuses bad entries, and the list comes back", async () => {
  const page = await newPage(browser);
  await openItem(page, 3);
  const hosts = "select[data-list=hostlist]";
  const ips = "select[data-list=iplist]";
  const error = ".listedit .error";
  const add = async (host, ip) => {
    await page.fill("#hostinput", host);
    await page.fill("#ipinput", ip);
    await page.click(".listedit button[data-action=add]");
  };
  assert.deepEqual(await optionTexts(page, hosts), []);

  await add("alpha", "192.168.0.10");
  await add("beta", "192.168.0.11");
  await add("gamma", "192.168.0.12");
  assert.deepEqual(await optionTexts(page, hosts), ["alpha", "beta", "gamma"]);
  assert.deepEqual(await optionTexts(page, ips), ["192.168.0.10", "192.168.0.11", "192.168.0.12"]);

  // Choosing a row in one column chooses it in the other and fills the inputs.
  await page.selectOption(ips, { label: "192.168.0.11" });
  assert.equal(await page.inputValue("#hostinput"), "beta");
  await page.click(".listedit button[data-action=remove]");
  assert.deepEqual(await optionTexts(page, hosts), ["alpha", "gamma"]);
  assert.deepEqual(await optionTexts(page, ips), ["192.168.0.10", "192.168.0.12"]);

  // Refused: a blank inside, too long a name or address, an empty field.
  const refusals = [
    ["bad name", "192.168.0.13", "Entries must not contain blanks."],
    ["a".repeat(26), "192.168.0.13", "Entry too long (at most 25 characters)."],
    ["delta", "192.168.100.100.", "Entry too long (at most 15 characters)."],
    ["delta", "", "Please fill in every field."],
  ];
  for (const [host, ip, message] of refusals) {
    await add(host, ip);
    assert.equal((await page.textContent(error)).trim(), message, `"${host}" "${ip}"`);
    assert.deepEqual(await optionTexts(page, hosts), ["alpha", "gamma"], `"${host}" not added`);
  }
  // The longest allowed name goes in.
  await add("b".repeat(25), "192.168.0.14");
  assert.equal((await page.textContent(error)).trim(), "");
  await page.selectOption(hosts, { label: "b".repeat(25) });
  await page.click(".listedit button[data-action=remove]");

  await page.fill("#Forwarder", "192.168.0.254 192.168.0.253");
  await shot(page, "dns-editing");
  await submit(page);
  assert.equal(await headline(page), "DNS settings stored");

  await openItem(page, 3);
  assert.deepEqual(await optionTexts(page, hosts), ["alpha", "gamma"]);
  assert.deepEqual(await optionTexts(page, ips), ["192.168.0.10", "192.168.0.12"]);
  assert.equal(await page.inputValue("#Forwarder"), "192.168.0.254 192.168.0.253");
  const names = config("name.config");
  assert.equal(names.HOST_N, "2");
  assert.deepEqual([names.HOST_1_NAME, names.HOST_1_IP, names.HOST_2_NAME, names.HOST_2_IP],
    ["alpha", "192.168.0.10", "gamma", "192.168.0.12"]);
  await closePage(page);
});

test("system log: level and remote logging", async () => {
  const page = await newPage(browser);
  await openItem(page, 6);
  assert.equal(await page.inputValue("#loglevel"), "Error");
  assert.equal(await page.isChecked("#remoteLog"), false);
  assert.equal(await page.isDisabled("#syslog_remote_ip"), true);
  assert.equal(await page.isDisabled("#syslog_remote_port"), true);

  await page.selectOption("#loglevel", "Warning");
  await page.check("#remoteLog");
  assert.equal(await page.isDisabled("#syslog_remote_ip"), false);
  await page.fill("#syslog_remote_ip", "loghost.test");
  await page.fill("#syslog_remote_port", "5140");
  await submit(page);
  assert.equal(await headline(page), "System log settings stored");

  await openItem(page, 6);
  assert.equal(await page.inputValue("#loglevel"), "Warning");
  assert.equal(await page.isChecked("#remoteLog"), true);
  assert.equal(await page.isDisabled("#syslog_remote_ip"), false);
  assert.equal(await page.inputValue("#syslog_remote_ip"), "loghost.test");
  assert.equal(await page.inputValue("#syslog_remote_port"), "5140");
  assert.deepEqual(
    (({ SYSLOGD_LOG_LEVEL, SYSLOGD_REMOTE_LOG, SYSLOGD_REMOTE_HOST, SYSLOGD_REMOTE_PORT }) =>
      [SYSLOGD_LOG_LEVEL, SYSLOGD_REMOTE_LOG, SYSLOGD_REMOTE_HOST, SYSLOGD_REMOTE_PORT])(config("log.config")),
    ["Warning", "yes", "loghost.test", "5140"]);

  // Remote logging off again: the host is kept, its fields greyed out.
  await page.uncheck("#remoteLog");
  assert.equal(await page.isDisabled("#syslog_remote_ip"), true);
  await submit(page);
  await openItem(page, 6);
  assert.equal(await page.isChecked("#remoteLog"), false);
  assert.equal(await page.isDisabled("#syslog_remote_ip"), true);
  assert.equal(await page.inputValue("#syslog_remote_ip"), "loghost.test");
  assert.equal(config("log.config").SYSLOGD_REMOTE_LOG, "no");
  await closePage(page);
});

test("firmware update: protocol, server, directory and file", async () => {
  const page = await newPage(browser);
  await openItem(page, 1);
  assert.equal(await page.inputValue("#updt_protocol"), "http");
  await page.selectOption("#updt_protocol", "ftp");
  await page.fill("#updt_svr", "fw.branch.test");
  await page.fill("#updt_path", "/images/gw");
  await page.fill("#updt_file", "gw-2.1.img");
  await submit(page);
  assert.equal(await headline(page), "Firmware update settings stored");

  await openItem(page, 1);
  assert.equal(await page.inputValue("#updt_protocol"), "ftp");
  assert.equal(await page.inputValue("#updt_svr"), "fw.branch.test");
  assert.equal(await page.inputValue("#updt_path"), "/images/gw");
  assert.equal(await page.inputValue("#updt_file"), "gw-2.1.img");
  const update = config("update.config");
  assert.deepEqual([update.UPDATE_PROTOCOL, update.UPDATE_SERVER, update.UPDATE_PATH, update.UPDATE_FILE],
    ["ftp", "fw.branch.test", "/images/gw", "gw-2.1.img"]);
  await closePage(page);
});

test("time: NTP mode with two servers, a zone and the time service; kept on reopening", async () => {
  const page = await newPage(browser);
  await openItem(page, 2);
  const ntpSection = ".modediv[data-div='0']";
  const manualSection = ".modediv[data-div='1']";
  // The factory state sets the clock by hand: the NTP section is hidden.
  assert.equal(await page.isChecked("#mode_man"), true);
  assert.equal(await page.isVisible(ntpSection), false);
  assert.equal(await page.isVisible(manualSection), true);
  assert.match(await page.inputValue("#jahr"), /^20\d\d$/);

  await page.check("#mode_ntp");
  assert.equal(await page.isVisible(ntpSection), true);
  assert.equal(await page.isVisible(manualSection), false);
  assert.equal(await page.isChecked("#time_clt"), true, "NTP mode always fetches the time at boot");
  await page.fill("#tsvr1", "ntp1.branch.test");
  await page.fill("#tsvr2", "ntp2.branch.test");
  await page.selectOption("#tzidx", { label: "(UTC+05:30) Mumbai, New Delhi" });
  await page.check("#time_service");
  await submit(page);
  assert.equal(await headline(page), "Time settings stored");

  await openItem(page, 2);
  assert.equal(await page.isChecked("#mode_ntp"), true);
  assert.equal(await page.isVisible(ntpSection), true);
  assert.equal(await page.inputValue("#tsvr1"), "ntp1.branch.test");
  assert.equal(await page.inputValue("#tsvr2"), "ntp2.branch.test");
  assert.equal(await page.locator("#tzidx option:checked").textContent(), "(UTC+05:30) Mumbai, New Delhi");
  assert.equal(await page.isChecked("#time_service"), true);

  const time = config("time.config");
  assert.equal(time.NTP_ON_BOOT, "yes");
  assert.equal(time.NTP_REMOTE_1_IP, "ntp1.branch.test");
  assert.equal(time.NTP_REMOTE_2_IP, "ntp2.branch.test");
  assert.equal(time.NTP_TIME_INFO, "UCT-5:30UCST,M3.5.0,M10.5.0", "zones east of UTC are negative");
  assert.equal(time.OPT_NTP, "yes");
  // NTP mode leaves the clock alone.
  const commands = fs.existsSync(sandboxPath("var/log/commands")) ? fs.readFileSync(sandboxPath("var/log/commands"), "utf8") : "";
  assert.doesNotMatch(commands, /date -s/);
  await closePage(page);
});

test("firewall rules: a table of rules edited, reordered, applied and shown again in order", async () => {
  const page = await newPage(browser);
  await openItem(page, 36);
  const columns = ["actlist", "srchostlist", "dsthostlist", "protlist", "srcportlist", "dstportlist"];
  const rows = async () => {
    const cols = [];
    for (const c of columns) cols.push(await optionTexts(page, `select[data-list=${c}]`));
    return cols[0].map((_, i) => cols.map((col) => col[i]).join(" "));
  };
  const rule = async (act, src, dst, prot, sport, dport, button = "add") => {
    await page.selectOption("#actinput", act);
    await page.fill("#srchostinput", src);
    await page.fill("#dsthostinput", dst);
    await page.selectOption("#protinput", prot);
    await page.fill("#srcportinput", sport);
    await page.fill("#dstportinput", dport);
    await page.click(`.listedit button[data-action=${button}]`);
  };
  await rule("accept", "any", "192.168.0.10", "tcp", "any", "22");
  await rule("drop", "10.0.0.5", "any", "udp", "any", "53");
  await rule("reject", "any", "any", "all", "any", "any");
  // The third rule moves to the top; the (now) second one is replaced.
  await page.selectOption("select[data-list=dstportlist]", { index: 2 });
  await page.click(".listedit button[data-action=up]");
  await page.click(".listedit button[data-action=up]");
  await page.selectOption("select[data-list=actlist]", { index: 1 });
  await rule("accept", "any", "192.168.0.11", "tcp", "any", "443", "replace");
  const expected = ["reject any any all any any", "accept any 192.168.0.11 tcp any 443",
    "drop 10.0.0.5 any udp any 53"];
  assert.deepEqual(await rows(), expected);
  await shot(page, "fwruls-editing");
  await submit(page);
  assert.equal(await headline(page), "Firewall rules stored");

  await openItem(page, 36);
  assert.deepEqual(await rows(), expected);
  const rules = config("spec.config");
  assert.equal(rules.FW_RULES_N, "3");
  assert.deepEqual([rules.FW_RULES_1_ACT, rules.FW_RULES_2_DSTPORT, rules.FW_RULES_3_SRCHOST],
    ["reject", "443", "10.0.0.5"]);
  await closePage(page);
});
