// The status pages, saving, factory defaults and the restart.
import assert from "node:assert/strict";
import fs from "node:fs";
import { setTimeout as sleep } from "node:timers/promises";
import {
  config, expectConfig, follow, headline, openItem, pageTest, reachAs, readLog, roundTrip, sandboxPath, shot, submit,
} from "./support.mjs";

// Renames the device on the basic settings page; from then on it is reached by the new name.
async function setHostname(page, name) {
  await roundTrip(page, 24, { Hostname: name }, "Basic settings stored");
  reachAs(`${name}.localdomain`);
  await openItem(page, 24);
}

// Sends a form that asks first in the page, answering the question; returns the question.
async function answerAndSubmit(page, accept) {
  let posted = false;
  const onRequest = (request) => { posted ||= request.method() === "POST"; };
  page.on("request", onRequest);
  await page.click(".actions input[type=submit]");
  const question = await page.textContent("dialog.confirm[open] h2");
  await (accept ? submit(page, "dialog.confirm button[value=ok]") : page.click("dialog.confirm button[value=cancel]"));
  page.off("request", onRequest);
  assert.equal(posted, accept, "the form goes out only when the question is answered yes");
  return question;
}

pageTest("the status pages show what the device's tools report", async (page) => {
  const marker = `browser-check-${process.pid}`;
  fs.appendFileSync(sandboxPath("var/log/messages"), `6 ${marker}\n`);
  // The LAN address shown is the one the basic settings store.
  await roundTrip(page, 24, { ETH0_ip: "192.168.66.1" }, "Basic settings stored");
  for (const [item, title, patterns] of [
    [22, "Network status", [/eth0/, /eth1/, /192\.168\.66\.1\/24/]],
    [43, "System log", [new RegExp(`daemon\\.info gwadmin: ${marker}`)]],
    [44, "System time", [/\b20\d\d\b/]],
  ]) {
    await openItem(page, item);
    assert.equal(await headline(page), title);
    const output = await page.inputValue("textarea.output");
    for (const p of patterns) assert.match(output, p, `item ${item}`);
  }
});

pageTest("save: the page reports the configuration saved and the device holds the saved sets", async (page) => {
  assert.equal(fs.existsSync(sandboxPath("var/persist/config")), false);
  await setHostname(page, "saved-router");
  await page.click("nav#menu a[data-item='19']");  // asks first
  await follow(page, "dialog.confirm button[value=ok]", /item=19/);
  assert.equal(await headline(page), "Configuration saved");
  assert.match(await page.textContent(".result"), /saved to permanent storage/);
  assert.equal(config(sandboxPath("var/persist/config/tmp/ulsp/network.config")).HOSTNAME, "saved-router");
  for (const set of ["config", "openvpn", "certs"]) assert.ok(fs.statSync(sandboxPath("var/persist", set)).isDirectory(), set);
  assert.match(readLog("commands"), /\/usr\/bin\/sudo \/usr\/sbin\/save config/);
});

pageTest("factory defaults: asks first; accepted, the factory values come back", async (page) => {
  await setHostname(page, "changed-router");
  await openItem(page, 38);
  assert.match(await answerAndSubmit(page, false), /factory defaults/i);
  assert.match(page.url(), /item=38/);
  expectConfig("network.config", { HOSTNAME: "changed-router" });
  await answerAndSubmit(page, true);
  assert.equal(await headline(page), "Factory defaults loaded");
  await shot(page, "factory-defaults-result");
  await openItem(page, 24);
  assert.equal(await page.inputValue("#Hostname"), "gateway");
  expectConfig("network.config", { HOSTNAME: "gateway" });
});
pageTest("restart: asks first; confirmed, the sandbox device logs the reboot", async (page) => {
  await openItem(page, 20);
  // The restart page shows the network status below its form.
  assert.match(await page.inputValue("textarea.output"), /eth0/);
  assert.match(await answerAndSubmit(page, false), /restart/i);
  assert.equal(readLog("reboots"), "");

  await answerAndSubmit(page, true);
  assert.equal(await headline(page), "Restarting");
  // The program reboots once the page is out; give the stand-in a moment.
  for (let i = 0; i < 100 && !readLog("reboots"); i++) await sleep(50);
  const reboots = readLog("reboots").trim().split("\n");
  assert.equal(reboots.length, 1, "one reboot");
  assert.match(reboots[0], /reboot/);
  assert.match(readLog("commands"), /\/usr\/bin\/sudo \/sbin\/reboot/);
});
