// The certificate authority's result page says whether the certificate tool worked. With a wrong password of the
// authority's key it names the failed step and what to do, hides the success text and offers no download, though
// the previous client's file is still in the web server's tree: in English and in German.
import assert from "node:assert/strict";
import fs from "node:fs";
import { fill, openItem, pageTest, sandboxPath, shot, submit } from "./support.mjs";

const CA_PASS = "ca-Secret-1";

// Issues a certificate of `type` with `caPass` as the authority's password (a new authority after a question).
async function issue(page, type, caPass, lang = "english") {
  await openItem(page, 26, lang);
  const own = type === "auth" ? { so_pass_again: caPass } : { su_pass: "peer-Secret-2", su_pass_again: "peer-Secret-2" };
  await fill(page, { [`input[name=cert_type][value=${type}]`]: true, common: `${type}-${lang}`,
    email: "admin@branch.test", so_pass: caPass, ...own });
  if (type === "auth") page.once("dialog", (d) => d.accept());
  await submit(page, "#generate");
}

const text = async (page, selector) => (await page.locator(selector).textContent()).replace(/\s+/g, " ").trim();

pageTest("certificate authority: a wrong password fails visibly and offers no download, in English and German", async (page) => {
  await issue(page, "auth", CA_PASS);
  await issue(page, "peer", CA_PASS);
  assert.equal(await text(page, ".outcome.ok > p"), "Done: every step worked.");
  assert.equal(await page.isVisible("#message"), true);
  assert.equal(await page.isVisible("#download a[href='/vpnpeer.p12']"), true);
  const previous = fs.readFileSync(sandboxPath("home/httpd/vpnpeer.p12"));

  for (const [lang, failed, advice, row] of [
    ["english", "Failed: Generate the client certificate (status 256).",
      "What to do: Check the password of the authority's key and try again. If no certificate authority has been " +
      "set up yet, set it up first: Certificate authority, new root certificate.",
      "Generate the client certificate|failed (status 256)"],
    ["deutsch", "Fehlgeschlagen: Client-Zertifikat erzeugen (Status 256).",
      "Was zu tun ist: Prüfen Sie das Kennwort des Schlüssels der Zertifizierungsstelle und versuchen Sie es " +
      "erneut. Gibt es noch keine Zertifizierungsstelle, richten Sie sie zuerst ein: Zertifizierungsstelle, neues " +
      "Stammzertifikat.",
      "Client-Zertifikat erzeugen|fehlgeschlagen (Status 256)"]]) {
    await issue(page, "peer", "wrong-password", lang);
    const outcome = page.locator(".outcome.failed[role=alert]");
    assert.equal(await outcome.isVisible(), true, lang);
    assert.deepEqual(await outcome.locator("p").allTextContents(), [failed, advice], lang);
    const rows = await outcome.locator("tr").evaluateAll((trs) =>
      trs.map((r) => Array.from(r.cells, (c) => c.textContent.trim()).join("|")));
    assert.ok(rows.includes(row), `${lang}: ${rows.join(", ")}`);
    assert.equal(await outcome.locator("a").getAttribute("href"), `/cgi-bin/gwadmin?item=26&lang=${lang}`);
    // The success text stays in the page's bytes but is not shown; nothing to download.
    assert.equal(await page.isHidden("#message"), true, lang);
    assert.equal(await page.locator("a[href='/vpnpeer.p12']").count(), 0, lang);
    await shot(page, `outcome-vpnca-failed-${lang}`);
  }
  // The previous client's file is still served, only no longer offered.
  assert.deepEqual(fs.readFileSync(sandboxPath("home/httpd/vpnpeer.p12")), previous);
});
