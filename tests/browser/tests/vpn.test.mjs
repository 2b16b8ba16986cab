// The VPN pages as an administrator uses them: the router's certificate
// authority issues certificates (the sandbox's cert tool is a real OpenSSL
// authority), the peer's PKCS#12 file is downloaded, certificates are revoked
// and made valid again; OpenVPN in each of its modes; the status page.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";
import { after, before, beforeEach, test } from "node:test";
import {
  closePage, config, headline, launch, newPage, openItem, optionTexts, resetSandbox, sandboxPath, shot, submit,
} from "./support.mjs";

let browser;
const work = fs.mkdtempSync(path.join(os.tmpdir(), "gwadmin-vpn-"));  // files up- and downloaded
before(async () => { browser = await launch(); });
after(async () => {
  await browser?.close();
  fs.rmSync(work, { recursive: true, force: true });
});
beforeEach(() => resetSandbox());

const openssl = (args, input) => execFileSync("openssl", args, { encoding: "utf8", input, stdio: "pipe" });
const [CA_PASS, PEER_PASS] = ["ca-Secret-1", "peer-Secret-2"];

// Serial, common name and end of validity (as the management page shows
// it, DD.MM.YYYY hh:mm:ss UTC) of a certificate in PEM form.
function certInfo(pem) {
  const out = openssl(["x509", "-noout", "-serial", "-enddate", "-subject", "-nameopt", "sep_multiline"], pem);
  const until = new Date(/notAfter=(.*)/.exec(out)[1]).toISOString();
  return [/serial=(\w+)/.exec(out)[1], /CN=(.*)/.exec(out)[1].trim(),
    until.replace(/^(\d{4})-(\d\d)-(\d\d)T([\d:]{8}).*/, "$3.$2.$1 $4")];
}

// Fills the certificate form and issues the certificate.
async function issue(page, type, common) {
  await openItem(page, 26);
  await page.check(`input[name=cert_type][value=${type}]`);
  const subject = { common, org_unit: "IT", orga: "Branch Office", locatio: "Lakeside", region: "North",
    email: "admin@branch.test", so_pass: CA_PASS };
  for (const [id, value] of Object.entries(subject)) await page.fill(`#${id}`, value);
  await page.selectOption("#country", "AT");
  let question = null;
  if (type === "auth") {
    await page.fill("#so_pass_again", CA_PASS);
    page.once("dialog", (d) => { question = d.message(); return d.accept(); });
  } else {
    const pass = type === "peer" ? PEER_PASS : "gw-Secret-3";
    await page.fill("#su_pass", pass);
    await page.fill("#su_pass_again", pass);
  }
  await submit(page, "#generate");
  if (type === "auth") assert.match(question, /new certificate authority/, "a new authority is confirmed first");
  assert.equal(await headline(page), "Certificate authority");
  assert.equal((await page.textContent(".result")).trim(), "The certificates have been generated.");
}

// The management table: serial, name, expiry, chosen state per row.
const certRows = (page) => page.locator("#certs tr").evaluateAll((rows) => rows.slice(1).map((r) =>
  [...Array.from(r.cells).slice(0, 3).map((c) => c.textContent), r.cells[3].querySelector("select").value]));

const indexStates = () => fs.readFileSync(sandboxPath("tmp/certs/index.txt"), "utf8").match(/^./gm);

async function setState(page, name, state) {
  await openItem(page, 27);
  await page.selectOption(`#certs select[aria-label="${name}: Status"]`, state);
  await page.fill("#so_pwd", CA_PASS);
  await submit(page, "#apply");
  assert.equal(await headline(page), "Certificates updated");
  await openItem(page, 27);
}

test("certificates: root, gateway and peer issued; the peer's PKCS#12 file downloads; revoked and valid again", async () => {
  const page = await newPage(browser);
  await issue(page, "auth", "Branch CA");
  assert.match(openssl(["x509", "-in", sandboxPath("tmp/certs/cacert.pem"), "-noout", "-subject"]), /CN = Branch CA/);
  await issue(page, "gate", "gw.branch.test");
  assert.equal(await page.isHidden("#download"), true, "no download after a gateway certificate");
  await issue(page, "peer", "laptop-anna");
  assert.equal(await page.isVisible("#download"), true);
  await shot(page, "vpnca-peer-result");

  const [download] = await Promise.all([page.waitForEvent("download"), page.click("#download a[href='/vpnpeer.p12']")]);
  assert.equal(download.suggestedFilename(), "vpnpeer.p12");
  const p12 = path.join(work, "laptop-anna.p12");
  await download.saveAs(p12);
  assert.deepEqual(fs.readFileSync(p12), fs.readFileSync(sandboxPath("home/httpd/vpnpeer.p12")));
  openssl(["pkcs12", "-info", "-noout", "-in", p12, "-passin", `pass:${PEER_PASS}`]);
  assert.throws(() => openssl(["pkcs12", "-info", "-noout", "-in", p12, "-passin", "pass:wrong"]));
  const peerPem = openssl(["pkcs12", "-in", p12, "-passin", `pass:${PEER_PASS}`, "-nokeys", "-clcerts"]);
  assert.match(openssl(["x509", "-noout", "-subject"], peerPem), /C = AT, .*O = Branch Office, .*CN = laptop-anna/);

  const gateway = certInfo(fs.readFileSync(sandboxPath("tmp/certs/gateway.crt"), "utf8"));
  const peer = certInfo(peerPem);
  assert.deepEqual([gateway[0], peer[0]], ["01", "02"]);
  await openItem(page, 27);
  assert.deepEqual(await certRows(page), [[...gateway, "V"], [...peer, "V"]]);
  await shot(page, "mgcert-issued");

  const crl = () => openssl(["crl", "-in", sandboxPath("tmp/certs/crl.pem"), "-noout", "-text"]);
  await setState(page, "laptop-anna", "R");
  assert.deepEqual(await certRows(page), [[...gateway, "V"], [...peer, "R"]]);
  assert.deepEqual(indexStates(), ["V", "R"]);
  assert.match(crl(), /Serial Number: 02/, "the revocation list names the peer");
  await shot(page, "mgcert-revoked");

  await setState(page, "laptop-anna", "V");
  assert.deepEqual(await certRows(page), [[...gateway, "V"], [...peer, "V"]]);
  assert.deepEqual(indexStates(), ["V", "V"]);
  assert.match(crl(), /No Revoked Certificates/);
  await closePage(page);
});

// Applies the OpenVPN form in a mode after `fill` and opens the page again.
async function applyMode(page, mode, fill = async () => {}) {
  await openItem(page, 46);
  await page.check(`input[name=vpnmode][value=${mode}]`);
  await fill();
  await submit(page);
  assert.equal(await headline(page), "OpenVPN settings stored");
  await openItem(page, 46);
  assert.equal(await page.isChecked(`input[name=vpnmode][value=${mode}]`), true);
  assert.equal(config("openvpn.config").OVPN_MODE, mode);
}

const inputs = (page, ids) => Promise.all(ids.map((id) => page.inputValue(`#${id}`)));
const checked = (page, ids) => Promise.all(ids.map((id) => page.isChecked(id)));
const keys = (names) => names.map((k) => config("openvpn.config")[k]);

test("OpenVPN: client with a PKCS#12 file, server with pushed routes, tunnel with a static key, off", async () => {
  // The client's file comes from the server's authority: made here with OpenSSL.
  const key = path.join(work, "k.pem"), crt = path.join(work, "c.pem"), p12 = path.join(work, "branch-client.p12");
  openssl(["req", "-x509", "-newkey", "rsa:2048", "-noenc", "-subj", "/CN=branch-client", "-days", "30",
    "-keyout", key, "-out", crt]);
  openssl(["pkcs12", "-export", "-in", crt, "-inkey", key, "-out", p12, "-passout", "pass:p12-Pass"]);
  const page = await newPage(browser);
  let boundary = "";
  page.on("request", (r) => { boundary = /boundary=(.*)/.exec(r.headers()["content-type"] || "")?.[1] ?? boundary; });

  await applyMode(page, "client", async () => {
    assert.equal(await page.isVisible(".modediv[data-div='2']"), true);
    await page.selectOption("#ovpn_interface", "eth0");
    await page.check("input[name=vpnprot][value=tcp]");
    await page.fill("#vport", "1195");
    await page.fill("#remote_host", "vpn.hq.test");
    await page.fill("#x509pwd", "p12-Pass");
    await page.setInputFiles("#certfile", p12);
  });
  assert.deepEqual(await inputs(page, ["ovpn_interface", "vport", "remote_host", "x509pwd"]),
    ["eth0", "1195", "vpn.hq.test", ""], "the password is never shown");
  assert.deepEqual(await checked(page, ["input[name=vpnprot][value=tcp]"]), [true]);
  assert.deepEqual(keys(["OVPN_LISTEN_IF", "OVPN_PROTOCOL", "OVPN_HOST_REMOTE", "OVPN_PKCS12_PASSWD"]),
    ["eth0", "tcp", "vpn.hq.test", "p12-Pass"]);
  // A stored upload ends with the CR LF before the form's next boundary. A
  // boundary whose last two characters are equal is never found, so the file
  // then also holds the rest of the form.
  const sent = Buffer.concat([fs.readFileSync(p12), Buffer.from("\r\n")]);
  const installed = fs.readFileSync(sandboxPath("tmp/keys/openvpn/vpnpeer.p12"));
  assert.ok(boundary, "the form went out as multipart/form-data");
  assert.deepEqual(boundary.at(-1) !== boundary.at(-2) ? installed : installed.subarray(0, sent.length), sent);
  await shot(page, "ovpn-client");

  await applyMode(page, "server", async () => {
    await page.fill("#ovpnservernet", "10.20.0.0");
    await page.fill("#ovpnservermsdns", "192.168.0.1");
    await page.check("#ovpnredirectdefaults");
    await page.fill("#ovpnservermaxclnts", "25");
    for (const [net, mask] of [["192.168.0.0", "255.255.255.0"], ["172.16.0.0", "255.240.0.0"]]) {
      await page.fill("#peerinput", net);
      await page.fill("#maskinput", mask);
      await page.click(".listedit button[data-action=add]");
    }
  });
  assert.deepEqual(await inputs(page, ["ovpnservernet", "ovpnservermsdns", "ovpnservermaxclnts"]),
    ["10.20.0.0", "192.168.0.1", "25"]);
  assert.deepEqual(await checked(page, ["#ovpnredirectdefaults", "#ovpnclientsvisible"]), [true, false]);
  assert.deepEqual(await optionTexts(page, "select[data-list=peerlist]"), ["192.168.0.0", "172.16.0.0"]);
  assert.deepEqual(await optionTexts(page, "select[data-list=masklist]"), ["255.255.255.0", "255.240.0.0"]);
  assert.deepEqual(keys(["OVPN_ROUTE_N", "OVPN_ROUTE_2_NET", "OVPN_ROUTE_2_MASK", "OVPN_SVR_REDIRECT_DEFAULT"]),
    ["2", "172.16.0.0", "255.240.0.0", "yes"]);
  await shot(page, "ovpn-server");

  const tunnel = ["peer.branch.test", "10.99.0.1", "10.99.0.2"];
  await applyMode(page, "tunnel", async () => {
    for (const [i, id] of ["gateway", "lokal", "remote"].entries()) await page.fill(`#${id}`, tunnel[i]);
  });
  assert.deepEqual(await inputs(page, ["gateway", "lokal", "remote"]), tunnel);
  assert.deepEqual(keys(["OVPN_HOST_REMOTE", "OVPN_TUNNEL_LOCAL", "OVPN_TUNNEL_REMOTE"]), tunnel);
  // A generated key is written as stqatic.key; the page shows static.key.
  await submit(page, "button:has-text('Generate a new key')");
  const generated = fs.readFileSync(sandboxPath("home/httpd/openvpn/stqatic.key"), "utf8");
  assert.match(generated, /-----BEGIN OpenVPN Static key V1-----/);
  assert.equal(await page.inputValue("#seckey"), "");
  const keyFile = path.join(work, "static.key");
  fs.writeFileSync(keyFile, generated);
  await openItem(page, 46);
  await page.setInputFiles("#Datei", keyFile);
  await submit(page, "button:has-text('Upload')");
  assert.equal(await page.inputValue("#seckey"), generated.split("\n")[4].slice(0, 16));
  assert.ok(fs.readFileSync(sandboxPath("home/httpd/openvpn/static.key"), "utf8").startsWith(generated));
  await shot(page, "ovpn-tunnel");

  await applyMode(page, "none");
  assert.equal(await page.isHidden("#ovpncommon"), true);
  assert.deepEqual(keys(["OVPN_SVR_NET", "OVPN_TUNNEL_LOCAL"]), ["10.20.0.0", "10.99.0.1"], "each mode's keys are kept");
  await closePage(page);
});

// The status page: banner, role, table caption and rows (cells joined by "|").
async function vpnStatus(page, lang) {
  await openItem(page, 49, lang);
  return page.locator("main").evaluate((m) => [m.querySelector("fieldset p").textContent.trim(),
    m.querySelector("fieldset .row:last-of-type > span").textContent.trim(),
    m.querySelector("table caption").textContent.trim(),
    Array.from(m.querySelectorAll("table tr"), (r) => Array.from(r.cells, (c) => c.textContent.trim()).join("|"))]);
}

test("OpenVPN status: state, role and connections, in English and German", async () => {
  const page = await newPage(browser);
  const incoming = ["Status of incoming OpenVPN connections",
    "IP address of clients|Remote port of clients|CN of X509 Certificate"];
  // Off counts as server.
  assert.deepEqual(await vpnStatus(page), ["NOT RUNNING", "Server", incoming[0], [incoming[1], "No connections"]]);

  fs.writeFileSync(sandboxPath("var/run/openvpn.pid"), "4242\n");
  fs.writeFileSync(sandboxPath("tmp/vpnlist"), "10.20.0.6|50123|laptop-anna\n10.20.0.10|40111|tablet-ben\n");
  const rows = ["10.20.0.6|50123|laptop-anna", "10.20.0.10|40111|tablet-ben"];
  assert.deepEqual(await vpnStatus(page), ["RUNNING", "Server", incoming[0], [incoming[1], ...rows]]);
  await shot(page, "ovpnstatus-server");
  assert.deepEqual(await vpnStatus(page, "deutsch"), ["RUNNING", "Server", "Status eingehender OpenVPN-Verbindungen",
    ["IP-Adresse des Clients|Remote-Port des Clients|CN des X509-Zertifikats", ...rows]]);
  assert.equal(await headline(page), "OpenVPN-Status");
  await shot(page, "ovpnstatus-deutsch");

  // As a client: the one outgoing connection.
  await applyMode(page, "client", () => page.fill("#remote_host", "vpn.hq.test"));
  fs.writeFileSync(sandboxPath("tmp/vpnlist"), "tun0|198.51.100.7\n");
  assert.deepEqual(await vpnStatus(page, "deutsch"), ["RUNNING", "Client", "Status ausgehender OpenVPN-Verbindungen",
    ["Device|Remote-IP des Servers", "tun0|198.51.100.7"]]);
  assert.deepEqual(await vpnStatus(page), ["RUNNING", "Client", "Status of outgoing OpenVPN connection",
    ["Device|Remote IP of server", "tun0|198.51.100.7"]]);
  await closePage(page);
});
