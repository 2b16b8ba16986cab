// The modem page on models with and without an internal modem, and the
// dial-out page that offers the modems set up there: fill in, apply, open
// again, the keys as stored.
import assert from "node:assert/strict";
import fs from "node:fs";
import { after } from "node:test";
import {
  expectConfig, expectDisabled, expectFields, fill, listEdit, openItem, optionTexts, pageTest, roundTrip,
  sandboxPath, shot, submit,
} from "./support.mjs";

// The device model; the sandbox's own model comes back after this file.
const model = (name) => fs.writeFileSync(sandboxPath("etc/deviceID"), `${name}\n`);
after(() => model("MX-RT-210B-KORU"));

const type = (value) => `input[name=Modemtype][value=${value}]`;
// Which sections of the external modem show: none, analog, DSL.
const sections = (page) => Promise.all([0, 1, 2].map((i) => page.isVisible(`.modediv[data-div='${i}']`)));
const DIAL = ["Cmnd", "Timeout", "doutnum", "doutdelay", "selno"];
const providers = async (page) => Promise.all(["namelist", "numberlist", "userlist", "passlist"].map(
  (list) => optionTexts(page, `select[data-list=${list}]`)));

pageTest("no internal modem: an analog modem attached, then dialing out through it to the providers entered", async (page) => {
  model("MX-RT-210B-KORU");
  // Without any modem there is nothing to dial with.
  await openItem(page, 9);
  assert.equal(await page.locator("main form").count(), 0);
  assert.equal((await page.textContent("main .warning .text")).trim(), "No modem is configured. Please set up a modem first.");

  await openItem(page, 7);
  assert.equal(await page.locator("#internal, [name^=INT_]").count(), 0, "no internal modem offered");
  await expectFields(page, { [type("none")]: true, EXT_country: { label: "DE" } });
  assert.deepEqual(await sections(page), [true, false, false]);
  await fill(page, { [type("analog")]: true });
  assert.deepEqual(await sections(page), [false, true, false]);
  await roundTrip(page, 7, { EXT_country: { label: "AT" } }, "Modem settings stored",
    { open: false, shown: { [type("analog")]: true, EXT_country: { label: "AT" } } });
  assert.deepEqual(await sections(page), [false, true, false]);
  expectConfig("modem.config", { EXT_MODEM_TYPE: "analog", EXT_MODEM_COUNTRY_CODE: "0A" });

  // Dialing out: only the external modem is offered; its fields follow the choice.
  await openItem(page, 9);
  assert.deepEqual(await optionTexts(page, "#dialout_dev"), ["None", "Extern"]);
  await expectFields(page, { dialout_dev: "none", Cmnd: "ATZ", Timeout: "300" });
  await expectDisabled(page, DIAL);
  await fill(page, { dialout_dev: "external" });
  await expectDisabled(page, DIAL, false);
  assert.equal(await page.inputValue("#apn"), "");
  for (const [name, number, user, pass] of [["isp-one", "0191011", "alice", "pw-1"], ["isp-two", "0192022", "bob", "pw-2"]])
    await listEdit(page, { nameinput: name, numberinput: number, userinput: user, passinput: pass });
  // The active provider is chosen among the names entered.
  assert.deepEqual(await optionTexts(page, "#selno"), ["isp-one", "isp-two"]);
  const fields = { Cmnd: "AT&F", Timeout: "120", doutnum: "5", doutdelay: "15", selno: { label: "isp-two" } };
  await fill(page, fields);
  await shot(page, "dialout-providers");
  await roundTrip(page, 9, {}, "Dial-out settings stored", { open: false, shown: { dialout_dev: "external", ...fields } });
  assert.deepEqual(await providers(page),
    [["isp-one", "isp-two"], ["0191011", "0192022"], ["alice", "bob"], ["pw-1", "pw-2"]]);
  expectConfig("dialout.config", { DIALOUT_DEV: "ttyS2", DIALOUT_MTU: "576", DIALOUT_MODEM_CMD: "AT&F",
    DIALOUT_IDLE_TIME: "120", DIALOUT_RETRIES: "5", DIALOUT_RETRY_DELAY: "15", DIALOUT_ISP_N: "2",
    DIALOUT_ISP_2_NAME: "isp-two", DIALOUT_ISP_2_NUM: "0192022", DIALOUT_ISP_2_USER: "bob", DIALOUT_ISP_2_PASS: "pw-2",
    DIALOUT_ISP_ACTIVE: "2" });

  // Removing the first provider keeps the second one active, now as number 1.
  await page.selectOption("select[data-list=namelist]", { label: "isp-one" });
  await page.click(".listedit button[data-action=remove]");
  await expectFields(page, { selno: { label: "isp-two" } });
  await roundTrip(page, 9, {}, "Dial-out settings stored", { open: false, shown: { selno: { label: "isp-two" } } });
  assert.deepEqual(await providers(page), [["isp-two"], ["0192022"], ["bob"], ["pw-2"]]);
  expectConfig("dialout.config", { DIALOUT_ISP_N: "1", DIALOUT_ISP_1_NAME: "isp-two", DIALOUT_ISP_ACTIVE: "1" });

  // Switched off: only the device is stored (the provider removed stays); the
  // result page has no texts of its own.
  await page.selectOption("select[data-list=userlist]", { label: "bob" });
  await page.click(".listedit button[data-action=remove]");
  assert.deepEqual(await providers(page), [[], [], [], []]);
  await roundTrip(page, 9, { dialout_dev: "none" }, "Settings applied",
    { open: false, shown: { dialout_dev: "none", Timeout: "120" } });
  await expectDisabled(page, DIAL);
  assert.deepEqual(await providers(page), [["isp-two"], ["0192022"], ["bob"], ["pw-2"]]);
  expectConfig("dialout.config", { DIALOUT_DEV: "none", DIALOUT_ISP_N: "1" });
});

pageTest("internal GSM modem: AT command and PIN stored apart; dialing out through an external DSL modem", async (page) => {
  model("MX-RT-210B-GSM-KORU");
  await openItem(page, 7);
  assert.equal((await page.textContent("#internal legend")).trim(), "GSM Modem (intern)");
  assert.equal(await page.locator("#internal #INT_pinAT, #internal #INT_pin").count(), 2);
  assert.equal(await page.locator("#INT_country, #INT_msn").count(), 0);
  await fill(page, { INT_pinAT: "AT+CFUN=1", INT_pin: "4321", [type("dsl")]: true });
  assert.deepEqual(await sections(page), [false, false, true]);
  await roundTrip(page, 7, {}, "Modem settings stored",
    { open: false, shown: { INT_pinAT: "AT+CFUN=1", INT_pin: "4321", [type("dsl")]: true } });
  expectConfig("modem.config", { INT_MODEM_GSM_ATCMD: "AT+CFUN=1", INT_MODEM_GSM_PIN: "4321", EXT_MODEM_TYPE: "dsl",
    EXT_MODEM_COUNTRY_CODE: "04" });

  // A DSL modem needs no init command: its field is not offered.
  await openItem(page, 9, "deutsch");
  assert.deepEqual(await optionTexts(page, "#dialout_dev"), ["Keine", "Intern", "Extern"]);
  assert.equal(await page.locator("#Cmnd").count(), 0);
  await roundTrip(page, 9, { dialout_dev: "external" }, "Einwahl nach außen übernommen",
    { lang: "deutsch", open: false, shown: { dialout_dev: "external", Timeout: "300" } });
  await shot(page, "dialout-dsl-deutsch");
  expectConfig("dialout.config", { DIALOUT_DEV: "eth1", DIALOUT_MTU: "1492", DIALOUT_MRU: "1492", DIALOUT_MODEM_CMD: "ATZ" });
});

pageTest("internal analog and ISDN modems: the country and the MSN, in German", async (page) => {
  model("MX-RT-210B-AN-KORU");
  await openItem(page, 7, "deutsch");
  assert.equal((await page.textContent("#internal legend")).trim(), "Analog Modem (intern)");
  await expectFields(page, { INT_country: { label: "DE" } });
  await roundTrip(page, 7, { INT_country: { label: "CH" } }, "Modemeinstellungen übernommen", { lang: "deutsch", open: false });
  expectConfig("modem.config", { INT_MODEM_COUNTRY_CODE: "A6", EXT_MODEM_TYPE: "none" });

  model("MX-RT-210B-ISDN-KORU");
  await openItem(page, 7, "deutsch");
  assert.equal(await page.locator("#INT_country").count(), 0);
  await roundTrip(page, 7, { INT_msn: "0301234567" }, "Modemeinstellungen übernommen", { lang: "deutsch", open: false });
  await shot(page, "modem-isdn-deutsch");
  expectConfig("modem.config", { INT_MODEM_ISDN_MSN: "0301234567", INT_MODEM_COUNTRY_CODE: "A6" });
  // An internal modem is enough to dial out.
  await openItem(page, 9, "deutsch");
  assert.deepEqual(await optionTexts(page, "#dialout_dev"), ["Keine", "Intern"]);
  await fill(page, { dialout_dev: "internal" });
  await submit(page);
  expectConfig("dialout.config", { DIALOUT_DEV: "ttyS1", DIALOUT_MTU: "576", DIALOUT_MODEM_CMD: "ATZ" });
});
