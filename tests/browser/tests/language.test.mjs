// The language switch: German and back, on the same page.
import assert from "node:assert/strict";
import {
  expectConfig, expectFields, fill, follow, headline, openItem, pageTest, shot, submit,
} from "./support.mjs";

const EN_GROUPS = ["Network services", "Status and time", "Maintenance"];
const DE_GROUPS = ["Netzwerkdienste", "Status und Zeit", "Wartung"];

// The menu's groups are those named (others may stand between), in order.
async function assertGroups(page, expected) {
  const shown = await page.locator("nav#menu h2").allTextContents();
  assert.deepEqual(shown.filter((h) => expected.includes(h)), expected, `menu groups: ${shown.join(" | ")}`);
  return shown;
}

const switchTo = (page, code, lang, item) => follow(page, `#langswitch a[hreflang=${code}]`,
  (url) => url.searchParams.get("lang") === lang && url.searchParams.get("item") === String(item));

pageTest("German and back: the menu and texts change, the page and its values stay", async (page) => {
  await openItem(page, 24);
  assert.equal(await page.textContent("#langswitch a.current"), "English");
  const english = await assertGroups(page, EN_GROUPS);
  await switchTo(page, "de", "deutsch", 24);
  assert.equal(await page.getAttribute("html", "lang"), "de");
  assert.equal(await headline(page), "Grundeinstellungen");
  assert.equal(await page.textContent("#langswitch a.current"), "Deutsch");
  const german = await assertGroups(page, DE_GROUPS);
  assert.equal(german.length, english.length, "as many groups in German");
  for (const h of german) assert.ok(!english.includes(h), `"${h}" is translated`);
  assert.equal(await page.textContent("nav#menu a.current"), "Grundeinstellungen");
  assert.equal(await page.textContent("nav#menu > a:first-child"), "Übersicht");
  await expectFields(page, { ".actions input[type=submit]": "Übernehmen", Hostname: "gateway", "input[name=lang]": "deutsch" });
  await shot(page, "language-deutsch");
  await switchTo(page, "en", "english", 24);
  assert.equal(await page.getAttribute("html", "lang"), "en");
  assert.equal(await headline(page), "Basic settings");
  await assertGroups(page, EN_GROUPS);
  await expectFields(page, { ".actions input[type=submit]": "Apply" });

  // A status page stays the same page too.
  await openItem(page, 43);
  await switchTo(page, "de", "deutsch", 43);
  assert.equal(await page.textContent("nav#menu a.current"), "Protokollstatus");
  await switchTo(page, "en", "english", 43);
  assert.equal(await page.textContent("nav#menu a.current"), "System log status");
});

pageTest("applied in German: German result page, whose way back leads to the German page", async (page) => {
  await openItem(page, 37, "deutsch");
  await fill(page, { dhcplease: "48" });
  await submit(page);
  assert.equal(await headline(page), "DHCP-Server übernommen");
  await assertGroups(page, DE_GROUPS);
  await follow(page, "#back", /item=37&lang=deutsch$/);
  assert.equal(await headline(page), "DHCP-Server");
  await expectFields(page, { dhcplease: "48" });
  expectConfig("dhcp.config", { DHCPD_LEASE_TIME: "172800" });
});
