/* gwadmin: the page frame (menu, language switch, unsaved-changes state,
   in-page questions, result pages, restart countdown, log filter, German
   texts of the program's own words) and the mode sections, shared by every
   page. The settings forms' script (forms.js) comes after this one and uses
   its helpers: langInfo, stored and store, el, clickedLink, confirmInPage
   and chooseDiv. */
"use strict";

var CGI = "/cgi-bin/gwadmin";

/* The menu: the device's functions, each page with its item number.
   A page is listed once its handlers exist. */
var MENU = [
  { en: "Network services", de: "Netzwerkdienste", pages: [
    { item: 24, en: "Basic settings", de: "Grundeinstellungen" },
    { item: 3, en: "DNS", de: "DNS" },
    { item: 37, en: "DHCP server", de: "DHCP-Server" },
    { item: 6, en: "System log", de: "Systemprotokoll" },
    { item: 29, en: "IPsec and L2TP", de: "IPsec und L2TP" },
    { item: 35, en: "DSL access", de: "DSL-Zugang" },
    { item: 28, en: "Virtual IP mapping", de: "Virtuelle IP-Zuordnung" },
    { item: 32, en: "Black and white lists", de: "Schwarze und weiße Listen" },
    { item: 45, en: "OSPF routing", de: "OSPF-Routing" },
    { item: 39, en: "SNMP agent", de: "SNMP-Agent" }
  ] },
  { en: "WAN, dial and firewall", de: "WAN, Einwahl und Firewall", pages: [
    { item: 30, en: "Static routes", de: "Statische Routen" },
    { item: 31, en: "Port forwarding", de: "Portweiterleitung" },
    { item: 18, en: "Port filter", de: "Portfilter" },
    { item: 36, en: "Firewall rules", de: "Firewallregeln" },
    { item: 7, en: "Modems", de: "Modems" },
    { item: 9, en: "Dial-out", de: "Einwahl nach außen" },
    { item: 11, en: "Dial-in", de: "Einwahl von außen" },
    { item: 10, en: "Dynamic DNS", de: "Dynamisches DNS" },
    { item: 41, en: "Redundancy", de: "Redundanz" },
    { item: 42, en: "Remote dial", de: "Fernwahl" }
  ] },
  { en: "VPN and certificates", de: "VPN und Zertifikate", pages: [
    { item: 46, en: "OpenVPN", de: "OpenVPN" },
    { item: 49, en: "OpenVPN status", de: "OpenVPN-Status" },
    { item: 26, en: "Certificate authority", de: "Zertifizierungsstelle" },
    { item: 27, en: "Certificate management", de: "Zertifikatsverwaltung" }
  ] },
  { en: "Status and time", de: "Status und Zeit", pages: [
    { item: 2, en: "Time", de: "Uhrzeit" },
    { item: 22, en: "Network status", de: "Netzwerkstatus" },
    { item: 43, en: "System log status", de: "Protokollstatus" },
    { item: 44, en: "Time status", de: "Zeitstatus" },
    { item: 48, en: "Digital inputs", de: "Digitale Eingänge" }
  ] },
  { en: "Maintenance", de: "Wartung", pages: [
    { item: 1, en: "Firmware update", de: "Firmware-Update" },
    { item: 19, en: "Save configuration", de: "Konfiguration sichern" },
    { item: 38, en: "Factory defaults", de: "Werkseinstellungen" },
    { item: 20, en: "Restart", de: "Neustart" }
  ] }
];

var LANGS = [ { dir: "english", code: "en", name: "English" },
              { dir: "deutsch", code: "de", name: "Deutsch" } ];

/* The frame's own texts. */
var TEXT = {
  en: {
    overview: "Overview", skip: "Skip to content", menu: "Menu", cancel: "Cancel",
    back: "Back to %s", backHome: "Back to the overview",
    unsaved: "Unsaved changes",
    persist: "Not yet permanent: the change is in the running configuration only and is lost at the next restart unless you save it.",
    saveNow: "Save now",
    saveTitle: "Save the configuration?",
    saveText: "The running configuration, the OpenVPN settings and the certificates are saved to permanent storage and replace what was saved before.",
    saveOk: "Save",
    restartText: "The router is restarting. This takes about a minute. This page waits until the router answers again and then opens the overview.",
    restartWait: "First check in %n s.",
    restartPoll: "Waiting for the router to answer … (%n s)",
    restartHome: "Open the overview now",
    logSearch: "Search", logLevel: "Show", logNewest: "Newest first",
    logLevels: [["err", "Errors"], ["warning", "Warnings and errors"], ["notice", "Notices and above"],
                ["info", "Everything but debug lines"], ["debug", "Everything, with debug lines"]],
    logCount: "%n of %t lines shown."
  },
  de: {
    overview: "Übersicht", skip: "Zum Inhalt springen", menu: "Menü", cancel: "Abbrechen",
    back: "Zurück zu %s", backHome: "Zurück zur Übersicht",
    unsaved: "Ungesicherte Änderungen",
    persist: "Noch nicht dauerhaft: Die Änderung steht nur in der laufenden Konfiguration und geht beim nächsten Neustart verloren, wenn Sie sie nicht sichern.",
    saveNow: "Jetzt sichern",
    saveTitle: "Konfiguration sichern?",
    saveText: "Die laufende Konfiguration, die OpenVPN-Einstellungen und die Zertifikate werden dauerhaft gesichert und ersetzen die bisherige Sicherung.",
    saveOk: "Sichern",
    restartText: "Der Router startet neu. Das dauert etwa eine Minute. Diese Seite wartet, bis der Router wieder antwortet, und öffnet dann die Übersicht.",
    restartWait: "Erste Prüfung in %n s.",
    restartPoll: "Warten auf Antwort des Routers … (%n s)",
    restartHome: "Übersicht jetzt öffnen",
    logSearch: "Suchen", logLevel: "Anzeigen", logNewest: "Neueste zuerst",
    logLevels: [["err", "Fehler"], ["warning", "Warnungen und Fehler"], ["notice", "Hinweise und wichtiger"],
                ["info", "Alles außer Debug-Zeilen"], ["debug", "Alles, mit Debug-Zeilen"]],
    logCount: "%n von %t Zeilen angezeigt."
  }
};

/* Words that the program itself prints in English on every language's pages
   (option labels, status cells); German pages show them translated. The
   page's bytes keep the program's words, and the values sent stay as they
   are: only the texts shown change. */
var PROGRAM_DE = {
  "None": "Keine", "static": "statisch", "dhcp": "DHCP",
  "RUNNING": "LÄUFT", "NOT RUNNING": "LÄUFT NICHT",
  "No connections": "Keine Verbindungen", "Not connected": "Nicht verbunden", "Device": "Gerät",
  "on": "ein", "off": "aus", "no service": "unbekannt",
  "yes": "ja", "no": "nein"
};

function langInfo(dir) {
  for (var i = 0; i < LANGS.length; i++)
    if (dir && LANGS[i].dir.indexOf(dir) === 0) return LANGS[i];
  return LANGS[0];
}

function pageUrl(item, dir) {
  return CGI + "?item=" + item + "&lang=" + encodeURIComponent(dir);
}

/* The browser's storage, where there is one (the tab's own with session,
   else the lasting one): without it every call does nothing and reads give
   null. */
function storage(session) { return session ? window.sessionStorage : window.localStorage; }
function stored(key, session) {
  try { return storage(session).getItem("gwadmin." + key); } catch (e) { return null; }
}
function store(key, value, session) {
  try {
    if (value === null) storage(session).removeItem("gwadmin." + key);
    else storage(session).setItem("gwadmin." + key, value);
  } catch (e) { /* storage may be off */ }
}

/* An element with attributes (and properties for names that are ones) and
   an optional text. */
function el(tag, attrs, text) {
  var e = document.createElement(tag);
  Object.keys(attrs || {}).forEach(function (k) {
    if (k === "className" || k === "hidden") e[k] = attrs[k];
    else e.setAttribute(k, attrs[k]);
  });
  if (text !== undefined) e.textContent = text;
  return e;
}

/* A value that the main flow has not filled in yet ("{ITEM}") counts as none. */
function filled(value) {
  return value === null || /^\{[A-Z][A-Z0-9_]*\}$/.test(value) ? null : value;
}

/* The page's language and item come from the template. The result page,
   which all languages share, has them filled in by the main flow; where it
   still shows its marks, they are taken from the address, else from the
   page the user came from. A template that several items share leaves
   data-item empty: its item is taken from the address. */
function currentPage() {
  var body = document.body;
  var isResult = body.hasAttribute("data-result");
  var dir = filled(body.getAttribute("data-lang"));
  var item = filled(body.getAttribute("data-item"));
  if (item === "" || (item === null && isResult)) {
    var named = /[?&]item=(\d+)/.exec(window.location.search);
    item = named ? String(parseInt(named[1], 10)) : null;
  }
  if (dir) store("lang", dir); else dir = stored("lang");
  if (item !== null && item !== "") store("item", item); else item = stored("item");
  var lang = langInfo(dir);
  item = item === null ? "0" : String(item);
  /* The marks that were not filled give way to what was found. */
  if (isResult) {
    body.setAttribute("data-lang", lang.dir);
    body.setAttribute("data-item", item);
    document.documentElement.lang = lang.code;
  }
  return { lang: lang, item: item, isResult: isResult, text: TEXT[lang.code] };
}

/* The menu's name of a page, null for a page the menu does not list. */
function pageName(item, code) {
  if (String(item) === "0") return TEXT[code].overview;
  for (var g = 0; g < MENU.length; g++)
    for (var p = 0; p < MENU[g].pages.length; p++)
      if (String(MENU[g].pages[p].item) === String(item)) return MENU[g].pages[p][code];
  return null;
}

function markCurrent(a) {
  a.className = "current";
  a.setAttribute("aria-current", "page");
}

function buildMenu(page) {
  var nav = document.getElementById("menu");
  if (!nav) return;
  var code = page.lang.code;
  nav.setAttribute("aria-label", page.text.menu);
  var home = el("a", { href: pageUrl(0, page.lang.dir), "data-item": "0" }, TEXT[code].overview);
  if (page.item === "0") markCurrent(home);
  nav.appendChild(home);
  MENU.forEach(function (group) {
    if (!group.pages.length) return;
    nav.appendChild(el("h2", {}, group[code]));
    group.pages.forEach(function (p) {
      var a = el("a", { href: pageUrl(p.item, page.lang.dir), "data-item": p.item }, p[code]);
      if (String(p.item) === page.item) markCurrent(a);
      nav.appendChild(a);
    });
  });
}

/* The language switch leads to the same page in the other language. Pages
   that act when they are opened lead elsewhere: the save page (opening it
   saves again) to the overview, the restart's result to the restart page. */
function buildLangSwitch(page) {
  var box = document.getElementById("langswitch");
  if (!box) return;
  var target = page.item === "19" ? 0 : page.item;
  LANGS.forEach(function (l) {
    var a = el("a", { href: pageUrl(target, l.dir), hreflang: l.code, lang: l.code }, l.name);
    if (l.dir === page.lang.dir) {
      a.className = "current";
      a.setAttribute("aria-current", "true");
    }
    box.appendChild(a);
  });
}

/* On narrow screens the menu folds behind a button in the header. */
function buildMenuButton(page) {
  var header = document.querySelector("header.top");
  var nav = document.getElementById("menu");
  if (!header || !nav) return;
  var button = el("button", { type: "button", id: "menubutton", className: "menubutton",
                              "aria-controls": "menu", "aria-expanded": "false" }, page.text.menu);
  button.addEventListener("click", function () {
    var open = document.body.classList.toggle("menu-open");
    button.setAttribute("aria-expanded", String(open));
  });
  header.insertBefore(button, header.firstChild);
  document.body.classList.add("menu-folds");
}

/* The unsaved-changes state, kept in the browser: set by the result page of
   an apply, cleared by the save page and by a restart (which drops what was
   not saved). The header shows it until then. */
function unsavedState(page) {
  var failed = document.querySelector(".outcome.failed");
  if (page.isResult && page.item === "20") store("unsaved", null);
  else if (page.item === "19" && !failed) store("unsaved", null);
  else if (page.isResult && page.item !== "19") store("unsaved", "1");
  var header = document.querySelector("header.top");
  if (!header || stored("unsaved") !== "1") return;
  var flag = el("a", { id: "unsaved", className: "unsaved", href: pageUrl(19, page.lang.dir) }, page.text.unsaved);
  var sw = document.getElementById("langswitch");
  header.insertBefore(flag, sw);
}

/* An in-page question with two buttons, the focus on the one that says no;
   onYes runs when the user agrees. Escape, that button and a click beside
   the dialog answer no. question: title and/or text, ok and cancel (the
   buttons' texts), danger (a yes that destroys), id (the dialog's, default
   "confirm"; its parts are id-title and id-text) and values (the buttons'
   values, no and yes: default ["cancel", "ok"]). */
function confirmInPage(question, onYes) {
  var back = document.activeElement;
  var id = question.id || "confirm";
  var values = question.values || ["cancel", "ok"];
  var dialog = el("dialog", { id: id, className: "confirm",
                              "aria-labelledby": id + (question.title ? "-title" : "-text") });
  if (question.title) dialog.appendChild(el("h2", { id: id + "-title" }, question.title));
  if (question.text) dialog.appendChild(el("p", { id: id + "-text" }, question.text));
  if (question.title && question.text) dialog.setAttribute("aria-describedby", id + "-text");
  var row = el("div", { className: "actions" });
  var no = el("button", { type: "button", className: "secondary", value: values[0] }, question.cancel);
  var yes = el("button", { type: "button", className: question.danger ? "danger" : "", value: values[1] }, question.ok);
  no.addEventListener("click", function () { dialog.close(values[0]); });
  yes.addEventListener("click", function () { dialog.close(values[1]); });
  dialog.addEventListener("click", function (e) {
    var box = dialog.getBoundingClientRect();
    if (e.target === dialog && (e.clientX < box.left || e.clientX > box.right ||
                                e.clientY < box.top || e.clientY > box.bottom)) dialog.close(values[0]);
  });
  dialog.addEventListener("close", function () {
    var agreed = dialog.returnValue === values[1];
    dialog.remove();
    if (agreed) onYes();
    else if (back && back.focus) back.focus();
  });
  row.appendChild(no);
  row.appendChild(yes);
  dialog.appendChild(row);
  document.body.appendChild(dialog);
  dialog.showModal();
  no.focus();
}

/* Whether a link opens the save page, which saves as soon as it opens. */
function savesOnOpen(a) {
  if (!a.href || a.hasAttribute("data-no-confirm")) return false;
  var url = new URL(a.href, window.location.href);
  return url.origin === window.location.origin && url.pathname === CGI &&
         url.searchParams.get("item") === "19";
}

/* The link under a plain click (the first button, no modifier key, not
   stopped by another script), or null. */
function clickedLink(e) {
  if (e.defaultPrevented || e.button !== 0 || e.ctrlKey || e.metaKey || e.shiftKey || e.altKey) return null;
  return e.target.closest ? e.target.closest("a[href]") : null;
}

/* Links to the save page ask first; forms marked data-confirm (factory
   defaults, restart) ask their own question before they are sent. */
function confirmations(page) {
  document.addEventListener("click", function (e) {
    var a = clickedLink(e);
    if (!a || !savesOnOpen(a)) return;
    e.preventDefault();
    confirmInPage({ title: page.text.saveTitle, text: page.text.saveText, ok: page.text.saveOk,
                    cancel: page.text.cancel },
                  function () { window.location.href = a.href; });
  });
  document.addEventListener("submit", function (e) {
    var form = e.target;
    if (!form.hasAttribute || !form.hasAttribute("data-confirm")) return;
    if (form.confirmed) { form.confirmed = false; return; }
    e.preventDefault();
    confirmInPage({ title: form.getAttribute("data-confirm"), text: form.getAttribute("data-confirm-text"),
                    ok: form.getAttribute("data-confirm-ok"), cancel: page.text.cancel, danger: true },
                  function () {
                    form.confirmed = true;
                    if (form.requestSubmit) form.requestSubmit(); else form.submit();
                  });
  }, true);
}

/* The result page: menu entry, title, the way back, and after an apply the
   note that the change is not permanent yet, with the save at hand. */
function resultFrame(page) {
  var name = pageName(page.item, page.lang.code);
  var head = document.getElementById("headline");
  var headText = head ? head.textContent.trim() : "";
  document.title = "gwadmin – " + (name ? name + " – " : "") + headText;
  var skip = document.querySelector("a.skip");
  if (skip) skip.textContent = page.text.skip;
  /* "{OUTCOME}" is filled by the handlers that report one; where it is
     still the bare mark it goes. */
  Array.prototype.forEach.call(document.getElementById("main").childNodes, function (n) {
    if (n.nodeType === 3 && n.nodeValue.trim() === "{OUTCOME}") n.parentNode.removeChild(n);
  });
  var back = document.getElementById("back");
  if (back) {
    back.href = pageUrl(page.item, page.lang.dir);
    back.textContent = name && page.item !== "0" ? page.text.back.replace("%s", name) : page.text.backHome;
  }
  if (page.item === "20") { restartCountdown(page); return; }
  if (page.item === "19") return;
  var persist = el("div", { id: "persist", className: "persist", role: "note" });
  persist.appendChild(el("p", {}, page.text.persist));
  persist.appendChild(el("a", { className: "button", href: pageUrl(19, page.lang.dir), "data-no-confirm": "" },
                         page.text.saveNow));
  var message = document.getElementById("message");
  if (message) message.parentNode.insertBefore(persist, message.nextSibling);
}

/* Seconds before the first check after a restart (the router is still up
   while it writes the page), and between checks. */
var RESTART_FIRST_CHECK = 20, RESTART_CHECK_EVERY = 3;

/* After a restart the page's address becomes the overview's at once, so
   that neither reloading nor going back and forth sends the restart again.
   A countdown waits, then asks the router for a small file until it
   answers, and opens the overview. */
function restartCountdown(page) {
  var home = pageUrl(0, page.lang.dir);
  window.history.replaceState(null, "", home);
  var message = document.getElementById("message");
  if (message) message.hidden = true;
  var back = document.getElementById("back");
  if (back) { back.href = home; back.textContent = page.text.restartHome; }
  var box = el("div", { id: "restart", className: "restart result" });
  box.appendChild(el("p", {}, page.text.restartText));
  var state = el("p", { id: "restart-state", role: "status", "aria-live": "polite" });
  box.appendChild(state);
  var main = document.getElementById("main");
  main.insertBefore(box, message || null);
  var start = Date.now(), asked = 0, asking = false;
  var ask = function () {
    asking = true;
    asked = Date.now();
    var stop = window.AbortController ? new AbortController() : null;
    var timer = setTimeout(function () { if (stop) stop.abort(); }, 2500);
    fetch("/favicon.svg?restart=" + asked, { cache: "no-store", signal: stop ? stop.signal : undefined })
      .then(function (r) { if (r.ok) window.location.replace(home); })
      .catch(function () { /* not yet */ })
      .then(function () { clearTimeout(timer); asking = false; });
  };
  /* Counted from the clock, not by ticks, so that a sleeping tab or a
     slow timer does not stretch the wait. */
  var tick = function () {
    var now = Date.now(), left = RESTART_FIRST_CHECK - Math.floor((now - start) / 1000);
    state.textContent = left > 0 ? page.text.restartWait.replace("%n", left)
                                 : page.text.restartPoll.replace("%n", Math.floor((now - start) / 1000));
    if (left <= 0 && !asking && now - asked >= RESTART_CHECK_EVERY * 1000) ask();
  };
  tick();
  var timer = setInterval(tick, 1000);
  window.addEventListener("pagehide", function () { clearInterval(timer); });
}

/* The system log (item 43): a search, a level filter that hides debug lines
   at first, newest lines first. The program's own trace lines, which it logs
   as information, count as debug lines. */
var LEVELS = { emerg: 0, panic: 0, alert: 1, crit: 2, err: 3, error: 3, warn: 4, warning: 4,
               notice: 5, info: 6, debug: 7 };
var TRACES = [/>>>/, /\b(ENTRANCE|EXIT)$/, /geht los|los gehts|bis hier|auslesen|ausgelesen|kommando|keystate|keymode|datefield|certfile/,
              / returns 0$/];

function logLevel(line, previous) {
  var find = /\s[a-z0-9]+\.([a-z]+)(?=\s)/g, m, level;
  while ((m = find.exec(line)) && LEVELS[m[1]] === undefined) { /* a host name, not a level */ }
  if (!m) return previous;
  level = LEVELS[m[1]];
  for (var i = 0; i < TRACES.length; i++) if (TRACES[i].test(line)) return 7;
  return level;
}

function logFilter(page) {
  var out = document.querySelector("textarea.output");
  if (page.item !== "43" || !out) return;
  var level = 6, lines = [];
  out.value.split("\n").forEach(function (line) {
    if (!line) return;
    level = logLevel(line, level);
    lines.push({ text: line, level: level });
  });
  var t = page.text;
  var tools = el("div", { className: "logtools" });
  var search = el("input", { type: "search", id: "logsearch" });
  var levels = el("select", { id: "loglevel" });
  t.logLevels.forEach(function (l) { levels.appendChild(el("option", { value: l[0] }, l[1])); });
  levels.value = "info";
  var newest = el("input", { type: "checkbox", id: "lognewest" });
  newest.checked = true;
  var count = el("p", { id: "logcount", className: "note", role: "status" });
  [[t.logSearch, search], [t.logLevel, levels]].forEach(function (pair) {
    var label = el("label", { "for": pair[1].id, className: "field" }, pair[0] + " ");
    tools.appendChild(label);
    tools.appendChild(pair[1]);
  });
  var newestLabel = el("label", { "for": "lognewest", className: "check" });
  newestLabel.appendChild(newest);
  newestLabel.appendChild(document.createTextNode(" " + t.logNewest));
  tools.appendChild(newestLabel);
  out.parentNode.insertBefore(tools, out);
  out.parentNode.insertBefore(count, out);
  var hash = /^#search=(.*)$/.exec(window.location.hash);
  if (hash) search.value = decodeURIComponent(hash[1]);
  var show = function () {
    var most = LEVELS[levels.value], word = search.value.trim().toLowerCase();
    var shown = lines.filter(function (l) {
      return l.level <= most && (!word || l.text.toLowerCase().indexOf(word) >= 0);
    }).map(function (l) { return l.text; });
    if (newest.checked) shown.reverse();
    out.value = shown.join("\n");
    count.textContent = t.logCount.replace("%n", shown.length).replace("%t", lines.length);
  };
  search.addEventListener("input", show);
  levels.addEventListener("change", show);
  newest.addEventListener("change", show);
  show();
}

/* German pages: the program's English words, where they stand alone as an
   option's label (of a select whose value is sent, not of a list editor's
   entries), beside a radio button or in a status cell marked data-translate. */
function germanWords(page) {
  if (page.lang.code !== "de") return;
  var swap = function (node) {
    var word = node.nodeValue.trim();
    if (word && Object.prototype.hasOwnProperty.call(PROGRAM_DE, word))
      node.nodeValue = node.nodeValue.replace(word, PROGRAM_DE[word]);
  };
  var texts = function (root) {
    var walk = document.createTreeWalker(root, NodeFilter.SHOW_TEXT), found = [];
    while (walk.nextNode()) found.push(walk.currentNode);
    found.forEach(swap);
  };
  Array.prototype.forEach.call(document.querySelectorAll("select:not([data-list]) option[value]"), texts);
  Array.prototype.forEach.call(document.querySelectorAll("[data-translate]"), texts);
  Array.prototype.forEach.call(document.querySelectorAll("input[type=radio]"), function (radio) {
    var next = radio.nextSibling;
    if (next && next.nodeType === 3) swap(next);
  });
}

/* The OpenVPN status page: when the service does not run, say what to do. */
function vpnGuidance() {
  var help = document.getElementById("vpnhelp");
  var state = document.querySelector(".vpnstate");
  if (help && state && state.textContent.trim() === "NOT RUNNING") help.hidden = false;
}

/* Buttons marked data-reload reload the page (wired here: the pages carry
   no inline handlers). */
function wiring() {
  Array.prototype.forEach.call(document.querySelectorAll("[data-reload]"), function (b) {
    b.addEventListener("click", function () { window.location.reload(); });
  });
}

/* Mode sections: chooseDiv(i) shows the sections marked data-div="i" and
   hides the others of the page. */
function chooseDiv(index) {
  var divs = document.querySelectorAll(".modediv");
  for (var i = 0; i < divs.length; i++)
    divs[i].hidden = divs[i].getAttribute("data-div") !== String(index);
}

/* A page that applies without messages of its own (the DSL page switched
   off) leaves the result page's marks in place: show a plain text instead. */
function plainResult(page) {
  var head = document.getElementById("headline");
  var message = document.getElementById("message");
  if (!head || head.textContent.trim() !== "{HEADLINE}") return;
  head.textContent = page.lang.code === "de" ? "Einstellungen übernommen" : "Settings applied";
  if (message && message.textContent.trim() === "{MESSAGE}") message.textContent = "";
}

/* A form that may come back without its values (data-unfilled: its item has
   no handler, so the template is sent as it is): values and texts that are
   still a bare mark are emptied, its note (data-unfilled-note) is shown and
   its submit buttons are disabled, since an apply would store nothing. */
function unfilledForms() {
  var bare = /^\s*\{[A-Z][A-Z0-9_]*\}\s*$/;
  Array.prototype.forEach.call(document.querySelectorAll("form[data-unfilled]"), function (form) {
    var found = false;
    Array.prototype.forEach.call(form.querySelectorAll("[value]"), function (el) {
      if (!bare.test(el.getAttribute("value"))) return;
      el.setAttribute("value", "");
      found = true;
    });
    var walk = document.createTreeWalker(form, NodeFilter.SHOW_TEXT), marks = [];
    while (walk.nextNode()) if (bare.test(walk.currentNode.nodeValue)) marks.push(walk.currentNode);
    marks.forEach(function (text) { text.parentNode.removeChild(text); });
    if (!found && !marks.length) return;
    Array.prototype.forEach.call(form.querySelectorAll("[data-unfilled-note]"), function (note) { note.hidden = false; });
    Array.prototype.forEach.call(form.querySelectorAll("input[type=submit], button[type=submit]"),
      function (button) { button.disabled = true; });
  });
}

document.addEventListener("DOMContentLoaded", function () {
  var page = currentPage();
  plainResult(page);
  unfilledForms();
  vpnGuidance();
  germanWords(page);
  buildMenu(page);
  buildLangSwitch(page);
  unsavedState(page);
  buildMenuButton(page);
  confirmations(page);
  wiring();
  if (page.isResult) resultFrame(page);
  else if (document.body.getAttribute("data-item") === "" && document.getElementById("headline"))
    document.title = "gwadmin – " + document.getElementById("headline").textContent.trim();
  logFilter(page);
  var chosen = document.querySelector("[data-choose]");
  if (chosen) chooseDiv(chosen.getAttribute("data-choose"));
  /* Fields follow a switch where a page asks for it: data-enables names the
     fields; a checkbox enables them while checked, a select while its value
     equals data-when or, given data-unless instead, differs from it. */
  Array.prototype.forEach.call(document.querySelectorAll("[data-enables]"), function (ctl) {
    var update = function () {
      var on = ctl.type === "checkbox" ? ctl.checked :
        ctl.hasAttribute("data-unless") ? ctl.value !== ctl.getAttribute("data-unless") :
        ctl.value === ctl.getAttribute("data-when");
      Array.prototype.forEach.call(document.querySelectorAll(ctl.getAttribute("data-enables")),
        function (el) { el.disabled = !on; });
    };
    ctl.addEventListener("change", update);
    update();  /* the fields follow what the control shows from the start */
  });
});
