/* gwadmin: the settings forms. What the pages' own scripts did (mode
   sections, the modem page, the provider list, the time zones and the clock,
   the certificate pages), the list editors, the checks of what is typed
   before a form is sent, and the question before a page with changes that
   were not applied is left. Everything is found through ids and data
   attributes of the templates, so the pages need no inline script. It comes
   after gwadmin.js and uses the frame's helpers (langInfo, stored and store,
   el, clickedLink, confirmInPage, chooseDiv). */
"use strict";

(function () {

var TEXT = {
  en: {
    required: "Please fill in this field.",
    long: "At most %n characters.",
    apostrophes: "At most %n characters, each apostrophe (') counting as four.",
    short: "At least %n characters.",
    quote: "Apostrophes (') are not allowed here.",
    blank: "Entries must not contain blanks.",
    differ: "The two entries differ.",
    order: "The last address must not come before the first.",
    ipv4: "Enter an IPv4 address such as 192.168.0.1: four numbers from 0 to 255, separated by dots.",
    "ipv4-list": "Enter IPv4 addresses such as 192.168.0.1, separated by blanks.",
    "ipv4-port": "Enter an IPv4 address, optionally with a port, such as 192.168.0.10:8080.",
    mask: "Enter a network mask such as 255.255.255.0.",
    cidr: "Enter a network as address/prefix length, such as 10.0.0.0/8.",
    "cidr-start": "Enter the network's first address: with /%p that is %a/%p.",
    prefix: "Enter a prefix length from 1 to 32.",
    int: "Enter a whole number from %min to %max.",
    port: "Enter a port from 1 to 65535.",
    ports: "Enter a port from 1 to 65535 or a range such as 6881:6889.",
    "ports-any": "Enter a port from 1 to 65535, a range such as 6881:6889, or any.",
    "host-any": "Enter an IPv4 address or any.",
    hostname: "Enter a host name: letters, digits and hyphens, its parts separated by dots.",
    host: "Enter a host name or an IPv4 address.",
    word: "Blanks are not allowed here.",
    phone: "Enter a phone number: digits and the dial characters * # + , W P T.",
    digits: "Enter digits only.",
    pin: "Enter 4 to 8 digits.",
    email: "Enter an e-mail address such as admin@example.com.",
    add: "Add", replace: "Replace", remove: "Remove", up: "Move up", down: "Move down",
    full: "The list is full.",
    none: "Please select an entry first.",
    leave: "The changes on this page have not been applied. Leave the page anyway?",
    leaveYes: "Leave the page", leaveNo: "Stay on the page"
  },
  de: {
    required: "Bitte füllen Sie dieses Feld aus.",
    long: "Höchstens %n Zeichen.",
    apostrophes: "Höchstens %n Zeichen, wobei jeder Apostroph (') als vier zählt.",
    short: "Mindestens %n Zeichen.",
    quote: "Apostrophe (') sind hier nicht erlaubt.",
    blank: "Einträge dürfen keine Leerzeichen enthalten.",
    differ: "Die Eingaben stimmen nicht überein.",
    order: "Die letzte Adresse darf nicht vor der ersten liegen.",
    ipv4: "Geben Sie eine IPv4-Adresse wie 192.168.0.1 ein: vier Zahlen von 0 bis 255, durch Punkte getrennt.",
    "ipv4-list": "Geben Sie IPv4-Adressen wie 192.168.0.1 ein, durch Leerzeichen getrennt.",
    "ipv4-port": "Geben Sie eine IPv4-Adresse ein, auf Wunsch mit Port, z. B. 192.168.0.10:8080.",
    mask: "Geben Sie eine Netzmaske wie 255.255.255.0 ein.",
    cidr: "Geben Sie ein Netz als Adresse/Präfixlänge ein, z. B. 10.0.0.0/8.",
    "cidr-start": "Geben Sie die erste Adresse des Netzes an: Bei /%p ist das %a/%p.",
    prefix: "Geben Sie eine Präfixlänge von 1 bis 32 ein.",
    int: "Geben Sie eine ganze Zahl von %min bis %max ein.",
    port: "Geben Sie einen Port von 1 bis 65535 ein.",
    ports: "Geben Sie einen Port von 1 bis 65535 oder einen Bereich wie 6881:6889 ein.",
    "ports-any": "Geben Sie einen Port von 1 bis 65535, einen Bereich wie 6881:6889 oder any ein.",
    "host-any": "Geben Sie eine IPv4-Adresse oder any ein.",
    hostname: "Geben Sie einen Hostnamen ein: Buchstaben, Ziffern und Bindestriche, die Teile durch Punkte getrennt.",
    host: "Geben Sie einen Hostnamen oder eine IPv4-Adresse ein.",
    word: "Leerzeichen sind hier nicht erlaubt.",
    phone: "Geben Sie eine Rufnummer ein: Ziffern und die Wählzeichen * # + , W P T.",
    digits: "Geben Sie nur Ziffern ein.",
    pin: "Geben Sie 4 bis 8 Ziffern ein.",
    email: "Geben Sie eine E-Mail-Adresse wie admin@example.com ein.",
    add: "Hinzufügen", replace: "Ersetzen", remove: "Entfernen", up: "Nach oben", down: "Nach unten",
    full: "Die Liste ist voll.",
    none: "Bitte zuerst einen Eintrag auswählen.",
    leave: "Die Änderungen auf dieser Seite wurden nicht übernommen. Die Seite trotzdem verlassen?",
    leaveYes: "Seite verlassen", leaveNo: "Auf der Seite bleiben"
  }
};

var byId = function (id) { return id ? document.getElementById(id) : null; };
var each = function (list, fn) { Array.prototype.forEach.call(list, fn); };

/* The page's language, as the frame found it. */
function lang() { return langInfo(document.body.getAttribute("data-lang")).code; }

/* A text of the page's language, its %marks filled from params. */
function say(key, params) {
  var text = TEXT[lang()][key];
  Object.keys(params || {}).forEach(function (p) { text = text.split("%" + p).join(String(params[p])); });
  return text;
}


/* ---- shapes of values ------------------------------------------------- */

/* An IPv4 address as a number, or null: four decimal numbers 0-255 without
   leading zeros (which some tools read as octal). */
function ipv4(v) {
  var m = /^(\d{1,3})\.(\d{1,3})\.(\d{1,3})\.(\d{1,3})$/.exec(v);
  if (!m) return null;
  var n = 0;
  for (var i = 1; i <= 4; i++) {
    if ((m[i].length > 1 && m[i].charAt(0) === "0") || parseInt(m[i], 10) > 255) return null;
    n = n * 256 + parseInt(m[i], 10);
  }
  return n;
}

function dotted(n) {
  return [24, 16, 8, 0].map(function (s) { return Math.floor(n / Math.pow(2, s)) % 256; }).join(".");
}

/* A whole number in min..max (leading zeros allowed: the time page shows
   "05"). */
function inRange(v, min, max) {
  return /^\d{1,10}$/.test(v) && parseInt(v, 10) >= min && parseInt(v, 10) <= max;
}

var isPort = function (v) { return inRange(v, 1, 65535); };

/* A port or a range "first:last" with first <= last. */
function isPorts(v) {
  var m = /^(\d+)(?::(\d+))?$/.exec(v);
  return !!m && isPort(m[1]) && (m[2] === undefined || (isPort(m[2]) && parseInt(m[1], 10) <= parseInt(m[2], 10)));
}

/* Letters, digits, hyphens (and underscores, which some names carry) in
   parts of at most 63 characters separated by dots; a name of digits and
   dots alone must be an address. */
function isHostname(v) {
  if (v.length > 253 || /^[\d.]+$/.test(v)) return false;
  return v.split(".").every(function (part) { return /^[A-Za-z0-9_](?:[A-Za-z0-9_-]{0,61}[A-Za-z0-9_])?$/.test(part); });
}

/* Each shape: the value's problem as [message key, params], or null. */
var SHAPES = {
  ipv4: function (v) { return ipv4(v) === null ? ["ipv4"] : null; },
  "ipv4-list": function (v) {
    return v.split(" ").every(function (w) { return w === "" || ipv4(w) !== null; }) ? null : ["ipv4-list"];
  },
  "ipv4-port": function (v) {
    var m = /^([^:]*)(?::(.*))?$/.exec(v);
    return ipv4(m[1]) !== null && (m[2] === undefined || isPort(m[2])) ? null : ["ipv4-port"];
  },
  mask: function (v) {
    var n = ipv4(v);
    var rest = n === null ? 1 : (Math.pow(2, 32) - 1 - n);  /* the host bits: 0...01...1 */
    return n !== null && (rest & (rest + 1)) === 0 ? null : ["mask"];
  },
  cidr: function (v) {
    var m = /^([\d.]+)\/(\d{1,2})$/.exec(v);
    var n = m ? ipv4(m[1]) : null;
    if (n === null || !inRange(m[2], 0, 32)) return ["cidr"];
    var size = Math.pow(2, 32 - parseInt(m[2], 10));
    return n % size ? ["cidr-start", { p: parseInt(m[2], 10), a: dotted(n - n % size) }] : null;
  },
  prefix: function (v) { return inRange(v, 1, 32) ? null : ["prefix"]; },
  port: function (v) { return isPort(v) ? null : ["port"]; },
  ports: function (v) { return isPorts(v) ? null : ["ports"]; },
  "ports-any": function (v) { return v === "any" || isPorts(v) ? null : ["ports-any"]; },
  "host-any": function (v) { return v === "any" || ipv4(v) !== null ? null : ["host-any"]; },
  hostname: function (v) { return isHostname(v) ? null : ["hostname"]; },
  host: function (v) { return ipv4(v) !== null || isHostname(v) ? null : ["host"]; },
  word: function (v) { return /\s/.test(v) ? ["word"] : null; },
  phone: function (v) { return /^[0-9*#+,WwPpTt]+$/.test(v) ? null : ["phone"]; },
  digits: function (v) { return /^\d+$/.test(v) ? null : ["digits"]; },
  pin: function (v) { return /^\d{4,8}$/.test(v) ? null : ["pin"]; },
  email: function (v) { return /^[^\s@]+@[^\s@]+$/.test(v) ? null : ["email"]; }
};

/* What is wrong with a field's value, as a text of the page's language, or
   "". data-check names the shape ("ipv4", "int:1:596523", ...); required,
   maxlength and minlength, data-same-as (the id of the field it repeats) and
   data-after (the id of the field holding the first address of a range) are
   checked too. A setting keeps an apostrophe as four characters ('\''), so
   each counts as four against the length; data-no-apostrophe refuses them
   (the certificate subject, which is not such a setting). A list entry
   (inList) must be there and must not hold blanks. */
function problem(el, inList) {
  var v = el.value;
  var same = byId(el.getAttribute("data-same-as"));
  if (same && same.value !== v) return say("differ");
  if (v === "") return el.required || inList ? say("required") : "";
  if (el.tagName === "SELECT" || el.type === "file") return "";
  var apostrophes = v.split("'").length - 1;
  if (el.maxLength > 0 && v.length + 3 * apostrophes > el.maxLength)
    return say(v.length > el.maxLength ? "long" : "apostrophes", { n: el.maxLength });
  if (el.minLength > 0 && v.length < el.minLength) return say("short", { n: el.minLength });
  if (apostrophes && el.hasAttribute("data-no-apostrophe")) return say("quote");
  if (inList && /\s/.test(v)) return say("blank");
  var spec = (el.getAttribute("data-check") || "").split(":");
  var wrong = spec[0] === "int" ? (inRange(v, +spec[1], +spec[2]) ? null : ["int", { min: spec[1], max: spec[2] }]) :
    SHAPES[spec[0]] ? SHAPES[spec[0]](v) : null;
  if (wrong) return say(wrong[0], wrong[1]);
  var first = byId(el.getAttribute("data-after"));
  if (first && ipv4(first.value) !== null && ipv4(v) !== null && ipv4(v) < ipv4(first.value)) return say("order");
  return "";
}

/* The message element next to a field (made on first use). */
function messageOf(field) {
  var id = (field.id || field.name) + "-problem";
  var box = byId(id);
  if (box) return box;
  box = el("span", { id: id, className: "problem", "aria-live": "polite" });
  var row = field.closest(".row");
  if (row) row.appendChild(box);
  else field.parentNode.insertBefore(box, field.nextSibling);
  var described = field.getAttribute("aria-describedby");
  field.setAttribute("aria-describedby", described ? described + " " + id : id);
  return box;
}

/* Shows (or clears) the message of a field; returns whether it is right. */
function mark(el, text) {
  if (!text && !byId((el.id || el.name) + "-problem")) return true;
  messageOf(el).textContent = text;
  if (text) el.setAttribute("aria-invalid", "true");
  else el.removeAttribute("aria-invalid");
  if (el.setCustomValidity) el.setCustomValidity(text);
  return !text;
}

/* Fields the form sends and the user sees: enabled, rendered, not a list
   editor's entry field. */
function checked(el) {
  return !el.disabled && el.type !== "hidden" && el.type !== "submit" && el.type !== "button" &&
    el.getClientRects().length > 0 && !el.closest(".listedit");
}

function check(el) {
  if (el.closest(".listedit")) return mark(el, el.disabled ? "" : problem(el, true));
  return mark(el, checked(el) ? problem(el) : "");
}

/* Checks every field of a form; the first wrong one, or null. */
function checkForm(form) {
  var first = null;
  each(form.elements, function (el) {
    if (!el.name && !el.hasAttribute("data-same-as")) return;
    if (!check(el) && !first) first = el;
  });
  return first;
}

/* A message that comes or goes moves what stands below it. While a pointer
   is down (a click on Apply that has just taken the focus from a field) that
   waits until the click is over, so that the click still lands where it was
   aimed. */
var pointerDown = false, waiting = [];
document.addEventListener("pointerdown", function () { pointerDown = true; }, true);
document.addEventListener("pointerup", function () {
  pointerDown = false;
  window.setTimeout(function () { waiting.splice(0).forEach(function (fn) { fn(); }); }, 0);
}, true);
function soon(fn) { if (pointerDown) waiting.push(fn); else fn(); }

/* Fields showing a message are checked again as they change; a field is
   checked when it is left; a changed switch may disable fields. */
function watch(form) {
  form.noValidate = true;
  var recheck = function () {
    soon(function () { each(form.querySelectorAll("[aria-invalid]"), function (el) { check(el); }); });
  };
  form.addEventListener("input", recheck);
  form.addEventListener("change", recheck);
  form.addEventListener("focusout", function (event) {
    var el = event.target;
    if ((el.name || el.hasAttribute("data-same-as")) && !el.closest(".listedit")) soon(function () { check(el); });
  });
}

/* ---- list editors ----------------------------------------------------- */

/* Markup:
     <div class="listedit">
       <div class="col"><label for="hostinput">Name</label>
         <select size="8" data-list="hostlist" aria-label="Names">{HOSTOPTIONS}</select>
         <input type="text" id="hostinput" data-input maxlength="25" data-check="hostname"></div>
       ... one column per field ...
     </div>
     <input type="hidden" name="hostlist" value='{HOSTLIST}'>
   The columns are kept in step: a row is added, replaced or removed in all
   of them at once. An entry is checked like any field before it goes in;
   Enter in an entry field adds it. An entry chosen from a select is kept as
   its value and shown with its label. On submit every field is sent as one
   blank-separated text with a blank after each entry, so all fields carry
   equally many entries. Every change is announced with a "listchange" event. */
var LIST_MAX = 99;

function ListEditor(box) {
  var self = this;
  this.box = box;
  this.cols = Array.prototype.map.call(box.querySelectorAll(".col"), function (col) {
    return { select: col.querySelector("select[data-list]"), input: col.querySelector("[data-input]") };
  });
  this.error = el("div", { className: "error", role: "alert" });
  var buttons = el("div", { className: "buttons" });
  [["add", this.add], ["replace", this.replace], ["remove", this.remove],
   ["up", function () { self.move(-1); }], ["down", function () { self.move(1); }]].forEach(function (b) {
    var button = el("button", { type: "button", className: "secondary", "data-action": b[0] }, say(b[0]));
    button.addEventListener("click", function () { self.error.textContent = ""; b[1].call(self); });
    buttons.appendChild(button);
  });
  box.appendChild(buttons);
  box.appendChild(this.error);
  this.cols.forEach(function (col) {
    each(col.select.options, function (o) {
      var value = o.value;
      o.value = value;  /* kept as it is while the text may change */
      o.text = self.label(col, value);
    });
    col.select.addEventListener("change", function () { self.select(col.select.selectedIndex); });
    col.input.addEventListener("keydown", function (event) {
      if (event.key !== "Enter") return;
      event.preventDefault();
      self.error.textContent = "";
      self.add();
    });
  });
  var form = box.closest("form");
  if (form) form.addEventListener("submit", function () { self.store(); });
}

ListEditor.prototype.rows = function () { return this.cols[0].select.options.length; };

/* How a column shows a value: the label of an entry select's option with that value. */
ListEditor.prototype.label = function (col, value) {
  if (col.input.tagName !== "SELECT") return value;
  for (var i = 0; i < col.input.options.length; i++)
    if (col.input.options[i].value === value) return col.input.options[i].text;
  return value;
};

ListEditor.prototype.changed = function () {
  this.box.dispatchEvent(new CustomEvent("listchange", { bubbles: true }));
};

ListEditor.prototype.select = function (index) {
  this.cols.forEach(function (col) {
    col.select.selectedIndex = index;
    if (index >= 0) {
      col.input.value = col.select.options[index].value;
      mark(col.input, "");
    }
  });
};

/* The entry fields' values, or null after marking what is wrong. */
ListEditor.prototype.values = function () {
  var first = null;
  var values = this.cols.map(function (col) {
    if (col.input.tagName !== "SELECT") col.input.value = col.input.value.trim();
    if (!mark(col.input, problem(col.input, true)) && !first) first = col.input;
    return col.input.value;
  });
  if (first) first.focus();
  return first ? null : values;
};

ListEditor.prototype.add = function () {
  if (this.rows() >= LIST_MAX) { this.error.textContent = say("full"); return; }
  var values = this.values();
  if (!values) return;
  var self = this;
  this.cols.forEach(function (col, i) { col.select.add(new Option(self.label(col, values[i]), values[i])); });
  this.select(this.rows() - 1);
  this.changed();
};

ListEditor.prototype.replace = function () {
  var index = this.cols[0].select.selectedIndex;
  if (index < 0) { this.error.textContent = say("none"); return; }
  var values = this.values();
  if (!values) return;
  var self = this;
  this.cols.forEach(function (col, i) {
    col.select.options[index].value = values[i];
    col.select.options[index].text = self.label(col, values[i]);
  });
  this.changed();
};

ListEditor.prototype.remove = function () {
  var index = this.cols[0].select.selectedIndex;
  if (index < 0) { this.error.textContent = say("none"); return; }
  this.cols.forEach(function (col) { col.select.remove(index); });
  this.select(Math.min(index, this.rows() - 1));
  this.changed();
};

ListEditor.prototype.move = function (step) {
  var index = this.cols[0].select.selectedIndex, to = index + step;
  if (index < 0 || to < 0 || to >= this.rows()) return;
  this.cols.forEach(function (col) {
    var o = col.select.options, a = [o[index].value, o[index].text];
    o[index].value = o[to].value;
    o[index].text = o[to].text;
    o[to].value = a[0];
    o[to].text = a[1];
  });
  this.select(to);
  this.changed();
};

/* Each field as the page stores it: "a b c " (or nothing for no entries). */
ListEditor.prototype.store = function () {
  var form = this.box.closest("form");
  this.cols.forEach(function (col) {
    var name = col.select.getAttribute("data-list");
    var hidden = form.querySelector("input[type=hidden][name='" + name + "']");
    if (!hidden) form.appendChild(hidden = el("input", { type: "hidden", name: name }));
    var text = "";
    for (var i = 0; i < col.select.options.length; i++) text += col.select.options[i].value + " ";
    hidden.value = text;
  });
};

/* ---- the pages -------------------------------------------------------- */

/* The IPsec and OpenVPN forms: one section per mode (the radio buttons'
   data-mode), the part all modes share (data-common) hidden while the
   service is off (mode 1). A field with data-required-mode is required in
   that mode (and, with data-required-when, while that box is checked). The
   certificate file goes along only in the mode that installs it
   (data-upload-mode): an empty file field would end the router's reading of
   the form. */
function modeForm(form) {
  var modes = form.querySelectorAll("input[data-mode]");
  var common = byId(form.getAttribute("data-common"));
  var upload = form.querySelector("input[type=file][data-upload-mode]");
  var mode = function () {
    for (var i = 0; i < modes.length; i++)
      if (modes[i].checked) return parseInt(modes[i].getAttribute("data-mode"), 10);
    return parseInt(form.getAttribute("data-choose"), 10) || 1;
  };
  var show = function () {
    var n = mode();
    chooseDiv(n);
    if (common) common.hidden = n === 1;
    each(form.querySelectorAll("[data-required-mode]"), function (el) {
      var when = byId(el.getAttribute("data-required-when"));
      el.required = String(n) === el.getAttribute("data-required-mode") && (!when || when.checked);
    });
  };
  form.addEventListener("change", show);
  show();
  if (upload) form.addEventListener("submit", function () {
    upload.disabled = mode() !== parseInt(upload.getAttribute("data-upload-mode"), 10) || !upload.value;
    window.setTimeout(function () { upload.disabled = false; }, 0);
  });
}

/* The modem page. The router marks the section of its own internal modem
   "visible"; the other sections (all of them on a model without internal
   modem) are left unfilled and go. The one that stays joins the modem's
   fieldset. The external modem's section is that of the checked type; the
   type buttons come from the router with an inline handler, which the page's
   security policy does not run: the change is followed here instead. */
function modemPage(form) {
  var box = byId("internal");
  var fieldset = box && box.querySelector("fieldset");
  each(document.querySelectorAll(".intmodem"), function (section) {
    if (fieldset && section.style.visibility === "visible") fieldset.appendChild(section);
    else section.remove();
  });
  if (fieldset) fieldset.style.height = "auto";
  else if (box) box.remove();
  var types = form.querySelectorAll("input[name=Modemtype]");
  var show = function () {
    var chosen = form.querySelector("input[name=Modemtype]:checked");
    chooseDiv(chosen ? Array.prototype.indexOf.call(types, chosen) : -1);
  };
  each(types, function (t) {
    t.removeAttribute("onclick");
    t.addEventListener("change", show);
  });
  show();
}

/* The dial-out page. Without any modem the router fills in only the message
   and leaves the form hidden and unfilled: it goes. A DSL modem has no init
   command: its row is left unfilled and goes. The passwords come only as the
   plain list. The active provider is chosen by name and sent as its number;
   the choice follows the provider list as it is edited. */
function dialoutPage(form) {
  var message = byId("nodialout");
  if (message && !message.querySelector(".text").textContent.trim()) message.remove();
  if (form.style.visibility !== "visible") { form.remove(); return; }
  var cmnd = byId("cmndrow");
  if (cmnd.style.visibility !== "visible") cmnd.remove();
  var passwords = form.querySelector("select[data-list=passlist]");
  form.querySelector("input[name=passlist]").value.split(" ").forEach(function (p) {
    if (p) passwords.add(new Option(p));
  });
  var names = form.querySelector("select[data-list=namelist]");
  var active = byId("selno");
  var fill = function (index, name) {
    while (active.options.length) active.remove(0);
    for (var i = 0; i < names.options.length; i++) {
      active.add(new Option(names.options[i].text, String(i + 1)));
      if (name !== null && names.options[i].text === name) { index = i; name = null; }
    }
    active.selectedIndex = index >= 0 && index < active.options.length ? index : active.options.length ? 0 : -1;
  };
  fill(parseInt(active.value, 10) - 1, null);
  form.addEventListener("listchange", function () {
    var index = active.selectedIndex;
    fill(index, index >= 0 ? active.options[index].text : null);
  });
}

/* The dial-in page: without a modem that can answer calls the router fills
   in only the message and leaves the form hidden and unfilled: it goes. */
function dialinPage(form) {
  if (form.style.visibility === "hidden") form.remove();
  var message = byId("nodialin");
  if (message && !message.querySelector(".text").textContent.trim()) message.remove();
}

/* The time page. The zone list carries each zone's text (data-zone: the
   offset as the device's zone rule writes it); the stored index (data-idx)
   is an option's value. The date fields show the router's clock (years
   since 1900 and months from 0, as the router sends them) and move on with
   it until they are changed. NTP mode always keeps NTP at boot on; by hand
   the box is the user's. */
function timePage(form) {
  var zones = byId("tzidx");
  zones.value = String(parseInt(zones.getAttribute("data-idx"), 10));
  if (zones.selectedIndex < 0) zones.value = "0";
  var setZone = function () { byId("tzone").value = zones.options[zones.selectedIndex].getAttribute("data-zone"); };
  zones.addEventListener("change", setZone);
  setZone();

  var field = function (name) { return parseInt(form.getAttribute("data-" + name), 10) || 0; };
  var base = Date.UTC(field("year") + 1900, field("month"), field("day"), field("hour"), field("min"), field("sec"));
  var loaded = Date.now();
  var two = function (n) { n = String(n); return n.length < 2 ? "0" + n : n; };
  var CLOCK = ["jahr", "monat", "tag", "std", "min", "sek"];
  var fill = function (ms) {
    var t = new Date(ms);
    var values = [String(t.getUTCFullYear()), two(t.getUTCMonth() + 1), two(t.getUTCDate()),
                  two(t.getUTCHours()), two(t.getUTCMinutes()), two(t.getUTCSeconds())];
    CLOCK.forEach(function (id, i) { byId(id).value = values[i]; });
  };
  fill(base);
  var edited = false;
  CLOCK.forEach(function (id) { byId(id).addEventListener("input", function () { edited = true; }); });

  var ntp = byId("mode_ntp"), man = byId("mode_man"), boot = byId("time_clt");
  var bootByHand = boot.checked;
  boot.addEventListener("change", function () { bootByHand = boot.checked; });
  var mode = function () {
    var byNtp = ntp.checked;
    chooseDiv(byNtp ? 0 : 1);
    byId("tsvr1").disabled = byId("tsvr2").disabled = !byNtp;
    CLOCK.forEach(function (id) { byId(id).disabled = byNtp; });
    boot.disabled = byNtp;
    boot.checked = byNtp || bootByHand;
  };
  if (!ntp.checked) man.checked = true;
  ntp.addEventListener("change", mode);
  man.addEventListener("change", mode);
  mode();

  form.addEventListener("submit", function () {
    setZone();
    if (!edited) fill(base + Date.now() - loaded);
    else CLOCK.slice(1).forEach(function (id) {
      var v = byId(id).value.trim();
      byId(id).value = v ? two(v) : v;
    });
  });
}

/* The certificate authority's form. The root certificate needs only the
   authority's password (given twice, since it is new); the other types
   also take the new certificate's. A new authority is confirmed first
   (data-ask-new-authority). The result page offers the download only after a client
   certificate: the form notes the type it asked for. */
function certAuthorityPage(form) {
  var radios = form.querySelectorAll("input[name=cert_type]");
  var chosen = function () {
    for (var i = 0; i < radios.length; i++) if (radios[i].checked) return radios[i].value;
    return "";
  };
  var update = function () {
    var auth = chosen() === "auth";
    each(form.querySelectorAll("[data-type]"), function (el) {
      el.hidden = (el.getAttribute("data-type") === "auth") !== auth;
    });
    each(form.querySelectorAll(".newca"), function (el) { el.disabled = !auth; });
    each(form.querySelectorAll(".newcert"), function (el) { el.disabled = auth; });
  };
  each(radios, function (r) { r.addEventListener("change", update); });
  update();
  form.addEventListener("submit", function (event) {
    if (chosen() === "auth" && !window.confirm(form.getAttribute("data-ask-new-authority"))) {
      event.preventDefault();
      return;
    }
    store("certtype", chosen(), true);
    window.setTimeout(function () { byId("generate").disabled = true; }, 0);
  });
}

function certResultPage(download) {
  var type = stored("certtype", true);
  if (type && type !== "peer") download.hidden = true;
}

/* The certificate management page: the router sends four lists that name
   one certificate per index, in the order of the authority's index file;
   they become a table with a state to choose per certificate. The router
   matches the states to the certificates by position. */
function certManagementPage(form) {
  var texts = function (id) { return Array.prototype.map.call(byId(id).options, function (o) { return o.text; }); };
  var serials = texts("numbopts"), states = texts("stateopts");
  var names = texts("comnameopts"), dates = texts("expdateopts");
  var table = byId("certs");
  var labels = table.getAttribute("data-labels").split("|");
  var words = {};
  table.getAttribute("data-states").split("|").forEach(function (pair) { words[pair.charAt(0)] = pair.slice(2); });
  var cell = function (row, tag, text) { return row.appendChild(el(tag, {}, text)); };
  /* the heading is the body's first row, so the certificates are never styled as one */
  var body = table.createTBody();
  var head = body.insertRow();
  labels.forEach(function (label) { cell(head, "th", label); });
  var pickers = states.map(function (state, i) {
    var row = body.insertRow();
    cell(row, "td", serials[i] || "");
    cell(row, "td", names[i] || "");
    cell(row, "td", (dates[i] || "").replace(",", " "));
    var select = el("select", { className: "state", "aria-label": (names[i] || serials[i] || "") + ": " + labels[3] });
    /* a state other than valid or revoked is offered as it is, so sending it keeps the line */
    var letters = state === "V" || state === "R" ? ["V", "R"] : ["V", "R", state];
    letters.forEach(function (l) { select.add(new Option(words[l] || l, l)); });
    select.value = state;
    select.addEventListener("change", function () { row.classList.toggle("changed", select.value !== state); });
    cell(row, "td").appendChild(select);
    return select;
  });
  if (!pickers.length) {
    table.hidden = true;
    byId("nocerts").hidden = false;
    byId("apply").disabled = true;
  }
  form.addEventListener("submit", function () {
    form.elements.numblist.value = serials.slice(0, pickers.length).join("|");
    form.elements.statelist.value = pickers.map(function (p) { return p.value; }).join("|");
  });
}

/* A radio button or check box that the router writes with its text after
   it and no label gets one around both. */
function labelBareChoices() {
  each(document.querySelectorAll("main input[type=radio], main input[type=checkbox]"), function (input) {
    var text = input.nextSibling;
    if (input.labels.length || !text || text.nodeType !== 3 || !text.nodeValue.trim()) return;
    var label = el("label");
    input.parentNode.insertBefore(label, input);
    label.appendChild(input);
    label.appendChild(document.createTextNode(" " + text.nodeValue.trim()));
    text.remove();
  });
}

/* ---- leaving a page with changes that were not applied ---------------- */

/* Everything the forms of the page hold, as one text. */
function formState() {
  var parts = [];
  each(document.querySelectorAll("main form"), function (form) {
    each(form.elements, function (el) {
      if (el.type === "checkbox" || el.type === "radio") parts.push(el.checked ? "1" : "0");
      else if (el.tagName === "SELECT") {
        parts.push(Array.prototype.map.call(el.options, function (o) { return (o.selected ? "*" : "") + o.text; })
          .join("\u0001"));
      } else if (el.type !== "submit" && el.type !== "button" && el.type !== "hidden") parts.push(el.value);
    });
  });
  return parts.join("\u0002");
}

var initialState = null;
var leaving = false;

function unsent() { return !leaving && initialState !== null && formState() !== initialState; }

/* Asks in the page whether to leave; calls leave when the answer is yes. */
function askLeave(leave) {
  confirmInPage({ id: "leavequestion", text: say("leave"), ok: say("leaveYes"), cancel: say("leaveNo"),
                  values: ["stay", "leave"] }, leave);
}

function guardLeaving() {
  initialState = formState();
  /* a form that goes out (its checks passed, no script stopped it) is applied */
  document.addEventListener("submit", function (event) { if (!event.defaultPrevented) leaving = true; });
  window.addEventListener("beforeunload", function (event) {
    if (!unsent()) return;
    event.preventDefault();
    event.returnValue = "";
  });
  /* links within the application (menu, language switch, links in the text) ask in the page */
  document.addEventListener("click", function (event) {
    var link = clickedLink(event);
    if (!link || link.hasAttribute("download") || (link.target && link.target !== "_self")) return;
    var to = new URL(link.href, window.location.href);
    if (to.hash && to.origin + to.pathname + to.search === window.location.origin + window.location.pathname +
        window.location.search) return;
    if (!unsent()) return;
    event.preventDefault();
    askLeave(function () { leaving = true; window.location.href = link.href; });
  });
}

/* ---- start ------------------------------------------------------------ */

document.addEventListener("DOMContentLoaded", function () {
  each(document.querySelectorAll(".listedit"), function (box) { box.listEditor = new ListEditor(box); });
  labelBareChoices();
  [["ipsecform", modeForm], ["ovpnform", modeForm], ["modemform", modemPage], ["dialoutform", dialoutPage],
   ["dialinform", dialinPage], ["timeform", timePage], ["caform", certAuthorityPage], ["certform", certManagementPage],
   ["download", certResultPage]].forEach(function (page) {
    var found = byId(page[0]);
    if (found) page[1](found);
  });
  /* the checks go first: a form with a wrong field is not sent, and no other script sees it go */
  document.addEventListener("submit", function (event) {
    var wrong = checkForm(event.target);
    if (!wrong) return;
    event.preventDefault();
    event.stopImmediatePropagation();
    wrong.focus();
  }, true);
  each(document.querySelectorAll("main form"), watch);
  guardLeaving();
});

})();
