// The settings forms: values are checked in the page before a form goes out (the message next
// to the field, in the page's language), the list editors refuse bad entries and take Enter,
// leaving a page with changes that were not applied asks first, every control has a label, and
// the pages run under a security policy without inline scripts.
import assert from "node:assert/strict";
import fs from "node:fs";
import {
  BASE, config, expectConfig, fill, follow, headline, listEdit, openItem, optionTexts, pageTest, readLog, sandboxPath,
  submit,
} from "./support.mjs";

const LANGS = ["english", "deutsch"];
const model = (name) => fs.writeFileSync(sandboxPath("etc/deviceID"), `${name}\n`);

// The message shown next to a field, "" when there is none; the field must point to it.
async function problemOf(page, id) {
  return page.locator(`#${id}`).evaluate((el) => {
    const box = document.getElementById(`${el.id}-problem`);
    if (!box || !box.textContent) return "";
    if (!(el.getAttribute("aria-describedby") || "").split(" ").includes(box.id)) return "not described by its message";
    if (el.getAttribute("aria-invalid") !== "true") return "not marked invalid";
    return box.textContent;
  });
}

// Whether the page would have the browser ask before it goes.
const stopsUnload = (page) => page.evaluate(() => {
  const event = new Event("beforeunload", { cancelable: true });
  window.dispatchEvent(event);
  return event.defaultPrevented;
});

// Apply is pressed; the form must not go out: the page stays, no command runs, the file is as it was.
async function refused(page, item, file) {
  const [commands, before] = [readLog("commands"), config(file)];
  await page.click(".actions input[type=submit]");
  await page.waitForTimeout(200);
  assert.match(page.url(), new RegExp(`item=${item}&`), "the form did not go out");
  assert.equal(readLog("commands"), commands, "no command ran");
  assert.deepEqual(config(file), before, `${file} unchanged`);
}

// Per shape a bad value: the page, what to set first, the field, the value, the message's start
// in English and German.
const IPV4 = ["Enter an IPv4 address", "Geben Sie eine IPv4-Adresse"];
const BAD = [
  { item: 24, file: "network.config", field: "ETH0_ip", value: "192.168.0.300", says: IPV4 },
  { item: 24, file: "network.config", field: "ETH0_ip", value: "abc", says: IPV4 },
  { item: 24, file: "network.config", field: "ETH0_ip", value: "", says: ["Please fill in", "Bitte füllen Sie"] },
  { item: 24, file: "network.config", field: "ETH0_prefix", value: "33", says: ["Enter a prefix length", "Präfixlänge"] },
  { item: 24, file: "network.config", field: "Hostname", value: "gate way", says: ["Enter a host name", "Hostnamen"] },
  // A setting keeps an apostrophe as four characters: 51 of them do not fit in 200.
  { item: 39, file: "snmp.config", field: "location", value: "'".repeat(51), says: ["At most 200 characters, each apostrophe",
    "Höchstens 200 Zeichen, wobei jeder Apostroph"] },
  { item: 46, file: "openvpn.config", set: { "input[name=vpnmode][value=server]": true }, field: "vport", value: "99999",
    says: ["Enter a port from 1 to 65535", "Geben Sie einen Port von 1 bis 65535"] },
  { item: 46, file: "openvpn.config", set: { "input[name=vpnmode][value=server]": true }, field: "ovpnservermask",
    value: "255.0.255.0", says: ["Enter a network mask", "Netzmaske"] },
  { item: 37, file: "dhcp.config", set: { dhcpfromaddr: "192.168.0.100" }, field: "dhcptoaddr", value: "192.168.0.99",
    says: ["The last address must not come before the first", "Die letzte Adresse darf nicht vor der ersten"] },
  { item: 37, file: "dhcp.config", field: "dhcplease", value: "0", says: ["Enter a whole number from 1 to 596523",
    "Geben Sie eine ganze Zahl von 1 bis 596523"] },
  { item: 6, file: "log.config", set: { remoteLog: true }, field: "syslog_remote_ip", value: "999.1.1.1",
    says: ["Enter a host name or an IPv4 address", "Hostnamen oder eine IPv4-Adresse"] },
  { item: 2, file: "time.config", field: "monat", value: "13", says: ["from 1 to 12", "von 1 bis 12"] },
  { item: 35, file: "pppoe.config", set: { enabled: true }, field: "connpoll", value: "60s",
    says: ["Enter a whole number from 1 to 86400", "Geben Sie eine ganze Zahl von 1 bis 86400"] },
];

pageTest("a bad value keeps the form from going out, with the message next to the field, in both languages", async (page) => {
  for (const lang of LANGS) {
    for (const c of BAD) {
      const what = `${lang} item ${c.item} ${c.field}="${c.value}"`;
      await openItem(page, c.item, lang);
      await fill(page, { ...c.set, [c.field]: c.value });
      await refused(page, c.item, c.file);
      const message = await problemOf(page, c.field);
      assert.ok(message.includes(c.says[LANGS.indexOf(lang)]), `${what}: "${message}"`);
      assert.equal(await page.evaluate(() => document.activeElement.id), c.field, `${what}: the field has the focus`);
      // Put right, the message goes and the form goes out.
      if (c.item === 24 && c.field === "ETH0_ip") {
        await fill(page, { ETH0_ip: "192.168.0.1" });
        assert.equal(await problemOf(page, c.field), "", `${what}: message gone`);
      }
    }
  }
  // Good values of every shape above go through.
  await openItem(page, 24);
  await fill(page, { ETH0_ip: "10.0.0.1", ETH0_prefix: "8", Domainname: "localdomain" });
  await submit(page);
  expectConfig("network.config", { IP_ETH0_IPADDR: "10.0.0.1/8" });
  await openItem(page, 37);
  await fill(page, { dhcpfromaddr: "192.168.0.100", dhcptoaddr: "192.168.0.100", dhcplease: "596523", dhcpmask: "255.255.254.0" });
  await submit(page);
  expectConfig("dhcp.config", { DHCPD_LEASE_END: "192.168.0.100", DHCPD_LEASE_TIME: "2147482800", DHCPD_SUBNET: "255.255.254.0" });
  await openItem(page, 46);
  await fill(page, { "input[name=vpnmode][value=server]": true, vport: "65535" });
  await submit(page);
  expectConfig("openvpn.config", { OVPN_PORT: "65535" });
});

pageTest("a stored value longer than the page can show back is not applied again cut", async (page) => {
  // The key line is read in pieces of 255 characters: a longer key comes back cut, and
  // applying the page again would store the cut key.
  const file = sandboxPath("tmp/ulsp/ipsec.config");
  const key = "k".repeat(240);
  fs.writeFileSync(file, fs.readFileSync(file, "utf8").replace("IPSEC_PEER_GW_PSK=''", `IPSEC_PEER_GW_PSK='${key}'`)
    .replace("IPSEC_MODE='off'", "IPSEC_MODE='peer'"));
  for (const [lang, says] of [["english", "At most 234 characters."], ["deutsch", "Höchstens 234 Zeichen."]]) {
    await openItem(page, 29, lang);
    assert.ok((await page.inputValue("#ipskey")).length < key.length, "shown cut");
    await fill(page, { rtarget: "vpn.example.com" });
    await refused(page, 29, "ipsec.config");
    assert.equal(await problemOf(page, "ipskey"), says);
  }
});

pageTest("list editors refuse a bad entry next to its field; Enter adds a good one without sending the form", async (page) => {
  const routes = async () => Promise.all(["routelist", "gwaylist", "masqlist"].map((l) => optionTexts(page, `select[data-list=${l}]`)));
  for (const [lang, net, gway] of [["english", "Enter a network as address/prefix", "Enter an IPv4 address"],
    ["deutsch", "Geben Sie ein Netz als Adresse/Präfixlänge", "Geben Sie eine IPv4-Adresse"]]) {
    await openItem(page, 30, lang);
    await listEdit(page, { routeinput: "not-a-net", gwayinput: "999.1.1.1" });
    assert.ok((await problemOf(page, "routeinput")).startsWith(net), lang);
    assert.ok((await problemOf(page, "gwayinput")).startsWith(gway), lang);
    await listEdit(page, { routeinput: "10.1.2.0/16", gwayinput: "192.168.0.254" });
    assert.match(await problemOf(page, "routeinput"), /10\.1\.0\.0/, `${lang}: the network a prefix gives`);
    assert.deepEqual(await routes(), [[], [], []], `${lang}: nothing added`);
  }
  // Enter in an entry field adds the entry; the page stays. (The German page shows the value
  // chosen in a select by its label and sends the value.)
  const commands = readLog("commands");
  await fill(page, { routeinput: "10.1.0.0/16", gwayinput: "192.168.0.254", masqinput: "yes" });
  await page.press("#gwayinput", "Enter");
  assert.deepEqual(await routes(), [["10.1.0.0/16"], ["192.168.0.254"], ["ja"]]);
  assert.match(page.url(), /item=30&/);
  assert.equal(readLog("commands"), commands);
  await fill(page, { routeinput: "0.0.0.0/0" });
  await page.press("#routeinput", "Enter");
  await submit(page);
  expectConfig("static.config", { STATIC_ROUTE_N: "2", STATIC_ROUTE_1_TARGET: "10.1.0.0/16", STATIC_ROUTE_1_MASQ: "yes",
    STATIC_ROUTE_2_TARGET: "0.0.0.0/0" });
});

pageTest("leaving a page with changes that were not applied asks first; after Apply nothing asks", async (page) => {
  const browserQuestions = [];
  page.on("dialog", (d) => { browserQuestions.push(d.type()); return d.accept(); });
  const question = page.locator("dialog#leavequestion");
  const unloadStopped = () => stopsUnload(page);
  for (const [lang, text] of [["english", /not been applied/], ["deutsch", /nicht übernommen/]]) {
    await openItem(page, 37, lang);
    assert.equal(await unloadStopped(), false, `${lang}: nothing changed yet`);
    await fill(page, { dhcpdomain: "changed.test" });
    assert.equal(await unloadStopped(), true, `${lang}: the browser asks before the page goes`);
    // A menu link asks in the page; staying keeps the page and the change.
    await page.click("nav#menu a[data-item='24']");
    assert.ok(await question.isVisible(), `${lang}: asked`);
    assert.match(await question.textContent(), text);
    await question.locator("button[value=stay]").click();
    assert.match(page.url(), /item=37&/);
    assert.equal(await page.inputValue("#dhcpdomain"), "changed.test");
    // The language switch asks too; leaving goes.
    await page.click("#langswitch a:not(.current)");
    assert.ok(await question.isVisible(), `${lang}: the language switch asks`);
    await Promise.all([page.waitForURL((u) => u.searchParams.get("lang") !== lang), question.locator("button[value=leave]").click()]);
  }
  // A list editor's entry counts as a change; a change taken back does not.
  await openItem(page, 3);
  await listEdit(page, { hostinput: "alpha", ipinput: "192.168.0.10" });
  assert.equal(await unloadStopped(), true, "an added entry");
  await openItem(page, 37);
  assert.deepEqual(browserQuestions.splice(0), ["beforeunload"], "the browser asked before the page went");
  await fill(page, { dhcpdomain: "changed.test" });
  await fill(page, { dhcpdomain: "localdomain" });
  assert.equal(await unloadStopped(), false, "taken back");
  // Applied: no question, neither on the way out nor from the result page.
  await fill(page, { dhcpdomain: "applied.test" });
  await submit(page);
  await follow(page, "nav#menu a[data-item='24']", /item=24/);
  assert.equal(await headline(page), "Basic settings");
  assert.deepEqual(browserQuestions, [], "no browser question");
  expectConfig("dhcp.config", { DHCPD_DOMAIN: "applied.test" });
});

// The settings pages (item, and with it the template's name for the report).
const PAGES = [24, 3, 37, 6, 29, 35, 28, 32, 45, 39, 30, 31, 18, 36, 7, 9, 11, 10, 41, 42, 46, 26, 27, 2];

pageTest("every control of every settings page has a label; no inline script; a policy that forbids them", async (page) => {
  model("MX-RT-210B-GSM-KORU");  // a modem, so that the dial pages show their forms
  const violations = [];
  // (The modem page's type buttons come from the program with an inline handler attribute, which
  // the policy refuses: the page's script does their work.)
  page.on("console", (m) => { if (/inline script/.test(m.text())) violations.push(`${page.url()}: ${m.text()}`); });
  for (const lang of LANGS) {
    for (const item of PAGES) {
      const response = await page.goto(`${BASE}/cgi-bin/gwadmin?item=${item}&lang=${lang}`);
      const policy = response.headers()["content-security-policy"] || "";
      const scripts = /(?:^|;)\s*script-src([^;]*)/.exec(policy)?.[1] ?? "";
      assert.ok(scripts.includes("'self'") && !scripts.includes("unsafe"), `${lang} item ${item}: script-src${scripts}`);
      const html = await response.text();
      assert.doesNotMatch(html, /<script(?![^>]*\bsrc=)[^>]*>/, `${lang} item ${item}: an inline script`);
      const where = `${lang} item ${item}`;
      const unnamed = await page.locator("main").evaluate((main) => {
        const name = (el) => [...(el.labels || [])].map((l) => l.textContent).join("") || el.getAttribute("aria-label") ||
          (el.getAttribute("aria-labelledby") || "").split(" ").map((id) => document.getElementById(id)?.textContent || "").join("") ||
          (el.tagName === "BUTTON" ? el.textContent : "") || (/^(submit|button)$/.test(el.type) ? el.value : "");
        return [...main.querySelectorAll("input:not([type=hidden]), select, textarea, button")]
          .filter((el) => el.getClientRects().length && !name(el).trim()).map((el) => el.outerHTML.slice(0, 80));
      });
      assert.deepEqual(unnamed, [], `${where}: controls without a label`);
      assert.equal(await page.locator("main [onclick], main [onchange], main [onsubmit]").count(), 0, `${where}: inline handlers`);
      assert.equal(await stopsUnload(page), false, `${where}: a page just opened asks nothing before it goes`);
      if (item === 7) {
        // The program's own type buttons: labelled, and their sections follow them.
        await page.click("input[name=Modemtype][value=analog]");
        assert.ok(await page.isVisible("#EXT_country"), `${where}: the analog section`);
      }
    }
  }
  assert.deepEqual(violations, []);
});

pageTest("the messages that ask to set up a modem first lead to the modem page, in both languages", async (page) => {
  model("MX-RT-210B-KORU");
  for (const lang of LANGS) {
    for (const item of [9, 11]) {
      await openItem(page, item, lang);
      await follow(page, "main .warning a", (u) => u.searchParams.get("item") === "7" && u.searchParams.get("lang") === lang);
      assert.equal(await headline(page), "Modems");
    }
  }
});
