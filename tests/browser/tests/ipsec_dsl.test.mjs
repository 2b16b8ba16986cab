// IPsec in its three modes (with the certificate upload) and DSL access on and off.
import assert from "node:assert/strict";
import {
  expectConfig, expectDisabled, expectFields, fill, listEdit, makeP12, openItem, optionTexts, pageTest, readLog, roundTrip,
  shot, submit, workDir,
} from "./support.mjs";

const p12 = makeP12(workDir(), "peer", "p12pass");
const mode = (m) => ({ [`input[name=ipsmode][value=${m}]`]: true });
const refused = async (page) => {
  await page.click(".actions input[type=submit]");
  assert.match(page.url(), /item=29/, "the form did not go out");
};

pageTest("IPsec gateway: two peers, the address pool and L2TP; shown again", async (page) => {
  await openItem(page, 29);
  const sections = async () => [await page.isVisible("#ipseccommon"), await page.isVisible(".modediv[data-div='3']")];
  assert.deepEqual(await sections(), [false, false]);
  await fill(page, { ...mode("gateway"), ipsec_interface: "eth0" });
  assert.deepEqual(await sections(), [true, true]);
  for (const [peer, key] of [["branch1", "key-one"], ["branch2", "\"two\"key"]]) {
    await listEdit(page, { peerinput: peer, keyinput: key });
  }
  await expectDisabled(page, ["startaddress"]);
  await fill(page, { ipsecgateway: true });
  await expectDisabled(page, ["startaddress"], false);
  await fill(page, { startaddress: "10.1.0.10", endaddress: "10.1.0.99", dns: "10.1.0.1", l2tp_service: true,
    rwpppaddr: "10.2.0.1", chap_user: "road" });
  // The CHAP password is required and repeated.
  await refused(page);
  await fill(page, { l2tp_pass: "chap-pw", l2tp_pass_again: "chap-px" });
  await refused(page);
  await shot(page, "ipsec-gateway");
  await roundTrip(page, 29, { l2tp_pass_again: "chap-pw" }, "IPsec settings stored",
    { open: false, shown: { ipsecgateway: true, endaddress: "10.1.0.99", l2tp_pass: "" } });
  assert.deepEqual(await sections(), [true, true]);
  assert.deepEqual(await optionTexts(page, "select[data-list=keylist]"), ["key-one", "\"two\"key"]);
  expectConfig("ipsec.config", { IPSEC_MODE: "gateway", IPSEC_PHYSICAL_ITF: "eth0", IPSEC_PEERS_N: "2",
    IPSEC_PEERS_1_NAME: "branch1", IPSEC_PEERS_2_PSK: "\"two\"key", IPSEC_GW_NATIV_MODE: "yes",
    IPSEC_GW_NATIV_POOL: "10.1.0.99", IPSEC_GW_L2TP_MODE: "yes" });
  expectConfig("l2tp.config", { L2TP_PPP_ADDR: "10.2.0.1", L2TP_CHAP_USER: "road", L2TP_CHAP_PASS: "chap-pw" });
});

pageTest("IPsec peer mode with a certificate upload (German), then gateway and off", async (page) => {
  await openItem(page, 29, "deutsch");
  await fill(page, { ...mode("peer"), rtarget: "vpn.example.com", ipskey: "peerkey", ipsec_x509: true, x509pwd: "p12pass" });
  await page.setInputFiles("#certfile", p12);
  await shot(page, "ipsec-peer");
  await roundTrip(page, 29, {}, "IPsec-Einstellungen übernommen",
    { lang: "deutsch", open: false, shown: { rtarget: "vpn.example.com", ipsec_x509: true } });
  expectConfig("ipsec.config", { IPSEC_MODE: "peer", IPSEC_USE_X509: "yes", IPSEC_PEER_GW_IP: "vpn.example.com" });
  assert.match(readLog("messages"), /extract returns 0\n.*savekeys returns 0/);
  // Without a file, the fields after the file field still arrive.
  await fill(page, { ...mode("gateway"), l2tp_service: true, l2tp_pass: "x", l2tp_pass_again: "x" });
  await submit(page);
  expectConfig("ipsec.config", { IPSEC_MODE: "gateway" });
  expectConfig("l2tp.config", { L2TP_CHAP_PASS: "x" });
  await roundTrip(page, 29, mode("off"), "IPsec-Einstellungen übernommen", { lang: "deutsch" });
  expectConfig("ipsec.config", { IPSEC_MODE: "off" });
});

pageTest("DSL access: on with PPTP and dial on demand, demand off, then DSL off", async (page) => {
  await openItem(page, 35);
  await expectDisabled(page, ["proto"]);
  await expectFields(page, { proto: "pppoe" });
  const dsl = { enabled: true, nterface: "eth0", proto: "pptp", lcpfail: "5", demand: true, idletime: "300",
    user: "bob@isp", password: "dslpw" };
  await roundTrip(page, 35, dsl, "DSL settings stored",
    { open: false, lang: "deutsch", shown: { enabled: true, nterface: "eth0", proto: "pptp", demand: true } });
  expectConfig("pppoe.config", { CONNECT_MODE: "pppoe", DSL_IF: "eth0", DSL_PROTO: "pptp", DSL_LCP_FAIL: "5",
    DSL_DIALONDEMAND: "yes", DSL_IDLETIME: "300", DSL_USER: "bob@isp", DSL_PASSWORD: "dslpw" });
  await fill(page, { demand: false });
  await submit(page);
  expectConfig("pppoe.config", { DSL_DIALONDEMAND: "", DSL_PASSWORD: "dslpw", DSL_IDLETIME: "300" });
  // The page brings no messages of its own.
  await roundTrip(page, 35, { enabled: false }, "Settings applied", { shown: { enabled: false } });
  expectConfig("pppoe.config", { CONNECT_MODE: "none" });
});
