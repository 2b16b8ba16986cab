// The settings forms, in both languages: a bad value keeps the form from going out and is named next to its field;
// the list editors refuse bad entries and take Enter; leaving a page with changes that were not applied asks first.
import assert from "node:assert/strict";
import {
  LANGS, expectConfig, fill, follow, listEdit, lists, openItem, pageTest, setConfig, stopsUnload, submit,
} from "./support.mjs";

// The message next to a field, "" when there is none; the field must point to it.
const problemOf = (page, id) => page.locator(`#${id}`).evaluate((el) => {
  const box = document.getElementById(`${el.id}-problem`);
  if (!box || !box.textContent) return "";
  if (!(el.getAttribute("aria-describedby") || "").split(" ").includes(box.id)) return "not described by its message";
  return el.getAttribute("aria-invalid") === "true" ? box.textContent : "not marked invalid";
});

// Per page (with what to set first) bad values, a row per shape: the field, the value (null: as shown), the message's
// start in English and German, and a good value (default: the one shown). None of them lets the form go out.
const BAD = [
  { item: 24, set: { Kennwort: "Secret-42", KennwortRe: "Secret-42" }, rows: [
    ["ETH0_ip", "192.168.0.300", ["Enter an IPv4 address", "Geben Sie eine IPv4-Adresse"]],
    ["ETH0_ip", "", ["Please fill in", "Bitte füllen Sie"]], ["Hostname", "gate way", ["Enter a host name", "Hostnamen"]],
    ["ETH0_prefix", "33", ["Enter a prefix length", "Präfixlänge"]],
    ["KennwortRe", "Secret-43", ["The two entries differ.", "Die Eingaben stimmen nicht überein."], "Secret-42"]] },
  // A setting keeps an apostrophe as four characters: 51 of them do not fit in 200.
  { item: 39, rows: [["location", "'".repeat(51),
    ["At most 200 characters, each apostrophe", "Höchstens 200 Zeichen, wobei jeder Apostroph"]]] },
  { item: 46, set: { "input[name=vpnmode][value=server]": true }, rows: [
    ["vport", "99999", ["Enter a port from 1 to 65535", "Geben Sie einen Port von 1 bis 65535"]],
    ["ovpnservermask", "255.0.255.0", ["Enter a network mask", "Netzmaske"]]] },
  { item: 37, set: { dhcpfromaddr: "192.168.0.100" }, rows: [
    ["dhcptoaddr", "192.168.0.99",
      ["The last address must not come before the first", "Die letzte Adresse darf nicht vor der ersten"]],
    ["dhcplease", "0", ["Enter a whole number from 1 to 596523", "Geben Sie eine ganze Zahl von 1 bis 596523"]]] },
  { item: 6, set: { remoteLog: true }, rows: [["syslog_remote_ip", "999.1.1.1",
    ["Enter a host name or an IPv4 address", "Hostnamen oder eine IPv4-Adresse"], "loghost.test"]] },
  // A stored key longer than the page can show back comes back cut: applied again, it would be stored cut.
  { item: 29, set: { rtarget: "vpn.example.com" }, rows: [
    ["ipskey", null, ["At most 234 characters.", "Höchstens 234 Zeichen."], "k".repeat(234)]] },
];

pageTest("a bad value keeps the form from going out, the message next to its field, in both languages", async (page) => {
  setConfig("ipsec.config", { IPSEC_MODE: "peer", IPSEC_PEER_GW_PSK: "k".repeat(240) });
  for (const [l, lang] of LANGS.entries()) {
    for (const { item, set = {}, rows } of BAD) {
      await openItem(page, item, lang);
      await fill(page, set);
      for (const [field, value, says, good] of rows) {
        const what = `${lang} item ${item} ${field}="${value}"`, shown = await page.inputValue(`#${field}`);
        if (value !== null) await fill(page, { [field]: value });
        await page.click(".actions input[type=submit]");  // (a click waits for a page that it sends for to start loading)
        assert.ok(page.url().includes(`item=${item}&`), `${what}: the form went out`);
        const message = await problemOf(page, field);
        assert.ok(message.includes(says[l]), `${what}: "${message}"`);
        assert.equal(await page.evaluate(() => document.activeElement.id), field, `${what}: the field has the focus`);
        await fill(page, { [field]: good ?? shown });
        assert.equal(await problemOf(page, field), "", `${what}: put right, the message goes`);
      }
    }
  }
});

pageTest("list editors refuse a bad entry next to its field; Enter adds a good one, sending nothing", async (page) => {
  const routes = async () => Object.values(await lists(page, ["routelist", "gwaylist", "masqlist"]));
  await openItem(page, 30);
  await listEdit(page, { routeinput: "not-a-net", gwayinput: "999.1.1.1" });
  assert.ok((await problemOf(page, "routeinput")).startsWith("Enter a network as address/prefix"));
  assert.ok((await problemOf(page, "gwayinput")).startsWith("Enter an IPv4 address"));
  await listEdit(page, { routeinput: "10.1.2.0/16", gwayinput: "192.168.0.254" });
  assert.match(await problemOf(page, "routeinput"), /10\.1\.0\.0/, "the network a prefix gives");
  assert.deepEqual(await routes(), [[], [], []], "nothing added");
  // Enter in an entry field adds the entry; the page stays. (The German page shows a select's
  // value by its label and sends the value.)
  await openItem(page, 30, "deutsch");
  await fill(page, { routeinput: "10.1.0.0/16", gwayinput: "192.168.0.254", masqinput: "yes" });
  await page.press("#gwayinput", "Enter");
  assert.deepEqual(await routes(), [["10.1.0.0/16"], ["192.168.0.254"], ["ja"]]);
  assert.match(page.url(), /item=30&/);
  await fill(page, { routeinput: "0.0.0.0/0" });
  await page.press("#routeinput", "Enter");
  await submit(page);
  expectConfig({ "static.config": { STATIC_ROUTE_N: "2", STATIC_ROUTE_1_MASQ: "yes", STATIC_ROUTE_2_TARGET: "0.0.0.0/0" } });
});

pageTest("leaving a page with changes that were not applied asks first; after Apply nothing asks", async (page) => {
  const browserQuestions = [];
  page.on("dialog", (d) => { browserQuestions.push(d.type()); return d.accept(); });
  const question = page.locator("dialog#leavequestion");
  for (const [lang, text] of [["english", /not been applied/], ["deutsch", /nicht übernommen/]]) {
    await openItem(page, 37, lang);
    await fill(page, { dhcpdomain: "changed.test" });
    assert.equal(await stopsUnload(page), true, `${lang}: the browser asks before the page goes`);
    // A menu link asks in the page; staying keeps the page and the change.
    await page.click("nav#menu a[data-item='24']");
    assert.match(await question.textContent(), text);
    await question.locator("button[value=stay]").click();
    assert.match(page.url(), /item=37&/);
    assert.equal(await page.inputValue("#dhcpdomain"), "changed.test");
    // The language switch asks too; leaving goes.
    await page.click("#langswitch a:not(.current)");
    assert.ok(await question.isVisible(), `${lang}: the language switch asks`);
    await Promise.all([page.waitForURL((u) => u.searchParams.get("lang") !== lang),
      question.locator("button[value=leave]").click()]);
  }
  // A list editor's entry counts as a change; a change taken back does not.
  await openItem(page, 3);
  await listEdit(page, { hostinput: "alpha", ipinput: "192.168.0.10" });
  await openItem(page, 37);
  assert.deepEqual(browserQuestions.splice(0), ["beforeunload"], "the browser asked before the page went");
  await fill(page, { dhcpdomain: "changed.test" });
  await fill(page, { dhcpdomain: "localdomain" });
  assert.equal(await stopsUnload(page), false, "taken back");
  // Applied: no question, neither on the way out nor from the result page.
  await fill(page, { dhcpdomain: "applied.test" });
  await submit(page);
  await follow(page, "nav#menu a[data-item='24']", /item=24/);
  assert.deepEqual(browserQuestions, [], "no browser question");
});
