// IPsec in its three modes (with the certificate upload) and DSL access on
// and off, as an administrator uses them.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";
import { after, before, beforeEach, test } from "node:test";
import {
  closePage, headline, launch, newPage, openItem, pageUrl, resetSandbox, sandboxPath, shot, submit,
} from "./support.mjs";

const conf = (f) => fs.readFileSync(sandboxPath("tmp/ulsp", f), "utf8");
let browser;
let p12dir;
before(async () => {
  browser = await launch();
  // A PKCS#12 file with its own key and certificate, password "p12pass".
  p12dir = fs.mkdtempSync(path.join(os.tmpdir(), "gwadmin-p12-"));
  const at = (f) => path.join(p12dir, f);
  execFileSync("openssl", ["req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=peer", "-days", "30",
    "-keyout", at("key.pem"), "-out", at("cert.pem")], { stdio: "ignore" });
  execFileSync("openssl", ["pkcs12", "-export", "-inkey", at("key.pem"), "-in", at("cert.pem"),
    "-passout", "pass:p12pass", "-out", at("peer.p12")], { stdio: "ignore" });
});
after(async () => {
  await browser?.close();
  fs.rmSync(p12dir, { recursive: true, force: true });
});
beforeEach(() => resetSandbox());

test("IPsec gateway: two peers, the address pool and L2TP; shown again", async () => {
  const page = await newPage(browser);
  await openItem(page, 29);
  assert.equal(await page.locator("#ipseccommon").isHidden(), true);
  assert.equal(await page.locator(".modediv[data-div='3']").isHidden(), true);
  await page.check("input[name=ipsmode][value=gateway]");
  assert.equal(await page.locator(".modediv[data-div='3']").isVisible(), true);
  assert.equal(await page.locator("#ipseccommon").isVisible(), true);
  await page.selectOption("#ipsec_interface", "eth0");
  for (const [n, k] of [["branch1", "key-one"], ["branch2", "\"two\"key"]]) {
    await page.fill("#peerinput", n);
    await page.fill("#keyinput", k);
    await page.click(".listedit [data-action=add]");
  }
  assert.equal(await page.locator("#startaddress").isDisabled(), true);
  await page.check("#ipsecgateway");
  assert.equal(await page.locator("#startaddress").isDisabled(), false);
  await page.fill("#startaddress", "10.1.0.10");
  await page.fill("#endaddress", "10.1.0.99");
  await page.fill("#dns", "10.1.0.1");
  await page.check("#l2tp_service");
  await page.fill("#rwpppaddr", "10.2.0.1");
  await page.fill("#chap_user", "road");
  // password required and repeated
  await page.click(".actions input[type=submit]");
  assert.match(page.url(), /item=29/, "empty CHAP password blocks the form");
  await page.fill("#l2tp_pass", "chap-pw");
  await page.fill("#l2tp_pass_again", "chap-px");
  await page.click(".actions input[type=submit]");
  assert.match(page.url(), /item=29/, "differing repeat blocks the form");
  await page.fill("#l2tp_pass_again", "chap-pw");
  await shot(page, "ipsec-gateway");
  await submit(page);
  assert.equal(await headline(page), "IPsec settings stored");
  const ipsec = conf("ipsec.config"), l2tp = conf("l2tp.config");
  for (const line of ["IPSEC_MODE='gateway'", "IPSEC_PHYSICAL_ITF='eth0'", "IPSEC_NAT_TRAVERSAL='yes'",
    "IPSEC_PEERS_N='2'", "IPSEC_PEERS_1_NAME='branch1'", "IPSEC_PEERS_2_PSK='\"two\"key'",
    "IPSEC_GW_NATIV_MODE='yes'", "IPSEC_GW_NATIV_POOL='10.1.0.99'", "IPSEC_GW_L2TP_MODE='yes'"])
    assert.ok(ipsec.includes(line + "\n"), line);
  for (const line of ["L2TP_PPP_ADDR='10.2.0.1'", "L2TP_CHAP_USER='road'", "L2TP_CHAP_PASS='chap-pw'"])
    assert.ok(l2tp.includes(line + "\n"), line);
  await openItem(page, 29);
  assert.equal(await page.locator(".modediv[data-div='3']").isVisible(), true);
  assert.deepEqual(await page.locator("select[data-list=keylist] option").allTextContents(), ["key-one", "\"two\"key"]);
  assert.equal(await page.locator("#ipsecgateway").isChecked(), true);
  assert.equal(await page.locator("#l2tp_pass").inputValue(), "");
  await closePage(page);
});

test("IPsec peer mode with a certificate upload (German), then gateway and off", async () => {
  const page = await newPage(browser);
  await openItem(page, 29, "deutsch");
  await page.check("input[name=ipsmode][value=peer]");
  await page.fill("#rtarget", "vpn.example.com");
  await page.fill("#ipskey", "peerkey");
  await page.check("#ipsec_x509");
  await page.fill("#x509pwd", "p12pass");
  await page.setInputFiles("#certfile", path.join(p12dir, "peer.p12"));
  await shot(page, "ipsec-peer");
  await submit(page);
  assert.equal(await headline(page), "IPsec-Einstellungen übernommen");
  const ipsec = conf("ipsec.config");
  assert.ok(ipsec.includes("IPSEC_MODE='peer'\n") && ipsec.includes("IPSEC_USE_X509='yes'\n") && ipsec.includes("IPSEC_PEER_GW_IP='vpn.example.com'\n"));
  const log = fs.readFileSync(sandboxPath("var/log/messages"), "utf8");
  assert.match(log, /extract returns 0\n.*savekeys returns 0/);
  // peer mode without a file: the later fields still arrive (none after it, but the mode is stored)
  await openItem(page, 29, "deutsch");
  assert.equal(await page.locator("#rtarget").inputValue(), "vpn.example.com");
  await page.check("input[name=ipsmode][value=gateway]");
  await page.check("#l2tp_service");
  await page.fill("#l2tp_pass", "x"); await page.fill("#l2tp_pass_again", "x");
  await submit(page);
  // The fields after the (unused) file field still arrive.
  assert.ok(conf("ipsec.config").includes("IPSEC_MODE='gateway'\n"));
  assert.ok(conf("l2tp.config").includes("L2TP_CHAP_PASS='x'\n"));
  await page.goto(pageUrl(29, "deutsch"));
  await page.check("input[name=ipsmode][value=off]");
  await submit(page);
  assert.ok(conf("ipsec.config").includes("IPSEC_MODE='off'\n"));
  await closePage(page);
});

test("DSL access: on with PPTP and dial on demand, demand off, then DSL off", async () => {
  const page = await newPage(browser);
  await openItem(page, 35);
  assert.equal(await page.locator("#proto").isDisabled(), true);
  assert.equal(await page.locator("#proto").inputValue(), "pppoe");
  await page.check("#enabled");
  await page.selectOption("#nterface", "eth0");
  await page.selectOption("#proto", "pptp");
  await page.fill("#lcpfail", "5");
  await page.check("#demand");
  await page.fill("#idletime", "300");
  await page.fill("#user", "bob@isp");
  await page.fill("#password", "dslpw");
  await submit(page);
  assert.equal(await headline(page), "DSL settings stored");
  let p = conf("pppoe.config");
  for (const line of ["CONNECT_MODE='pppoe'", "DSL_IF='eth0'", "DSL_PROTO='pptp'", "DSL_LCP_FAIL='5'",
    "DSL_DIALONDEMAND='yes'", "DSL_IDLETIME='300'", "DSL_USER='bob@isp'", "DSL_PASSWORD='dslpw'"])
    assert.ok(p.includes(line + "\n"), line);
  await openItem(page, 35, "deutsch");
  assert.equal(await page.locator("#proto").inputValue(), "pptp");
  assert.equal(await page.locator("#nterface").inputValue(), "eth0");
  assert.equal(await page.locator("#enabled").isChecked(), true);
  await page.uncheck("#demand");
  await submit(page);
  p = conf("pppoe.config");
  assert.ok(p.includes("DSL_DIALONDEMAND=''\n") && p.includes("DSL_PASSWORD='dslpw'\n") && p.includes("DSL_IDLETIME='300'\n"));
  await openItem(page, 35);
  await page.uncheck("#enabled");
  await page.click(".actions input[type=submit]");
  await page.waitForURL((u) => u.pathname === "/cgi-bin/gwadmin" && u.search === "");
  assert.equal(await headline(page), "Settings applied");  // the page brings no messages of its own
  assert.ok(conf("pppoe.config").includes("CONNECT_MODE='none'\n"));
  await closePage(page);
});
