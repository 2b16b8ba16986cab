// Who gets in: the login that the demo's web server asks for, as the router's does (before every page and
// file; user admin, against the password the basic settings page stores, a change counting at once); the
// refusal of requests from another site's page and by a name that is not the device's, with the headers
// that Chromium sends; in the HTTPS pass the server certificate that the browser gets.
import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import fs from "node:fs";
import {
  BASE, FACTORY_PASSWORD, HTTPS, config, fetchPath, fill, follow, headline, openItem, pageTest,
  reachAs, sandboxPath, setConfig, shot, submit,
} from "./support.mjs";

const P12 = "not a real PKCS#12 file, only its bytes count here";

// The answer asks for the login: status 401 with a basic-authentication question, nothing of the device in it.
function assertAsked({ status, headers, text }, what) {
  assert.equal(status, 401, `${what}: HTTP status`);
  assert.match(headers["www-authenticate"] ?? "", /^Basic realm="gwadmin"/, `${what}: login asked`);
  assert.doesNotMatch(text, /gateway|<form|PKCS/, `${what}: nothing of the device shown`);
}

// Opens a path in the browser: the answer as `assertAsked` takes it.
async function open(page, path) {
  const response = await page.goto(`${BASE}${path}`);
  return { status: response.status(), headers: response.headers(), text: await page.content() };
}

pageTest("login: every page and file asks for it; a wrong password is refused; the printed factory password opens them",
  async (page, session) => {
    fs.writeFileSync(sandboxPath("home/httpd/vpnpeer.p12"), P12);
    const response = await page.goto(`${BASE}/cgi-bin/gwadmin?item=24&lang=english`);
    if (HTTPS) {  // the certificate that the browser gets: for the device's name (self-signed, in the sandbox)
      const { subjectName, issuer } = await response.securityDetails();
      assert.deepEqual([subjectName, issuer], [new URL(BASE).hostname, new URL(BASE).hostname]);
    }
    // Without the login (a request that sends none) nothing is served, not even the save page that changes the device.
    for (const path of ["/", "/cgi-bin/gwadmin?item=24", "/style.css", "/vpnpeer.p12", "/cgi-bin/gwadmin?item=19"]) {
      assertAsked(await fetchPath(page, path, { credentials: "omit" }), path);
    }
    const wrong = await session.newPage({ password: `${FACTORY_PASSWORD}x` });
    assertAsked(await open(wrong, "/cgi-bin/gwadmin?item=24&lang=english"), "a wrong password");
    await shot(wrong, "login-refused");
    // With it, a page and a file as it is.
    const p12 = await fetchPath(page, "/vpnpeer.p12");
    assert.deepEqual([response.status(), p12.status, p12.text], [200, 200, P12]);
  });

pageTest("login: a password set on the basic settings page counts at once; the old one is refused; an empty hash lets "
  + "nobody in", async (page, session) => {
  await openItem(page, 24);
  await fill(page, { Kennwort: "Neu-Pass-7", KennwortRe: "Neu-Pass-7" });
  // The result page's own script and style sheet already ask for the new password; the browser, asked again, answers.
  await page.context().setHTTPCredentials({ username: "admin", password: "Neu-Pass-7" });
  await submit(page);
  assert.equal(await headline(page), "Basic settings stored");
  // From the next request on the old password is refused; the new one opens the pages.
  assertAsked(await open(await session.newPage(), "/style.css"), "the old password");
  await openItem(page, 24);
  // A password the settings cannot hold (an empty hash) lets nobody in, not even with an empty password.
  setConfig("system.config", { SYSTEM_USER_PASS: "" });
  execFileSync("sh", [sandboxPath("../login-sync")]);
  const passwords = ["", "Neu-Pass-7"];
  const answers = await Promise.all(passwords.map(async (password) => open(await session.newPage({ password }), "/")));
  answers.forEach((answer, i) => assertAsked(answer, `password "${passwords[i]}"`));
});

pageTest("requests from another site's page, and by a name that is not the device's, are refused and change nothing",
  async (page) => {
    // Another site's page, which the browser gets from here: a form that applies the DHCP page and a
    // link to the save page, both aimed at the device.
    await page.route("http://shop.test/**", (route) => route.fulfill({ contentType: "text/html",
      body: `<form method="post" action="${BASE}/cgi-bin/gwadmin"><input name="item" value="37"><input name="act" value="1">`
        + `<input name="dhcplease" value="1"><button>Send</button></form>`
        + `<a href="${BASE}/cgi-bin/gwadmin?item=19">Save</a>` }));
    const dhcp = config("dhcp.config");
    for (const [selector, item] of [["button", null], ["a", "19"]]) {
      await page.goto("http://shop.test/");
      await follow(page, selector, (u) => u.pathname === "/cgi-bin/gwadmin" && u.searchParams.get("item") === item);
      assert.equal(await headline(page), "Request refused", selector);
      assert.match(await page.textContent("main"), /came from another web site/);
    }
    // A name of another site that leads to the device (DNS rebinding): its page is shown, the change refused.
    reachAs("rebound.example");
    await openItem(page, 37);
    await fill(page, { dhcplease: "1" });
    await submit(page);
    assert.match(await page.textContent("main"), /sent to a name that is not this device's own address/);
    assert.deepEqual(config("dhcp.config"), dhcp, "nothing changed");
    assert.equal(fs.existsSync(sandboxPath("var/persist/config")), false, "nothing saved");
  });
