// The virtual IP mapping and the black and white lists: tables edited as a
// user would, applied, shown again; the interface and the list type kept.
import assert from "node:assert/strict";
import {
  expectConfig, expectDisabled, expectFields, fill, listEdit, openItem, optionTexts, pageTest, roundTrip, shot,
} from "./support.mjs";

// The message next to a field of the page ("" when it has none).
const problem = (page, id) => page.evaluate((i) => document.getElementById(`${i}-problem`)?.textContent ?? "", id);

// The rows of a list editor, each as its columns' texts joined by blanks.
async function rows(page, lists) {
  const cols = await Promise.all(lists.map((l) => optionTexts(page, `select[data-list=${l}]`)));
  return cols[0].map((_, i) => cols.map((c) => c[i]).join(" "));
}

pageTest("virtual IP mapping: pairs added on LAN, kept when the mapping is switched off", async (page) => {
  const STORED = "Virtual IP mapping stored";
  const inputs = ["ip2minput", "m2ipinput"];
  const pairs = () => rows(page, ["ip2mlist", "m2iplist"]);
  await openItem(page, 28);
  // Factory state: no interface, the address inputs greyed out, no pairs.
  await expectFields(page, { vmap_interface: "none" });
  await expectDisabled(page, inputs);
  assert.deepEqual(await pairs(), []);
  await fill(page, { vmap_interface: { label: "LAN" } });
  await expectDisabled(page, inputs, false);
  for (const i of [10, 11, 12]) await listEdit(page, { ip2minput: `10.1.0.${i}`, m2ipinput: `192.168.0.${i}` });
  await page.selectOption("select[data-list=m2iplist]", { label: "192.168.0.11" });
  await page.click(".listedit button[data-action=remove]");
  // An address that is none is refused, with the message next to its field.
  await listEdit(page, { ip2minput: "10.1.0.100", m2ipinput: "192.168.100.300" });
  assert.match(await problem(page, "m2ipinput"), /^Enter an IPv4 address/);
  const expected = ["10.1.0.10 192.168.0.10", "10.1.0.12 192.168.0.12"];
  assert.deepEqual(await pairs(), expected);
  await shot(page, "vmp-editing");
  await roundTrip(page, 28, {}, STORED, { open: false, shown: { vmap_interface: "eth0" } });
  assert.deepEqual(await pairs(), expected);
  assert.match(await page.textContent("main"), /Pairs stored: 2\./);
  expectConfig("mapping.config", { VMAP_ITF: "eth0", VMAP_VIRTETH_N: "2", VMAP_VIRTETH_1_IP2M: "10.1.0.10",
    VMAP_VIRTETH_1_M2IP: "192.168.0.10", VMAP_VIRTETH_2_IP2M: "10.1.0.12", VMAP_VIRTETH_2_M2IP: "192.168.0.12" });
  // Switched off: the interface is stored as "none", the pairs stay and are shown again.
  await roundTrip(page, 28, { vmap_interface: "none" }, STORED, { open: false });
  await expectDisabled(page, inputs);
  assert.deepEqual(await pairs(), expected);
  expectConfig("mapping.config", { VMAP_ITF: "none", VMAP_VIRTETH_N: "2", VMAP_VIRTETH_2_M2IP: "192.168.0.12" });
});

pageTest("black and white lists: entries edited, the list made a white list, both shown again", async (page) => {
  const entries = () => rows(page, ["hostlist", "protlist", "portlist"]);
  const entry = (host, prot, port, action) =>
    listEdit(page, { hostinput: host, protinput: prot, portinput: port }, action);
  await openItem(page, 32, "deutsch");
  // Factory state: a black list without entries.
  await expectFields(page, { listblack: true, listwhite: false });
  assert.deepEqual(await entries(), []);
  await entry("192.168.0.10", "tcp", "80");
  await entry("10.0.0.5", "udp", "53");
  // A range that ends before it starts is refused; the first entry is replaced.
  await entry("10.0.0.6", "tcp", "10000:2000");
  assert.match(await problem(page, "portinput"), /^Geben Sie einen Port von 1 bis 65535, einen Bereich/);
  await page.selectOption("select[data-list=hostlist]", { index: 0 });
  await entry("192.168.0.20", "all", "6881:6889", "replace");
  const expected = ["192.168.0.20 all 6881:6889", "10.0.0.5 udp 53"];
  assert.deepEqual(await entries(), expected);
  await shot(page, "blwhit-editing");
  await roundTrip(page, 32, { listwhite: true }, "Schwarze und weiße Listen übernommen",
    { lang: "deutsch", open: false, shown: { listwhite: true, listblack: false } });
  assert.deepEqual(await entries(), expected);
  expectConfig("blackwhite.config", { BLWH_LIST_TYPE: "white", BLWH_LIST_N: "2", BLWH_LIST_1_HOST: "192.168.0.20",
    BLWH_LIST_1_PROT: "all", BLWH_LIST_1_PORT: "6881:6889", BLWH_LIST_2_HOST: "10.0.0.5", BLWH_LIST_2_PORT: "53" });
  // Back to a black list with the last entry removed.
  await page.selectOption("select[data-list=portlist]", { index: 1 });
  await page.click(".listedit button[data-action=remove]");
  await roundTrip(page, 32, { listblack: true }, "Schwarze und weiße Listen übernommen",
    { lang: "deutsch", open: false, shown: { listwhite: false, listblack: true } });
  assert.deepEqual(await entries(), expected.slice(0, 1));
  expectConfig("blackwhite.config", { BLWH_LIST_TYPE: "black", BLWH_LIST_N: "1" });
});
