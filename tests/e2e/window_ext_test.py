#!/usr/bin/env python3
"""End-to-end tests of filters, save mode, hidden entries and the zenity-compatible command line in
the chooser's window, on a virtual X server with synthetic mouse and keyboard input. Uses the
driver of window_test.py.

    window_ext_test.py --program PATH --artifacts DIR SCENARIO...
Exit status: 0 passed, 1 failed, 77 skipped (a needed tool is missing).
"""

import os
import sys
import time

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import window_test as driver  # noqa: E402
from window_test import check, expect_output, make_tree  # noqa: E402


def widgets(layout, kind):
    return [w for w in layout.widgets if w["kind"] == kind]


def names(layout):
    return [r["name"] for r in layout.rows]


def status(layout):
    # The labels are title, hint and status, in that order; the status is the last one shown.
    labels = widgets(layout, "label")
    return labels[-1]["text"] if labels else b""


def status_is(text):
    return lambda layout: any(w["text"] == text for w in widgets(layout, "label"))


def scenario_save_replace(ctx):
    """--save with --confirm-overwrite: asked inside the dialog, backed out of, then replaced."""
    root = make_tree(ctx.root, {"report.pdf": b"old", "notes.txt": b"n", ".draft.pdf": b"d", "old": None})
    chooser = ctx.start(["--file-selection", "--save", "--confirm-overwrite", "--filename=report.pdf",
                         "--file-filter=PDF | *.pdf"])
    layout = chooser.wait(lambda l: len(widgets(l, "input")) == 2 and l.row(b"report.pdf"), "the save dialog")
    check(chooser.title() == "Save File", "window title %r" % chooser.title())
    check(widgets(layout, "input")[1]["text"] == b"report.pdf", "the proposed name")
    check(layout.widget("choice")["text"] == b"PDF (*.pdf)", "the active filter")
    check(names(layout) == [b"old", b"report.pdf"], "listed %r" % names(layout))
    # The name field takes the keyboard focus in the first frames; a click that races with that
    # is lost by the window backend (a known limitation of how it focuses text fields).
    time.sleep(1.5)
    chooser.click_button(b"Save")
    layout = chooser.wait(status_is(b'Replace "report.pdf"? It already exists.'), "the question")
    check(not any(w["text"] == b"Save" for w in widgets(layout, "button")), "Save is hidden while asking")
    chooser.click_button(b"Back")
    chooser.wait(lambda l: any(w["text"] == b"Save" for w in widgets(l, "button")), "back to the dialog")
    chooser.screenshot(os.path.join(ctx.artifacts, "save.png"))
    chooser.click_button(b"Save")
    chooser.wait(status_is(b'Replace "report.pdf"? It already exists.'), "asked again")
    chooser.click_button(b"Replace")
    expect_output(chooser, 0, [root + "/report.pdf"])
    check(open(os.path.join(root, "report.pdf"), "rb").read() == b"old", "the chooser wrote nothing")


def scenario_multiple_filter(ctx):
    """--multiple with a separator and an image filter; Ctrl+H brings hidden files in."""
    root = make_tree(ctx.root, {"a.png": b"a", "b.jpg": b"b", "c.txt": b"c", ".hidden.png": b"h", "sub": None})
    chooser = ctx.start(["--file-selection", "--multiple", "--separator=:", "--file-filter=Images | *.png *.jpg"])
    layout = chooser.wait(lambda l: l.row(b"a.png") is not None, "the images listed")
    check(names(layout) == [b"sub", b"a.png", b"b.jpg"], "listed %r" % names(layout))
    check(layout.widget("button", b"Hidden files: hidden") is not None, "the toggle shows the state")
    chooser.click_row(b"a.png")
    chooser.key("ctrl+h")
    layout = chooser.wait(lambda l: l.row(b".hidden.png") is not None, "hidden files shown")
    layout.widget("button", b"Hidden files: shown")
    chooser.click_row(b"a.png")
    chooser.wait(lambda l: l.selected(b"a.png"), "a.png selected")
    chooser.click_row(b"b.jpg", modifiers=["shift"])
    chooser.wait(lambda l: l.selected(b"b.jpg"), "range selected")
    chooser.click_button(b"Open")
    code, out = chooser.finish()
    check(code == 0, "exit status %d" % code)
    expected = os.fsencode(root + "/a.png:" + root + "/b.jpg\n")
    check(out == expected, "stdout %r, expected %r" % (out, expected))


def scenario_switch_filter(ctx):
    """The filter selector by keyboard re-lists at once; Escape cancels with status 1 and no output."""
    make_tree(ctx.root, {"a.png": b"a", "c.txt": b"c"})
    chooser = ctx.start(["--filter=Images:*.png", "--filter=Text:*.txt"])
    chooser.click_row(b"a.png")
    chooser.wait(lambda l: l.focused_kind() == "table", "the table focused")
    chooser.key("Tab")
    chooser.wait(lambda l: l.focused_kind() == "choice", "the selector focused")
    chooser.key("Down")
    layout = chooser.wait(lambda l: l.widget("choice")["text"] == b"Text (*.txt)", "the text filter")
    layout = chooser.wait(lambda l: names(l) == [b"c.txt"], "only text files")
    chooser.key("Escape")
    expect_output(chooser, 1, [])


SCENARIOS = {name[len("scenario_"):]: fn for name, fn in globals().items() if name.startswith("scenario_")}

if __name__ == "__main__":
    driver.SCENARIOS = SCENARIOS
    driver.NEEDS_DISPLAY = set(SCENARIOS)
    sys.exit(driver.main())
