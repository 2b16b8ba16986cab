// The page frame: confirmations, result pages, the unsaved-changes state, the restart, phones, dark
// mode, accessibility, German texts, the system log's filter, the favicon and the OpenVPN status help.
import assert from "node:assert/strict";
import fs from "node:fs";
import { setTimeout as sleep } from "node:timers/promises";
import {
  assertRendered, fetchPath, fill, follow, headline, openItem, pageTest, readLog, sandboxPath, submit,
} from "./support.mjs";

const LANGS = {
  english: { code: "en", other: "deutsch", dhcp: "DHCP server", back: "Back to DHCP server", persist: /not yet permanent/i,
    saveNow: "Save now", unsaved: "Unsaved changes", overview: "Overview", restart: /restarting/i },
  deutsch: { code: "de", other: "english", dhcp: "DHCP-Server", back: "Zurück zu DHCP-Server", persist: /noch nicht dauerhaft/i,
    saveNow: "Jetzt sichern", unsaved: "Ungesicherte Änderungen", overview: "Übersicht", restart: /startet neu/i },
};
// Every page of the menu, and the overview.
const ITEMS = [0, 24, 3, 37, 6, 29, 35, 28, 32, 45, 39, 30, 31, 18, 36, 7, 9, 11, 10, 41, 42, 46, 49, 26, 27, 2, 22, 43,
  44, 48, 1, 19, 38, 20];
const visible = (page, selector) => page.locator(selector).isVisible();
const dialog = "dialog.confirm[open]";

// Counts the requests that the page sends to the program from now on, by item.
function requests(page) {
  const sent = [];
  page.on("request", (r) => {
    const url = new URL(r.url());
    if (url.pathname === "/cgi-bin/gwadmin") sent.push(url.searchParams.get("item") ?? r.postData());
  });
  return sent;
}

// Opens a page; the save page, which saves when it opens, as a user does: by the menu, answering yes.
async function visit(page, item, lang) {
  if (item !== 19) return openItem(page, item, lang);
  await openItem(page, 0, lang);
  await page.click("nav#menu a[data-item='19']");
  await Promise.all([page.waitForURL(/item=19/), page.click(`${dialog} button[value=ok]`)]);
  await assertRendered(page, "the save page");
}

// Applies the DHCP page of a language: its result page.
async function applyDhcp(page, lang) {
  await openItem(page, 37, lang);
  await fill(page, { dhcplease: "48" });
  await submit(page);
}

pageTest("result pages: the page's menu entry, title, way back and language switch; not yet permanent", async (page) => {
  for (const [lang, t] of Object.entries(LANGS)) {
    await applyDhcp(page, lang);
    assert.equal(await page.getAttribute("html", "lang"), t.code);
    assert.equal(await page.getAttribute("nav#menu a[aria-current=page]", "data-item"), "37", lang);
    assert.match(await page.title(), new RegExp(t.dhcp), lang);
    assert.match(await page.textContent("#persist"), t.persist);
    assert.equal((await page.textContent("#persist a")).trim(), t.saveNow);
    assert.match(await page.getAttribute("#persist a", "href"), new RegExp(`item=19&lang=${lang}$`));
    assert.equal(await page.getAttribute(`#langswitch a[hreflang=${LANGS[t.other].code}]`, "href"),
      `/cgi-bin/gwadmin?item=37&lang=${t.other}`);
    // A failed outcome hides the success text (the bytes keep it).
    await page.evaluate(() => document.getElementById("message")
      .insertAdjacentHTML("beforebegin", '<div class="outcome failed" role="alert">failed</div>'));
    assert.equal(await visible(page, "#message"), false, `${lang}: success text hidden after a failure`);
    assert.equal((await page.textContent("#back")).trim(), t.back);
    await follow(page, "#back", new RegExp(`item=37&lang=${lang}$`));
    assert.equal(await page.inputValue("#dhcplease"), "48");
  }
});

pageTest("save: the menu asks first, cancel sends nothing; the header shows unsaved changes until a save", async (page) => {
  for (const [lang, t] of Object.entries(LANGS)) {
    await applyDhcp(page, lang);
    assert.equal((await page.textContent("#unsaved")).trim(), t.unsaved, `${lang}: on the result page`);
    await openItem(page, 3, lang);
    assert.equal(await visible(page, "#unsaved"), true, `${lang}: on the next page`);
    const sent = requests(page);
    await page.click("nav#menu a[data-item='19']");
    await page.click(`${dialog} button[value=cancel]`);
    await sleep(300);
    assert.deepEqual(sent, [], `${lang}: cancelled, nothing sent`);
    assert.doesNotMatch(readLog("commands"), /save config/);
    await page.click("nav#menu a[data-item='19']");
    await Promise.all([page.waitForURL(/item=19/), page.click(`${dialog} button[value=ok]`)]);
    assert.match(readLog("commands"), /\/usr\/sbin\/save config/);
    assert.equal(await page.locator("#unsaved").count(), 0, `${lang}: saved`);
    await openItem(page, 3, lang);
    assert.equal(await page.locator("#unsaved").count(), 0, `${lang}: saved, on the next page`);
    fs.writeFileSync(sandboxPath("var/log/commands"), "");
  }
});

pageTest("factory defaults and restart ask in the page; cancel sends nothing", async (page) => {
  page.on("dialog", (d) => assert.fail(`a browser dialog: ${d.message()}`));
  for (const lang of Object.keys(LANGS)) {
    for (const item of [38, 20]) {
      await openItem(page, item, lang);
      const sent = requests(page);
      await page.click(".actions input[type=submit]");
      assert.ok(await visible(page, dialog), `item ${item} ${lang}: asks`);
      assert.match(await page.textContent(`${dialog} h2`), lang === "english" ? /now\?$/ : /\?$/);
      await page.keyboard.press("Escape");
      await sleep(300);
      assert.deepEqual(sent, [], `item ${item} ${lang}: nothing sent`);
    }
  }
  assert.equal(readLog("reboots"), "");
  assert.doesNotMatch(readLog("commands"), /load defaults/);
});

// Waits until the sandbox has logged `n` reboots, then a little longer for any further one.
async function reboots(n) {
  for (let i = 0; i < 100 && readLog("reboots").split("\n").filter(Boolean).length < n; i++) await sleep(50);
  await sleep(400);
  return readLog("reboots").split("\n").filter(Boolean).length;
}

async function restart(page) {
  await page.click(".actions input[type=submit]");
  await Promise.all([page.waitForSelector("#restart"), page.click(`${dialog} button[value=ok]`)]);
}

pageTest("restart: reloading or going back never restarts again; the countdown returns to the overview", async (page) => {
  await page.clock.install();
  let count = 0;
  for (const [lang, t] of Object.entries(LANGS)) {
    await openItem(page, 20, lang);
    await restart(page);
    assert.equal(await reboots(++count), count, `${lang}: one reboot`);
    assert.match(await page.textContent("#restart"), t.restart);
    assert.equal(new URL(page.url()).searchParams.get("item"), "0", "the result's address is the overview's");
    await page.reload();
    await page.goBack();
    assert.equal(await headline(page), await page.textContent("nav#menu a[data-item='20']"));
    await page.goForward();
    assert.equal(await reboots(count), count, `${lang}: reload, back and forward add no reboot`);
    await openItem(page, 20, lang);
    await restart(page);
    assert.equal(await reboots(++count), count);
    // The address is the overview's already: wait for the overview itself.
    await Promise.all([page.waitForEvent("load"), page.clock.fastForward("00:30")]);
    assert.equal(await headline(page), t.overview, `${lang}: back at the overview`);
  }
});

pageTest("phone width: the page starts on the first screen; the menu opens with its button", { viewport: { width: 390, height: 844 } },
  async (page) => {
    for (const lang of Object.keys(LANGS)) {
      for (const item of [0, 24, 43, 49, 20]) {
        await openItem(page, item, lang);
        const box = await page.locator("main h1").boundingBox();
        assert.ok(box.y + box.height <= 844, `item ${item} ${lang}: headline at ${box.y}`);
        assert.equal(await visible(page, "nav#menu"), false, `item ${item} ${lang}: menu folded`);
        assert.ok(await page.evaluate(() => document.documentElement.scrollWidth <= 390), `item ${item} ${lang}: no sideways scroll`);
      }
      await page.click("#menubutton");
      assert.equal(await page.getAttribute("#menubutton", "aria-expanded"), "true");
      await follow(page, "nav#menu a[data-item='37']", /item=37/);
      assert.equal(await visible(page, "nav#menu"), false);
    }
  });

// The contrast of the page's texts and input borders, computed from the computed styles: the
// lowest text ratio and border ratio found, with the element, and the page's background luminance.
const measure = (page) => page.evaluate(() => {
  const rgba = (c) => (c.match(/[\d.]+/g) || []).map(Number).concat([1]).slice(0, 4);
  const lum = ([r, g, b]) => [r, g, b].map((v) => v / 255).map((v) => (v <= 0.03928 ? v / 12.92 : ((v + 0.055) / 1.055) ** 2.4))
    .reduce((s, v, i) => s + v * [0.2126, 0.7152, 0.0722][i], 0);
  const ratio = (a, b) => (Math.max(lum(a), lum(b)) + 0.05) / (Math.min(lum(a), lum(b)) + 0.05);
  const ground = (el) => {
    for (let e = el; e; e = e.parentElement) {
      const c = rgba(getComputedStyle(e).backgroundColor);
      if (c[3] > 0) return c;
    }
    return [255, 255, 255, 1];
  };
  const over = (fg, bg) => fg.slice(0, 3).map((v, i) => v * fg[3] + bg[i] * (1 - fg[3]));
  let text = { ratio: 99 }, border = { ratio: 99 };
  for (const el of document.body.querySelectorAll("*")) {
    if (!el.checkVisibility() || el.closest(":disabled, option, [aria-hidden=true]")) continue;
    const ownText = Array.from(el.childNodes).some((n) => n.nodeType === 3 && n.nodeValue.trim()) ||
      el.matches("input[type=text], input[type=submit], input[type=search], select");
    const bg = ground(el), name = `${el.tagName.toLowerCase()}${el.id ? "#" + el.id : ""}.${el.className}`;
    if (ownText) {
      const r = ratio(over(rgba(getComputedStyle(el).color), bg), bg);
      if (r < text.ratio) text = { ratio: r, name };
    }
    if (el.matches("input[type=text], input[type=password], input[type=search], select, textarea:not(.output)")) {
      const r = ratio(over(rgba(getComputedStyle(el).borderTopColor), bg), ground(el.parentElement));
      if (r < border.ratio) border = { ratio: r, name };
    }
  }
  return { text, border, ground: lum(ground(document.body)) };
});

pageTest("colours: dark mode follows the system; text contrast 4.5:1, input borders 3:1, light and dark", async (page, session) => {
  const pages = { light: page, dark: await session.newPage({ colorScheme: "dark" }) };
  for (const [scheme, p] of Object.entries(pages)) {
    for (const [item, lang] of [[0, "english"], [24, "deutsch"], [43, "english"], [49, "deutsch"], [48, "english"],
      [20, "deutsch"], [37, "english"]]) {
      await openItem(p, item, lang);
      if (item === 37) await submit(p);
      const m = await measure(p);
      const where = `${scheme}, item ${item}`;
      assert.ok(scheme === "dark" ? m.ground < 0.05 : m.ground > 0.7, `${where}: background luminance ${m.ground}`);
      assert.ok(m.text.ratio >= 4.5, `${where}: text ${m.text.name} at ${m.text.ratio.toFixed(2)}:1`);
      assert.ok(m.border.ratio >= 3, `${where}: border ${m.border.name} at ${m.border.ratio.toFixed(2)}:1`);
    }
  }
});

// The controls that are shown and have no accessible name (label, aria-label(ledby), button text).
const unnamed = (page) => page.evaluate(() => Array.from(document.querySelectorAll("input, select, textarea, button"))
  .filter((c) => c.type !== "hidden" && c.checkVisibility())
  .filter((c) => {
    const by = (c.getAttribute("aria-labelledby") || "").split(/\s+/).map((id) => document.getElementById(id)?.textContent)
      .join("");
    const labels = Array.from(c.labels || [], (l) => l.textContent).join("");
    const own = c.tagName === "BUTTON" ? c.textContent : /^(submit|button|reset)$/.test(c.type) ? c.value : "";
    return !`${c.getAttribute("aria-label") || ""}${by}${labels}${own}${c.title}`.trim();
  })
  .map((c) => c.id || c.name || c.outerHTML.slice(0, 60)));

pageTest("accessibility and policy: skip link, language, current page, a name for every control; no inline script allowed",
  async (page) => {
    const policies = new Set();
    page.on("response", (r) => {
      if (r.request().isNavigationRequest()) policies.add(/script-src[^;]*/.exec(r.headers()["content-security-policy"])?.[0]);
    });
    const check = async (item, where, code) => {
      assert.equal(await page.getAttribute("html", "lang"), code, where);
      assert.equal(await page.getAttribute("body > a:first-child", "href"), "#main", `${where}: skip link first`);
      assert.equal(await page.locator("main#main").count(), 1, where);
      assert.equal(await page.getAttribute("nav#menu a[aria-current=page]", "data-item"), String(item), where);
      assert.deepEqual(await unnamed(page), [], `${where}: controls without a name`);
    };
    for (const [lang, t] of Object.entries(LANGS)) {
      for (const item of ITEMS) {
        await visit(page, item, lang);
        await check(item, `item ${item} ${lang}`, t.code);
      }
      await applyDhcp(page, lang);
      await check(37, `result page ${lang}`, t.code);
    }
    assert.deepEqual([...policies], ["script-src 'self'"]);
  });

// English words that German pages must not show (outside command output and entered values).
const ENGLISH = /(?<![\w.-])(None|static|dhcp|RUNNING|NOT RUNNING|No connections|Not connected|Device|on|off|yes|no|no service|low to high|high to low|Masquerading|Skip to content|Overview|Menu|Back to|Save now|Refresh|Search|Apply|Cancel)(?![\w.-])/;
const shownText = (page) => page.evaluate(() => {
  const out = [];
  const walk = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
  while (walk.nextNode()) {
    const n = walk.currentNode, el = n.parentElement;
    if (!n.nodeValue.trim() || el.closest("textarea, script, select[data-list], option") || !el.checkVisibility()) continue;
    out.push(n.nodeValue.trim());
  }
  for (const s of document.querySelectorAll("select:not([data-list])")) if (s.checkVisibility()) out.push(...Array.from(s.options, (o) => o.text));
  for (const b of document.querySelectorAll("input[type=submit], input[type=button]")) if (b.checkVisibility()) out.push(b.value);
  return out;
});

pageTest("German pages show no English leftovers, the program's own words included", async (page) => {
  fs.writeFileSync(sandboxPath("proc/qx_di"), "1\n");  // input 1 on, input 2 off
  const left = {};
  const check = async (where) => {
    const found = (await shownText(page)).filter((s) => ENGLISH.test(s));
    if (found.length) left[where] = found;
  };
  for (const item of ITEMS) {
    await visit(page, item, "deutsch");
    await check(`item ${item}`);
  }
  await applyDhcp(page, "deutsch");
  await check("result page");
  assert.deepEqual(left, {});
  // The words are translated where the program prints them, and sent as they were.
  await openItem(page, 24, "deutsch");
  assert.equal(await page.locator("#ETH0_mode option[value=static]").textContent(), "statisch");
  await openItem(page, 49, "deutsch");
  assert.deepEqual(await page.locator(".vpnstate, table.connections tr:last-child").allTextContents(),
    ["LÄUFT NICHT", "Keine Verbindungen"]);
});

pageTest("system log: newest first, debug lines hidden at first, a level filter and a search", async (page) => {
  fs.appendFileSync(sandboxPath("var/log/messages"),
    ["6 first-info-line", "7 a-debug-line", "3 an-error-line", "6 >>>cvpnca::trace ENTRANCE", "6 last-info-line", ""].join("\n"));
  const shown = async () => (await page.inputValue("textarea.output")).split("\n").map((l) => l.replace(/^.*: /, ""));
  for (const lang of Object.keys(LANGS)) {
    await openItem(page, 43, lang);
    const first = await shown();
    assert.deepEqual(first.slice(0, 3), ["last-info-line", "an-error-line", "first-info-line"], lang);
    assert.ok(!first.some((l) => /debug-line|ENTRANCE/.test(l)), `${lang}: no debug lines`);
    await page.selectOption("#loglevel", "debug");
    assert.deepEqual((await shown()).slice(0, 5),
      ["last-info-line", ">>>cvpnca::trace ENTRANCE", "an-error-line", "a-debug-line", "first-info-line"]);
    await page.selectOption("#loglevel", "err");
    assert.deepEqual(await shown(), ["an-error-line"]);
    await page.selectOption("#loglevel", "info");
    await page.fill("#logsearch", "INFO-line");
    assert.deepEqual(await shown(), ["last-info-line", "first-info-line"]);
    await page.uncheck("#lognewest");
    assert.deepEqual(await shown(), ["first-info-line", "last-info-line"]);
    assert.match(await page.textContent("#logcount"), /^2 /);
  }
});

pageTest("favicon: every page names it and it is served as SVG", async (page) => {
  for (const item of [0, 43]) {
    await openItem(page, item);
    assert.equal(await page.getAttribute("link[rel=icon]", "href"), "/favicon.svg");
  }
  await applyDhcp(page, "english");
  const icon = await fetchPath(page, await page.getAttribute("link[rel=icon]", "href"));
  assert.equal(icon.status, 200);
  assert.match(icon.headers["content-type"], /^image\/svg\+xml/);
  assert.match(icon.text, /^<svg[^>]*xmlns="http:\/\/www\.w3\.org\/2000\/svg"/);
});

pageTest("OpenVPN status: not running, the page says what to do; running, it does not", async (page) => {
  for (const lang of Object.keys(LANGS)) {
    await openItem(page, 49, lang);
    assert.ok(await visible(page, "#vpnhelp"), lang);
    const links = await page.locator("#vpnhelp a").evaluateAll((as) => as.map((a) => new URL(a.href).searchParams.get("item")));
    assert.deepEqual(links, ["46", "43", "19"], lang);
  }
  fs.writeFileSync(sandboxPath("var/run/openvpn.pid"), "4242\n");
  for (const lang of Object.keys(LANGS)) {
    await openItem(page, 49, lang);
    assert.equal(await visible(page, "#vpnhelp"), false, lang);
  }
});
