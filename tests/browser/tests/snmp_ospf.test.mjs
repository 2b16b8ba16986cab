// The SNMP agent and OSPF routing pages: filled in as a user would, applied,
// opened again; the running configuration holds what was set, and passwords
// are stored but never come back into the page.
import assert from "node:assert/strict";
import {
  config, expectConfig, expectDisabled, expectFields, fill, listEdit, openItem, optionTexts, pageTest, roundTrip, shot,
} from "./support.mjs";

pageTest("SNMP agent: system, communities, trap receivers and an SNMPv3 user; passwords kept unseen", async (page) => {
  const STORED = "SNMP settings stored";
  const sinks = () => optionTexts(page, "select[data-list=sinklist]");
  await openItem(page, 39);
  await expectFields(page, { rocomm: "public", auth_md5: true, priv_des: true, authpwd: "" });
  assert.deepEqual(await sinks(), []);

  for (const ip of ["192.168.0.50", "10.1.1.1", "10.2.2.2"]) await listEdit(page, { sinkinput: ip });
  await page.selectOption("select[data-list=sinklist]", { label: "10.1.1.1" });
  await page.click(".listedit button[data-action=remove]");
  await listEdit(page, { sinkinput: "192.168.100.256" });  // not an address: refused
  assert.match(await page.textContent("#sinkinput-problem"), /^Enter an IPv4 address/);
  const fields = { sysname: "edge-gw", location: "Rack 3", contact: "ops@branch.test", rocomm: "watch",
    rwcomm: "tune", trapcomm: "alarm", v3name: "monitor", auth_sha: true, priv_aes: true };
  await fill(page, { ...fields, authpwd: "auth-secret-1", privpwd: "priv-secret-1" });
  await shot(page, "snmp-editing");
  await roundTrip(page, 39, {}, STORED, { open: false, shown: { ...fields, authpwd: "", privpwd: "" } });
  assert.deepEqual(await sinks(), ["192.168.0.50", "10.2.2.2"]);
  expectConfig("snmp.config", { SNMP_SYSNAME: "edge-gw", SNMP_SYSLOCATION: "Rack 3", SNMP_ROCOMMUNITY: "watch",
    SNMP_TRAPCOMMUNITY: "alarm", SNMP_TRAPSINK_N: "2", SNMP_TRAPSINK_1_IP: "192.168.0.50",
    SNMP_TRAPSINK_2_IP: "10.2.2.2", SNMP_V3USER: "monitor", SNMP_V3AUTHTYPE: "SHA", SNMP_V3PRIVPROT: "AES",
    SNMP_V3AUTHPASS: "auth-secret-1", SNMP_V3PRIVPASS: "priv-secret-1" });
  assert.ok(!(await page.content()).includes("secret-1"), "no password in the page");

  // Empty password fields keep the passwords; back to MD5 and DES.
  await roundTrip(page, 39, { auth_md5: true, priv_des: true, privpwd: "priv-secret-2" }, STORED,
    { shown: { auth_md5: true, priv_des: true, privpwd: "" } });
  expectConfig("snmp.config", { SNMP_V3AUTHTYPE: "MD5", SNMP_V3PRIVPROT: "DES", SNMP_V3AUTHPASS: "auth-secret-1",
    SNMP_V3PRIVPASS: "priv-secret-2", SNMP_TRAPSINK_N: "2" });
});

pageTest("OSPF: switched on with the LAN interface, then off again with everything kept", async (page) => {
  const STORED = "OSPF settings stored";
  const lan = ["hello1", "dead1", "nettyp1"];
  await openItem(page, 45);
  await expectFields(page, { ospf_service: false, if1: false, nettyp1: "broadcast" });
  await expectDisabled(page, ["rname", "Zebra_Pass", "if1", "if2", ...lan]);
  await fill(page, { ospf_service: true });
  await expectDisabled(page, ["rname", "Zebra_Pass", "if1", "if2"], false);
  await expectDisabled(page, lan);  // the interface is not switched on yet
  await fill(page, { if1: true });
  await expectDisabled(page, lan, false);

  const fields = { ospf_service: true, rname: "area-router", authkey: "k3y", ospf_static: true, prio1: "5",
    if1: true, hello1: "5", dead1: "20", nettyp1: "point-to-point" };
  // A repetition that differs keeps the form from going out.
  await fill(page, { ...fields, Zebra_Pass: "vty-pass", Zebra_PassRe: "vty-pazz" });
  await page.click(".actions input[type=submit]");
  assert.equal(await page.locator("#Zebra_PassRe").evaluate((e) => e.validationMessage), "The two entries differ.");
  await shot(page, "ospf-editing");
  await roundTrip(page, 45, { Zebra_PassRe: "vty-pass" }, STORED,
    { open: false, shown: { ...fields, nettyp1: { label: "Point-To-Point" }, if2: false, Zebra_Pass: "" } });
  expectConfig("ospf.config", { OPT_OSPF: "yes", OSPF_HOSTNAME: "area-router", OSPF_AUTH_KEY: "k3y",
    OSPF_PROPAGATE_STATIC: "yes", OSPF_PRIO_AREA1: "5", OSPF_TELNET_PASSWORD: "vty-pass",
    OSPF_ACTIVATE_ETH0: "yes", OSPF_HELLO_ETH0: "5", OSPF_DEAD_ETH0: "20", OSPF_NET_ETH0: "point-to-point",
    OSPF_ACTIVATE_ETH1: "no", OSPF_NET_ETH1: "broadcast" });
  assert.ok(!(await page.content()).includes("vty-pass"), "no password in the page");
  await expectDisabled(page, lan, false);
  await expectDisabled(page, ["hello2"]);

  // Off: only the switch is stored; the page shows the rest greyed out.
  const before = config("ospf.config");
  await roundTrip(page, 45, { ospf_service: false }, STORED,
    { open: false, shown: { ospf_service: false, if1: true, hello1: "5", rname: "area-router" } });
  await expectDisabled(page, ["rname", "if1", ...lan]);
  assert.deepEqual(config("ospf.config"), { ...before, OPT_OSPF: "no" });
});
