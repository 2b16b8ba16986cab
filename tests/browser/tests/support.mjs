// Shared by the browser tests: the browser, the demo server's address, its
// sandbox device, and checks every page must pass. run.sh sets the
// environment (server, sandbox, screenshot folder).
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import fs from "node:fs";
import path from "node:path";
import { chromium } from "playwright-core";

function required(name) {
  const value = process.env[name];
  if (!value) throw new Error(`${name} is not set: run the browser tests with bash tests/browser/run.sh`);
  return value;
}

export const BASE = required("GWADMIN_URL");
export const SANDBOX = required("GWADMIN_SANDBOX");
export const SCREENSHOTS = required("GWADMIN_SCREENSHOTS");
export const REPO = required("GWADMIN_REPO");
const SERVER = new URL(BASE);

// The flags that keep Chromium off the network and quiet on this machine.
// Playwright starts it with a new, empty profile folder (--user-data-dir) of
// its own and removes it on close.
const CHROMIUM_ARGS = [
  "--headless",
  "--no-sandbox",
  "--disable-gpu",
  "--disable-quic",
  "--no-first-run",
  "--disable-background-networking",
  "--disable-component-update",
  "--disable-sync",
];

export async function launch() {
  return chromium.launch({
    executablePath: process.env.CHROMIUM || "/usr/bin/chromium",
    headless: true,
    args: CHROMIUM_ARGS,
  });
}

// A fresh context (no cookies, empty local storage) and a page in it. Only
// the demo server is reached: any other request is aborted and counted as a
// fault, and so is a script error on a page.
export async function newPage(browser) {
  const context = await browser.newContext({ viewport: { width: 1100, height: 760 } });
  const page = await context.newPage();
  page.faults = [];
  await context.route("**/*", (route) => {
    const url = new URL(route.request().url());
    if (url.host === SERVER.host) return route.continue();
    page.faults.push(`request to ${url.href}`);
    return route.abort();
  });
  page.on("pageerror", (error) => page.faults.push(`script error: ${error.message}`));
  page.setDefaultTimeout(15000);
  return page;
}

export async function closePage(page) {
  const faults = page.faults;
  await page.context().close();
  assert.deepEqual(faults, [], "the page reached only the demo server and ran without script errors");
}

export function pageUrl(item, lang = "english") {
  return `${BASE}/cgi-bin/gwadmin?item=${item}&lang=${lang}`;
}

// Opens a page by its item number and checks it rendered.
export async function openItem(page, item, lang = "english") {
  const response = await page.goto(pageUrl(item, lang));
  assert.equal(response.status(), 200, `item ${item}: HTTP status`);
  await assertRendered(page, `item ${item}`);
  return page;
}

// A page from a template, complete: no placeholder left, not the program's
// error page, a headline.
export async function assertRendered(page, what) {
  const html = await page.content();
  const placeholder = /\{[A-Z][A-Z0-9_]*\}/.exec(html);
  assert.ok(!placeholder, `${what}: unreplaced placeholder ${placeholder?.[0]}`);
  assert.ok(!html.includes("Please contact the customer support"), `${what}: gwadmin's error page`);
  const h1 = (await page.locator("main h1").first().textContent()).trim();
  assert.ok(h1.length > 0, `${what}: a headline`);
}

// Sends the page's form with its Apply (or other submit) button and waits
// for the answer, which the program gives at /cgi-bin/gwadmin (no query).
export async function submit(page, selector = ".actions input[type=submit]") {
  await Promise.all([
    page.waitForURL((url) => url.pathname === "/cgi-bin/gwadmin" && url.search === ""),
    page.click(selector),
  ]);
  await assertRendered(page, "result page");
}

export async function headline(page) {
  return (await page.locator("main h1").first().textContent()).trim();
}

export async function shot(page, name) {
  fs.mkdirSync(SCREENSHOTS, { recursive: true });
  await page.screenshot({ path: path.join(SCREENSHOTS, `${name}.png`), fullPage: true });
}

// The sandbox device back in its factory state (the server keeps running).
export function resetSandbox() {
  execFileSync("sh", [path.join(REPO, "sandbox/make-sandbox.sh"), "--reset", SANDBOX], { stdio: "ignore" });
}

export function sandboxPath(...parts) {
  return path.join(SANDBOX, ...parts);
}

// A KEY='value' file as an object.
export function readConfig(file) {
  const values = {};
  for (const line of fs.readFileSync(file, "utf8").split("\n")) {
    const m = /^([A-Za-z0-9_]+)='(.*)'$/.exec(line);
    if (m) values[m[1]] = m[2];
  }
  return values;
}

// A file of the running configuration (tmp/ulsp).
export function config(name) {
  return readConfig(sandboxPath("tmp/ulsp", name));
}

// The options of a select, as texts.
export async function optionTexts(page, selector) {
  return page.locator(selector).evaluate((select) => Array.from(select.options, (o) => o.text.trim()));
}
