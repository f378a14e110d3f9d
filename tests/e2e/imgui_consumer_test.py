#!/usr/bin/env python3
"""End-to-end test of an ImGui application that embeds the dialog from the installed package
(tests/imgui_consumer): its own widgets, a button that opens the dialog, the chosen path printed
by the host's slot. Runs on a private virtual X server with synthetic mouse input.

    imgui_consumer_test.py --program PATH --artifacts DIR SCENARIO...

Scenarios: modal (the host's widgets wait while the dialog is open), window (they keep working).
Exit status: 0 passed, 1 failed, 77 skipped (a needed tool is missing).
"""

import argparse
import os
import shutil
import subprocess
import sys
import tempfile
import threading
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from window_test import (SKIP, TIMEOUT, Chooser, Display, Failure, Layout, X11, basic_tree,  # noqa: E402
                         check)


class Consumer(Chooser):
    """The host application: layout dumps of the dialog on stderr, the host's own lines on stdout."""

    def __init__(self, program, args, display, home):
        env = {k: v for k, v in os.environ.items() if k not in ("DISPLAY", "WAYLAND_DISPLAY")}
        env.update({"DISPLAY": display.name, "GLFD_DEBUG_LAYOUT": "1", "HOME": home, "TZ": "UTC",
                    "LIBGL_ALWAYS_SOFTWARE": "1"})
        self.display = display
        self.process = subprocess.Popen([program] + args, env=env, cwd=home, stdout=subprocess.PIPE,
                                        stderr=subprocess.PIPE)
        self.layouts = []
        self.other_stderr = []
        self.lines = []
        self.changed = threading.Condition()
        self.reader = threading.Thread(target=self._read_stderr, daemon=True)
        self.reader.start()
        self.out_reader = threading.Thread(target=self._read_stdout, daemon=True)
        self.out_reader.start()
        self.window = None
        self.widgets = {}
        for line in self.wait_lines(lambda lines: sum(l.startswith("widget ") for l in lines) == 3,
                                    "the host's widgets"):
            if line.startswith("widget "):
                _, name, x, y, w, h = line.split()
                self.widgets[name] = (int(x), int(y), int(w), int(h))
        self.window = self._find_window()

    def _read_stdout(self):
        for raw in self.process.stdout:
            with self.changed:
                self.lines.append(raw.decode("utf-8", "replace").rstrip("\n"))
                self.changed.notify_all()
        with self.changed:
            self.changed.notify_all()

    def wait_lines(self, predicate, what):
        deadline = time.time() + TIMEOUT
        with self.changed:
            while not predicate(self.lines):
                if self.process.poll() is not None and not self.out_reader.is_alive():
                    raise Failure("the host ended while waiting for %s" % what)
                left = deadline - time.time()
                if left <= 0:
                    raise Failure("timed out waiting for %s; the host printed %r" % (what, self.lines))
                self.changed.wait(left)
            return list(self.lines)

    def wait_line(self, text):
        return self.wait_lines(lambda lines: text in lines, repr(text))

    def open_dialog(self):
        """Presses the host's button and waits for the dialog's first layout."""
        seen = len(self.layouts)
        self.click(self.widgets["open"])
        deadline = time.time() + TIMEOUT
        with self.changed:
            while len(self.layouts) <= seen or not self.layouts[-1].rows:
                left = deadline - time.time()
                if left <= 0:
                    raise Failure("the dialog did not open")
                self.changed.wait(left)
            return self.layouts[-1]

    def settle(self):
        """Lets a few frames pass: the host draws one about every 50 ms while input comes."""
        time.sleep(0.5)

    def close(self):
        x11 = X11(self.display.name)
        try:
            x11.close_window(int(self.window))
        finally:
            x11.close()
        try:
            self.process.wait(timeout=TIMEOUT)
        except subprocess.TimeoutExpired:
            self.process.kill()
            raise Failure("the host did not end when its window was closed")
        self.out_reader.join(TIMEOUT)
        check(self.process.returncode == 0, "the host exited with %d" % self.process.returncode)
        check(self.lines[-1] == "host ended", "the host ended normally")


def scenario_modal(ctx):
    """Modal: pick a file, the host's slot prints it; the host's widgets wait while the dialog is
    open and work again afterwards; the dialog opens a second time and Cancel reports."""
    root = basic_tree(ctx.root)
    app = ctx.start(["--modal", root])
    app.click(app.widgets["count"])
    app.wait_line("count: 1")
    app.open_dialog()
    app.click(app.widgets["count"])
    app.click(app.widgets["lights"])
    app.click_row(b"a.txt")
    app.wait(lambda l: l.selected(b"a.txt"), "a.txt selected")
    app.settle()
    app.screenshot(os.path.join(ctx.artifacts, "imgui_consumer_modal.png"))
    check("count: 2" not in app.lines and not any(l.startswith("lights") for l in app.lines),
          "the host's widgets stay still under the modal dialog: %r" % app.lines)
    app.click_button(b"Open")
    app.wait_line("selected: %s/a.txt" % root)
    app.click(app.widgets["count"])
    app.wait_line("count: 2")
    app.open_dialog()
    app.click_button(b"Cancel")
    app.wait_line("cancelled")
    app.click(app.widgets["lights"])
    app.wait_line("lights: on")
    check(sum(l.startswith("selected") for l in app.lines) == 1, "one choice reported: %r" % app.lines)
    app.close()


def scenario_window(ctx):
    """Non-modal: the host's widgets keep working beside the open dialog, which still chooses."""
    root = basic_tree(ctx.root)
    app = ctx.start(["--window", root])
    app.open_dialog()
    app.click(app.widgets["count"])
    app.wait_line("count: 1")
    app.click(app.widgets["lights"])
    app.wait_line("lights: on")
    app.click_row(b"docs", repeat=2)
    app.wait(lambda l: l.location() == os.fsencode(root + "/docs") and l.row(b"notes.txt"), "docs listed")
    app.click_row(b"notes.txt")
    app.wait(lambda l: l.selected(b"notes.txt"), "notes.txt selected")
    app.settle()
    app.screenshot(os.path.join(ctx.artifacts, "imgui_consumer_window.png"))
    app.click_button(b"Open")
    app.wait_line("selected: %s/docs/notes.txt" % root)
    app.click(app.widgets["count"])
    app.wait_line("count: 2")
    app.close()


SCENARIOS = {"modal": scenario_modal, "window": scenario_window}


class Context:
    def __init__(self, program, artifacts, display):
        self.program = program
        self.artifacts = artifacts
        self.display = display
        self.root = tempfile.mkdtemp(prefix="glfd-consumer-")
        self.apps = []

    def start(self, args):
        app = Consumer(self.program, [a for a in args if a != "--modal"], self.display, self.root)
        self.apps.append(app)
        return app

    def close(self):
        for app in self.apps:
            app.kill()
        shutil.rmtree(self.root, ignore_errors=True)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--program", required=True)
    parser.add_argument("--artifacts", default=".")
    parser.add_argument("scenarios", nargs="+", choices=sorted(SCENARIOS))
    options = parser.parse_args()
    missing = [tool for tool in ("Xvfb", "xdotool") if shutil.which(tool) is None]
    if missing:
        print("SKIP: %s not installed" % " and ".join(missing))
        return SKIP
    display = Display()
    failed = 0
    try:
        for name in options.scenarios:
            ctx = Context(os.path.abspath(options.program), options.artifacts, display)
            started = time.time()
            try:
                SCENARIOS[name](ctx)
                print("PASS %s (%.1f s)" % (name, time.time() - started))
            except Failure as reason:
                failed += 1
                print("FAIL %s: %s" % (name, reason))
                for app in ctx.apps:
                    if app.other_stderr:
                        print("  host stderr:\n    " + "\n    ".join(app.other_stderr))
            finally:
                ctx.close()
    finally:
        display.close()
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
