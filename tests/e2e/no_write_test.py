#!/usr/bin/env python3
"""The chooser writes nothing: runs a real session of one backend under strace and fails on any
system call that creates, renames, removes, links or changes a file, or opens one for writing.

    no_write_test.py --program PATH terminal|window

Each backend runs twice, with HOME (and the working folder) a fresh empty folder: once moved
around and cancelled, once to an accepted file. The terminal runs in a tmux pane, the window on a
private Xvfb server with synthetic keys. Afterwards HOME must still be empty.

What may be opened for writing, because it stores nothing:
  /dev/tty, /dev/pts/N, /dev/ptmx   the terminal the dialog is drawn on
  /dev/null                         discards what is written
  /dev/dri/cardN, /dev/dri/renderDN the GPU's device nodes, which the GL driver opens read-write
                                    to issue commands (ioctl); no file is created or changed
and calls on descriptors that are not files (memfd, pipes, sockets, anonymous inodes), e.g. a
shared-memory buffer the X connection sizes with ftruncate. A Unix socket bound to a path creates
a file and counts; an abstract one does not. An attempt counts even when it fails.
Exit status: 0 passed, 1 failed, 77 skipped (strace, ptrace, tmux, Xvfb or xdotool unavailable).
"""

import argparse
import os
import re
import select
import shutil
import subprocess
import sys
import tempfile
import time

SKIP = 77
TIMEOUT = 20.0

# Calls that change the file system whatever their arguments, and the descriptor-based ones that
# do so unless the descriptor is not a file.
CHANGING = {"creat", "mkdir", "mkdirat", "rename", "renameat", "renameat2", "unlink", "unlinkat", "rmdir",
            "link", "linkat", "symlink", "symlinkat", "truncate", "mknod", "mknodat", "chmod", "fchmodat",
            "chown", "lchown", "fchownat", "utime", "utimes", "utimensat", "futimesat", "setxattr",
            "lsetxattr", "removexattr", "lremovexattr"}
ON_DESCRIPTOR = {"ftruncate", "fallocate", "fchmod", "fchown", "fsetxattr", "fremovexattr"}
OPENING = {"open", "openat", "openat2", "open_by_handle_at"}
TRACED = "%file,ftruncate,fallocate,fchmod,fchown,fsetxattr,fremovexattr,bind"

WRITE_FLAGS = re.compile(r"\bO_(WRONLY|RDWR|CREAT|TRUNC|TMPFILE)\b")
HARMLESS_TARGETS = re.compile(r"^(/dev/tty|/dev/pts/\d+|/dev/ptmx|/dev/null|/dev/dri/(card|renderD)\d+)$")
NOT_FILES = re.compile(r"^(/memfd:|anon_inode:|socket:|pipe:)")
QUOTED = re.compile(r'"(?:[^"\\]|\\.)*"')
CALL = re.compile(r"^(?P<pid>\d+) +(?P<call>\w+)\((?P<rest>.*)$")
RESUMED = re.compile(r"^(?P<pid>\d+) +<\.\.\. (?P<call>\w+) resumed>(?P<rest>.*)$")


class Skip(Exception):
    pass


class Failure(Exception):
    pass


def calls(trace_path):
    """(call, text after the opening parenthesis) for every finished call, threads' halves joined."""
    pending = {}
    with open(trace_path, "r", encoding="utf-8", errors="replace") as trace:
        for line in trace:
            line = line.rstrip("\n")
            match = CALL.match(line)
            if match and line.endswith("<unfinished ...>"):
                pending[match["pid"]] = (match["call"], match["rest"][: -len("<unfinished ...>")])
                continue
            resumed = RESUMED.match(line)
            if resumed:
                call, start = pending.pop(resumed["pid"], (resumed["call"], ""))
                yield call, start + resumed["rest"]
            elif match:
                yield match["call"], match["rest"]


def descriptor_target(text):
    """The path strace -y shows for a descriptor: '5</dev/pts/1>' gives '/dev/pts/1'."""
    match = re.match(r"-?\d+<(.*?)>", text)
    return match[1] if match else ""


def opened_target(rest):
    """What an open call names: the path the returned descriptor shows, else the path argument."""
    result = rest.rsplit(" = ", 1)[-1]
    target = descriptor_target(result)
    if target:
        return target
    match = QUOTED.search(rest)
    return match[0][1:-1] if match else ""


def offending(trace_path):
    """The trace lines that change the file system or open a file for writing."""
    found = []
    for call, rest in calls(trace_path):
        line = "%s(%s" % (call, rest)
        flags = QUOTED.sub('""', rest)
        if call in CHANGING:
            found.append(line)
        elif call in ON_DESCRIPTOR:
            target = descriptor_target(rest)
            if not NOT_FILES.match(target) and not HARMLESS_TARGETS.match(target):
                found.append(line)
        elif call in OPENING and WRITE_FLAGS.search(flags.rsplit(" = ", 1)[0]):
            if not HARMLESS_TARGETS.match(opened_target(rest)):
                found.append(line)
        elif call == "bind" and "AF_UNIX" in rest and 'sun_path="' in rest:
            found.append(line)
    return found


# LeakSanitizer cannot run under a tracer; in sanitized builds the other tests look for leaks.
TRACEE_ASAN_OPTIONS = ":".join(filter(None, [os.environ.get("ASAN_OPTIONS", ""), "detect_leaks=0"]))


def strace_command(trace_path):
    return ["strace", "-f", "--seccomp-bpf", "-y", "-s", "512", "-o", trace_path, "-e", "trace=" + TRACED, "--"]


def check_tools(*tools):
    for tool in ("strace",) + tools:
        if shutil.which(tool) is None:
            raise Skip("%s is not installed" % tool)
    probe = subprocess.run(strace_command(os.devnull) + ["true"], stdout=subprocess.DEVNULL,
                           stderr=subprocess.PIPE)
    if probe.returncode != 0:
        raise Skip("strace cannot trace here: " + probe.stderr.decode(errors="replace").strip())


def poll(predicate, what):
    deadline = time.time() + TIMEOUT
    while time.time() < deadline:
        if predicate():
            return
        time.sleep(0.1)
    raise Failure("timed out waiting for " + what)


def make_tree(root):
    os.makedirs(os.path.join(root, "docs"))
    for name, data in (("docs/notes.txt", b"notes\n"), ("a.txt", b"a"), ("b.txt", b"bb"), ("c.txt", b"ccc")):
        with open(os.path.join(root, name), "wb") as f:
            f.write(data)
    return root


class TerminalSession:
    """The chooser in a tmux pane of a private server, under strace."""

    def __init__(self, work):
        check_tools("tmux")
        self.socket = None
        self.work = work

    def tmux(self, *args):
        return subprocess.run(["tmux", "-S", self.socket] + list(args), check=True, stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE).stdout.decode(errors="replace")

    def run(self, program, tree, home, trace, keys, name):
        out = os.path.join(self.work, name + ".out")
        status = os.path.join(self.work, name + ".status")
        self.socket = os.path.join(self.work, "tmux-" + name)  # a private server per run
        command = "cd %s && env HOME=%s ASAN_OPTIONS=%s %s %s --terminal %s >%s; echo $? >%s; exec sleep 600" % (
            q(home), q(home), q(TRACEE_ASAN_OPTIONS), " ".join(q(a) for a in strace_command(trace)), q(program), q(tree), q(out),
            q(status))
        self.tmux("-f", "/dev/null", "new-session", "-d", "-x", "100", "-y", "30", "-e", "LANG=C.UTF-8", command)
        try:
            poll(lambda: ("Browsing " + tree) in self.tmux("capture-pane", "-p"), "the listing")
            for key in keys:
                self.tmux("send-keys", key)
                time.sleep(0.2)
            poll(lambda: os.path.exists(status) and os.path.getsize(status) > 0, "the chooser to end")
            with open(status) as f, open(out, "rb") as g:
                return int(f.read()), g.read()
        finally:
            subprocess.run(["tmux", "-S", self.socket, "kill-server"], stderr=subprocess.DEVNULL)


class WindowSession:
    """The chooser's window on a private Xvfb server, under strace, driven with xdotool."""

    def __init__(self, work):
        check_tools("Xvfb", "xdotool")
        self.work = work
        read_end, write_end = os.pipe()
        self.server = subprocess.Popen(["Xvfb", "-displayfd", str(write_end), "-screen", "0", "1280x1024x24",
                                        "-nolisten", "tcp", "-noreset"], pass_fds=(write_end,), stdout=subprocess.DEVNULL,
                                       stderr=subprocess.DEVNULL)
        os.close(write_end)
        number = b""
        while not number.endswith(b"\n") and select.select([read_end], [], [], TIMEOUT)[0]:
            chunk = os.read(read_end, 16)
            if not chunk:
                break
            number += chunk
        os.close(read_end)
        if not number.strip():
            self.close()
            raise Failure("Xvfb did not start")
        self.display = ":" + number.decode().strip()

    def xdo(self, *args):
        return subprocess.run(["timeout", str(TIMEOUT), "xdotool"] + list(args), check=True,
                              env=dict(os.environ, DISPLAY=self.display), stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE).stdout.decode()

    def run(self, program, tree, home, trace, keys, name):
        env = {k: v for k, v in os.environ.items() if k not in ("WAYLAND_DISPLAY", "XDG_CACHE_HOME")}
        env.update({"DISPLAY": self.display, "HOME": home, "LIBGL_ALWAYS_SOFTWARE": "1", "GLFD_DEBUG_LAYOUT": "1",
                    "ASAN_OPTIONS": TRACEE_ASAN_OPTIONS})
        process = subprocess.Popen(strace_command(trace) + [program, "--window", tree], env=env, cwd=home,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE)
        try:
            # The first layout dump: the window is up and listed.
            deadline = time.time() + TIMEOUT
            while time.time() < deadline:
                line = process.stderr.readline()
                if not line or line.startswith(b"glfd-layout end"):
                    break
            window = self.xdo("search", "--sync", "--onlyvisible", "--name", "^Open File$").split()[0]
            self.xdo("windowfocus", "--sync", window)
            self.xdo("key", "--delay", "150", *keys)
            out, _ = process.communicate(timeout=TIMEOUT)
            return process.returncode, out
        finally:
            if process.poll() is None:
                process.kill()
                process.wait()

    def close(self):
        if self.server.poll() is None:
            self.server.terminate()
            self.server.wait(timeout=TIMEOUT)


def q(text):
    return "'" + text.replace("'", "'\\''") + "'"


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--program", required=True)
    parser.add_argument("backend", choices=("terminal", "window"))
    args = parser.parse_args()
    program = os.path.abspath(args.program)
    work = tempfile.mkdtemp(prefix="glfd-nowrite-")
    session = None
    try:
        if args.backend == "terminal":
            session = TerminalSession(work)
            browse = ["Down", "Enter", "BSpace", "Down", "Down", "Escape"]
            accept = ["End", "Enter"]
        else:
            session = WindowSession(work)
            browse = ["Down", "Return", "BackSpace", "Down", "Down", "Escape"]
            accept = ["End", "Return"]
        tree = make_tree(os.path.join(work, "tree"))
        problems = []
        for name, keys, wanted_status, wanted_out in (("cancel", browse, 1, b""),
                                                      ("accept", accept, 0, (tree + "/c.txt\n").encode())):
            home = os.path.join(work, "home-" + name)
            os.mkdir(home)
            trace = os.path.join(work, name + ".trace")
            status, out = session.run(program, tree, home, trace, keys, name)
            if (status, out) != (wanted_status, wanted_out):
                problems.append("%s: exit status %d and output %r, expected %d and %r"
                                % (name, status, out, wanted_status, wanted_out))
            problems += ["%s: %s" % (name, line) for line in offending(trace)]
            left = [os.path.relpath(os.path.join(d, f), home) for d, dirs, files in os.walk(home)
                    for f in dirs + files]
            if left:
                problems.append("%s: HOME is no longer empty: %s" % (name, ", ".join(sorted(left))))
        if problems:
            raise Failure("the %s chooser wrote to the file system:\n  " % args.backend + "\n  ".join(problems))
        print("PASS: the %s chooser wrote nothing (%s)" % (args.backend, ", ".join(("cancel", "accept"))))
        return 0
    except Skip as skip:
        print("SKIP:", skip)
        return SKIP
    except (Failure, subprocess.SubprocessError) as failure:
        print("FAIL:", failure)
        return 1
    finally:
        if isinstance(session, WindowSession):
            session.close()
        shutil.rmtree(work, ignore_errors=True)


if __name__ == "__main__":
    sys.exit(main())
