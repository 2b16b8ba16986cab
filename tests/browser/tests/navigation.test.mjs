// The start page, the menu, and every page the menu reaches.
import assert from "node:assert/strict";
import { BASE, assertRendered, follow, headline, openItem, pageTest, shot } from "./support.mjs";

// Groups the menu must show, each with these pages in this order (other
// pages may stand between them).
const GROUPS = [
  { heading: "Network services", items: [24, 3, 37, 6] },
  { heading: "Status and time", items: [2, 22, 43, 44] },
  { heading: "Maintenance", items: [1, 19, 38, 20] },
];

// Redundancy and remote dial: pages whose items keep no handler.
const UNFILLED = [41, 42];

// Whether all of `part` appears in `whole`, in the same order.
function inOrder(part, whole) {
  let i = 0;
  for (const x of whole) if (x === part[i]) i++;
  return i === part.length;
}

// The menu as shown: [{heading, items: [item numbers]}] in page order.
const readMenu = (page) => page.locator("nav#menu").evaluate((nav) => {
  const groups = [];
  for (const el of nav.children) {
    if (el.tagName === "H2") groups.push({ heading: el.textContent.trim(), items: [] });
    else if (el.tagName === "A" && groups.length) groups.at(-1).items.push(Number(el.getAttribute("data-item")));
  }
  return groups;
});

pageTest("the start address leads to the overview; its menu reaches every page in both languages", async (page) => {
  await page.goto(`${BASE}/`);
  await page.waitForURL(/\/cgi-bin\/gwadmin\?item=0&lang=english$/);
  await page.waitForLoadState("load");
  await assertRendered(page, "overview");
  assert.equal(await headline(page), "Overview");
  assert.equal(await page.locator("nav#menu > a").first().textContent(), "Overview");
  assert.equal(await page.locator("nav#menu a.current").textContent(), "Overview");
  await shot(page, "overview");
  const menu = await readMenu(page);
  for (const group of GROUPS) {
    const shown = menu.find((g) => g.heading === group.heading);
    assert.ok(shown, `menu group "${group.heading}" (shown: ${menu.map((g) => g.heading).join(", ")})`);
    assert.ok(inOrder(group.items, shown.items), `pages of "${group.heading}": ${shown.items.join(", ")}`);
  }
  // A group without pages is left out rather than shown empty.
  for (const g of menu) assert.ok(g.items.length > 0, `group "${g.heading}" has pages`);

  for (const lang of ["english", "deutsch"]) {
    await openItem(page, 0, lang);
    const listed = (await readMenu(page)).flatMap((g) => g.items);
    assert.ok(inOrder(GROUPS.flatMap((g) => g.items), listed), `${lang} menu items ${listed.join(", ")}`);
    const visited = {};
    for (const item of listed) {
      // The save page saves when it opens: its menu entry asks first.
      const link = `nav#menu a[data-item="${item}"]`;
      if (item === 19) await page.click(link);
      await follow(page, item === 19 ? "dialog.confirm button[value=ok]" : link,
        (url) => url.searchParams.get("item") === String(item));
      await assertRendered(page, `item ${item} (${lang})`);
      // Items without handler send their form unfilled: the page says so and offers no Apply.
      if (UNFILLED.includes(item)) {
        assert.ok(await page.isVisible("[data-unfilled-note]"), `item ${item}: the unfilled note shown`);
        assert.ok(await page.isDisabled(".actions input[type=submit]"), `item ${item}: Apply disabled`);
      }
      assert.equal(new URL(page.url()).searchParams.get("lang"), lang);
      const current = page.locator("nav#menu a.current");
      assert.equal(await current.count(), 1, `item ${item}: one menu entry marked`);
      assert.equal(await current.getAttribute("data-item"), String(item), `item ${item}: its own entry marked`);
      visited[item] = { menu: (await current.textContent()).trim(), h1: await headline(page) };
      // One picture per page, named by its menu entry.
      if (lang === "english") await shot(page, visited[item].menu.toLowerCase().replace(/[^a-z0-9]+/g, "-"));
    }
    if (lang !== "english") continue;
    // The headline is the menu entry's text, except where it tells what the
    // page did (save) or shows (status).
    for (const i of [24, 3, 37, 6, 2, 1, 38, 20]) assert.equal(visited[i].h1, visited[i].menu, `item ${i}: headline`);
    assert.deepEqual([22, 43, 44, 19].map((i) => visited[i].h1),
      ["Network status", "System log", "System time", "Configuration saved"]);
  }
});
