// The VPN pages: the router's authority (the sandbox's cert tool is a real OpenSSL one) issues
// certificates, the peer's PKCS#12 file is downloaded, certificates are revoked and made valid
// again; OpenVPN in each of its modes; the status page.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import fs from "node:fs";
import path from "node:path";
import {
  expectConfig, fill, headline, listEdit, makeP12, openItem, optionTexts, pageTest, roundTrip, sandboxPath, shot, submit, workDir,
} from "./support.mjs";

const work = workDir();
const openssl = (args, input) => execFileSync("openssl", args, { encoding: "utf8", input, stdio: "pipe" });
const [CA_PASS, PEER_PASS] = ["ca-Secret-1", "peer-Secret-2"];

// Serial, common name and end of validity (DD.MM.YYYY hh:mm:ss UTC) of a certificate in PEM form.
function certInfo(pem) {
  const out = openssl(["x509", "-noout", "-serial", "-enddate", "-subject", "-nameopt", "sep_multiline"], pem);
  const until = new Date(/notAfter=(.*)/.exec(out)[1]).toISOString();
  return [/serial=(\w+)/.exec(out)[1], /CN=(.*)/.exec(out)[1].trim(),
    until.replace(/^(\d{4})-(\d\d)-(\d\d)T([\d:]{8}).*/, "$3.$2.$1 $4")];
}

// Fills the certificate form and issues the certificate (a new authority after a question).
async function issue(page, type, common) {
  await openItem(page, 26);
  const pass = { auth: CA_PASS, peer: PEER_PASS, gate: "gw-Secret-3" }[type];
  await fill(page, { [`input[name=cert_type][value=${type}]`]: true, common, org_unit: "IT", orga: "Branch Office",
    locatio: "Lakeside", region: "North", email: "admin@branch.test", so_pass: CA_PASS, country: "AT",
    ...(type === "auth" ? { so_pass_again: pass } : { su_pass: pass, su_pass_again: pass }) });
  let question = "";
  if (type === "auth") page.once("dialog", (d) => { question = d.message(); return d.accept(); });
  await submit(page, "#generate");
  if (type === "auth") assert.match(question, /new certificate authority/);
  assert.equal(await headline(page), "Certificate authority");
  assert.equal((await page.textContent(".result")).trim(), "The certificates have been generated.");
}

// The management table: serial, name, expiry, chosen state per row.
const certRows = (page) => page.locator("#certs tr").evaluateAll((rows) => rows.slice(1).map((r) =>
  [...Array.from(r.cells).slice(0, 3).map((c) => c.textContent), r.cells[3].querySelector("select").value]));

// Sets a certificate's state and checks the table, the authority's index and its revocation list.
async function setState(page, name, state, rows) {
  await openItem(page, 27);
  await page.selectOption(`#certs select[aria-label="${name}: Status"]`, state);
  await page.fill("#so_pwd", CA_PASS);
  await submit(page, "#apply");
  assert.equal(await headline(page), "Certificates updated");
  await openItem(page, 27);
  assert.deepEqual(await certRows(page), rows);
  assert.deepEqual(fs.readFileSync(sandboxPath("tmp/certs/index.txt"), "utf8").match(/^./gm), rows.map((r) => r[3]));
  const crl = openssl(["crl", "-in", sandboxPath("tmp/certs/crl.pem"), "-noout", "-text"]);
  assert.match(crl, state === "R" ? /Serial Number: 02/ : /No Revoked Certificates/);
}

pageTest("certificates: root, gateway and peer issued; the peer's PKCS#12 file downloads; revoked and valid again", async (page) => {
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
  assert.throws(() => openssl(["pkcs12", "-info", "-noout", "-in", p12, "-passin", "pass:wrong"]));
  const peerPem = openssl(["pkcs12", "-in", p12, "-passin", `pass:${PEER_PASS}`, "-nokeys", "-clcerts"]);
  assert.match(openssl(["x509", "-noout", "-subject"], peerPem), /C = AT, .*O = Branch Office, .*CN = laptop-anna/);
  const gateway = certInfo(fs.readFileSync(sandboxPath("tmp/certs/gateway.crt"), "utf8"));
  const peer = certInfo(peerPem);
  assert.deepEqual([gateway[0], peer[0]], ["01", "02"]);
  await openItem(page, 27);
  assert.deepEqual(await certRows(page), [[...gateway, "V"], [...peer, "V"]]);
  await shot(page, "mgcert-issued");
  await setState(page, "laptop-anna", "R", [[...gateway, "V"], [...peer, "R"]]);
  await setState(page, "laptop-anna", "V", [[...gateway, "V"], [...peer, "V"]]);
});

// The OpenVPN page in a mode: chooses it, runs `prepare`, then the round trip with `fields`.
async function applyMode(page, mode, fields = {}, { prepare, shown = fields } = {}) {
  const radio = `input[name=vpnmode][value=${mode}]`;
  await openItem(page, 46);
  await fill(page, { [radio]: true });
  await prepare?.();
  await roundTrip(page, 46, fields, "OpenVPN settings stored", { open: false, shown: { [radio]: true, ...shown } });
  expectConfig("openvpn.config", { OVPN_MODE: mode });
}

pageTest("OpenVPN: client with a PKCS#12 file, server with pushed routes, tunnel with a static key, off", async (page) => {
  // The client's file comes from the server's authority: made here with OpenSSL.
  const p12 = makeP12(work, "branch-client", "p12-Pass");
  let boundary = "";
  page.on("request", (r) => { boundary = /boundary=(.*)/.exec(r.headers()["content-type"] || "")?.[1] ?? boundary; });
  const client = { ovpn_interface: "eth0", "input[name=vpnprot][value=tcp]": true, vport: "1195",
    remote_host: "vpn.hq.test", x509pwd: "p12-Pass" };
  await applyMode(page, "client", client, { shown: { ...client, x509pwd: "" }, prepare: async () => {
    assert.equal(await page.isVisible(".modediv[data-div='2']"), true);
    await page.setInputFiles("#certfile", p12);
  } });
  expectConfig("openvpn.config", { OVPN_LISTEN_IF: "eth0", OVPN_PROTOCOL: "tcp", OVPN_HOST_REMOTE: "vpn.hq.test",
    OVPN_PKCS12_PASSWD: "p12-Pass" });
  // A stored upload ends with the CR LF before the form's next boundary. A boundary whose last two
  // characters are equal is never found, so the file then also holds the rest of the form.
  const sent = Buffer.concat([fs.readFileSync(p12), Buffer.from("\r\n")]);
  const installed = fs.readFileSync(sandboxPath("tmp/keys/openvpn/vpnpeer.p12"));
  assert.ok(boundary, "the form went out as multipart/form-data");
  assert.deepEqual(boundary.at(-1) !== boundary.at(-2) ? installed : installed.subarray(0, sent.length), sent);
  await shot(page, "ovpn-client");
  const server = { ovpnservernet: "10.20.0.0", ovpnservermsdns: "192.168.0.1", ovpnredirectdefaults: true,
    ovpnservermaxclnts: "25" };
  const routes = [["192.168.0.0", "172.16.0.0"], ["255.255.255.0", "255.240.0.0"]];
  await applyMode(page, "server", server, { shown: { ...server, ovpnclientsvisible: false }, prepare: async () => {
    for (const i of [0, 1]) await listEdit(page, { peerinput: routes[0][i], maskinput: routes[1][i] });
  } });
  assert.deepEqual([await optionTexts(page, "select[data-list=peerlist]"),
    await optionTexts(page, "select[data-list=masklist]")], routes);
  expectConfig("openvpn.config", { OVPN_ROUTE_N: "2", OVPN_ROUTE_2_NET: "172.16.0.0", OVPN_ROUTE_2_MASK: "255.240.0.0",
    OVPN_SVR_REDIRECT_DEFAULT: "yes" });
  await shot(page, "ovpn-server");
  await applyMode(page, "tunnel", { gateway: "peer.branch.test", lokal: "10.99.0.1", remote: "10.99.0.2" });
  expectConfig("openvpn.config", { OVPN_HOST_REMOTE: "peer.branch.test", OVPN_TUNNEL_LOCAL: "10.99.0.1",
    OVPN_TUNNEL_REMOTE: "10.99.0.2" });
  // A generated key is written as stqatic.key; the page shows static.key.
  await submit(page, "button:has-text('Generate a new key')");
  const generated = fs.readFileSync(sandboxPath("home/httpd/openvpn/stqatic.key"), "utf8");
  assert.match(generated, /-----BEGIN OpenVPN Static key V1-----/);
  assert.equal(await page.inputValue("#seckey"), "");
  await openItem(page, 46);
  await page.setInputFiles("#Datei", { name: "static.key", mimeType: "text/plain", buffer: Buffer.from(generated) });
  await submit(page, "button:has-text('Upload')");
  assert.equal(await page.inputValue("#seckey"), generated.split("\n")[4].slice(0, 16));
  assert.ok(fs.readFileSync(sandboxPath("home/httpd/openvpn/static.key"), "utf8").startsWith(generated));
  await shot(page, "ovpn-tunnel");
  await applyMode(page, "none");
  assert.equal(await page.isHidden("#ovpncommon"), true);
  // Each mode's keys are kept.
  expectConfig("openvpn.config", { OVPN_SVR_NET: "10.20.0.0", OVPN_TUNNEL_LOCAL: "10.99.0.1" });
});

// The status page: banner, role, table caption and rows (cells joined by "|").
async function vpnStatus(page, lang) {
  await openItem(page, 49, lang);
  return page.locator("main").evaluate((m) => [m.querySelector("fieldset p").textContent.trim(),
    m.querySelector("fieldset .row:last-of-type > span").textContent.trim(),
    m.querySelector("table caption").textContent.trim(),
    Array.from(m.querySelectorAll("table tr"), (r) => Array.from(r.cells, (c) => c.textContent.trim()).join("|"))]);
}

pageTest("OpenVPN status: state, role and connections, in English and German", async (page) => {
  const incoming = ["Status of incoming OpenVPN connections",
    "IP address of clients|Remote port of clients|CN of X509 Certificate"];
  // Off counts as server.
  assert.deepEqual(await vpnStatus(page), ["NOT RUNNING", "Server", incoming[0], [incoming[1], "No connections"]]);
  fs.writeFileSync(sandboxPath("var/run/openvpn.pid"), "4242\n");
  fs.writeFileSync(sandboxPath("tmp/vpnlist"), "10.20.0.6|50123|laptop-anna\n10.20.0.10|40111|tablet-ben\n");
  const rows = ["10.20.0.6|50123|laptop-anna", "10.20.0.10|40111|tablet-ben"];
  assert.deepEqual(await vpnStatus(page), ["RUNNING", "Server", incoming[0], [incoming[1], ...rows]]);
  await shot(page, "ovpnstatus-server");
  assert.deepEqual(await vpnStatus(page, "deutsch"), ["LÄUFT", "Server", "Status eingehender OpenVPN-Verbindungen",
    ["IP-Adresse des Clients|Remote-Port des Clients|CN des X509-Zertifikats", ...rows]]);
  // As a client: the one outgoing connection.
  await applyMode(page, "client", { remote_host: "vpn.hq.test" });
  fs.writeFileSync(sandboxPath("tmp/vpnlist"), "tun0|198.51.100.7\n");
  assert.deepEqual(await vpnStatus(page, "deutsch"), ["LÄUFT", "Client", "Status ausgehender OpenVPN-Verbindungen",
    ["Gerät|Remote-IP des Servers", "tun0|198.51.100.7"]]);
});
