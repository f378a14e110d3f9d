#!/usr/bin/env python3
"""End-to-end tests of the chooser's window: the real program on a virtual X server, driven with
synthetic mouse and keyboard input the way a person would use it.

    window_test.py --program PATH --artifacts DIR [--slowfs PROGRAM] SCENARIO...
    window_test.py --program PATH --readme-shot FILE.png

The hung_* scenarios need --slowfs, the glfd_slowfs program, and FUSE; they skip without them.

The program runs with GLFD_DEBUG_LAYOUT=1, which makes it print every change of its drawn layout
(widget rectangles, visible rows, texts) on standard error; clicks are aimed at those rectangles.
Exit status: 0 passed, 1 failed, 77 skipped (a needed tool is missing).
"""

import argparse
import ctypes
import ctypes.util
import os
import re
import select
import shutil
import subprocess
import sys
import tempfile
import threading
import time

SKIP = 77
TIMEOUT = 10.0


class Failure(Exception):
    pass


class Skip(Exception):
    pass


def check(condition, message):
    if not condition:
        raise Failure(message)


def unescape(text):
    """Undoes the dump's escaping: \\xNN stands for one byte."""
    return re.sub(rb"\\x([0-9a-f]{2})", lambda m: bytes([int(m.group(1), 16)]), text.encode("ascii"))


class Layout:
    """One layout dump: widgets in tree order and the visible rows of the table."""

    def __init__(self, lines):
        self.widgets = []
        self.rows = []
        self.missing = []
        for line in lines:
            kind, rest = line.split(" ", 1)
            if kind == "window":
                continue
            if kind == "missing":
                # Code points drawn as the font's fallback glyph.
                self.missing = [int(p, 16) for p in rest.split()]
                continue
            parts = rest.split(" ", 6 if kind == "row" else 5)
            numbers = [int(p) for p in parts[:5 if kind == "row" else 4]]
            if kind == "row":
                index, x, y, w, h = numbers
                marks = parts[5]
                name = unescape(parts[6] if len(parts) > 6 else "")
                self.rows.append({"index": index, "rect": (x, y, w, h), "selected": "s" in marks,
                                  "focused": "f" in marks, "name": name})
            else:
                # For the table, the text is its row count.
                self.widgets.append({"kind": kind, "rect": tuple(numbers), "focused": parts[4] == "focused",
                                     "text": unescape(parts[5] if len(parts) > 5 else "")})

    def widget(self, kind, text=None):
        for w in self.widgets:
            if w["kind"] == kind and (text is None or w["text"] == text):
                return w
        raise Failure("no %s %r in the layout" % (kind, text))

    def row(self, name):
        for r in self.rows:
            if r["name"] == name:
                return r
        return None

    def selected(self, name):
        row = self.row(name)
        return row is not None and row["selected"]

    def focused_kind(self):
        return next((w["kind"] for w in self.widgets if w["focused"]), None)

    def location(self):
        return self.widget("input")["text"]


def center(rect):
    x, y, w, h = rect
    return x + w // 2, y + h // 2


class Display:
    """A private Xvfb server."""

    def __init__(self):
        read_end, write_end = os.pipe()
        self.process = subprocess.Popen(
            ["Xvfb", "-displayfd", str(write_end), "-screen", "0", "1920x1200x24", "-nolisten", "tcp", "-noreset"],
            pass_fds=(write_end,), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(write_end)
        number = b""
        deadline = time.time() + TIMEOUT
        while not number.endswith(b"\n") and time.time() < deadline:
            ready, _, _ = select.select([read_end], [], [], 0.2)
            if ready:
                chunk = os.read(read_end, 16)
                if not chunk:
                    break
                number += chunk
        os.close(read_end)
        if not number.strip():
            self.close()
            raise Failure("Xvfb did not start")
        self.name = ":" + number.decode().strip()

    def close(self):
        if self.process.poll() is None:
            self.process.terminate()
            self.process.wait(timeout=TIMEOUT)


class Chooser:
    """The program under test, with its layout dumps collected as they come."""

    def __init__(self, program, args, display, home):
        env = {k: v for k, v in os.environ.items() if k not in ("DISPLAY", "WAYLAND_DISPLAY")}
        env.update({"DISPLAY": display.name, "GLFD_DEBUG_LAYOUT": "1", "HOME": home, "TZ": "UTC",
                    "LIBGL_ALWAYS_SOFTWARE": "1"})
        self.display = display
        self.process = subprocess.Popen([program, "--window"] + args, env=env, cwd=home,
                                        stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        self.layouts = []
        self.other_stderr = []
        self.changed = threading.Condition()
        self.reader = threading.Thread(target=self._read_stderr, daemon=True)
        self.reader.start()
        self.window = None
        self.first = self.wait(lambda layout: True)
        self.window = self._find_window()

    def _read_stderr(self):
        block = None
        for raw in self.process.stderr:
            line = raw.decode("ascii", "replace").rstrip("\n")
            if line.startswith("glfd-layout begin"):
                block = []
            elif line.startswith("glfd-layout end"):
                with self.changed:
                    self.layouts.append(Layout(block or []))
                    self.changed.notify_all()
                block = None
            elif block is not None:
                block.append(line)
            else:
                self.other_stderr.append(line)
        with self.changed:
            self.changed.notify_all()

    def xdo(self, *args):
        env = dict(os.environ, DISPLAY=self.display.name)
        return subprocess.run(["xdotool"] + [str(a) for a in args], env=env, check=True,
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE).stdout.decode()

    def _find_window(self):
        out = self.xdo("search", "--sync", "--onlyvisible", "--pid", self.process.pid)
        window = out.split()[0]
        self.xdo("windowfocus", "--sync", window)
        return window

    def latest(self):
        with self.changed:
            return self.layouts[-1] if self.layouts else None

    def wait(self, predicate, what="the expected layout"):
        """The first layout (the latest included) that satisfies predicate."""
        deadline = time.time() + TIMEOUT
        seen = 0
        with self.changed:
            while True:
                for layout in self.layouts[max(0, len(self.layouts) - 1 if seen == 0 else seen):]:
                    if predicate(layout):
                        return layout
                seen = len(self.layouts)
                if self.process.poll() is not None and not self.reader.is_alive():
                    raise Failure("the program ended while waiting for %s" % what)
                left = deadline - time.time()
                if left <= 0:
                    raise Failure("timed out waiting for %s" % what)
                self.changed.wait(left)

    def click(self, rect, repeat=1, modifiers=()):
        x, y = center(rect)
        self.xdo("mousemove", "--window", self.window, x, y)
        for m in modifiers:
            self.xdo("keydown", m)
        self.xdo("click", "--repeat", repeat, "--delay", 120, 1)
        for m in modifiers:
            self.xdo("keyup", m)

    def click_row(self, name, **kwargs):
        layout = self.wait(lambda l: l.row(name) is not None, "row %r" % name)
        self.click(layout.row(name)["rect"], **kwargs)

    def click_button(self, label):
        self.click(self.latest().widget("button", label)["rect"])

    def key(self, *keys):
        self.xdo("key", "--delay", 40, *keys)

    def type(self, text):
        self.xdo("type", "--delay", 30, text)

    def screenshot(self, path):
        os.makedirs(os.path.dirname(os.path.abspath(path)), exist_ok=True)
        env = dict(os.environ, DISPLAY=self.display.name)
        if shutil.which("import"):
            subprocess.run(["import", "-window", self.window, path], env=env, check=True)
        else:
            print("note: no screenshot taken (ImageMagick's import is missing)")

    def title(self):
        return self.xdo("getwindowname", self.window).rstrip("\n")

    def finish(self):
        try:
            out, _ = self.process.communicate(timeout=TIMEOUT)
        except subprocess.TimeoutExpired:
            self.process.kill()
            raise Failure("the program did not end")
        self.reader.join(TIMEOUT)
        return self.process.returncode, out

    def kill(self):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()


class X11:
    """The few Xlib calls xdotool cannot make, through ctypes."""

    def __init__(self, display_name):
        library = ctypes.util.find_library("X11")
        if library is None:
            raise Skip("libX11 not found")
        x = ctypes.CDLL(library)
        x.XOpenDisplay.restype = ctypes.c_void_p
        x.XOpenDisplay.argtypes = [ctypes.c_char_p]
        x.XDefaultRootWindow.restype = ctypes.c_ulong
        x.XDefaultRootWindow.argtypes = [ctypes.c_void_p]
        x.XInternAtom.restype = ctypes.c_ulong
        x.XInternAtom.argtypes = [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_int]
        x.XSendEvent.argtypes = [ctypes.c_void_p, ctypes.c_ulong, ctypes.c_int, ctypes.c_long, ctypes.c_void_p]
        x.XChangeProperty.argtypes = [ctypes.c_void_p, ctypes.c_ulong, ctypes.c_ulong, ctypes.c_ulong,
                                      ctypes.c_int, ctypes.c_int, ctypes.c_char_p, ctypes.c_int]
        x.XDeleteProperty.argtypes = [ctypes.c_void_p, ctypes.c_ulong, ctypes.c_ulong]
        x.XFlush.argtypes = [ctypes.c_void_p]
        x.XCloseDisplay.argtypes = [ctypes.c_void_p]
        self.x = x
        self.display = x.XOpenDisplay(display_name.encode())
        if not self.display:
            raise Failure("cannot open the X display")

    def atom(self, name):
        return self.x.XInternAtom(self.display, name, 0)

    def close_window(self, window):
        """WM_DELETE_WINDOW, as a window manager's close button sends it."""

        class ClientMessage(ctypes.Structure):
            _fields_ = [("type", ctypes.c_int), ("serial", ctypes.c_ulong), ("send_event", ctypes.c_int),
                        ("display", ctypes.c_void_p), ("window", ctypes.c_ulong), ("message_type", ctypes.c_ulong),
                        ("format", ctypes.c_int), ("data", ctypes.c_long * 5), ("pad", ctypes.c_long * 12)]

        event = ClientMessage()
        event.type = 33  # ClientMessage
        event.window = window
        event.message_type = self.atom(b"WM_PROTOCOLS")
        event.format = 32
        event.data[0] = self.atom(b"WM_DELETE_WINDOW")
        self.x.XSendEvent(self.display, window, 0, 0, ctypes.byref(event))
        self.x.XFlush(self.display)

    def set_dpi(self, dpi):
        """Sets (or, with None, removes) the Xft.dpi resource that desktop scaling is read from."""
        root = self.x.XDefaultRootWindow(self.display)
        resources = self.atom(b"RESOURCE_MANAGER")
        if dpi is None:
            self.x.XDeleteProperty(self.display, root, resources)
        else:
            value = b"Xft.dpi:\t%d\n" % dpi
            self.x.XChangeProperty(self.display, root, resources, self.atom(b"STRING"), 8, 0, value, len(value))
        self.x.XFlush(self.display)

    def close(self):
        self.x.XCloseDisplay(self.display)


# --- fixtures ------------------------------------------------------------------------------------

def make_tree(root, files):
    """files: relative path -> bytes, or None for a folder."""
    for relative, contents in files.items():
        path = os.path.join(os.fsencode(root), relative if isinstance(relative, bytes) else relative.encode())
        if contents is None:
            os.makedirs(path, exist_ok=True)
        else:
            os.makedirs(os.path.dirname(path), exist_ok=True)
            with open(path, "wb") as f:
                f.write(contents)
    return root


def basic_tree(root):
    return make_tree(root, {"docs": None, "docs/notes.txt": b"notes\n", "docs/plan.txt": b"plan\n",
                            "music": None, "a.txt": b"a", "b.txt": b"bb", "c.txt": b"ccc", "d.txt": b"dddd"})


def expect_output(chooser, status, paths, separator=b"\n"):
    code, out = chooser.finish()
    check(code == status, "exit status %d, expected %d" % (code, status))
    expected = b"".join(os.fsencode(p) + separator for p in paths)
    check(out == expected, "stdout %r, expected %r" % (out, expected))


# --- scenarios -----------------------------------------------------------------------------------

def scenario_open_file(ctx):
    """Double-click a folder, click a file, press Open with the mouse."""
    root = basic_tree(ctx.root)
    chooser = ctx.start([root])
    chooser.click_row(b"docs", repeat=2)
    chooser.wait(lambda l: l.location() == os.fsencode(root + "/docs") and l.row(b"notes.txt"), "docs listed")
    chooser.click_row(b"notes.txt")
    layout = chooser.wait(lambda l: l.selected(b"notes.txt"), "notes.txt selected")
    check(layout.focused_kind() == "table", "the clicked table has the focus")
    chooser.screenshot(os.path.join(ctx.artifacts, "open_file.png"))
    chooser.click_button(b"Open")
    expect_output(chooser, 0, [root + "/docs/notes.txt"])


def scenario_multiple(ctx):
    """A shift-click range in --multiple, printed NUL-terminated."""
    root = basic_tree(ctx.root)
    chooser = ctx.start(["--multiple", "--print0", root])
    chooser.click_row(b"b.txt")
    chooser.wait(lambda l: l.selected(b"b.txt"), "b.txt selected")
    chooser.click_row(b"d.txt", modifiers=["shift"])
    layout = chooser.wait(lambda l: l.selected(b"d.txt"), "range selected")
    check([r["name"] for r in layout.rows if r["selected"]] == [b"b.txt", b"c.txt", b"d.txt"],
          "rows b..d highlighted")
    chooser.click_button(b"Open")
    expect_output(chooser, 0, [root + "/b.txt", root + "/c.txt", root + "/d.txt"], b"\0")


def scenario_folder(ctx):
    """--folder accepts the folder shown."""
    root = basic_tree(ctx.root)
    chooser = ctx.start(["--folder", root])
    check(chooser.title() == chooser.first.widget("label")["text"].decode(), "the window title is the dialog's")
    chooser.click_row(b"music", repeat=2)
    layout = chooser.wait(lambda l: l.location() == os.fsencode(root + "/music"), "music entered")
    button = next(w for w in layout.widgets if w["kind"] == "button" and w["text"] not in (b"Up", b"Cancel"))
    chooser.click(button["rect"])
    expect_output(chooser, 0, [root + "/music"])


def scenario_escape(ctx):
    """Escape cancels: exit 1, nothing printed."""
    chooser = ctx.start([basic_tree(ctx.root)])
    chooser.click_row(b"a.txt")
    chooser.wait(lambda l: l.selected(b"a.txt"), "a.txt selected")
    chooser.key("Escape")
    expect_output(chooser, 1, [])


def scenario_close(ctx):
    """Closing the window cancels: exit 1, nothing printed."""
    chooser = ctx.start([basic_tree(ctx.root)])
    chooser.click_row(b"a.txt")
    chooser.wait(lambda l: l.selected(b"a.txt"), "a.txt selected")
    x11 = X11(ctx.display.name)
    try:
        x11.close_window(int(chooser.window))
    finally:
        x11.close()
    expect_output(chooser, 1, [])


def scenario_typed_path(ctx):
    """A typed folder plus Enter navigates and keeps the field focused; a typed file plus Enter chooses it."""
    root = basic_tree(ctx.root)
    chooser = ctx.start([root])
    chooser.click(chooser.latest().widget("input")["rect"])
    chooser.wait(lambda l: l.focused_kind() == "input", "the location field focused")
    chooser.key("ctrl+a")
    chooser.type(root + "/docs")
    chooser.key("Return")
    layout = chooser.wait(lambda l: l.location() == os.fsencode(root + "/docs") and l.row(b"plan.txt"),
                          "docs listed")
    check(layout.focused_kind() == "input", "the field keeps the focus after Enter")
    chooser.key("ctrl+a")
    chooser.type("plan.txt")
    chooser.key("Return")
    expect_output(chooser, 0, [root + "/docs/plan.txt"])


def scenario_keyboard(ctx):
    """Arrows, Enter, Backspace, Tab and End reach the widgets."""
    root = basic_tree(ctx.root)
    chooser = ctx.start([root])
    chooser.key("Down", "Return")
    chooser.wait(lambda l: l.location() == os.fsencode(root + "/docs"), "docs entered with Down, Enter")
    chooser.key("BackSpace")
    chooser.wait(lambda l: l.location() == os.fsencode(root), "back up with Backspace")
    chooser.key("Tab")
    layout = chooser.wait(lambda l: l.focused_kind() == "button", "Tab to a button")
    chooser.key("shift+Tab", "End")
    layout = chooser.wait(lambda l: l.focused_kind() == "table" and l.rows and l.rows[-1]["focused"],
                          "End focuses the last row")
    last = layout.rows[-1]["name"].decode()
    chooser.key("Return")
    expect_output(chooser, 0, [root + "/" + last])


def scenario_names(ctx):
    """Greek, Cyrillic, accented Latin and invalid UTF-8 names show, and the raw bytes come back."""
    names = ["Ελληνικά.txt", "Кириллица.txt", "café-naïve.txt"]
    bad = b"bad-\xff\xfe-name.txt"
    files = {n: b"x" for n in names}
    files[bad] = b"y"
    files["plain.txt"] = b"z"
    root = make_tree(ctx.root, files)
    chooser = ctx.start([root])
    wanted = [n.encode() for n in names] + [bad, b"plain.txt"]
    chooser.wait(lambda l: all(l.row(n) for n in wanted), "every name listed")
    chooser.click_row(bad)
    chooser.wait(lambda l: l.selected(bad), "the invalid name selected")
    chooser.screenshot(os.path.join(ctx.artifacts, "names.png"))
    chooser.click_button(b"Open")
    expect_output(chooser, 0, [os.fsencode(root) + b"/" + bad])


def scenario_scripts(ctx):
    """Names in six scripts and emoji draw with real glyphs (fallback fonts found through
    fontconfig), a newline in a name neither breaks nor grows its row, and the chosen name comes
    back byte for byte."""
    names = ["Привет-мир.txt", "Καλημέρα.txt", "日本語のファイル.txt", "中文文件夹", "한국어-문서.txt",
             "🎉 party.txt", "📁 projects", "☕ coffee.txt", "two\nlines.txt"]
    files = {n: (None if "." not in n else b"x") for n in names}
    root = make_tree(ctx.root, files)
    chooser = ctx.start([root])
    wanted = [n.encode() for n in names]
    layout = chooser.wait(lambda l: all(l.row(n) for n in wanted), "every name listed")
    try:
        layout = chooser.wait(lambda l: not l.missing, "every glyph loaded")
    except Failure:
        raise Failure("drawn without a glyph: %s" % " ".join("U+%04X" % c for c in chooser.latest().missing))
    tops = [r["rect"][1] for r in layout.rows]
    steps = {b - a for a, b in zip(tops, tops[1:])}
    check(len(steps) == 1, "every row one line high, got rows %r apart" % sorted(steps))
    chooser.click_row("日本語のファイル.txt".encode())
    chooser.wait(lambda l: l.selected("日本語のファイル.txt".encode()), "the Japanese name selected")
    chooser.xdo("mousemove", "--window", chooser.window, 5, 5)
    time.sleep(0.3)
    chooser.screenshot(os.path.join(ctx.artifacts, "scripts.png"))
    chooser.click_button(b"Open")
    expect_output(chooser, 0, [root + "/日本語のファイル.txt"])


def scenario_large_folder(ctx):
    """100,000 entries: a pre-selected file starts in view, End brings the last row into view at
    once and the wheel scrolls."""
    count = 100000
    root = ctx.root
    for i in range(count):
        open(os.path.join(root, "f%06d.txt" % i), "wb").close()
    chooser = ctx.start([root + "/f050000.txt"])
    check(chooser.first.widget("table")["text"] == str(count).encode(), "every entry is a row")
    chooser.wait(lambda l: l.selected(b"f050000.txt"), "the file given on the command line in view")
    started = time.time()
    chooser.key("End")
    layout = chooser.wait(lambda l: any(r["index"] == count - 1 and r["focused"] for r in l.rows),
                          "the last row in view")
    elapsed = time.time() - started
    check(elapsed < 2.0, "End took %.2f s" % elapsed)
    table = layout.widget("table")["rect"]
    last = layout.rows[-1]["rect"]
    check(last[1] + last[3] <= table[1] + table[3], "the last row is fully visible")
    top = layout.rows[0]["index"]
    chooser.xdo("mousemove", "--window", chooser.window, *center(table))
    chooser.xdo("click", "--repeat", 3, "--delay", 50, 4)
    chooser.wait(lambda l: l.rows and l.rows[0]["index"] < top, "the wheel scrolls up")
    chooser.key("Escape")
    expect_output(chooser, 1, [])


def scenario_scaled(ctx):
    """A monitor scale of 2 (192 dpi) doubles the window, the text and the layout."""
    root = basic_tree(ctx.root)

    def line_height():
        chooser = ctx.start([root])
        layout = chooser.first
        chooser.key("Escape")
        expect_output(chooser, 1, [])
        return layout.widget("input")["rect"][3], layout.rows[0]["rect"][3]

    plain = line_height()
    x11 = X11(ctx.display.name)
    try:
        x11.set_dpi(192)
        scaled = line_height()
    finally:
        x11.set_dpi(None)
        x11.close()
    for one, two in zip(plain, scaled):
        check(abs(two - 2 * one) <= 2, "heights %r at 96 dpi became %r at 192 dpi" % (plain, scaled))


def scenario_no_display(ctx):
    """Without a display --window reports one line and exits 3."""
    env = {k: v for k, v in os.environ.items() if k not in ("DISPLAY", "WAYLAND_DISPLAY")}
    result = subprocess.run([ctx.program, "--window", ctx.root], env=env, stdout=subprocess.PIPE,
                            stderr=subprocess.PIPE, timeout=TIMEOUT)
    check(result.returncode == 3, "exit status %d, expected 3" % result.returncode)
    check(result.stdout == b"", "nothing on stdout")
    lines = result.stderr.decode(errors="replace").splitlines()
    check(len(lines) == 1 and lines[0], "one line on stderr, got %r" % lines)


# --- a mount that never answers -----------------------------------------------------------------

SLOW_MOUNT_SH = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "tools", "slowfs", "slow_mount.sh")


def hung_mount(ctx):
    """ctx.root/mnt shows ctx.root/src, whose folder 'hung' can be opened but never read."""
    if not ctx.slowfs:
        raise Skip("no --slowfs program given")
    why = subprocess.run(["bash", SLOW_MOUNT_SH, "unavailable", ctx.slowfs], stdout=subprocess.PIPE,
                         timeout=60)
    if why.returncode == 0:
        raise Skip(why.stdout.decode(errors="replace").strip())
    source = make_tree(os.path.join(ctx.root, "src"), {"hung": None, "hung/never-listed.txt": b"",
                                                       "other": None, "a.txt": b"a", "b.txt": b"b"})
    mountpoint = os.path.join(ctx.root, "mnt")
    os.makedirs(mountpoint)
    mounted = subprocess.run(["bash", SLOW_MOUNT_SH, "mount", ctx.slowfs, source, mountpoint, "--hang-readdir=hung"],
                             stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=60)
    check(mounted.returncode == 0, "cannot mount the slow file system: %s" % mounted.stderr.decode(errors="replace"))
    ctx.mounts.append((mountpoint, mounted.stdout.decode().strip()))
    return mountpoint


def stuck_in_fuse(pid):
    """Whether a thread of pid waits in the kernel for the file system's answer."""
    try:
        tasks = os.listdir("/proc/%d/task" % pid)
    except OSError:
        return False
    for task in tasks:
        try:
            with open("/proc/%d/task/%s/wchan" % (pid, task)) as f:
                if f.read().strip() == "request_wait_answer":
                    return True
        except OSError:
            pass
    return False


def enter_hung(ctx):
    """Starts the chooser on the mount, enters 'hung' with the keyboard and returns once the program
    waits on it: (chooser, mountpoint, the time Return was pressed)."""
    mountpoint = hung_mount(ctx)
    chooser = ctx.start([mountpoint])
    chooser.wait(lambda l: l.row(b"hung") and l.row(b"a.txt"), "the mount listed")
    chooser.key("Down")
    chooser.wait(lambda l: l.row(b"hung") is not None and l.row(b"hung")["focused"], "hung focused")
    entered = time.time()
    chooser.key("Return")
    deadline = time.time() + TIMEOUT
    while not stuck_in_fuse(chooser.process.pid):
        check(time.time() < deadline and chooser.process.poll() is None, "the program never waited on the hung folder")
        time.sleep(0.01)
    return chooser, mountpoint, entered


def progress_shown(layout, folder):
    """A label other than the selection's "Folder: ..." mentions the folder being read."""
    return any(w["kind"] == "label" and folder in w["text"] and not w["text"].startswith(b"Folder: ")
               for w in layout.widgets)


def ends_within_half_a_second(chooser, what, since):
    try:
        chooser.process.wait(timeout=TIMEOUT)
    except subprocess.TimeoutExpired:
        raise Failure("the program did not end after %s" % what)
    took = time.time() - since
    check(took <= 0.5, "%s to exit took %.2f s (at most 0.5 expected)" % (what, took))


def gone_with_mount_still_hung(chooser, mountpoint):
    check(not os.path.exists("/proc/%d" % chooser.process.pid), "the program is still there")
    still = subprocess.run(["timeout", "-s", "KILL", "1", "ls", os.path.join(mountpoint, "hung")],
                           stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    # timeout kills its own process group with KILL, itself included: Python sees -9 where a shell sees 137.
    check(still.returncode in (137, -9), "the hung folder answered; the test proved nothing")


def scenario_hung_escape(ctx):
    """A folder that never answers: progress shows within 0.5 s, Escape ends the dialog within 0.5 s."""
    chooser, mountpoint, entered = enter_hung(ctx)
    folder = os.fsencode(mountpoint + "/hung")
    chooser.wait(lambda l: progress_shown(l, folder), "progress text naming %s" % folder.decode())
    took = time.time() - entered
    check(took <= 0.5, "the first progress text took %.2f s (at most 0.5 expected)" % took)
    check(stuck_in_fuse(chooser.process.pid), "the read stopped waiting by itself")
    pressed = time.time()
    chooser.key("Escape")
    ends_within_half_a_second(chooser, "Escape", pressed)
    expect_output(chooser, 1, [])
    gone_with_mount_still_hung(chooser, mountpoint)


def scenario_hung_up(ctx):
    """Giving up on a hung folder with Up (Backspace): the parent is listed and the dialog goes on."""
    chooser, mountpoint, _ = enter_hung(ctx)
    chooser.key("BackSpace")
    chooser.wait(lambda l: l.location() == os.fsencode(mountpoint) and l.row(b"b.txt") and
                 any(w["kind"] == "label" and w["text"] == b"Browsing " + os.fsencode(mountpoint) for w in l.widgets),
                 "the parent listed again")
    chooser.click_row(b"b.txt", repeat=2)
    expect_output(chooser, 0, [mountpoint + "/b.txt"])
    gone_with_mount_still_hung(chooser, mountpoint)


def scenario_hung_close(ctx):
    """Closing the window while a folder hangs ends the dialog within 0.5 s."""
    chooser, mountpoint, _ = enter_hung(ctx)
    x11 = X11(ctx.display.name)
    try:
        pressed = time.time()
        x11.close_window(int(chooser.window))
    finally:
        x11.close()
    ends_within_half_a_second(chooser, "closing the window", pressed)
    expect_output(chooser, 1, [])
    gone_with_mount_still_hung(chooser, mountpoint)


def readme_shot(ctx, path):
    """A tidy folder in --open mode with one file selected."""
    # A short, fixed path reads better in the picture than a random temporary one.
    root = os.path.join(tempfile.gettempdir(), "garden-planner")
    if os.path.exists(root):
        raise Failure("%s exists already; remove it first" % root)
    try:
        make_readme_folder(root)
        chooser = ctx.start([root])
        chooser.click_row(b"planting-calendar.csv")
        chooser.wait(lambda l: l.selected(b"planting-calendar.csv"), "the file selected")
        chooser.xdo("mousemove", "--window", chooser.window, 5, 5)
        time.sleep(0.5)
        chooser.screenshot(path)
        chooser.key("Escape")
        chooser.finish()
    finally:
        shutil.rmtree(root, ignore_errors=True)


def make_readme_folder(root):
    """A garden-planning folder with realistic sizes and dates."""
    day = 86400
    base = time.mktime((2024, 5, 14, 9, 30, 0, 0, 0, -1))
    entries = [("photos", None, 3), ("receipts", None, 12), ("sketches", None, 26),
               ("beds-layout.svg", 96512, 9), ("budget-2024.ods", 23870, 5), ("harvest-2023.pdf", 1843200, 180),
               ("notes-été.md", 2048, 20), ("planting-calendar.csv", 18734, 6), ("seed-inventory.ods", 41230, 4),
               ("shopping-list.txt", 412, 1), ("watering-schedule.md", 3190, 2), ("Κήπος-σημειώσεις.txt", 734, 15)]
    os.makedirs(root)
    for name, size, age in entries:
        entry = os.path.join(root, name)
        if size is None:
            os.makedirs(entry)
        else:
            with open(entry, "wb") as f:
                f.write(b"\0" * size)
        stamp = base - age * day + 97 * len(name) * 37 % 3600
        os.utime(entry, (stamp, stamp))


SCENARIOS = {name[len("scenario_"):]: fn for name, fn in globals().items() if name.startswith("scenario_")}
NEEDS_DISPLAY = set(SCENARIOS) - {"no_display"}


class Context:
    def __init__(self, program, artifacts, display, slowfs=None):
        self.program = program
        self.artifacts = artifacts
        self.display = display
        self.slowfs = slowfs
        self.root = tempfile.mkdtemp(prefix="glfd-e2e-")
        self.choosers = []
        self.mounts = []  # (mount point, daemon id)

    def start(self, args):
        chooser = Chooser(self.program, args, self.display, self.root)
        self.choosers.append(chooser)
        return chooser

    def close(self):
        for chooser in self.choosers:
            chooser.kill()
        for mountpoint, pid in self.mounts:
            subprocess.run(["bash", SLOW_MOUNT_SH, "unmount", mountpoint, pid], timeout=60)
        if any(os.path.ismount(mountpoint) for mountpoint, _ in self.mounts):
            print("note: %s left behind, still mounted" % self.root)
        else:
            shutil.rmtree(self.root, ignore_errors=True)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--program", required=True)
    parser.add_argument("--artifacts", default=".")
    parser.add_argument("--readme-shot")
    parser.add_argument("--slowfs", help="the glfd_slowfs program, for the hung_* scenarios")
    parser.add_argument("scenarios", nargs="*")
    options = parser.parse_args()
    options.program = os.path.abspath(options.program)
    unknown = [s for s in options.scenarios if s not in SCENARIOS]
    if unknown:
        print("unknown scenario(s): %s; known: %s" % (", ".join(unknown), ", ".join(sorted(SCENARIOS))))
        return 2
    wanted = options.scenarios or ([] if options.readme_shot else sorted(SCENARIOS))
    if options.readme_shot or set(wanted) & NEEDS_DISPLAY:
        missing = [tool for tool in ("Xvfb", "xdotool") if shutil.which(tool) is None]
        if missing:
            print("SKIP: %s not installed" % " and ".join(missing))
            return SKIP
    display = Display() if options.readme_shot or set(wanted) & NEEDS_DISPLAY else None
    failed = 0
    skipped = 0
    try:
        if options.readme_shot:
            ctx = Context(options.program, options.artifacts, display)
            try:
                readme_shot(ctx, options.readme_shot)
            finally:
                ctx.close()
        for name in wanted:
            ctx = Context(options.program, options.artifacts, display, options.slowfs)
            started = time.time()
            try:
                SCENARIOS[name](ctx)
                print("PASS %s (%.1f s)" % (name, time.time() - started))
            except Skip as reason:
                skipped += 1
                print("SKIP %s: %s" % (name, reason))
            except Failure as reason:
                failed += 1
                print("FAIL %s: %s" % (name, reason))
                for chooser in ctx.choosers:
                    if chooser.other_stderr:
                        print("  program stderr:\n    " + "\n    ".join(chooser.other_stderr))
            finally:
                ctx.close()
    finally:
        if display is not None:
            display.close()
    if failed:
        return 1
    return SKIP if skipped and skipped == len(wanted) else 0


if __name__ == "__main__":
    sys.exit(main())
