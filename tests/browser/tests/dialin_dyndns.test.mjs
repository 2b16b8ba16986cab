// The dial-in page on a device with and without a modem that can answer, and
// the dynamic DNS page: fill in, apply, open again, the keys as stored.
import assert from "node:assert/strict";
import fs from "node:fs";
import {
  expectConfig, expectDisabled, expectFields, fill, openItem, optionTexts, pageTest, roundTrip, sandboxPath, shot,
} from "./support.mjs";

// The device model and the external modem's type, as this test needs them.
function device(model, modemType) {
  fs.writeFileSync(sandboxPath("etc/deviceID"), `${model}\n`);
  fs.writeFileSync(sandboxPath("tmp/ulsp/modem.config"), `EXT_MODEM_TYPE='${modemType}'\n`);
}

const CALLBACK = "input[name=mode][value=callback]";
const LINK = ["user", "pass", "localip", "peerip", "initat", "masq", CALLBACK];

pageTest("dial-in on the internal modem: callback, account, addresses, masquerading; switched off again", async (page) => {
  device("MX-RT-210B-GSM-KORU", "none");
  await openItem(page, 11);
  assert.deepEqual(await optionTexts(page, "#dialin_dev"), ["None", "Intern"]);  // no external modem
  await expectFields(page, { dialin_dev: "none", "input[name=mode][value=dialin]": true, masq: false });
  await expectDisabled(page, LINK);
  await fill(page, { dialin_dev: "ttyS1" });
  await expectDisabled(page, LINK, false);
  const fields = { [CALLBACK]: true, user: "caller", localip: "10.9.0.1", peerip: "10.9.0.2", masq: true };
  await fill(page, { ...fields, pass: "Dial-99" });
  await shot(page, "dialin-filled");
  await roundTrip(page, 11, {}, "Dial-in settings stored", { open: false, shown: { dialin_dev: "ttyS1", ...fields, pass: "" } });
  expectConfig("dialin.config", { DIALIN_DEV: "ttyS1", DIALIN_MODE: "callback", DIALIN_USER: "caller",
    DIALIN_PASS: "Dial-99", DIALIN_LOCAL_IP: "10.9.0.1", DIALIN_PEER_IP: "10.9.0.2", DIALIN_INIT_AT: "ATZ", DIALIN_MASQ: "yes" });

  // Every apply stores the password: the form does not go out without it.
  await page.click(".actions input[type=submit]");
  assert.ok(await page.locator("#pass").evaluate((e) => e.validationMessage));
  assert.match(page.url(), /item=11/);

  // Off: only the line is stored; the result page has no messages of its own.
  await fill(page, { dialin_dev: "none" });
  await expectDisabled(page, LINK);
  await roundTrip(page, 11, {}, "Settings applied", { open: false, shown: { dialin_dev: "none", user: "caller", masq: true } });
  await expectDisabled(page, LINK);
  expectConfig("dialin.config", { DIALIN_DEV: "none", DIALIN_MODE: "callback", DIALIN_PASS: "Dial-99" });
});

pageTest("dial-in without a modem that can answer: only the message", async (page) => {
  for (const [type, lang, message] of [
    ["none", "english", "No modem that can answer calls is set up."],
    ["dsl", "deutsch", "Es ist kein Modem eingerichtet, das Anrufe annehmen kann."],
  ]) {
    device("MX-RT-210B-KORU", type);
    await openItem(page, 11, lang);
    assert.equal(await page.locator("form, input, select").count(), 0, `${type}: no form`);
    assert.match(await page.textContent("main .warning"), new RegExp(`^${message}`), type);
    await shot(page, `dialin-no-modem-${lang}`);
  }
});

pageTest("dynamic DNS: provider, host and account; an empty password keeps the stored one", async (page) => {
  const STORED = "Dynamic DNS stored";
  const account = ["DDNS_Host", "DDNS_User", "DDNS_Pass"];
  await openItem(page, 10);
  assert.equal((await optionTexts(page, "#DDNS_Provider")).length, 10);
  await expectFields(page, { DDNS_Provider: { label: "None" } });
  await expectDisabled(page, account);
  await fill(page, { DDNS_Provider: { label: "no-ip.com" } });
  await expectDisabled(page, account, false);
  await shot(page, "dyndns-provider-chosen");
  const fields = { DDNS_Host: "gw.no-ip.test", DDNS_User: "owner" };
  await roundTrip(page, 10, { ...fields, DDNS_Pass: "Pw-1" }, STORED,
    { open: false, shown: { DDNS_Provider: { label: "no-ip.com" }, ...fields, DDNS_Pass: "" } });
  expectConfig("dyndns.config", { DYNDNS_PROVIDER: "noip", DYNDNS_HOST: "gw.no-ip.test", DYNDNS_USER: "owner",
    DYNDNS_PASS: "Pw-1" });

  await roundTrip(page, 10, { DDNS_Provider: "ovh", DDNS_User: "second" }, STORED,
    { open: false, shown: { DDNS_Provider: { label: "ovh.com" }, DDNS_User: "second" } });
  expectConfig("dyndns.config", { DYNDNS_PROVIDER: "ovh", DYNDNS_USER: "second", DYNDNS_PASS: "Pw-1" });

  // "None" greys the account out and keeps it.
  await roundTrip(page, 10, { DDNS_Provider: "none" }, STORED, { open: false, shown: { DDNS_Host: "gw.no-ip.test" } });
  await expectDisabled(page, account);
  expectConfig("dyndns.config", { DYNDNS_PROVIDER: "none", DYNDNS_HOST: "gw.no-ip.test", DYNDNS_USER: "second",
    DYNDNS_PASS: "Pw-1" });
});
