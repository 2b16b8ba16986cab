// The status pages, saving, factory defaults and the restart.
import assert from "node:assert/strict";
import fs from "node:fs";
import { setTimeout as sleep } from "node:timers/promises";
import { after, before, beforeEach, test } from "node:test";
import {
  closePage, config, headline, launch, newPage, openItem, readConfig, resetSandbox, sandboxPath, shot, submit,
} from "./support.mjs";

let browser;
before(async () => { browser = await launch(); });
after(async () => { await browser?.close(); });
beforeEach(() => resetSandbox());

function readLog(name) {
  const file = sandboxPath("var/log", name);
  return fs.existsSync(file) ? fs.readFileSync(file, "utf8") : "";
}

async function setHostname(page, name) {
  await openItem(page, 24);
  await page.fill("#Hostname", name);
  await submit(page);
  assert.equal(config("network.config").HOSTNAME, name);
}

// Sends a form that asks first; answers the question and tells what it was
// and whether the form went out.
async function answerAndSubmit(page, accept) {
  let question = null;
  let posted = false;
  const onRequest = (request) => { if (request.method() === "POST") posted = true; };
  page.on("request", onRequest);
  page.once("dialog", (dialog) => {
    question = dialog.message();
    return accept ? dialog.accept() : dialog.dismiss();
  });
  if (accept) await submit(page);
  else await page.click(".actions input[type=submit]");
  page.off("request", onRequest);
  return { question, posted };
}

test("the status pages show what the device's tools report", async () => {
  const page = await newPage(browser);
  const marker = `browser-check-${process.pid}`;
  fs.appendFileSync(sandboxPath("var/log/messages"), `6 ${marker}\n`);
  // The LAN address shown is the one the basic settings store.
  await openItem(page, 24);
  await page.fill("#ETH0_ip", "192.168.66.1");
  await submit(page);

  const pages = [
    [22, "Network status", [/eth0/, /eth1/, /192\.168\.66\.1\/24/]],
    [43, "System log", [new RegExp(`daemon\\.info gwadmin: ${marker}`)]],
    [44, "System time", [/\b20\d\d\b/]],
  ];
  for (const [item, title, patterns] of pages) {
    await openItem(page, item);
    assert.equal(await headline(page), title);
    const output = await page.inputValue("textarea.output");
    for (const p of patterns) assert.match(output, p, `item ${item}`);
    await shot(page, `status-${item}`);
  }
  await closePage(page);
});

test("save: the page reports the configuration saved and the device holds the saved sets", async () => {
  const page = await newPage(browser);
  assert.equal(fs.existsSync(sandboxPath("var/persist/config")), false);
  await setHostname(page, "saved-router");
  await page.click("nav#menu a[data-item='19']");
  await page.waitForURL(/item=19/);
  await page.waitForLoadState("load");
  assert.equal(await headline(page), "Configuration saved");
  assert.match(await page.textContent(".result"), /saved to permanent storage/);
  const saved = readConfig(sandboxPath("var/persist/config/tmp/ulsp/network.config"));
  assert.equal(saved.HOSTNAME, "saved-router");
  for (const set of ["config", "openvpn", "certs"]) {
    assert.ok(fs.statSync(sandboxPath("var/persist", set)).isDirectory(), `saved set ${set}`);
  }
  assert.match(readLog("commands"), /\/usr\/bin\/sudo \/usr\/sbin\/save config/);
  await closePage(page);
});

test("factory defaults: asks first; accepted, the factory values come back", async () => {
  const page = await newPage(browser);
  await setHostname(page, "changed-router");
  await openItem(page, 38);

  const refused = await answerAndSubmit(page, false);
  assert.ok(refused.question, "the form asks before it goes out");
  assert.match(refused.question, /factory defaults/i);
  assert.equal(refused.posted, false, "nothing sent when the question is declined");
  assert.match(page.url(), /item=38/);
  assert.equal(config("network.config").HOSTNAME, "changed-router");

  const accepted = await answerAndSubmit(page, true);
  assert.equal(accepted.posted, true);
  assert.equal(await headline(page), "Factory defaults loaded");
  await shot(page, "factory-defaults-result");
  await openItem(page, 24);
  assert.equal(await page.inputValue("#Hostname"), "gateway");
  assert.equal(config("network.config").HOSTNAME, "gateway");
  await closePage(page);
});

test("restart: asks first; confirmed, the sandbox device logs the reboot", async () => {
  const page = await newPage(browser);
  await openItem(page, 20);
  // The restart page shows the network status below its form.
  assert.match(await page.inputValue("textarea.output"), /eth0/);

  const refused = await answerAndSubmit(page, false);
  assert.ok(refused.question, "the form asks before it goes out");
  assert.match(refused.question, /restart/i);
  assert.equal(refused.posted, false);
  assert.equal(readLog("reboots"), "");

  const accepted = await answerAndSubmit(page, true);
  assert.equal(accepted.posted, true);
  assert.equal(await headline(page), "Restarting");
  // The program reboots once the page is out; give the stand-in a moment.
  for (let i = 0; i < 100 && !readLog("reboots"); i++) await sleep(50);
  const reboots = readLog("reboots").trim().split("\n");
  assert.equal(reboots.length, 1, "one reboot");
  assert.match(reboots[0], /reboot/);
  assert.match(readLog("commands"), /\/usr\/bin\/sudo \/sbin\/reboot/);
  await closePage(page);
});
