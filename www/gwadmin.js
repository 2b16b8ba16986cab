/* gwadmin: the menu, the language switch, the list editors and the mode
   sections shared by every page. */
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

function langInfo(dir) {
  for (var i = 0; i < LANGS.length; i++)
    if (dir && LANGS[i].dir.indexOf(dir) === 0) return LANGS[i];
  return LANGS[0];
}

function pageUrl(item, dir) {
  return CGI + "?item=" + item + "&lang=" + encodeURIComponent(dir);
}

/* The page's language and item come from the template; the result page,
   which all languages share, takes them from the page the user came from.
   A template that several items share leaves data-item empty: its item is
   taken from the address when it names one. */
function currentPage() {
  var body = document.body;
  var dir = body.getAttribute("data-lang");
  var item = body.getAttribute("data-item");
  if (item === "") {
    var named = /[?&]item=(\d+)/.exec(window.location.search);
    if (named) item = String(parseInt(named[1], 10));
  }
  try {
    if (dir) localStorage.setItem("gwadmin.lang", dir);
    else dir = localStorage.getItem("gwadmin.lang");
    if (item !== null && item !== "") localStorage.setItem("gwadmin.item", item);
    else item = localStorage.getItem("gwadmin.item");
  } catch (e) { /* storage may be off: fall back to the defaults */ }
  return { lang: langInfo(dir), item: item === null ? "0" : String(item),
           isResult: !body.getAttribute("data-lang") };
}

function buildMenu(page) {
  var nav = document.getElementById("menu");
  if (!nav) return;
  var code = page.lang.code;
  var home = document.createElement("a");
  home.href = pageUrl(0, page.lang.dir);
  home.textContent = code === "de" ? "Übersicht" : "Overview";
  if (page.item === "0" && !page.isResult) home.className = "current";
  nav.appendChild(home);
  MENU.forEach(function (group) {
    if (!group.pages.length) return;
    var h = document.createElement("h2");
    h.textContent = group[code];
    nav.appendChild(h);
    group.pages.forEach(function (p) {
      var a = document.createElement("a");
      a.href = pageUrl(p.item, page.lang.dir);
      a.textContent = p[code];
      a.setAttribute("data-item", p.item);
      if (String(p.item) === page.item && !page.isResult) a.className = "current";
      nav.appendChild(a);
    });
  });
}

function buildLangSwitch(page) {
  var box = document.getElementById("langswitch");
  if (!box) return;
  LANGS.forEach(function (l) {
    var a = document.createElement("a");
    a.href = pageUrl(page.isResult ? 0 : page.item, l.dir);
    a.textContent = l.name;
    a.setAttribute("hreflang", l.code);
    if (l.dir === page.lang.dir) a.className = "current";
    box.appendChild(a);
  });
  var back = document.getElementById("back");
  if (back) back.href = pageUrl(page.item, page.lang.dir);
}

/* Mode sections: chooseDiv(i) shows the sections marked data-div="i" and
   hides the others of the page. */
function chooseDiv(index) {
  var divs = document.querySelectorAll(".modediv");
  for (var i = 0; i < divs.length; i++)
    divs[i].hidden = divs[i].getAttribute("data-div") !== String(index);
}

/* List editors. Markup:
     <div class="listedit">
       <div class="col"><label>Name</label>
         <select size="8" data-list="hostlist">{HOSTOPTIONS}</select>
         <input type="text" data-max="25"></div>
       ... one column per field ...
     </div>
     <input type="hidden" name="hostlist" value='{HOSTLIST}'>
   The columns are kept in step: a row is added, replaced or removed in all
   of them at once, and on submit every field is sent as one blank-separated
   text with a blank after each entry, so all fields carry equally many
   entries. */
var LIST_MAX = 99;

function ListEditor(box) {
  this.box = box;
  this.cols = Array.prototype.map.call(box.querySelectorAll(".col"), function (col) {
    return { select: col.querySelector("select[data-list]"),
             input: col.querySelector("[data-input]") || col.querySelector("input") };
  });
  this.error = document.createElement("div");
  this.error.className = "error";
  this.error.setAttribute("role", "alert");
  var self = this;
  var german = langInfo(document.body.getAttribute("data-lang")).code === "de";
  this.text = german ?
    { add: "Hinzufügen", replace: "Ersetzen", remove: "Entfernen", up: "Nach oben", down: "Nach unten",
      empty: "Bitte jedes Feld ausfüllen.", blank: "Einträge dürfen keine Leerzeichen enthalten.",
      long: "Eintrag zu lang (höchstens %n Zeichen).", full: "Die Liste ist voll.",
      none: "Bitte zuerst einen Eintrag auswählen." } :
    { add: "Add", replace: "Replace", remove: "Remove", up: "Move up", down: "Move down",
      empty: "Please fill in every field.", blank: "Entries must not contain blanks.",
      long: "Entry too long (at most %n characters).", full: "The list is full.",
      none: "Please select an entry first." };
  var buttons = document.createElement("div");
  buttons.className = "buttons";
  [["add", this.add], ["replace", this.replace], ["remove", this.remove],
   ["up", function () { self.move(-1); }], ["down", function () { self.move(1); }]]
    .forEach(function (b) {
      var button = document.createElement("button");
      button.type = "button";
      button.className = "secondary";
      button.textContent = self.text[b[0]];
      button.setAttribute("data-action", b[0]);
      button.addEventListener("click", function () { self.error.textContent = ""; b[1].call(self); });
      buttons.appendChild(button);
    });
  box.appendChild(buttons);
  box.appendChild(this.error);
  this.cols.forEach(function (col) {
    col.select.addEventListener("change", function () { self.select(col.select.selectedIndex); });
  });
  var form = box.closest("form");
  if (form) form.addEventListener("submit", function () { self.store(); });
}

ListEditor.prototype.rows = function () { return this.cols[0].select.options.length; };

ListEditor.prototype.select = function (index) {
  this.cols.forEach(function (col) {
    col.select.selectedIndex = index;
    if (index >= 0 && col.input) col.input.value = col.select.options[index].text;
  });
};

/* The values of the input fields, or null after telling what is wrong. */
ListEditor.prototype.values = function () {
  var values = [];
  for (var i = 0; i < this.cols.length; i++) {
    var input = this.cols[i].input;
    var v = input ? input.value.trim() : "";
    var max = input ? parseInt(input.getAttribute("data-max") || "0", 10) : 0;
    if (!v) { this.error.textContent = this.text.empty; return null; }
    if (/\s/.test(v)) { this.error.textContent = this.text.blank; return null; }
    if (max && v.length > max) { this.error.textContent = this.text.long.replace("%n", max); return null; }
    values.push(v);
  }
  return values;
};

ListEditor.prototype.add = function () {
  if (this.rows() >= LIST_MAX) { this.error.textContent = this.text.full; return; }
  var values = this.values();
  if (!values) return;
  this.cols.forEach(function (col, i) { col.select.add(new Option(values[i])); });
  this.select(this.rows() - 1);
};

ListEditor.prototype.replace = function () {
  var index = this.cols[0].select.selectedIndex;
  if (index < 0) { this.error.textContent = this.text.none; return; }
  var values = this.values();
  if (!values) return;
  this.cols.forEach(function (col, i) { col.select.options[index].text = values[i]; });
};

ListEditor.prototype.remove = function () {
  var index = this.cols[0].select.selectedIndex;
  if (index < 0) { this.error.textContent = this.text.none; return; }
  this.cols.forEach(function (col) { col.select.remove(index); });
  this.select(Math.min(index, this.rows() - 1));
};

ListEditor.prototype.move = function (step) {
  var index = this.cols[0].select.selectedIndex, to = index + step;
  if (index < 0 || to < 0 || to >= this.rows()) return;
  this.cols.forEach(function (col) {
    var o = col.select.options, a = o[index].text;
    o[index].text = o[to].text;
    o[to].text = a;
  });
  this.select(to);
};

/* Each field as the page stores it: "a b c " (or nothing for no entries). */
ListEditor.prototype.store = function () {
  var form = this.box.closest("form");
  this.cols.forEach(function (col) {
    var name = col.select.getAttribute("data-list");
    var hidden = form.querySelector("input[type=hidden][name='" + name + "']");
    if (!hidden) {
      hidden = document.createElement("input");
      hidden.type = "hidden";
      hidden.name = name;
      form.appendChild(hidden);
    }
    var text = "";
    for (var i = 0; i < col.select.options.length; i++) text += col.select.options[i].text + " ";
    hidden.value = text;
  });
};

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
  buildMenu(page);
  buildLangSwitch(page);
  Array.prototype.forEach.call(document.querySelectorAll(".listedit"), function (box) {
    box.listEditor = new ListEditor(box);
  });
  /* A repeated password must equal the first entry before the form goes out. */
  Array.prototype.forEach.call(document.querySelectorAll("input[data-same-as]"), function (again) {
    var first = document.getElementById(again.getAttribute("data-same-as"));
    var check = function () {
      var german = langInfo(document.body.getAttribute("data-lang")).code === "de";
      again.setCustomValidity(first.value === again.value ? "" :
        german ? "Die Eingaben stimmen nicht überein." : "The two entries differ.");
    };
    first.addEventListener("input", check);
    again.addEventListener("input", check);
  });
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
