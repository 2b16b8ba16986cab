// The certificate pages: the router's authority (the sandbox's cert tool is a real OpenSSL one)
// issues certificates, the client's PKCS#12 file downloads, a certificate is revoked and made valid
// again; a wrong password of the authority fails visibly, in both languages, without a download.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import fs from "node:fs";
import { fill, headline, openItem, pageTest, sandboxPath, submit } from "./support.mjs";

const openssl = (args, input) => execFileSync("openssl", args, { encoding: "utf8", input, stdio: "pipe" });
const [CA_PASS, PEER_PASS] = ["ca-Secret-1", "peer-Secret-2"];

// Fills the certificate form and issues the certificate (a new authority after the browser's question).
async function issue(page, type, common, { lang = "english", caPass = CA_PASS } = {}) {
  await openItem(page, 26, lang);
  const pass = { auth: CA_PASS, peer: PEER_PASS, gate: "gw-Secret-3" }[type];
  const passwords = type === "auth" ? { so_pass_again: pass } : { su_pass: pass, su_pass_again: pass };
  await fill(page, { [`input[name=cert_type][value=${type}]`]: true, common, orga: "Branch Office", email: "it@branch.test",
    so_pass: caPass, country: "AT", ...passwords });
  let question = "";
  if (type === "auth") page.once("dialog", (d) => { question = d.message(); return d.accept(); });
  await submit(page, "#generate");
  if (type === "auth") assert.match(question, /new certificate authority/);
}

// Sets the client certificate's state on the management page, which shows it again (serial, name, state).
async function setState(page, state) {
  await openItem(page, 27);
  await page.selectOption(`#certs select[aria-label="laptop-anna: Status"]`, state);
  await page.fill("#so_pwd", CA_PASS);
  await submit(page, "#apply");
  assert.equal(await headline(page), "Certificates updated");
  await openItem(page, 27);
  const rows = await page.locator("#certs tr").evaluateAll((trs) => trs.slice(1).map((r) => [r.cells[0].textContent,
    r.cells[1].textContent, r.cells[3].querySelector("select").value]));
  assert.deepEqual(rows, [["01", "gw.branch.test", "V"], ["02", "laptop-anna", state]]);
}

pageTest("certificates: root, gateway and client issued, the client's PKCS#12 file downloads; revoked and valid again; "
  + "a wrong authority password fails without a download, in English and German", async (page) => {
  await issue(page, "auth", "Branch CA");
  assert.match(openssl(["x509", "-in", sandboxPath("tmp/certs/cacert.pem"), "-noout", "-subject"]), /CN = Branch CA/);
  await issue(page, "gate", "gw.branch.test");
  assert.equal(await page.isHidden("#download"), true, "no download after a gateway certificate");
  await issue(page, "peer", "laptop-anna");
  assert.ok(await page.isVisible("#message"), "the success text shown");
  const [download] = await Promise.all([page.waitForEvent("download"), page.click("#download a[href='/vpnpeer.p12']")]);
  assert.equal(download.suggestedFilename(), "vpnpeer.p12");
  const p12 = await download.path();
  const served = fs.readFileSync(sandboxPath("home/httpd/vpnpeer.p12"));
  assert.deepEqual(fs.readFileSync(p12), served);
  const peerPem = openssl(["pkcs12", "-in", p12, "-passin", `pass:${PEER_PASS}`, "-nokeys", "-clcerts"]);
  assert.match(openssl(["x509", "-noout", "-subject"], peerPem), /C = AT, .*O = Branch Office, .*CN = laptop-anna/);
  await setState(page, "R");
  await setState(page, "V");

  // A wrong password: the failed step is named with a way back, the success text is hidden (the
  // page's bytes keep it), and the previous client's file, still served, is not offered.
  for (const [lang, failed] of [["english", "Failed: Generate the client certificate (status 256)."],
    ["deutsch", "Fehlgeschlagen: Client-Zertifikat erzeugen (Status 256)."]]) {
    await issue(page, "peer", `peer-${lang}`, { lang, caPass: "wrong-password" });
    const outcome = page.locator(".outcome.failed[role=alert]");
    assert.equal(await outcome.locator("p").first().textContent(), failed, lang);
    assert.equal(await outcome.locator("a").getAttribute("href"), `/cgi-bin/gwadmin?item=26&lang=${lang}`);
    assert.equal(await page.isHidden("#message"), true, `${lang}: the success text hidden`);
    assert.equal(await page.locator("a[href='/vpnpeer.p12']").count(), 0, `${lang}: no download`);
  }
  assert.deepEqual(fs.readFileSync(sandboxPath("home/httpd/vpnpeer.p12")), served);
});
