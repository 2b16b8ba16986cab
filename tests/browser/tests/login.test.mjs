// The login that the demo's web server asks for, as the router's does: before every page and file,
// user admin, against the password the basic settings page stores (a change counts at once); the
// server certificate in the HTTPS pass; and that installing the web server left no service behind.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import fs from "node:fs";
import http from "node:http";
import https from "node:https";
import tls from "node:tls";
import { test } from "node:test";
import {
  BASE, FACTORY_PASSWORD, HTTPS, USER, expectConfig, fetchPath, fill, headline, login, openItem, pageTest, roundTrip,
  restartDemo, sandboxPath, shot, submit,
} from "./support.mjs";

const P12 = Buffer.from("not a real PKCS#12 file, only its bytes count here");

// The answer must ask for the login: status 401 with a basic-authentication question, nothing of
// the device in it.
function assertAsked({ status, headers, body }, path) {
  assert.equal(status, 401, `${path}: HTTP status`);
  assert.match(headers["www-authenticate"] ?? "", /^Basic realm="gwadmin"/, `${path}: login asked`);
  assert.doesNotMatch(body, /gateway|<form|PKCS/, `${path}: nothing of the device shown`);
}

// The browser opens `path` with the page's login and is refused.
async function expectRefused(page, path) {
  const response = await page.goto(`${BASE}${path}`);
  assertAsked({ status: response.status(), headers: response.headers(), body: await page.content() }, path);
}

// A GET sent by hand to the device's name, with no login or with `password`.
function get(path, password) {
  const { protocol, hostname, host, port } = new URL(BASE);
  const auth = password === undefined ? {} : { Authorization: `Basic ${Buffer.from(`${USER}:${password}`).toString("base64")}` };
  return new Promise((resolve, reject) => {
    (protocol === "https:" ? https : http).get({ host: "127.0.0.1", port, path, servername: hostname,
      rejectUnauthorized: false, headers: { Host: host, ...auth } }, (response) => {
      let body = "";
      response.on("data", (chunk) => { body += chunk; });
      response.on("end", () => resolve({ status: response.statusCode, headers: response.headers, body }));
    }).on("error", reject);
  });
}

pageTest("login: every page and file asks for it; a wrong password is refused; the printed factory password opens them",
  { password: false }, async (page, session) => {
    fs.writeFileSync(sandboxPath("home/httpd/vpnpeer.p12"), P12);
    // Without a login nothing is served, not even the save page (item 19) that would change the device.
    const paths = ["/", "/cgi-bin/gwadmin?item=24&lang=english", "/style.css", "/vpnpeer.p12"];
    for (const path of [...paths, "/cgi-bin/gwadmin?item=19&lang=english"]) assertAsked(await get(path), path);
    assert.equal(fs.existsSync(sandboxPath("var/persist/config")), false, "nothing saved");
    // A browser without the password gets nothing either; with a wrong one it shows the refusal.
    await assert.rejects(page.goto(`${BASE}/`), /ERR_INVALID_AUTH_CREDENTIALS/);
    const wrong = await session.newPage({ password: `${FACTORY_PASSWORD}x` });
    for (const path of [paths[1], paths[3]]) await expectRefused(wrong, path);
    await shot(wrong, "login-refused");

    const admin = await session.newPage({ password: FACTORY_PASSWORD });
    await openItem(admin, 24);
    const stylesheet = await fetchPath(admin, "/style.css");
    assert.equal(stylesheet.status, 200);
    assert.deepEqual(stylesheet.bytes, fs.readFileSync(new URL("../../../www/style.css", import.meta.url)));
    const p12 = await fetchPath(admin, "/vpnpeer.p12");
    assert.equal(p12.status, 200);
    assert.deepEqual(p12.bytes, P12);
  });

pageTest("login: a password set on the basic settings page counts at once; the old one is refused, the new one applies",
  async (page, session) => {
    await openItem(page, 24);
    await fill(page, { Kennwort: "Neu-Pass-7", KennwortRe: "Neu-Pass-7" });
    // The result page's own script and style sheet already ask for the new password, which the
    // browser, asked again, answers.
    await login(page, "Neu-Pass-7");
    await submit(page);
    assert.equal(await headline(page), "Basic settings stored");
    // From the next request on the old password is refused, in a browser and by hand.
    await expectRefused(await session.newPage(), "/style.css");
    assertAsked(await get("/style.css", FACTORY_PASSWORD), "/style.css");
    // The new one opens the pages, and a change applies.
    await roundTrip(page, 24, { ETH0_ip: "192.168.70.1" }, "Basic settings stored");
    expectConfig("network.config", { IP_ETH0_IPADDR: "192.168.70.1/24" });
    // A password the settings cannot hold (an empty hash) lets nobody in, not even with an empty password.
    fs.writeFileSync(sandboxPath("tmp/ulsp/system.config"), "SYSTEM_USER_PASS=''\n");
    execFileSync("sh", [sandboxPath("../login-sync")]);
    const passwords = ["", "Neu-Pass-7", FACTORY_PASSWORD];
    const answers = await Promise.all(passwords.map((password) => get("/cgi-bin/gwadmin?item=24&lang=english", password)));
    answers.forEach((answer, i) => assertAsked(answer, `password "${passwords[i]}"`));
  });

// The certificate the server shows: subject, issuer, names, and whether `ca` vouches for it.
function serverCertificate(ca) {
  const { hostname, port } = new URL(BASE);
  return new Promise((resolve, reject) => {
    const socket = tls.connect({ host: "127.0.0.1", port, servername: hostname, ca, rejectUnauthorized: false }, () => {
      const cert = socket.getPeerCertificate();
      resolve({ subject: cert.subject.CN, issuer: cert.issuer.CN, names: cert.subjectaltname,
        trusted: socket.authorized && !tls.checkServerIdentity(hostname, cert) });
      socket.end();
    });
    socket.on("error", reject);
  });
}

if (HTTPS) {
  pageTest("HTTPS: self-signed for the device's name while it has no authority; then issued by its authority",
    async (page) => {
      const name = new URL(BASE).hostname;
      assert.deepEqual(await serverCertificate(), { subject: name, issuer: name, trusted: false,
        names: `DNS:${name}, DNS:${name.split(".")[0]}, DNS:localhost, IP Address:127.0.0.1` });
      await openItem(page, 0);

      // The device's authority, made by its certificate tool and saved, is there after the restart.
      const tool = (name, ...args) => execFileSync("sh", [sandboxPath("usr/sbin", name), ...args],
        { env: { ...process.env, GWADMIN_ROOT: sandboxPath() }, stdio: "ignore" });
      tool("cert", "gen", "root", "ca-Pass-9");
      tool("save", "certs");
      const index = fs.readFileSync(sandboxPath("tmp/certs/index.txt"), "utf8");
      assert.match(restartDemo(), /certificate +for .*, self-signed: .*needs its password \(--ca-pass PASS\)/);
      assert.equal((await serverCertificate()).issuer, name);
      const output = restartDemo("--ca-pass", "ca-Pass-9");
      assert.match(output, /certificate +for .*, issued by the device's certificate authority \(.*CN = Router CA/);
      const ca = fs.readFileSync(sandboxPath("tmp/certs/cacert.pem"));
      assert.deepEqual(await serverCertificate(ca), { subject: name, issuer: "Router CA", trusted: true,
        names: `DNS:${name}, DNS:${name.split(".")[0]}, DNS:localhost, IP Address:127.0.0.1` });
      await openItem(page, 0);
      // The authority's own records are left alone.
      assert.equal(fs.readFileSync(sandboxPath("tmp/certs/index.txt"), "utf8"), index);
    });
} else {
  // Installing lighttpd for the demo (scripts/deps.sh) leaves Debian's own lighttpd service off.
  test("the web server's installation left no lighttpd service enabled or running", () => {
    const sh = (script) => execFileSync("sh", ["-c", script], { encoding: "utf8" }).trim();
    assert.equal(sh("ls /etc/rc[2-5].d 2>/dev/null | grep -c '^S[0-9]*lighttpd$' || true"), "0", "init start links");
    assert.equal(sh("ls /etc/systemd/system/*.wants 2>/dev/null | grep -c '^lighttpd.service$' || true"), "0",
      "systemd links");
    assert.equal(sh("ps -eo args= | grep -c '^[^ ]*lighttpd .*/etc/lighttpd/lighttpd.conf' || true"), "0",
      "Debian's lighttpd running");
  });
}
