// Shared by the browser tests: the browser, the demo server that run.sh starts, its sandbox device, and the steps the
// tests repeat. The browser reaches the device as one reaches a router, by a name: BASE is http://gateway.localdomain:PORT
// (https:// in the HTTPS pass), which Chromium takes for 127.0.0.1; reachAs(name) changes it for the rest of a test.
// Each test starts with the sandbox device (model MX-RT-210B-KORU: no internal modem), its login and its name as they
// left the factory. pageTest(name, body) runs body(page, session) on a fresh context's page, session.newPage({ password })
// on another's. Requests to anything but the device, script errors and inline scripts fail the test.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import fs from "node:fs";
import path from "node:path";
import { after, beforeEach, test } from "node:test";
import { chromium } from "playwright-core";

const setting = (name) => process.env[`GWADMIN_${name}`] ||
  assert.fail(`GWADMIN_${name} is not set: run the browser tests with bash tests/browser/run.sh`);
const START = new URL(setting("URL"));
const [DEMO, SCREENSHOTS, REPO] = [setting("DEMO"), setting("SCREENSHOTS"), setting("REPO")];
const SANDBOX = path.join(DEMO, "root");
const USER = "admin";
export const FACTORY_PASSWORD = setting("PASSWORD");
export const HTTPS = START.protocol === "https:";
export const LANGS = ["english", "deutsch"];
export let BASE = START.origin;
let reached;  // the hosts that this test reaches the device by

export function reachAs(name) {
  BASE = `${START.protocol}//${name}:${START.port}`;
  reached.add(new URL(BASE).host);
}

let browser;
after(async () => { await browser?.close(); });
beforeEach(() => {
  execFileSync("sh", [path.join(REPO, "sandbox/make-sandbox.sh"), "--model", "MX-RT-210B-KORU", "--reset", SANDBOX],
    { stdio: "ignore" });
  execFileSync("sh", [path.join(DEMO, "login-sync")], { stdio: "ignore" });
  BASE = START.origin;
  reached = new Set([START.host]);
});

async function openPage(password, faults, contexts) {
  browser ??= await chromium.launch({ executablePath: process.env.CHROMIUM || "/usr/bin/chromium", headless: true,
    args: ["--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking",
      "--disable-component-update", "--disable-sync", "--host-resolver-rules=MAP * 127.0.0.1"] });
  const context = await browser.newContext({ viewport: { width: 1100, height: 760 }, ignoreHTTPSErrors: HTTPS,
    httpCredentials: { username: USER, password } });
  contexts.push(context);
  await context.route("**/*", (route) => {
    const url = new URL(route.request().url());
    if (reached.has(url.host) && url.protocol === START.protocol) return route.continue();
    faults.push(`request to ${url.href}`);
    return route.abort();
  });
  const page = await context.newPage();
  page.on("pageerror", (error) => faults.push(`script error: ${error.message}`));
  // The policy refuses inline scripts (the modem page's type buttons come with inline handlers,
  // whose work the page's script does): one that is refused is a fault.
  page.on("console", (m) => { if (/inline script/.test(m.text())) faults.push(`${page.url()}: ${m.text()}`); });
  page.setDefaultTimeout(15000);
  return page;
}

export function pageTest(name, body) {
  test(name, async () => {
    const faults = [], contexts = [];
    const session = { newPage: ({ password = FACTORY_PASSWORD } = {}) => openPage(password, faults, contexts) };
    try {
      await body(await session.newPage(), session);
    } finally {
      for (const context of contexts) await context.close();
    }
    assert.deepEqual(faults, [], "the page reached only the device and ran without script errors");
  });
}

// A GET from inside the page (same origin, with the page's login unless `init` says otherwise): { status, headers, text }.
export const fetchPath = (page, url, init) => page.evaluate(async ([u, i]) => {
  const response = await fetch(u, i);
  return { status: response.status, headers: Object.fromEntries(response.headers), text: await response.text() };
}, [url, init]);

// Opens a page by its item number and checks that it rendered.
export async function openItem(page, item, lang = "english") {
  const response = await page.goto(`${BASE}/cgi-bin/gwadmin?item=${item}&lang=${lang}`);
  assert.equal(response.status(), 200, `item ${item}: HTTP status`);
  await assertRendered(page, `item ${item} ${lang}`);
}

// A page from a template, complete: no placeholder left, not the error page, a headline.
export async function assertRendered(page, what) {
  const html = await page.content();
  assert.doesNotMatch(html, /\{[A-Z][A-Z0-9_]*\}/, `${what}: an unreplaced placeholder`);
  assert.ok(!html.includes("Please contact the customer support"), `${what}: gwadmin's error page`);
  assert.ok((await headline(page)).length > 0, `${what}: a headline`);
}

export const headline = async (page) => (await page.locator("main h1").first().textContent()).trim();

// Clicks a link and waits until the page it leads to (matching `url`) is loaded.
export const follow = (page, selector, url) => Promise.all([page.waitForURL(url), page.click(selector)]);

// Sends the form with its Apply (or another) button; the answer comes at /cgi-bin/gwadmin.
export async function submit(page, selector = ".actions input[type=submit]") {
  await Promise.all([page.waitForURL((url) => url.pathname === "/cgi-bin/gwadmin" && url.search === ""),
    page.click(selector)]);
  await assertRendered(page, "result page");
}

// Answers the page's own question (a <dialog>) that a click on `selector` asks, with "ok" or
// "cancel"; `arrived()`, if given, waits for what the answer leads to.
export async function answer(page, selector, value, arrived) {
  await page.click(selector);
  await Promise.all([arrived?.(), page.click(`dialog.confirm[open] button[value=${value}]`)]);
}

// The requests to the program that the page sends from now on, as "METHOD item" (or "METHOD form").
export function requests(page) {
  const sent = [];
  page.on("request", (r) => {
    const url = new URL(r.url());
    if (url.pathname === "/cgi-bin/gwadmin") sent.push(`${r.method()} ${url.searchParams.get("item") ?? "form"}`);
  });
  return sent;
}

export const shot = (page, name) =>
  page.screenshot({ path: path.join(SCREENSHOTS, `${HTTPS ? "https-" : ""}${name}.png`), fullPage: true });

// A form field's selector: a bare id, or a selector as it is.
export const sel = (s) => (/^\w+$/.test(s) ? `#${s}` : s);

// Sets form fields: a boolean checks a box or radio button, a text fills an input or chooses a
// select's option by value, {label} chooses an option by its text.
export async function fill(page, fields) {
  for (const [s, v] of Object.entries(fields)) {
    const field = page.locator(sel(s));
    if (typeof v === "boolean") await field.setChecked(v);
    else if (typeof v === "object" || (await field.evaluate((e) => e.tagName === "SELECT"))) await field.selectOption(v);
    else await field.fill(v);
  }
}

// The fields show these values (as `fill` takes them).
export async function expectFields(page, fields) {
  for (const [s, v] of Object.entries(fields)) {
    const field = page.locator(sel(s));
    if (typeof v === "boolean") assert.equal(await field.isChecked(), v, `${s} checked`);
    else if (typeof v === "object") assert.equal(await field.locator("option:checked").textContent(), v.label, s);
    else assert.equal(await field.inputValue(), v, s);
  }
}

// Fills a list editor's inputs and presses one of its buttons (add by default).
export async function listEdit(page, fields, action = "add") {
  await fill(page, fields);
  await page.click(`.listedit button[data-action=${action}]`);
}

// The entries of list editors' lists, as texts: { name: [texts] }.
export async function lists(page, names) {
  const texts = (n) => page.locator(`select[data-list=${n}]`).evaluate((s) => Array.from(s.options, (o) => o.text.trim()));
  return Object.fromEntries(await Promise.all(names.map(async (n) => [n, await texts(n)])));
}

// Whether the page would have the browser ask before it goes.
export const stopsUnload = (page) => page.evaluate(() => {
  const event = new Event("beforeunload", { cancelable: true });
  window.dispatchEvent(event);
  return event.defaultPrevented;
});

export const sandboxPath = (...parts) => path.join(SANDBOX, ...parts);
export const setModel = (name) => fs.writeFileSync(sandboxPath("etc/deviceID"), `${name}\n`);
export const readLog = (name) => (fs.existsSync(sandboxPath("var/log", name)) ?
  fs.readFileSync(sandboxPath("var/log", name), "utf8") : "");

// A KEY='value' file as an object: one of the running configuration (tmp/ulsp), or any by full path.
export function config(name) {
  const lines = fs.readFileSync(path.isAbsolute(name) ? name : sandboxPath("tmp/ulsp", name), "utf8").split("\n");
  return Object.fromEntries(lines.map((l) => /^([A-Za-z0-9_]+)='(.*)'$/.exec(l)?.slice(1)).filter(Boolean));
}

// The running configuration holds these values ({ file: { key: value } }; other keys unchecked).
export function expectConfig(files) {
  for (const [name, values] of Object.entries(files)) {
    const stored = config(name);
    assert.deepEqual(Object.fromEntries(Object.keys(values).map((k) => [k, stored[k]])), values, name);
  }
}

// Sets keys that a file of the running configuration has: setConfig("dhcp.config", { KEY: value }).
export function setConfig(name, values) {
  const file = sandboxPath("tmp/ulsp", name);
  let text = fs.readFileSync(file, "utf8");
  for (const [key, value] of Object.entries(values)) {
    const line = new RegExp(`^${key}=.*$`, "m");
    assert.match(text, line, `${name} has ${key}`);
    text = text.replace(line, () => `${key}='${value}'`);
  }
  fs.writeFileSync(file, text);
}
