// The language switch: German and back, on the same page.
import assert from "node:assert/strict";
import { after, before, beforeEach, test } from "node:test";
import {
  closePage, config, headline, launch, newPage, openItem, resetSandbox, shot, submit,
} from "./support.mjs";

let browser;
before(async () => { browser = await launch(); });
after(async () => { await browser?.close(); });
beforeEach(() => resetSandbox());

async function menuHeadings(page) {
  return page.locator("nav#menu h2").allTextContents();
}

const EN_GROUPS = ["Network services", "Status and time", "Maintenance"];
const DE_GROUPS = ["Netzwerkdienste", "Status und Zeit", "Wartung"];

// The menu's groups are those named (others may stand between), in order.
async function assertGroups(page, expected) {
  const shown = await menuHeadings(page);
  const rest = shown.filter((h) => expected.includes(h));
  assert.deepEqual(rest, expected, `menu groups: ${shown.join(" | ")}`);
  return shown;
}

async function switchTo(page, code, lang, item) {
  await Promise.all([
    page.waitForURL((url) => url.searchParams.get("lang") === lang && url.searchParams.get("item") === String(item)),
    page.click(`#langswitch a[hreflang=${code}]`),
  ]);
  await page.waitForLoadState("load");
}

test("German and back: the menu and texts change, the page and its values stay", async () => {
  const page = await newPage(browser);
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
  assert.equal(await page.inputValue(".actions input[type=submit]"), "Übernehmen");
  assert.equal(await page.inputValue("#Hostname"), "gateway");
  assert.equal(await page.inputValue("input[name=lang]"), "deutsch", "the form answers in German");
  await shot(page, "language-deutsch");

  await switchTo(page, "en", "english", 24);
  assert.equal(await page.getAttribute("html", "lang"), "en");
  assert.equal(await headline(page), "Basic settings");
  await assertGroups(page, EN_GROUPS);
  assert.equal(await page.inputValue(".actions input[type=submit]"), "Apply");
  await closePage(page);
});

test("a status page stays the same page when the language changes", async () => {
  const page = await newPage(browser);
  await openItem(page, 43);
  await switchTo(page, "de", "deutsch", 43);
  assert.equal(await page.textContent("nav#menu a.current"), "Protokollstatus");
  await switchTo(page, "en", "english", 43);
  assert.equal(await page.textContent("nav#menu a.current"), "System log status");
  await closePage(page);
});

test("applied in German: German result page, whose way back leads to the German page", async () => {
  const page = await newPage(browser);
  await openItem(page, 37, "deutsch");
  await page.fill("#dhcplease", "48");
  await submit(page);
  assert.equal(await headline(page), "DHCP-Server übernommen");
  await assertGroups(page, DE_GROUPS);
  assert.equal(config("dhcp.config").DHCPD_LEASE_TIME, "172800");
  await Promise.all([page.waitForURL(/item=37&lang=deutsch$/), page.click("#back")]);
  await page.waitForLoadState("load");
  assert.equal(await headline(page), "DHCP-Server");
  assert.equal(await page.inputValue("#dhcplease"), "48");
  await closePage(page);
});
