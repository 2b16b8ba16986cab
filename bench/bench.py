#!/usr/bin/env python3
"""gwadmin's benchmark: the cost of one request against the floor.

Started by bench/run.sh, which builds what it needs first. Measures, in one
run on one machine:
  - a show and an apply request of every page of bench/pages.tsv through the
    real executable in a sandbox, against the floor program (bench/floor.c):
    median wall time (interleaved runs, bench/drive.c), instructions
    (valgrind's callgrind, deterministic) and peak memory (ru_maxrss);
  - how a list page's cost grows with its entries (0, 10, 50, 99);
  - multipart upload throughput (1 MB, 16 MB) against cat of the same bytes;
  - requests per second through lighttpd with wrk, a show page against the floor;
  - the stripped size of the executable and how it is linked, and the start-up
    cost of the other ways of linking it.
Prints the report and writes it to the output file (markdown).
"""
import argparse
import datetime
import html.parser
import os
import random
import re
import shutil
import socket
import subprocess
import sys
import time
import urllib.parse

REPO = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
WWW = os.path.join(REPO, "www")
LANG = "english"
FLOOR_TEMPLATE = "english/basis.tmpl"  # the floor copies a typical page's template
BOUNDARY = "----WebKitFormBoundary7MA4YWxkTrZu0gW"  # as a browser makes them
LIST_PAGE = 30  # static routes: three fields per entry
LIST_SIZES = (0, 10, 50, 99)
WRK_PAGE = 24   # the basic settings page
PROFILED = (24, 46)  # pages whose profiles the report shows
MODEL = "MX-RT-210B-GSM-KORU"  # the device of the page measurements

# Targets (checked by this benchmark only, never by a test).
T_WALL = 1.3      # page wall time / floor wall time
T_INSTR = 3.0     # page instructions / floor instructions
T_LIST = 2.0      # list page at 99 entries / at 0 entries
T_UPLOAD = 0.5    # upload throughput / cat throughput (16 MB)
T_RPS = 0.8       # page requests per second / floor's
T_SIZE = 512 * 1024
T_RSS = 4 * 1024  # KiB


def log(*args):
    print(*args, file=sys.stderr, flush=True)


# ---- requests -------------------------------------------------------------

class Request:
    """One CGI request: its environment and standard input."""

    def __init__(self, name, root, query="", body=None, content_type=None, prog=None):
        self.name = name
        self.root = root
        self.query = query
        self.body = body
        self.content_type = content_type
        self.prog = prog
        self.input = None  # file holding the body

    def env(self):
        env = {
            "PATH": "/usr/local/bin:/usr/bin:/bin",
            "GWADMIN_ROOT": self.root,
            "DOCUMENT_ROOT": WWW,
            "GATEWAY_INTERFACE": "CGI/1.1",
            "SERVER_PROTOCOL": "HTTP/1.1",
            "SCRIPT_NAME": "/cgi-bin/gwadmin",
            "QUERY_STRING": self.query,
            "FLOOR_TEMPLATE": FLOOR_TEMPLATE,
        }
        if self.body is None:
            env["REQUEST_METHOD"] = "GET"
        else:
            env["REQUEST_METHOD"] = "POST"
            env["CONTENT_TYPE"] = self.content_type or "application/x-www-form-urlencoded"
            env["CONTENT_LENGTH"] = str(len(self.body))
        return env

    def save_input(self, folder):
        if self.body is not None and self.input is None:
            safe = re.sub(r"[^A-Za-z0-9_.-]", "_", self.name)
            self.input = os.path.join(folder, "in-" + safe)
            with open(self.input, "wb") as f:
                f.write(self.body)

    def job(self, folder, out=None):
        """The request as a job of the timing driver."""
        self.save_input(folder)
        lines = ["job " + self.name]
        if self.input:
            lines.append("in " + self.input)
        if out:
            lines.append("out " + out)
        lines += ["env %s=%s" % kv for kv in sorted(self.env().items())]
        lines.append("arg " + self.prog)
        return "\n".join(lines) + "\n\n"

    def run(self, folder):
        self.save_input(folder)
        stdin = open(self.input, "rb") if self.input else subprocess.DEVNULL
        try:
            p = subprocess.run([self.prog], env=self.env(), stdin=stdin, stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE, timeout=300)
        finally:
            if self.input:
                stdin.close()
        return p.returncode, p.stdout

    def instructions(self, folder, keep=None):
        """User-space instructions of one run (callgrind; the loader included).
        keep: where to leave callgrind's profile."""
        self.save_input(folder)
        out = keep or os.path.join(folder, "callgrind.out")
        stdin = open(self.input, "rb") if self.input else subprocess.DEVNULL
        try:
            subprocess.run(["valgrind", "--tool=callgrind", "--callgrind-out-file=" + out, self.prog],
                           env=self.env(), stdin=stdin, stdout=subprocess.DEVNULL,
                           stderr=subprocess.DEVNULL, timeout=600)
        finally:
            if self.input:
                stdin.close()
        with open(out) as f:
            for line in f:
                if line.startswith("summary:") or line.startswith("totals:"):
                    return int(line.split()[1])
        return None


def drive(driver, folder, jobs_text, rounds, warmup):
    """Runs the jobs interleaved; returns {name: (median_us, q1, q3, cpu_us, maxrss_kb, failures)}."""
    path = os.path.join(folder, "jobs")
    with open(path, "w") as f:
        f.write(jobs_text)
    out = subprocess.run([driver, str(rounds), str(warmup), path], check=True, stdout=subprocess.PIPE,
                         text=True).stdout
    result = {}
    for line in out.splitlines():
        name, med, q1, q3, cpu, rss, fails = line.split("\t")
        result[name] = (float(med), float(q1), float(q3), float(cpu), int(rss), int(fails))
    return result


# ---- the pages' forms ------------------------------------------------------

class FormReader(html.parser.HTMLParser):
    """The fields of the first form that carries "act", as a browser submits them."""

    def __init__(self):
        super().__init__(convert_charrefs=True)
        self.forms = []  # lists of (name, value)
        self.current = None
        self.select = None  # [name, options [(value, selected)], multiple]
        self.option = None
        self.textarea = None

    def handle_starttag(self, tag, attrs):
        a = dict(attrs)
        if tag == "form":
            self.current = []
            self.forms.append(self.current)
            return
        if self.current is None:
            return
        name = a.get("name")
        disabled = "disabled" in a
        if tag == "input" and name and not disabled:
            kind = (a.get("type") or "text").lower()
            if kind in ("submit", "button", "reset", "image", "file"):
                return
            if kind in ("checkbox", "radio"):
                if "checked" in a:
                    self.current.append((name, a.get("value", "on")))
                return
            self.current.append((name, a.get("value") or ""))
        elif tag == "select":
            self.select = [name if not disabled else None, [], "multiple" in a]
        elif tag == "option" and self.select is not None:
            self.option = [a.get("value"), "selected" in a, ""]
            self.select[1].append(self.option)
        elif tag == "textarea" and name and not disabled:
            self.textarea = [name, ""]

    def handle_data(self, data):
        if self.option is not None:
            self.option[2] += data
        if self.textarea is not None:
            self.textarea[1] += data

    def handle_endtag(self, tag):
        if tag == "option":
            self.option = None
        elif tag == "select" and self.select is not None:
            name, options, multiple = self.select
            if name and options:
                chosen = [o for o in options if o[1]] or ([] if multiple else options[:1])
                for value, _, text in chosen:
                    self.current.append((name, value if value is not None else text.strip()))
            self.select = None
            self.option = None
        elif tag == "textarea" and self.textarea is not None:
            text = self.textarea[1]
            if text.startswith("\n"):
                text = text[1:]
            self.current.append((self.textarea[0], text.replace("\r\n", "\n").replace("\n", "\r\n")))
            self.textarea = None
        elif tag == "form":
            self.current = None


def form_body(page, item):
    reader = FormReader()
    reader.feed(page.decode("utf-8", "replace"))
    for fields in reader.forms:
        if any(name == "act" for name, _ in fields):
            return urllib.parse.urlencode(fields).encode()
    return ("item=%d&lang=%s&act=1" % (item, LANG)).encode()


def list_body(n):
    routes = " ".join("10.%d.%d.0/24" % (i // 200, i % 200) for i in range(n))
    gways = " ".join("192.168.%d.%d" % (i // 200, 1 + i % 200) for i in range(n))
    masq = " ".join("yes" if i % 2 else "no" for i in range(n))
    fields = [("item", str(LIST_PAGE)), ("lang", LANG), ("act", "1"), ("default_GW_itf", "eth"),
              ("default_GW_ip", "192.168.0.1"), ("routelist", routes), ("gwaylist", gways), ("masqlist", masq)]
    return urllib.parse.urlencode(fields).encode()


def multipart(payload):
    b = BOUNDARY.encode()
    head = b"".join(b"--" + b + b"\r\nContent-Disposition: form-data; name=\"%s\"\r\n\r\n%s\r\n" % (k, v)
                    for k, v in ((b"lang", LANG.encode()), (b"item", b"0")))
    part = (b"--" + b + b"\r\nContent-Disposition: form-data; name=\"certfile\"; filename=\"bench.bin\"\r\n"
            b"Content-Type: application/octet-stream\r\n\r\n")
    return head + part + payload + b"\r\n--" + b + b"--\r\n"


def read_pages(path):
    rows = []
    with open(path) as f:
        for line in f:
            if not line.strip() or line.startswith("#"):
                continue
            cols = line.rstrip("\n").split("\t")
            item, show, apply, tool, what = (cols + [""] * 5)[:5]
            rows.append((int(item), "" if show == "-" else show, apply, tool, what))
    return rows


def command_count(root):
    try:
        with open(os.path.join(root, "var/log/commands"), "rb") as f:
            return f.read().count(b"\n")
    except FileNotFoundError:
        return 0


# ---- formatting ------------------------------------------------------------

def fmt_us(v):
    return "%.0f" % v if v >= 100 else "%.1f" % v


def fmt_k(v):
    return "-" if v is None else ("%.1fk" % (v / 1000) if v < 1e6 else "%.2fM" % (v / 1e6))


def ratio(a, b):
    return None if a is None or not b else a / b


def fmt_r(v):
    return "-" if v is None else "%.2f" % v


def table(head, rows):
    out = ["| " + " | ".join(head) + " |", "|" + "|".join("---" for _ in head) + "|"]
    out += ["| " + " | ".join(str(c) for c in r) + " |" for r in rows]
    return "\n".join(out)


def met(ok):
    return "yes" if ok else "**no**"


# ---- the run ---------------------------------------------------------------

def main():
    ap = argparse.ArgumentParser()
    ap.add_argument("--build", required=True, help="the CMake build folder of gwadmin")
    ap.add_argument("--tools", required=True, help="folder with drive and floor (and floor-dyn)")
    ap.add_argument("--out", required=True)
    ap.add_argument("--quick", action="store_true")
    args = ap.parse_args()
    quick = args.quick
    build = os.path.abspath(args.build)
    gwadmin = os.path.join(build, "gwadmin")
    driver = os.path.join(args.tools, "drive")
    floor = os.path.join(args.tools, "floor")
    work = os.path.join(build, "bench")
    shutil.rmtree(work, ignore_errors=True)
    os.makedirs(work)
    started = time.time()
    load_start = os.getloadavg()

    rounds = 25 if quick else 100
    tool_rounds = 3 if quick else 10

    def sandbox(name, model=None):
        root = os.path.join(work, name)
        subprocess.run(["sh", os.path.join(REPO, "sandbox/make-sandbox.sh"), "--reset"] +
                       (["--model", model] if model else []) + [root], check=True, stdout=subprocess.DEVNULL)
        return root

    report = []

    # ---- pages ---------------------------------------------------------
    log("bench: pages")
    # A router with an internal modem, so that the modem and dial pages show
    # (and submit) their whole forms.
    root = sandbox("root", MODEL)
    floor_req = Request("floor", root, prog=floor)
    pages = []  # (item, kind, Request, what)
    for item, show, apply, tool, what in read_pages(os.path.join(REPO, "bench/pages.tsv")):
        q = "item=%d&lang=%s" % (item, LANG) + ("&" + show if show else "")
        req = Request("%d show" % item, root, query=q, prog=gwadmin)
        pages.append([item, "show", req, what, tool])
        if apply == "-":
            continue
        if apply == "form":
            _, page = req.run(work)
            body = form_body(page, item)
        else:
            body = apply.encode()
        pages.append([item, "apply", Request("%d apply" % item, root, body=body, prog=gwadmin), what, tool])

    # Probe each request once: its status, whether it printed an error page,
    # whether it ran a device tool.
    probes = {}
    for item, kind, req, what, tool in pages:
        before = command_count(root)
        status, out = req.run(work)
        ran = command_count(root) > before
        probes[req.name] = (status, b"Error <b>" in out, ran, len(out))
    fst, fout = floor_req.run(work)
    if fst != 0 or not fout:
        sys.exit("bench: the floor program failed (status %d)" % fst)

    lean = [p for p in pages if not probes[p[2].name][2]]
    tooled = [p for p in pages if probes[p[2].name][2]]
    log("bench: timing %d requests without device tools, %d rounds" % (len(lean), rounds))
    times = drive(driver, work, floor_req.job(work) + "".join(p[2].job(work) for p in lean), rounds, 3)
    floor_t = times["floor"]
    if tooled:
        log("bench: timing %d requests that run device tools, %d rounds" % (len(tooled), tool_rounds))
        t2 = drive(driver, work, floor_req.job(work).replace("job floor", "job floor2") +
                   "".join(p[2].job(work) for p in tooled), tool_rounds, 1)
        times.update(t2)
    log("bench: instructions (callgrind) of %d requests" % len(pages))
    floor_i = floor_req.instructions(work)
    instr = {p[2].name: p[2].instructions(work, keep=os.path.join(work, "profile-%d-%s" % (p[0], p[1]))
                                           if p[0] in PROFILED else None) for p in pages}

    rows = []
    # Per kind of request (show, apply) without device tools: how many, how
    # many within each target, and the worst.
    summary = {k: {"n": 0, "wall_ok": 0, "instr_ok": 0, "wall": (0.0, ""), "instr": (0.0, "")}
               for k in ("show", "apply")}
    peak_rss = (0, "")
    for item, kind, req, what, tool in pages:
        t = times[req.name]
        status, error, ran, size = probes[req.name]
        i = instr[req.name]
        rw, ri = ratio(t[0], floor_t[0]), ratio(i, floor_i)
        notes = []
        if ran != (tool in ("both", kind)):
            notes.append("runs a tool here" if ran else "runs no tool here")
        if status != 0:
            notes.append("exit %d" % status)
        if error:
            notes.append("error page")
        if t[5]:
            notes.append("%d runs failed" % t[5])
        if not ran:
            k = summary[kind]
            k["n"] += 1
            k["wall_ok"] += rw <= T_WALL
            k["instr_ok"] += (ri or 0) <= T_INSTR
            k["wall"] = max(k["wall"], (rw, req.name))
            k["instr"] = max(k["instr"], (ri or 0, req.name))
        if t[4] > peak_rss[0]:
            peak_rss = (t[4], req.name)
        rows.append([item, what, kind, "yes" if ran else "", fmt_us(t[0]), fmt_r(rw), fmt_k(i), fmt_r(ri),
                     t[4], "; ".join(notes)])
    report.append("### Pages against the floor\n")
    report.append("Device model %s (with an internal modem). "
                  "Floor: %s µs median (quartiles %s-%s), %s instructions, %d KiB peak. "
                  "Requests that run device tools (tool = yes) are timed in %d rounds, the others in %d; "
                  "their instructions are gwadmin's own (not the tools')." %
                  (MODEL, fmt_us(floor_t[0]), fmt_us(floor_t[1]), fmt_us(floor_t[2]), fmt_k(floor_i), floor_t[4],
                   tool_rounds, rounds))
    report.append("")
    report.append(table(["item", "page", "request", "tool", "median µs", "× floor", "instr", "× floor",
                         "peak KiB", "note"], rows))

    # ---- lists ---------------------------------------------------------
    log("bench: list sizes")
    list_rows = []
    jobs = floor_req.job(work)
    list_reqs = {}
    for n in LIST_SIZES:
        r = sandbox("list%d" % n)
        setup = Request("list setup %d" % n, r, body=list_body(n), prog=gwadmin)
        setup.run(work)
        show = Request("list %d show" % n, r, query="item=%d&lang=%s" % (LIST_PAGE, LANG), prog=gwadmin)
        _, page = show.run(work)
        shown = page.count(b"<option>")
        apply = Request("list %d apply" % n, r, body=list_body(n), prog=gwadmin)
        list_reqs[n] = (show, apply, shown)
        jobs += show.job(work) + apply.job(work)
    lt = drive(driver, work, jobs, rounds, 3)
    li = {}
    for n in LIST_SIZES:
        for req in list_reqs[n][:2]:
            li[req.name] = req.instructions(work, keep=os.path.join(work, "profile-list-%d-%s" % (
                n, req.name.split()[-1])) if n == 99 else None)
    list_ratio = {}
    for kind, k in (("show", 0), ("apply", 1)):
        base_t = lt[list_reqs[0][k].name][0]
        base_i = li[list_reqs[0][k].name]
        for n in LIST_SIZES:
            req = list_reqs[n][k]
            t, i = lt[req.name], li[req.name]
            list_ratio[(kind, n)] = (t[0] / base_t, ratio(i, base_i))
            list_rows.append([n, kind, list_reqs[n][2] if kind == "show" else "", fmt_us(t[0]),
                              fmt_r(t[0] / base_t), fmt_k(i), fmt_r(ratio(i, base_i)), fmt_r(t[0] / lt["floor"][0]),
                              t[4]])
    report.append("\n### List size (item %d, static routes: three fields per entry)\n" % LIST_PAGE)
    report.append(table(["entries", "request", "options shown", "median µs", "× 0 entries", "instr",
                         "× 0 entries", "× floor", "peak KiB"], list_rows))

    # ---- uploads -------------------------------------------------------
    log("bench: uploads")
    r = sandbox("upload")
    rng = random.Random(1)
    up_rows = []
    up_ratio = {}
    # Sizes in decimal megabytes: a body over 16 MiB is refused, and a 16 MiB
    # file with its form around it would be one.
    for mb, n_rounds in ((1, 10 if quick else 30), (16, 3 if quick else 10)):
        data = rng.randbytes(mb * 1000000)
        raw = os.path.join(work, "payload%d" % mb)
        with open(raw, "wb") as f:
            f.write(data)
        req = Request("upload %d" % mb, r, body=multipart(data),
                      content_type="multipart/form-data; boundary=" + BOUNDARY, prog=gwadmin)
        status, out = req.run(work)
        with open(os.path.join(r, "tmp/upload/bench.bin"), "rb") as f:
            stored = f.read()
        if stored != data + b"\r\n" or status != 0:
            sys.exit("bench: the %d MB upload was not stored as sent (status %d, %d bytes)" %
                     (mb, status, len(stored)))
        cat = Request("cat %d" % mb, r, prog=shutil.which("cat"))
        cat.input = raw
        jobs = req.job(work) + cat.job(work, out=os.path.join(r, "tmp/upload/cat.bin"))
        ut = drive(driver, work, jobs, n_rounds, 1)
        gw, ct = ut[req.name], ut[cat.name]
        gw_rate, cat_rate = mb / (gw[0] / 1e6), mb / (ct[0] / 1e6)
        up_ratio[mb] = gw_rate / cat_rate
        up_rows.append(["%d MB" % mb, fmt_us(gw[0]), "%.0f" % gw_rate, fmt_us(ct[0]), "%.0f" % cat_rate,
                        fmt_r(gw_rate / cat_rate), gw[4]])
    report.append("\n### Multipart upload (browser-style boundary, item 0) against cat into the same folder\n")
    report.append("1 MB = 10^6 bytes. gwadmin's time is the whole request: start, parse, store, page.\n")
    report.append(table(["file", "gwadmin µs", "gwadmin MB/s", "cat µs", "cat MB/s", "× cat", "peak KiB"],
                        up_rows))

    # ---- requests per second -------------------------------------------
    rps = web_server(work, root, gwadmin, floor, quick)
    if rps:
        page_rps, floor_rps, conns, secs, errors = rps
        report.append("\n### Requests per second through lighttpd (wrk, loopback, %d connections, "
                      "%d s per target in %d alternating turns)\n" % (conns, secs, 2 if quick else 3))
        report.append(table(["target", "requests/s", "× floor", "non-2xx or errors"],
                            [["item %d show (gwadmin)" % WRK_PAGE, "%.0f" % page_rps, fmt_r(page_rps / floor_rps),
                              errors[0]],
                             ["floor", "%.0f" % floor_rps, "1.00", errors[1]]]))
    else:
        report.append("\n### Requests per second\n\nnot measured: wrk or lighttpd missing")

    # ---- size and linking ----------------------------------------------
    log("bench: size and linking")
    size_rows, linked, stripped = linking(build, args.tools, work, driver, root, quick)
    report.append("\n### Size and linking\n")
    report.append("The executable measured above is linked %s, %s KiB stripped (%d bytes). "
                  "The other ways of linking the same objects, and the floor, for comparison "
                  "(item 0 prints its template and runs no handler: the start-up cost):\n" %
                  (linked, "%.0f" % (stripped / 1024), stripped))
    report.append(table(["program", "linked", "needs", "stripped KiB", "item 0 instr", "item 0 median µs",
                         "item %d instr" % WRK_PAGE, "item %d median µs" % WRK_PAGE, "peak KiB"], size_rows))

    # ---- profiles ------------------------------------------------------
    report.append("\n### Where the instructions go\n")
    report.append("callgrind, inclusive instructions per function (the largest; the loader and C library start-up "
                  "stand under `(below main)`).\n")
    for name, title in (("profile-24-show", "item 24 show (basic settings)"),
                        ("profile-24-apply", "item 24 apply"),
                        ("profile-46-show", "item 46 show (OpenVPN settings, a large template)"),
                        ("profile-list-99-show", "item %d show, 99 entries" % LIST_PAGE),
                        ("profile-list-99-apply", "item %d apply, 99 entries" % LIST_PAGE)):
        lines = profile_lines(os.path.join(work, name))
        if lines:
            report.append("%s:\n\n```\n%s\n```\n" % (title, "\n".join(lines)))

    # ---- targets -------------------------------------------------------
    targets = []
    for kind in ("show", "apply"):
        k = summary[kind]
        targets.append(["%s requests without device tools: wall time" % kind, "≤ %.1f × floor" % T_WALL,
                        "%d of %d within; worst %s (%s)" % (k["wall_ok"], k["n"], fmt_r(k["wall"][0]), k["wall"][1]),
                        met(k["wall_ok"] == k["n"])])
        targets.append(["%s requests without device tools: instructions" % kind, "≤ %.0f × floor" % T_INSTR,
                        "%d of %d within; worst %s (%s)" % (k["instr_ok"], k["n"], fmt_r(k["instr"][0]),
                                                            k["instr"][1]),
                        met(k["instr_ok"] == k["n"])])
    for kind in ("show", "apply"):
        rt, ri = list_ratio[(kind, 99)]
        targets.append(["list page, %s at 99 entries" % kind, "≤ %.0f × 0 entries" % T_LIST,
                        "time %s, instr %s" % (fmt_r(rt), fmt_r(ri)), met(rt <= T_LIST and (ri or 0) <= T_LIST)])
    targets += [
        ["upload throughput, 16 MB", "≥ %.1f × cat" % T_UPLOAD, fmt_r(up_ratio[16]),
         met(up_ratio[16] >= T_UPLOAD)],
    ]
    if rps:
        targets.append(["requests per second (lighttpd)", "≥ %.1f × floor" % T_RPS, fmt_r(rps[0] / rps[1]),
                        met(rps[0] / rps[1] >= T_RPS)])
    targets.append(["stripped executable", "< 512 KiB", "%.0f KiB (linked %s)" % (stripped / 1024, linked),
                    met(stripped < T_SIZE)])
    targets.append(["peak memory of a request (with the tools it runs)", "< 4 MiB", "%d KiB (%s)" % peak_rss,
                    met(peak_rss[0] < T_RSS)])

    head = ["## Benchmark results", ""]
    head.append("Measured %s with `bash bench/run.sh%s` in %.0f s. Machine: %s. Load average %.2f at the start, "
                "%.2f at the end." % (datetime.datetime.now().strftime("%Y-%m-%d %H:%M"), " --quick" if quick else "",
                                      time.time() - started, machine(), load_start[0], os.getloadavg()[0]))
    head.append("")
    head.append("### Targets\n")
    head.append(table(["target", "wanted", "measured", "met"], targets))
    head.append("")
    text = "\n".join(head + report) + "\n"
    with open(args.out, "w") as f:
        f.write(text)
    print(text)


def profile_lines(path, count=14):
    """The largest inclusive costs of a callgrind profile, paths shortened."""
    if not os.path.exists(path):
        return []
    out = subprocess.run(["callgrind_annotate", "--inclusive=yes", path], stdout=subprocess.PIPE,
                         stderr=subprocess.DEVNULL, text=True).stdout
    lines, seen = [], set()
    for line in out.splitlines():
        m = re.match(r"\s*([\d,]+) \(\s*([\d.]+)%\)\s+(.*)$", line)
        if not m or "(below main)" in m.group(3):
            continue
        where = re.sub(r" \[[^\]]*\]$", "", m.group(3)).replace(REPO + "/", "")
        where = re.sub(r"std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >",
                       "std::string", where)
        # Inlined code shows a function a second time; the callers every page has say nothing.
        if where in seen or re.search(r":(main|gwadmin_main\(int, char\*\*\))$", where):
            continue
        seen.add(where)
        if len(where) > 110:
            where = where[:107] + "..."
        lines.append("%12s %6s%%  %s" % (m.group(1), m.group(2), where))
        if len(lines) == count:
            break
    return lines


def machine():
    cpu = "?"
    try:
        for line in subprocess.run(["lscpu"], stdout=subprocess.PIPE, text=True).stdout.splitlines():
            if line.startswith("Model name:"):
                cpu = line.split(":", 1)[1].strip()
    except OSError:
        pass
    cc = subprocess.run(["c++", "--version"], stdout=subprocess.PIPE, text=True).stdout.splitlines()[0]
    return "%s, %d cores, Linux %s, %s" % (cpu, os.cpu_count(), os.uname().release, cc)


def linked_as(path):
    out = subprocess.run(["readelf", "-l", "-d", path], stdout=subprocess.PIPE, text=True).stdout
    if "interpreter" not in out:
        return "static"
    libs = re.findall(r"Shared library: \[([^\]]+)\]", out)
    return ", ".join(libs)


def stripped_size(path, work):
    copy = os.path.join(work, "stripped-" + os.path.basename(path))
    shutil.copy(path, copy)
    subprocess.run(["strip", "--strip-all", copy], check=True)
    return os.path.getsize(copy)


def linking(build, tools, work, driver, root, quick):
    gwadmin = os.path.join(build, "gwadmin")
    variants = [("gwadmin (this build)", "as built", gwadmin)]
    main_o = os.path.join(build, "CMakeFiles/gwadmin.dir/cgi/main.cpp.o")
    core = os.path.join(build, "libgwcore.a")
    cxx = "c++"
    try:
        with open(os.path.join(build, "CMakeCache.txt")) as f:
            m = re.search(r"^CMAKE_CXX_COMPILER:\w+=(.*)$", f.read(), re.M)
            if m:
                cxx = m.group(1)
    except OSError:
        pass
    if os.path.exists(main_o) and os.path.exists(core):
        for label, flags in (("static", ["-static"]), ("static-libstdc++", ["-static-libstdc++", "-static-libgcc"]),
                             ("dynamic", [])):
            out = os.path.join(work, "gwadmin-" + label)
            p = subprocess.run([cxx, "-O2", "-o", out, main_o, core] + flags, stderr=subprocess.PIPE, text=True)
            if p.returncode == 0:
                variants.append(("gwadmin", label, out))
    variants.append(("floor", "static", os.path.join(tools, "floor")))
    if os.path.exists(os.path.join(tools, "floor-dyn")):
        variants.append(("floor", "dynamic", os.path.join(tools, "floor-dyn")))
    jobs = ""
    reqs = []
    for n, (label, how, prog) in enumerate(variants):
        pair = []
        for item in (0, WRK_PAGE):
            req = Request("v%d item %d" % (n, item), root, query="item=%d&lang=%s" % (item, LANG), prog=prog)
            pair.append(req)
            jobs += req.job(work)
        reqs.append(pair)
    t = drive(driver, work, jobs, 30 if quick else 100, 3)
    rows = []
    for (label, how, prog), pair in zip(variants, reqs):
        i0, i1 = pair[0].instructions(work), pair[1].instructions(work)
        rows.append([label, how, linked_as(prog), "%.0f" % (stripped_size(prog, work) / 1024), fmt_k(i0),
                     fmt_us(t[pair[0].name][0]), fmt_k(i1) if label != "floor" else "-",
                     fmt_us(t[pair[1].name][0]) if label != "floor" else "-",
                     max(t[pair[0].name][4], t[pair[1].name][4])])
    libs = linked_as(gwadmin)
    return rows, "statically" if libs == "static" else "dynamically against " + libs, stripped_size(gwadmin, work)


# ---- the web server --------------------------------------------------------

def free_port():
    with socket.socket() as s:
        s.bind(("127.0.0.1", 0))
        return s.getsockname()[1]


def answers(port, path):
    try:
        with socket.create_connection(("127.0.0.1", port), timeout=2) as s:
            s.sendall(("GET %s HTTP/1.0\r\nHost: 127.0.0.1\r\n\r\n" % path).encode())
            data = b""
            while True:
                chunk = s.recv(65536)
                if not chunk:
                    break
                data += chunk
            return data
    except OSError:
        return b""


def web_server(work, root, gwadmin, floor, quick):
    """requests/s of a show page and of the floor through lighttpd, or None."""
    lighttpd, wrk = shutil.which("lighttpd"), shutil.which("wrk")
    if not lighttpd or not wrk:
        return None
    log("bench: requests per second through lighttpd")
    # A document root of links to www/ with both programs in its cgi-bin/:
    # lighttpd then hands both the same DOCUMENT_ROOT, with no starter script.
    docroot = os.path.join(work, "docroot")
    os.makedirs(os.path.join(docroot, "cgi-bin"))
    for name in os.listdir(WWW):
        os.symlink(os.path.join(WWW, name), os.path.join(docroot, name))
    shutil.copy(gwadmin, os.path.join(docroot, "cgi-bin/gwadmin"))
    shutil.copy(floor, os.path.join(docroot, "cgi-bin/floor"))
    port = free_port()
    conf = os.path.join(work, "lighttpd.conf")
    with open(conf, "w") as f:
        f.write('server.modules = ("mod_setenv", "mod_cgi")\n'
                'server.bind = "127.0.0.1"\nserver.port = %d\nserver.document-root = "%s"\n'
                'server.errorlog = "%s"\nserver.max-connections = 64\n'
                '$HTTP["url"] =~ "^/cgi-bin/" { cgi.assign = ("" => "") }\n'
                'setenv.set-environment = ("GWADMIN_ROOT" => "%s", "FLOOR_TEMPLATE" => "%s", '
                '"PATH" => "/usr/local/bin:/usr/bin:/bin")\n' %
                (port, docroot, os.path.join(work, "lighttpd-error.log"), root, FLOOR_TEMPLATE))
    server = subprocess.Popen([lighttpd, "-D", "-f", conf], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    try:
        page_url = "/cgi-bin/gwadmin?item=%d&lang=%s" % (WRK_PAGE, LANG)
        floor_url = "/cgi-bin/floor"
        for _ in range(100):
            if b" 200 " in answers(port, page_url)[:20]:
                break
            time.sleep(0.1)
        page, fl = answers(port, page_url), answers(port, floor_url)
        if b" 200 " not in page[:20] or b"Error <b>" in page or b" 200 " not in fl[:20]:
            log("bench: lighttpd does not serve the pages")
            return None
        secs, turns, conns = (2, 2, 4) if quick else (5, 3, 4)
        total = {"page": [0, 0.0, 0], "floor": [0, 0.0, 0]}
        for turn in range(turns):
            order = (("floor", floor_url), ("page", page_url))
            for name, url in (order if turn % 2 == 0 else order[::-1]):
                out = subprocess.run([wrk, "-t1", "-c%d" % conns, "-d%ds" % secs, "--timeout", "10s",
                                      "http://127.0.0.1:%d%s" % (port, url)],
                                     stdout=subprocess.PIPE, text=True, timeout=secs + 60).stdout
                m = re.search(r"(\d+) requests in ([\d.]+)(m?s)", out)
                n, d = int(m.group(1)), float(m.group(2)) * (1e-3 if m.group(3) == "ms" else 1)
                bad = re.search(r"Non-2xx or 3xx responses: (\d+)", out)
                errs = re.search(r"Socket errors: .*", out)
                total[name][0] += n
                total[name][1] += d
                total[name][2] += int(bad.group(1)) if bad else 0
                if errs:
                    total[name][2] += sum(int(x) for x in re.findall(r"\d+", errs.group(0)))
        return (total["page"][0] / total["page"][1], total["floor"][0] / total["floor"][1], conns, secs,
                (total["page"][2], total["floor"][2]))
    finally:
        server.terminate()
        try:
            server.wait(timeout=10)
        except subprocess.TimeoutExpired:
            server.kill()


if __name__ == "__main__":
    main()
