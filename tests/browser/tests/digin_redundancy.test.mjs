// The digital inputs page: the inputs' state as the kernel file gives it, and
// the monitoring round trip. Redundancy and remote dial, whose items keep no
// handler: the form comes unfilled, says so and cannot be applied.
import assert from "node:assert/strict";
import fs from "node:fs";
import {
  expectConfig, expectDisabled, expectFields, fetchPath, fill, openItem, pageTest, roundTrip, sandboxPath, shot,
} from "./support.mjs";

const TRANSITIONS = ["di1lh", "di1hl", "di2lh", "di2hl"];

// Each input's word, text colour and background as the page shows them.
const inputs = (page) => page.locator("#di1state, #di2state").evaluateAll((els) => els.map((e) => {
  const style = getComputedStyle(e);
  return [e.textContent, style.color, style.backgroundColor];
}));
const ON = ["on", "rgb(0, 0, 0)", "rgb(239, 123, 0)"];
const OFF = ["off", "rgb(239, 123, 0)", "rgb(0, 0, 0)"];
const NONE = ["no service", "rgb(0, 0, 0)", "rgb(192, 192, 192)"];

pageTest("digital inputs: the state follows /proc/qx_di", async (page) => {
  for (const [state, shown] of [["2\n", [OFF, ON]], ["3\n", [ON, ON]], ["1\n", [ON, OFF]], ["", [NONE, NONE]]]) {
    fs.writeFileSync(sandboxPath("proc/qx_di"), state);
    await openItem(page, 48);
    assert.deepEqual(await inputs(page), shown, JSON.stringify(state));
    if (state === "2\n") await shot(page, "digital-inputs-state");
  }
  fs.rmSync(sandboxPath("proc/qx_di"));
  // German pages show the driver's word in German, in the same colours.
  await openItem(page, 48, "deutsch");
  const unknown = ["unbekannt", ...NONE.slice(1)];
  assert.deepEqual(await inputs(page), [unknown, unknown]);
});

pageTest("digital inputs: monitoring on with transitions, off again keeps them", async (page) => {
  const STORED = "Digital inputs stored";
  await openItem(page, 48);
  await expectFields(page, { dim: false, di1lh: false });
  await expectDisabled(page, TRANSITIONS);
  await fill(page, { dim: true });
  await expectDisabled(page, TRANSITIONS, false);
  await roundTrip(page, 48, { di1lh: true, di2hl: true }, STORED,
    { open: false, shown: { dim: true, di1lh: true, di1hl: false, di2lh: false, di2hl: true } });
  await expectDisabled(page, TRANSITIONS, false);
  expectConfig("digin.config", { DIGIN_OPT: "yes", DIGIN_DI1LH: "yes", DIGIN_DI1HL: "no", DIGIN_DI2LH: "no",
    DIGIN_DI2HL: "yes" });
  // Off: the transitions are greyed out and kept as chosen.
  await roundTrip(page, 48, { dim: false }, STORED, { open: false, shown: { dim: false, di1lh: true, di2hl: true } });
  await expectDisabled(page, TRANSITIONS);
  expectConfig("digin.config", { DIGIN_OPT: "no", DIGIN_DI1LH: "yes", DIGIN_DI2HL: "yes" });
});

pageTest("redundancy and remote dial: the unfilled form says so and offers no Apply", async (page) => {
  const pages = [
    { item: 41, lang: "english", marks: ["{REDUNT_IP}", "{TYP0}"], empty: ["rdial_ip", "rdial_port", "rex_ip", "rex_port"],
      note: /neither/ },
    { item: 42, lang: "english", marks: ["{RDIAL_PORT}", "{IPOPTS}"], empty: ["rdial_port"], note: /neither/ },
    { item: 42, lang: "deutsch", marks: ["{IPLIST}"], empty: ["rdial_port"], note: /keine Änderungen/ },
  ];
  for (const p of pages) {
    // The program sends the template as it is...
    await openItem(page, p.item, p.lang);
    const { text: raw } = await fetchPath(page, `/cgi-bin/gwadmin?item=${p.item}&lang=${p.lang}`);
    for (const mark of p.marks) assert.ok(raw.includes(mark), `item ${p.item}: ${mark} sent unfilled`);
    // ...and the page shows empty fields, the note, and Apply disabled.
    await expectFields(page, Object.fromEntries(p.empty.map((f) => [f, ""])));
    assert.ok(await page.isVisible("[data-unfilled-note]"), `item ${p.item}: note shown`);
    assert.match(await page.textContent("[data-unfilled-note]"), p.note);
    await expectDisabled(page, [".actions input[type=submit]"]);
    if (p.lang === "english") await shot(page, `unfilled-${p.item}`);
  }
  // The remote dial's client list starts empty, without a stray mark.
  assert.equal(await page.locator("select[data-list=iplist] option").count(), 0);
  assert.equal(await page.locator("input[name=iplist]").inputValue(), "");
});
