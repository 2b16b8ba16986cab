// The frame around the pages, in both languages: one walk through the menu over every page (each complete,
// accessible, under the policy, without English leftovers in German, readable in light and dark, fitting a phone;
// the system log's filter, the OpenVPN help; a result page and the unsaved-changes mark until the save, which asks
// first); the questions before factory defaults and the restart, the restart's reloads and its countdown.
import assert from "node:assert/strict";
import fs from "node:fs";
import { setTimeout as sleep } from "node:timers/promises";
import {
  BASE, LANGS, answer, assertRendered, config, expectConfig, fill, follow, headline, openItem, pageTest, readLog, requests,
  sandboxPath, setConfig, setModel, shot, stopsUnload, submit,
} from "./support.mjs";

const T = {
  english: { code: "en", other: "deutsch", dhcp: "DHCP server", back: "Back to DHCP server", persist: /not yet permanent/i,
    unsaved: "Unsaved changes", overview: "Overview", restart: /restarting/i,
    saved: "Configuration saved", defaults: "Factory defaults loaded", vpn: ["NOT RUNNING", "No connections"] },
  deutsch: { code: "de", other: "english", dhcp: "DHCP-Server", back: "Zurück zu DHCP-Server", persist: /nicht dauerhaft/i,
    unsaved: "Ungesicherte Änderungen", overview: "Übersicht", restart: /startet neu/i,
    saved: "Konfiguration gesichert", defaults: "Werkseinstellungen geladen", vpn: ["LÄUFT NICHT", "Keine Verbindungen"] },
};
// The menu: its groups, in English and German, with their pages.
const MENU = [["Network services", "Netzwerkdienste", [24, 3, 37, 6, 29, 35, 28, 32, 45, 39]],
  ["WAN, dial and firewall", "WAN, Einwahl und Firewall", [30, 31, 18, 36, 7, 9, 11, 10, 41, 42]],
  ["VPN and certificates", "VPN und Zertifikate", [46, 49, 26, 27]],
  ["Status and time", "Status und Zeit", [2, 22, 43, 44, 48]],
  ["Maintenance", "Wartung", [1, 19, 38, 20]]];
// Lines of the system log with their levels (6 info, 7 debug, 3 error).
const LOG = [["first-info-line", 6], ["a-debug-line", 7], ["an-error-line", 3], [">>>cvpnca::trace ENTRANCE", 6],
  ["last-info-line", 6]];
const shownLog = async (page) => (await page.inputValue("textarea.output")).split("\n").map((l) => l.replace(/^.*: /, ""))
  .filter((l) => LOG.some(([line]) => line === l));

// What the walk expects on some pages besides the frame.
const ON_PAGE = {
  // No handler: the template comes unfilled, so the page says so and offers no Apply.
  41: async (page) => assert.deepEqual([await page.isVisible("[data-unfilled-note]"),
    await page.isDisabled(".actions input[type=submit]")], [true, true]),
  // The system log: newest first, debug lines hidden at first, a level filter and a search.
  43: async (page) => {
    assert.deepEqual(await shownLog(page), ["last-info-line", "an-error-line", "first-info-line"]);
    await page.selectOption("#loglevel", "debug");
    assert.deepEqual(await shownLog(page), ["last-info-line", ">>>cvpnca::trace ENTRANCE", "an-error-line", "a-debug-line",
      "first-info-line"]);
    await page.selectOption("#loglevel", "err");
    assert.deepEqual(await shownLog(page), ["an-error-line"]);
    await page.selectOption("#loglevel", "info");
    await page.fill("#logsearch", "INFO-line");
    await page.uncheck("#lognewest");
    assert.deepEqual(await shownLog(page), ["first-info-line", "last-info-line"]);
  },
  // Not running: what to do, with links to the OpenVPN page, the log and the save page.
  49: async (page, t) => assert.deepEqual([await page.locator(".vpnstate, .connections tr:last-child").allTextContents(),
    await page.locator("#vpnhelp:visible a").evaluateAll((as) => as.map((a) => a.search.split("&")[0]))],
  [t.vpn, ["?item=46", "?item=43", "?item=19"]]),
};
ON_PAGE[42] = ON_PAGE[41];

// The controls that are shown and have no accessible name (label, aria-label(ledby), title, button text).
const unnamed = (page) => page.evaluate(() => {
  const name = (c) => [c.getAttribute("aria-label"), c.title, ...Array.from(c.labels || [], (l) => l.textContent),
    ...(c.getAttribute("aria-labelledby") || "").split(/\s+/).map((id) => document.getElementById(id)?.textContent),
    c.tagName === "BUTTON" ? c.textContent : /^(submit|button|reset)$/.test(c.type) && c.value].join("").trim();
  return Array.from(document.querySelectorAll("input, select, textarea, button"))
    .filter((c) => c.type !== "hidden" && c.checkVisibility() && !name(c))
    .map((c) => c.id || c.name || c.outerHTML.slice(0, 60));
});

// English words that German pages must not show (outside command output and entered values).
const ENGLISH = ["None", "static", "dhcp", "RUNNING", "NOT RUNNING", "No connections", "Not connected", "Device", "on",
  "off", "yes", "no", "no service", "low to high", "high to low", "Masquerading", "Skip to content", "Overview", "Menu",
  "Back to", "Save now", "Refresh", "Search", "Apply", "Cancel"];
const leftovers = (page) => page.evaluate((words) => {
  const shown = [], english = new RegExp(`(?<![\\w.-])(${words.join("|")})(?![\\w.-])`);
  for (const walk = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT); walk.nextNode();) {
    const node = walk.currentNode;
    if (!node.parentElement.closest("textarea, script, select[data-list], option") && node.parentElement.checkVisibility()) {
      shown.push(node.nodeValue);
    }
  }
  for (const c of document.querySelectorAll("select:not([data-list]), input[type=submit], input[type=button]")) {
    if (c.checkVisibility()) shown.push(...(c.options ? Array.from(c.options, (o) => o.text) : [c.value]));
  }
  return shown.map((t) => t.trim()).filter((t) => english.test(t));
}, ENGLISH);

// What the page shows too faintly (texts under 4.5:1, input borders under 3:1 against their ground,
// computed from the computed styles), and the page's background luminance.
const contrast = (page) => page.evaluate(() => {
  const rgba = (c) => (c.match(/[\d.]+/g) || []).map(Number).concat([1]).slice(0, 4);
  const channel = (v) => (v <= 0.03928 ? v / 12.92 : ((v + 0.055) / 1.055) ** 2.4);
  const lum = (c) => [0.2126, 0.7152, 0.0722].reduce((sum, w, i) => sum + w * channel(c[i] / 255), 0);
  const ground = (el) => {
    for (let e = el; e; e = e.parentElement) {
      const c = rgba(getComputedStyle(e).backgroundColor);
      if (c[3] > 0) return c;
    }
    return [255, 255, 255, 1];
  };
  // The contrast of a colour (with its alpha) over a ground.
  const ratio = (fg, bg) => {
    const [a, b] = [lum(fg.slice(0, 3).map((v, i) => v * fg[3] + bg[i] * (1 - fg[3]))), lum(bg)];
    return (Math.max(a, b) + 0.05) / (Math.min(a, b) + 0.05);
  };
  const faint = [];
  for (const el of document.body.querySelectorAll("*")) {
    if (!el.checkVisibility() || el.closest(":disabled, option, [aria-hidden=true]")) continue;
    const style = getComputedStyle(el), bg = ground(el), name = `${el.tagName.toLowerCase()}#${el.id}.${el.className}`;
    const text = Array.from(el.childNodes).some((n) => n.nodeType === 3 && n.nodeValue.trim()) ||
      el.matches("input[type=text], input[type=submit], input[type=search], select");
    if (text && ratio(rgba(style.color), bg) < 4.5) faint.push(`text ${name}`);
    if (el.matches("input[type=text], input[type=password], input[type=search], select, textarea:not(.output)") &&
      ratio(rgba(style.borderTopColor), ground(el.parentElement)) < 3) faint.push(`border ${name}`);
  }
  return { faint, ground: lum(ground(document.body)) };
});

// The frame's checks of the page shown.
async function check(page, item, lang, where) {
  await assertRendered(page, where);
  const entry = page.locator("nav#menu a[aria-current=page]");
  assert.equal(await entry.getAttribute("data-item"), String(item), `${where}: the menu's mark`);
  if (lang === "english" && !where.startsWith("result")) {
    await shot(page, (await entry.textContent()).toLowerCase().replace(/[^a-z0-9]+/g, "-"));
  }
  const frame = await page.evaluate(() => [document.documentElement.lang,
    document.querySelector("body > a:first-child").getAttribute("href"), document.querySelectorAll("main#main").length,
    document.querySelector("link[rel=icon]").getAttribute("href")]);
  assert.deepEqual(frame, [T[lang].code, "#main", 1, "/favicon.svg"], `${where}: language, skip link and its target, icon`);
  assert.deepEqual(await unnamed(page), [], `${where}: controls without a name`);
  assert.equal(await page.locator("[onclick], [onchange], [onsubmit]").count(), 0, `${where}: inline handlers`);
  assert.equal(await stopsUnload(page), false, `${where}: asks before it goes, unchanged`);
  if (lang === "deutsch") assert.deepEqual(await leftovers(page), [], `${where}: English words`);
  for (const scheme of ["dark", "light"]) {
    await page.emulateMedia({ colorScheme: scheme });
    const { faint, ground } = await contrast(page);
    assert.deepEqual([scheme === "dark" ? ground < 0.05 : ground > 0.7, faint], [true, []],
      `${where}, ${scheme}: background luminance ${ground}, too faint`);
  }
  // On a phone the page starts on the first screen (the headline in it), the menu folded, nothing wider than the screen.
  await page.setViewportSize({ width: 390, height: 844 });
  const phone = await page.evaluate(() => [document.querySelector("main h1").getBoundingClientRect().bottom + scrollY <= 844,
    document.getElementById("menu").checkVisibility(), document.documentElement.scrollWidth <= 390]);
  assert.deepEqual(phone, [true, false, true], `${where} on a phone: the headline on the first screen, menu, width`);
  await page.setViewportSize({ width: 1100, height: 760 });
  if (!where.startsWith("result")) await ON_PAGE[item]?.(page, T[lang]);
}

// The DHCP page applied: its result page, with the frame's checks, the page's name in the title, the way
// back, the language switch to the page, and the note that the change is not permanent yet, with the save.
async function applyDhcp(page, lang) {
  const t = T[lang], page37 = (l) => `/cgi-bin/gwadmin?item=37&lang=${l}`;
  await fill(page, { dhcplease: "48" });
  await submit(page);
  await check(page, 37, lang, `result page of item 37 ${lang}`);
  assert.match(await page.title(), new RegExp(t.dhcp), lang);
  assert.deepEqual([(await page.textContent("#back")).trim(), await page.getAttribute("#back", "href")],
    [t.back, page37(lang)]);
  assert.equal(await page.getAttribute(`#langswitch a[hreflang=${T[t.other].code}]`, "href"), page37(t.other));
  assert.match(await page.textContent("#persist"), t.persist);
}

pageTest("the menu reaches every page in both languages; each is complete, accessible, readable and under the policy; "
  + "an apply leaves the mark of unsaved changes until the save, which asks first", async (page) => {
  setModel("MX-RT-210B-GSM-KORU");  // a modem: the dial pages show their forms
  fs.appendFileSync(sandboxPath("var/log/messages"), LOG.map(([line, level]) => `${level} ${line}\n`).join(""));
  const policies = new Set();  // of the program's pages
  page.on("response", (r) => {
    if (r.request().isNavigationRequest() && r.url().includes("/cgi")) policies.add(r.headers()["content-security-policy"]);
  });
  await page.goto(`${BASE}/`);
  await page.waitForURL(/\/cgi-bin\/gwadmin\?item=0&lang=english$/);
  let unsaved = false;
  for (const [l, lang] of LANGS.entries()) {
    const menu = await page.locator("nav#menu > *").evaluateAll((els) => els.map((e) => e.dataset.item ?? e.textContent));
    assert.deepEqual(menu, ["0", ...MENU.flatMap((g) => [g[l], ...g[2].map(String)])], `${lang} menu`);
    for (const item of [0, ...MENU.flatMap((g) => g[2])]) {
      const link = `nav#menu a[data-item="${item}"]`, there = (u) => u.searchParams.get("item") === String(item);
      if (item === 19) {  // the save page saves when it opens: its link asks first; cancelled, nothing is sent
        const sent = requests(page);
        await answer(page, link, "cancel");
        assert.deepEqual(sent, [], `${lang}: the save cancelled`);
        await answer(page, link, "ok", () => page.waitForURL(there));
        assert.equal(await headline(page), T[lang].saved);
        unsaved = false;
      } else if (item || l) await follow(page, link, there);
      assert.equal(new URL(page.url()).searchParams.get("lang"), lang);
      assert.equal(await page.locator("#unsaved").isVisible(), unsaved, `item ${item} ${lang}: unsaved changes`);
      await check(page, item, lang, `item ${item} ${lang}`);
      if (item !== 37) continue;
      await applyDhcp(page, lang);
      assert.equal((await page.textContent("#unsaved")).trim(), T[lang].unsaved);
      unsaved = true;
    }
    assert.equal(config(sandboxPath("var/persist/config/tmp/ulsp/dhcp.config")).DHCPD_LEASE_TIME, "172800", "saved");
    // At the end, on the restart page: the menu button on a phone; the language switch to the same page.
    await page.setViewportSize({ width: 390, height: 844 });
    for (const open of ["true", "false"]) {
      await page.click("#menubutton");
      assert.equal(await page.getAttribute("#menubutton", "aria-expanded"), open);
      assert.equal(await page.isVisible("nav#menu"), open === "true");
    }
    await page.setViewportSize({ width: 1100, height: 760 });
    await follow(page, `#langswitch a[hreflang=${T[T[lang].other].code}]`, new RegExp(`item=20&lang=${T[lang].other}$`));
  }
  assert.deepEqual([...new Set([...policies].map((p) => p?.match(/script-src[^;]*/)?.[0]))], ["script-src 'self'"]);
  // Running, the OpenVPN status page has no help to give.
  fs.writeFileSync(sandboxPath("var/run/openvpn.pid"), "4242\n");
  await openItem(page, 49);
  assert.equal(await page.isVisible("#vpnhelp"), false, "OpenVPN running: no help");
});

// Waits until the sandbox has logged `n` reboots; the count then.
async function reboots(n) {
  const count = () => readLog("reboots").split("\n").filter(Boolean).length;
  for (let i = 0; i < 100 && count() < n; i++) await sleep(50);
  return count();
}

pageTest("factory defaults and the restart ask in the page, Escape sends nothing; yes loads the factory settings, or "
  + "restarts once, not again by reloading, going back or forth, and the countdown opens the overview", async (page) => {
  page.on("dialog", (d) => assert.fail(`a browser dialog: ${d.message()}`));
  await page.clock.install();
  const sent = requests(page);
  for (const [l, lang] of LANGS.entries()) {
    setConfig("dhcp.config", { DHCPD_LEASE_TIME: "7200" });
    for (const item of [38, 20]) {
      await openItem(page, item, lang);
      await page.click(".actions input[type=submit]");
      assert.match(await page.textContent("dialog.confirm[open] h2"), /\?$/, `item ${item} ${lang}: asks`);
      await page.keyboard.press("Escape");
    }
    await openItem(page, 38, lang);
    assert.deepEqual(sent.splice(0), ["GET 38", "GET 20", "GET 38"], `${lang}: Escape sent nothing`);
    await answer(page, ".actions input[type=submit]", "ok", () => page.waitForURL((u) => u.search === ""));
    assert.equal(await headline(page), T[lang].defaults);
    expectConfig({ "dhcp.config": { DHCPD_LEASE_TIME: "86400" } });
    await openItem(page, 20, lang);
    await answer(page, ".actions input[type=submit]", "ok", () => page.waitForSelector("#restart"));
    assert.equal(await reboots(l + 1), l + 1, `${lang}: one reboot`);
    assert.match(await page.textContent("#restart"), T[lang].restart);
    assert.equal(new URL(page.url()).searchParams.get("item"), "0", "the result's address is the overview's");
    if (lang === "english") {
      sent.length = 0;
      await page.reload();
      await page.goBack();
      assert.equal(await headline(page), await page.textContent("nav#menu a[data-item='20']"));
      await page.goForward();
      assert.deepEqual(sent.filter((r) => !r.startsWith("GET")), [], "reload, back and forward send no form again");
      assert.equal(await reboots(1), 1, "reload, back and forward add no reboot");
    } else {
      await Promise.all([page.waitForEvent("load"), page.clock.fastForward("00:30")]);
      assert.equal(await headline(page), T[lang].overview, `${lang}: back at the overview`);
    }
    sent.length = 0;
  }
  assert.match(readLog("commands"), /\/usr\/bin\/sudo \/sbin\/reboot/);
});
