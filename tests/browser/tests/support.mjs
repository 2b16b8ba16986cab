// Shared by the browser tests: the browser, the demo server (run.sh starts it), its sandbox
// device, checks every page must pass and the steps of a round trip.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";
import { after, beforeEach, test } from "node:test";
import { chromium } from "playwright-core";

const [BASE, SANDBOX, SCREENSHOTS, REPO] = ["URL", "SANDBOX", "SCREENSHOTS", "REPO"].map((name) => {
  const value = process.env[`GWADMIN_${name}`];
  if (!value) throw new Error(`GWADMIN_${name} is not set: run the browser tests with bash tests/browser/run.sh`);
  return value;
});
export { BASE };

// One Chromium per test file; the sandbox device is back in its factory state before each test.
let browser;
after(async () => { await browser?.close(); });
beforeEach(() => {
  execFileSync("sh", [path.join(REPO, "sandbox/make-sandbox.sh"), "--reset", SANDBOX], { stdio: "ignore" });
});

// A test on a page of a fresh context. Only the demo server is reached: any other request is
// aborted and, like a script error, fails the test.
export function pageTest(name, body) {
  test(name, async () => {
    browser ??= await chromium.launch({ executablePath: process.env.CHROMIUM || "/usr/bin/chromium", headless: true,
      args: ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
        "--disable-background-networking", "--disable-component-update", "--disable-sync"] });
    const context = await browser.newContext({ viewport: { width: 1100, height: 760 } });
    const page = await context.newPage();
    const faults = [];
    await context.route("**/*", (route) => {
      const url = new URL(route.request().url());
      if (url.host === new URL(BASE).host) return route.continue();
      faults.push(`request to ${url.href}`);
      return route.abort();
    });
    page.on("pageerror", (error) => faults.push(`script error: ${error.message}`));
    page.setDefaultTimeout(15000);
    await body(page).finally(() => context.close());
    assert.deepEqual(faults, [], "the page reached only the demo server and ran without script errors");
  });
}

// Opens a page by its item number and checks it rendered.
export async function openItem(page, item, lang = "english") {
  const response = await page.goto(`${BASE}/cgi-bin/gwadmin?item=${item}&lang=${lang}`);
  assert.equal(response.status(), 200, `item ${item}: HTTP status`);
  await assertRendered(page, `item ${item}`);
}

// A page from a template, complete: no placeholder left, not the error page, a headline.
export async function assertRendered(page, what) {
  const html = await page.content();
  const placeholder = /\{[A-Z][A-Z0-9_]*\}/.exec(html);
  assert.ok(!placeholder, `${what}: unreplaced placeholder ${placeholder?.[0]}`);
  assert.ok(!html.includes("Please contact the customer support"), `${what}: gwadmin's error page`);
  assert.ok((await headline(page)).length > 0, `${what}: a headline`);
}

export const headline = async (page) => (await page.locator("main h1").first().textContent()).trim();

// Clicks a link and waits until the page it leads to (matching `url`) is loaded.
export async function follow(page, selector, url) {
  await Promise.all([page.waitForURL(url), page.click(selector)]);
  await page.waitForLoadState("load");
}

// Sends the form with its Apply (or other) button; the answer comes at /cgi-bin/gwadmin (no query).
export async function submit(page, selector = ".actions input[type=submit]") {
  await Promise.all([page.waitForURL((url) => url.pathname === "/cgi-bin/gwadmin" && url.search === ""),
    page.click(selector)]);
  await assertRendered(page, "result page");
}

export const shot = (page, name) => page.screenshot({ path: path.join(SCREENSHOTS, `${name}.png`), fullPage: true });

const sel = (s) => (/^\w+$/.test(s) ? `#${s}` : s);

// Sets form fields (named by a selector or a bare id): a boolean checks or unchecks a box or radio button; a text fills an input or
// chooses a select's option by value; {label} chooses an option by its text.
export async function fill(page, fields) {
  for (const [s, v] of Object.entries(fields)) {
    const field = page.locator(sel(s));
    if (typeof v === "boolean") await field.setChecked(v);
    else if (typeof v === "object" || (await field.evaluate((e) => e.tagName === "SELECT"))) await field.selectOption(v);
    else await field.fill(v);
  }
}

// Fills a list editor's inputs and presses one of its buttons (add by default).
export async function listEdit(page, fields, action = "add") {
  await fill(page, fields);
  await page.click(`.listedit button[data-action=${action}]`);
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

// The fields are disabled (or, with `false`, enabled).
export async function expectDisabled(page, fields, disabled = true) {
  for (const s of fields) assert.equal(await page.isDisabled(sel(s)), disabled, `${s} disabled`);
}

// The round trip: opens the page (unless `open` is false), sets the fields, applies, expects the
// result page's headline, opens the page again and expects `shown` (by default the fields set).
export async function roundTrip(page, item, fields, head, { lang = "english", shown = fields, open = true } = {}) {
  if (open) await openItem(page, item, lang);
  await fill(page, fields);
  await submit(page);
  assert.equal(await headline(page), head);
  await openItem(page, item, lang);
  await expectFields(page, shown);
}

// A temporary folder, removed after the file's tests.
export function workDir() {
  const dir = fs.mkdtempSync(path.join(os.tmpdir(), "gwadmin-browser-"));
  after(() => fs.rmSync(dir, { recursive: true, force: true }));
  return dir;
}

// A PKCS#12 file (in `dir`) with a new key and a certificate for `cn`, made with OpenSSL.
export function makeP12(dir, cn, pass) {
  const [key, crt, p12] = ["key.pem", "cert.pem", `${cn}.p12`].map((f) => path.join(dir, f));
  const openssl = (...args) => execFileSync("openssl", args, { stdio: "ignore" });
  openssl("req", "-x509", "-newkey", "rsa:2048", "-noenc", "-subj", `/CN=${cn}`, "-days", "30", "-keyout", key, "-out", crt);
  openssl("pkcs12", "-export", "-in", crt, "-inkey", key, "-out", p12, "-passout", `pass:${pass}`);
  return p12;
}

export const sandboxPath = (...parts) => path.join(SANDBOX, ...parts);

// A log of the sandbox device (var/log), empty when there is none.
export const readLog = (name) => (fs.existsSync(sandboxPath("var/log", name)) ?
  fs.readFileSync(sandboxPath("var/log", name), "utf8") : "");

// A KEY='value' file as an object: one of the running configuration (tmp/ulsp), or any by full path.
export function config(name) {
  const lines = fs.readFileSync(path.isAbsolute(name) ? name : sandboxPath("tmp/ulsp", name), "utf8").split("\n");
  return Object.fromEntries(lines.map((l) => /^([A-Za-z0-9_]+)='(.*)'$/.exec(l)?.slice(1)).filter(Boolean));
}

// The running configuration `name` holds these values (its other keys unchecked).
export function expectConfig(name, values) {
  const stored = config(name);
  assert.deepEqual(Object.fromEntries(Object.keys(values).map((k) => [k, stored[k]])), values, name);
}

// The options of a select, as texts.
export const optionTexts = (page, selector) =>
  page.locator(selector).evaluate((select) => Array.from(select.options, (o) => o.text.trim()));
