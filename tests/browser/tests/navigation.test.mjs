// The start page, the menu, and every page the menu reaches.
import assert from "node:assert/strict";
import { after, before, beforeEach, test } from "node:test";
import {
  BASE, assertRendered, closePage, launch, newPage, openItem, resetSandbox, shot,
} from "./support.mjs";

// Groups the menu must show, each with these pages in this order (other
// pages may stand between them).
const GROUPS = [
  { heading: "Network services", items: [24, 3, 37, 6] },
  { heading: "Status and time", items: [2, 22, 43, 44] },
  { heading: "Maintenance", items: [1, 19, 38, 20] },
];
const ITEMS = GROUPS.flatMap((g) => g.items);
const SHOT_NAMES = {
  // others are named by their item number
  0: "overview", 24: "basic-settings", 3: "dns", 37: "dhcp-server", 6: "system-log", 2: "time",
  22: "network-status", 43: "system-log-status", 44: "time-status", 1: "firmware-update",
  19: "save-configuration", 38: "factory-defaults", 20: "restart",
};

let browser;
before(async () => { browser = await launch(); });
after(async () => { await browser?.close(); });
beforeEach(() => resetSandbox());

const shotName = (item) => SHOT_NAMES[item] || `item-${item}`;

// Whether all of `part` appears in `whole`, in the same order.
function inOrder(part, whole) {
  let i = 0;
  for (const x of whole) if (x === part[i]) i++;
  return i === part.length;
}

// The menu as shown: [{heading, items: [{item, text}]}] in page order.
async function readMenu(page) {
  return page.locator("nav#menu").evaluate((nav) => {
    const groups = [];
    for (const el of nav.children) {
      if (el.tagName === "H2") groups.push({ heading: el.textContent.trim(), items: [] });
      else if (el.tagName === "A" && groups.length)
        groups[groups.length - 1].items.push({ item: Number(el.getAttribute("data-item")), text: el.textContent.trim() });
    }
    return groups;
  });
}

test("the start address leads to the overview, whose menu lists the groups and their pages", async () => {
  const page = await newPage(browser);
  await page.goto(`${BASE}/`);
  await page.waitForURL(/\/cgi-bin\/gwadmin\?item=0&lang=english$/);
  await page.waitForLoadState("load");
  await assertRendered(page, "overview");
  assert.equal(await page.locator("main h1").textContent(), "Overview");
  assert.equal(await page.locator("nav#menu > a").first().textContent(), "Overview");
  assert.equal(await page.locator("nav#menu a.current").textContent(), "Overview");

  const menu = await readMenu(page);
  const headings = menu.map((g) => g.heading);
  for (const group of GROUPS) {
    const shown = menu.find((g) => g.heading === group.heading);
    assert.ok(shown, `menu group "${group.heading}" (shown: ${headings.join(", ")})`);
    const items = shown.items.map((i) => i.item);
    assert.ok(inOrder(group.items, items), `pages of "${group.heading}": ${items.join(", ")}`);
    for (const i of shown.items) assert.ok(i.text.length > 0, `menu text of item ${i.item}`);
  }
  // A group without pages is left out rather than shown empty.
  for (const g of menu) assert.ok(g.items.length > 0, `group "${g.heading}" has pages`);
  await shot(page, shotName(0));
  await closePage(page);
});

test("following the menu reaches every page, each complete and marked in the menu", async () => {
  const page = await newPage(browser);
  await openItem(page, 0);
  const listed = (await readMenu(page)).flatMap((g) => g.items.map((i) => i.item));
  assert.ok(inOrder(ITEMS, listed), `menu items ${listed.join(", ")}`);
  const visited = [];
  for (const item of listed) {
    await Promise.all([
      page.waitForURL((url) => url.searchParams.get("item") === String(item)),
      page.click(`nav#menu a[data-item="${item}"]`),
    ]);
    await page.waitForLoadState("load");
    await assertRendered(page, `item ${item}`);
    assert.equal(new URL(page.url()).searchParams.get("lang"), "english");
    const current = page.locator("nav#menu a.current");
    assert.equal(await current.count(), 1, `item ${item}: one menu entry marked`);
    assert.equal(await current.getAttribute("data-item"), String(item), `item ${item}: its own entry marked`);
    const menuText = (await current.textContent()).trim();
    visited.push({ item, menuText, h1: (await page.locator("main h1").textContent()).trim() });
    await shot(page, shotName(item));
  }
  assert.deepEqual(visited.map((v) => v.item), listed);
  // The headline is the menu entry's text, except where it tells what the
  // page did (save) or shows (status).
  const byItem = Object.fromEntries(visited.map((v) => [v.item, v]));
  for (const item of [24, 3, 37, 6, 2, 1, 38, 20]) assert.equal(byItem[item].h1, byItem[item].menuText, `item ${item}: headline`);
  assert.equal(byItem[22].h1, "Network status");
  assert.equal(byItem[43].h1, "System log");
  assert.equal(byItem[44].h1, "System time");
  assert.equal(byItem[19].h1, "Configuration saved");
  await closePage(page);
});

test("every menu entry's address opens its page directly, in both languages", async () => {
  const page = await newPage(browser);
  for (const lang of ["english", "deutsch"]) {
    await openItem(page, 0, lang);
    const listed = (await readMenu(page)).flatMap((g) => g.items.map((i) => i.item));
    assert.ok(inOrder(ITEMS, listed), `${lang} menu items ${listed.join(", ")}`);
    for (const item of listed) {
      await openItem(page, item, lang);
      assert.equal(await page.getAttribute("nav#menu a.current", "data-item"), String(item), `item ${item} (${lang})`);
      if (lang === "deutsch") await shot(page, `${shotName(item)}-de`);
    }
  }
  await closePage(page);
});
