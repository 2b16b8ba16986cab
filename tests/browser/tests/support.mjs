// Shared by the browser tests: the browser, the demo server (run.sh starts it), its sandbox
// device, checks every page must pass and the steps of a round trip.
//
// The tests reach the device as a browser reaches a router: by a name, not by a loopback address
// (Chromium sends no Sec-Fetch-* headers to such a plain-HTTP address). run.sh serves the demo on
// 127.0.0.1 and Chromium takes every name for that address (--host-resolver-rules), so BASE is
// http://gateway.localdomain:PORT, the sandbox device's own factory host name and domain
// (https://... in the HTTPS pass). Every page and file asks for the login: each context answers it
// as the administrator with the factory password that the demo printed.
//
// For the test files:
//   pageTest(name, [options,] body)  a test on a page of a fresh, logged-in context; body(page, session).
//       options: viewport ({ width, height }, default 1100 x 760), colorScheme ("light" or "dark"),
//       password (the login the context answers with: default FACTORY_PASSWORD; false: none).
//       session.newPage(options) opens another page in a context of its own (same options, checks
//       and faults), e.g. to try another password; it is closed with the test.
//   login(page, password)  the page's context answers the next login question with this password
//       (after the basic settings page changed it: the browser asks again, as it would a user).
//   reachAs(name)  from now on in this test the device is reached by this name (after the basic
//       settings page renamed it: a changing request must come by the device's own name); BASE
//       follows, and the next test starts at the factory name again.
//   fetchPath(page, path)  a GET from inside the page (same origin, the page's login):
//       { status, headers, text, bytes }.
//   restartDemo(...args)  restarts the demo server on the same port, scheme and build (the sandbox
//       restarts from its saved sets, as demo.sh does); more demo.sh options in args; its output.
//   BASE, HTTPS (the run is over HTTPS), USER, FACTORY_PASSWORD; openItem, assertRendered,
//   headline, follow, submit, shot, fill, listEdit, expectFields, expectDisabled, roundTrip,
//   workDir, makeP12, sandboxPath, readLog, config, expectConfig, optionTexts (see each below).
// The sandbox device is back in its factory state (and the login with it) before each test.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import fs from "node:fs";
import os from "node:os";
import path from "node:path";
import { after, beforeEach, test } from "node:test";
import { chromium } from "playwright-core";

const [URL0, DEMO, SCREENSHOTS, REPO, PASSWORD] = ["URL", "DEMO", "SCREENSHOTS", "REPO", "PASSWORD"].map((name) => {
  const value = process.env[`GWADMIN_${name}`];
  if (!value) throw new Error(`GWADMIN_${name} is not set: run the browser tests with bash tests/browser/run.sh`);
  return value;
});
const SANDBOX = path.join(DEMO, "root");
export const USER = "admin";
export const FACTORY_PASSWORD = PASSWORD;
export const HTTPS = new URL(URL0).protocol === "https:";
export let BASE = URL0;
let reached = new Set([new URL(URL0).host]);

export function reachAs(name) {
  BASE = `${new URL(URL0).protocol}//${name}:${new URL(URL0).port}`;
  reached.add(new URL(BASE).host);
}

// One Chromium per test file; the sandbox device is back in its factory state before each test,
// with the server's login in step with it.
let browser;
after(async () => { await browser?.close(); });
beforeEach(() => {
  execFileSync("sh", [path.join(REPO, "sandbox/make-sandbox.sh"), "--reset", SANDBOX], { stdio: "ignore" });
  execFileSync("sh", [path.join(DEMO, "login-sync")], { stdio: "ignore" });
  BASE = URL0;
  reached = new Set([new URL(URL0).host]);
});

// A page of a fresh context that logs in with `password`. Only the demo server is reached (by the
// names of this test): any other request is aborted and, like a script error, goes to `faults`.
async function openPage({ viewport = { width: 1100, height: 760 }, colorScheme, password = FACTORY_PASSWORD } = {},
  faults) {
  browser ??= await chromium.launch({ executablePath: process.env.CHROMIUM || "/usr/bin/chromium", headless: true,
    args: ["--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run",
      "--disable-background-networking", "--disable-component-update", "--disable-sync",
      "--host-resolver-rules=MAP * 127.0.0.1"] });
  const context = await browser.newContext({ viewport, ...(colorScheme && { colorScheme }),
    ...(password !== false && { httpCredentials: { username: USER, password } }), ignoreHTTPSErrors: HTTPS });
  await context.route("**/*", (route) => {
    const url = new URL(route.request().url());
    if (reached.has(url.host) && url.protocol === new URL(URL0).protocol) return route.continue();
    faults.push(`request to ${url.href}`);
    return route.abort();
  });
  const page = await context.newPage();
  page.on("pageerror", (error) => faults.push(`script error: ${error.message}`));
  page.setDefaultTimeout(15000);
  return page;
}

// A test on a page of a fresh context (see the top for the options and the session).
export function pageTest(name, options, body) {
  if (!body) [options, body] = [{}, options];
  test(name, async () => {
    const faults = [], pages = [];
    const session = { newPage: async (more) => {
      pages.push(await openPage({ ...options, ...more }, faults));
      return pages.at(-1);
    } };
    try {
      await body(await session.newPage(), session);
    } finally {
      for (const p of pages) await p.context().close();
    }
    assert.deepEqual(faults, [], "the page reached only the demo server and ran without script errors");
  });
}

export const login = (page, password) => page.context().setHTTPCredentials({ username: USER, password });

export async function fetchPath(page, url) {
  const r = await page.evaluate(async (u) => {
    const response = await fetch(u);
    return { status: response.status, headers: Object.fromEntries(response.headers),
      bytes: Array.from(new Uint8Array(await response.arrayBuffer())) };
  }, url);
  const bytes = Buffer.from(r.bytes);
  return { status: r.status, headers: r.headers, bytes, text: bytes.toString("utf8") };
}

export function restartDemo(...args) {
  return execFileSync("bash", [path.join(REPO, "scripts/demo.sh"), "--dir", DEMO, "--no-build",
    "--port", new URL(URL0).port, ...(HTTPS ? ["--https"] : []), ...args], { encoding: "utf8" });
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

export const shot = (page, name) =>
  page.screenshot({ path: path.join(SCREENSHOTS, `${HTTPS ? "https-" : ""}${name}.png`), fullPage: true });

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
