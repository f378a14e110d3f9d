#!/usr/bin/env bash
# End-to-end checks of the chooser's terminal interface, used as a person would: the real
# program runs in a tmux pane of fixed size, keys go in through tmux, the screen comes back
# through capture-pane and the chosen paths through the redirected standard output.
#
# Usage: terminal_test.sh PROGRAM SCENARIO
# Scenarios: browse multiple typed hostile resize mouse signals notty, and on a hung mount
# (GLFD_SLOWFS names the glfd_slowfs program): hung_escape hung_up hung_interrupt
# Exit status 77 (skipped) when tmux is not installed, or FUSE cannot mount for the hung ones.

set -u
PROGRAM=$1
SCENARIO=$2

if [ "$SCENARIO" != notty ] && ! command -v tmux >/dev/null; then
    echo "SKIP: tmux is not installed"
    exit 77
fi

WORK=$(mktemp -d -t glfd-e2e.XXXXXX) || exit 1
RUN=0
SOCKET=
SLOWFS_PID=
cleanup() {
    [ -n "$SOCKET" ] && tmux -S "$SOCKET" kill-server 2>/dev/null
    [ -n "$SLOWFS_PID" ] && slowfs_unmount "$WORK/mnt" "$SLOWFS_PID"
    rm -rf --one-file-system "$WORK"
}
trap cleanup EXIT
unset TMUX DISPLAY WAYLAND_DISPLAY

# The fixture: folders, plain files, a long folder and names that try to drive the terminal.
TREE=$WORK/tree
mkdir -p "$TREE/alpha/deep" "$TREE/beta"
for name in a.txt b.txt c.txt d.txt alpha/inner.txt; do printf 'x\n' >"$TREE/$name"; done
for i in $(seq -w 1 40); do : >"$TREE/beta/f$i.dat"; done
: >"$TREE/"$'evil\e[2Jname'
: >"$TREE/"$'title\e]0;pwned\aname'
: >"$TREE/"$'bad\xffname'
: >"$TREE/wide-日本語.txt"

tmx() { tmux -S "$SOCKET" "$@"; }
screen() { tmx capture-pane -p; }
keys() { tmx send-keys "$@"; }
line() { screen | sed -n "$1p"; }
fail() {
    echo "FAIL [$SCENARIO]: $*"
    if [ -n "$SOCKET" ]; then
        echo "--- screen ---"
        screen
    fi
    exit 1
}

# Starts the program with ARGS (after --terminal) in a fresh 100x30 pane; the pane records
# the terminal settings before and after, and the exit status.
start() {
    RUN=$((RUN + 1))
    [ -n "$SOCKET" ] && tmx kill-server 2>/dev/null
    SOCKET=$WORK/tmux-$RUN # a private server per run, removed with the work folder
    rm -f "$WORK/out" "$WORK/status" "$WORK/stty.before" "$WORK/stty.after"
    local w command
    w=$(printf '%q' "$WORK")
    command="trap : INT; stty -g >$w/stty.before; ${TERM_OVERRIDE:-} $(printf '%q ' "$PROGRAM" --terminal "$@")"
    command+=" >$w/out; echo \$? >$w/status; stty -g >$w/stty.after; exec sleep 600"
    tmx -f /dev/null new-session -d -x 100 -y 30 -e LANG=C.UTF-8 -e NO_COLOR=1 "$command" ||
        fail "tmux could not start"
}

poll() { # COMMAND...: true once COMMAND succeeds within five seconds
    for _ in $(seq 50); do
        "$@" && return 0
        sleep 0.1
    done
    return 1
}
shows() { screen | grep -qF -- "$1"; }
status_reads() { [ "$(screen | tail -n 2 | head -n 1 | sed 's/ *$//')" = "$1" ]; }
focus_on() { screen | grep -q -- "^> $1 "; }

wait_for() { poll shows "$1" || fail "the screen never showed: $1"; }                         # TEXT
status_is() { poll status_reads "$1" || fail "the status line never read: $1"; }              # TEXT above the buttons
focused_is() { poll focus_on "$1" || fail "the focused row never became: $1"; }               # NAME marked focused

finish() { # STATUS: waits for the exit, checks it and that the terminal settings are back
    for _ in $(seq 50); do
        [ -s "$WORK/status" ] && [ -s "$WORK/stty.after" ] && break
        sleep 0.1
    done
    [ -s "$WORK/status" ] || fail "the program did not end"
    [ "$(cat "$WORK/status")" = "$1" ] || fail "exit status $(cat "$WORK/status"), expected $1"
    cmp -s "$WORK/stty.before" "$WORK/stty.after" || fail "terminal settings differ after exit"
    local modes
    modes=$(tmx display -p '#{alternate_on} #{mouse_any_flag}#{mouse_button_flag}#{mouse_standard_flag} #{cursor_flag}')
    [ "$modes" = "0 000 1" ] || fail "terminal modes not restored (alternate mouse cursor: $modes)"
}

output_is() { # EXPECTED (newline-separated paths)
    [ "$(cat "$WORK/out")" = "$1" ] || fail "printed '$(cat -v "$WORK/out")', expected '$1'"
}

program_pid() { ps -o pid= --ppid "$(tmx display -p '#{pane_pid}')" | tr -d ' '; }

display_column() { # TEXT PATTERN: terminal column where PATTERN starts in the line holding TEXT
    screen | grep -F -- "$1" | head -n 1 | sed "s/$2.*//" | LC_ALL=C.UTF-8 wc -L
}

now_ms() { echo $(($(date +%s%N) / 1000000)); }

# The hung mount: $WORK/mnt shows $WORK/src, whose folder 'hung' can be opened but never read.
hung_mount() {
    [ -n "${GLFD_SLOWFS:-}" ] || { echo "SKIP: GLFD_SLOWFS does not name the slow file system program"; exit 77; }
    . "$(dirname "$0")/../../tools/slowfs/slow_mount.sh"
    local reason
    if reason=$(slowfs_unavailable "$GLFD_SLOWFS"); then
        echo "SKIP: $reason"
        exit 77
    fi
    mkdir -p "$WORK/src/hung" "$WORK/src/other" "$WORK/mnt"
    printf 'a\n' >"$WORK/src/a.txt"
    printf 'b\n' >"$WORK/src/b.txt"
    : >"$WORK/src/hung/never-listed.txt"
    SLOWFS_PID=$(slowfs_mount "$GLFD_SLOWFS" "$WORK/src" "$WORK/mnt" --hang-readdir=hung) ||
        fail "cannot mount the slow file system"
    MNT=$WORK/mnt
}

# Whether a thread of PID waits in the kernel for the file system's answer.
stuck_in_fuse() { grep -qs '^request_wait_answer$' /proc/"$1"/task/*/wchan; }

# Starts the chooser on the mount, enters 'hung' and returns once the program waits on it.
enter_hung() {
    start "$MNT"
    status_is "Browsing $MNT"
    keys Down
    focused_is hung
    PID=$(program_pid)
    ENTERED=$(now_ms)
    keys Enter
    poll stuck_in_fuse "$PID" || fail "the program never waited on the hung folder"
}

# The status line mentions the folder being read (and is not the selection's "Folder: ...").
progress_shown() {
    local status
    status=$(screen | tail -n 2 | head -n 1)
    case $status in "Folder: "*) return 1 ;; *"$MNT/hung"*) return 0 ;; *) return 1 ;; esac
}

within_half_a_second() { # WHAT START_MS
    local took=$(($(now_ms) - $2))
    [ "$took" -le 500 ] || fail "$1 took $took ms (at most 500 expected)"
}

# After the program has gone: nothing of it is left, and the folder still hangs for others.
gone_with_mount_still_hung() {
    ! kill -0 "$PID" 2>/dev/null || fail "the program is still there"
    timeout -s KILL 1 ls "$MNT/hung" >/dev/null 2>&1
    [ $? -eq 137 ] || fail "the hung folder answered; the test proved nothing"
}

case $SCENARIO in
browse) # keyboard only: move, enter a folder, go up, type-ahead, accept with Enter
    start "$TREE"
    status_is "Browsing $TREE"
    [ "$(line 1)" = "Open File" ] || fail "title line"
    keys Down
    focused_is alpha
    keys Down
    focused_is beta
    keys Up Enter
    status_is "Browsing $TREE/alpha"
    wait_for "inner.txt"
    keys M-Up
    status_is "Browsing $TREE"
    keys d
    focused_is d.txt
    keys Home Enter
    status_is "Browsing $TREE/alpha"
    keys End
    focused_is inner.txt
    keys Enter
    finish 0
    output_is "$TREE/alpha/inner.txt"
    ;;
multiple) # a Shift+arrow range in --multiple is what gets printed. TERM=screen lacks the
    # modified keys, so Shift+Down arrives as an unknown xterm sequence; Alt comes as an ESC prefix.
    TERM_OVERRIDE="TERM=screen" start --multiple "$TREE"
    wait_for "Open Files"
    keys Down Enter
    status_is "Browsing $TREE/alpha"
    keys -l $'\e\e[A'
    status_is "Browsing $TREE"
    keys Down Down Down
    focused_is a.txt
    keys S-Down S-Down
    focused_is 'bad\\xffname'
    keys Enter
    finish 0
    output_is "$TREE/a.txt"$'\n'"$TREE/b.txt"$'\n'"$TREE/bad"$'\xff'"name"
    ;;
typed) # typing in the location input: a wrong path, a folder, then a file accepts it
    start "$TREE"
    status_is "Browsing $TREE"
    keys BTab
    keys -l "/nope"
    keys Enter
    wait_for "Path not found: $TREE/nope"
    for _ in 1 2 3 4 5; do keys BSpace; done
    keys -l "/beta"
    keys Enter
    status_is "Browsing $TREE/beta"
    keys -l "/f07.dat"
    wait_for "/beta/f07.dat"
    keys Enter
    finish 0
    output_is "$TREE/beta/f07.dat"
    ;;
hostile) # names with escape sequences and bad UTF-8 leave the screen intact; Escape cancels
    start "$TREE"
    status_is "Browsing $TREE"
    for shown in 'evil\x1b[2Jname' 'title\x1b]0;pwned\x07name' 'bad\xffname' 'wide-日本語.txt'; do
        wait_for "$shown"
    done
    [ "$(line 1)" = "Open File" ] || fail "title line damaged"
    line 3 | grep -q '^  Name  *Type  *Size  *Modified' || fail "header line damaged"
    line 30 | grep -qF '[ Cancel ]  [ Open ]' || fail "button line damaged"
    [ "$(screen | wc -l)" -eq 30 ] || fail "screen size changed"
    [ "$(tmx display -p '#{pane_title}')" != pwned ] || fail "a file name changed the window title"
    [ "$(display_column 'wide-' ' File ')" = "$(display_column 'a.txt' ' File ')" ] ||
        fail "wide characters shifted the columns"
    keys End Up Up
    focused_is 'evil\\x1b\[2Jname'
    status_is "File: $TREE/evil\\x1b[2Jname"
    keys Escape
    finish 1
    output_is ""
    ;;
resize) # the table follows the terminal size and keeps the focused row in view
    start "$TREE/beta"
    status_is "Browsing $TREE/beta"
    keys End
    focused_is f40.dat
    for size in "60 15" "40 10" "100 30"; do
        set -- $size
        tmx resize-window -x "$1" -y "$2"
        for _ in $(seq 50); do
            [ "$(screen | wc -l)" -eq "$2" ] && line "$2" | grep -qF '[ Open ]' && break
            sleep 0.1
        done
        line "$2" | grep -qF '[ Open ]' || fail "buttons not on the last line at $1x$2"
        focused_is f40.dat
        [ "$(screen | LC_ALL=C.UTF-8 wc -L)" -le "$1" ] || fail "lines wider than $1 columns"
        [ "$(display_column 'f40.dat' 'File')" = "$(display_column '  Name' 'Type')" ] ||
            fail "Type column misaligned at $1x$2"
    done
    line 3 | grep -q 'Modified' || fail "Modified column missing at full size"
    keys Enter
    finish 0
    output_is "$TREE/beta/f40.dat"
    ;;
mouse) # click, shift-click, double-click and wheel, reported as SGR mouse sequences
    TERM_OVERRIDE="TERM=xterm-256color" start --multiple "$TREE"
    wait_for "Open Files"
    click() { keys -l $'\e[<'"$1;$2;$3M"$'\e[<'"$1;$2;$3m"; } # BUTTON COLUMN LINE (from 1)
    click 0 5 5
    focused_is beta
    sleep 0.3 # past the double-click interval, so that the next two clicks pair up alone
    keys -l $'\e[<0;5;5M\e[<0;5;5m\e[<0;5;5M\e[<0;5;5m'
    status_is "Browsing $TREE/beta"
    keys -l $'\e[<65;5;10M' # wheel down over the table scrolls three rows
    for _ in $(seq 50); do
        line 4 | grep -q '^  f04\.dat' && break
        sleep 0.1
    done
    line 4 | grep -q '^  f04\.dat' || fail "the wheel did not scroll"
    keys M-Up
    status_is "Browsing $TREE"
    click 0 5 6
    focused_is a.txt
    click 4 5 8 # Shift
    focused_is 'bad\\xffname'
    click 0 95 30 # Open
    finish 0
    output_is "$TREE/a.txt"$'\n'"$TREE/b.txt"$'\n'"$TREE/bad"$'\xff'"name"
    ;;
signals) # Ctrl+C, termination and a crash all put the terminal back
    start "$TREE"
    status_is "Browsing $TREE"
    keys C-c
    finish 130
    output_is ""
    for signal in TERM:143 SEGV:139; do
        start "$TREE"
        status_is "Browsing $TREE"
        kill -s "${signal%:*}" "$(program_pid)" || fail "no program to signal"
        finish "${signal#*:}"
    done
    ;;
hung_escape) # a folder that never answers: progress shows at once, and Escape ends the dialog at once
    hung_mount
    enter_hung
    for _ in $(seq 150); do progress_shown && break; sleep 0.02; done
    progress_shown || fail "no progress on the status line (it reads: $(screen | tail -n 2 | head -n 1))"
    within_half_a_second "the first progress text" "$ENTERED"
    stuck_in_fuse "$PID" || fail "the read stopped waiting by itself"
    pressed=$(now_ms)
    keys Escape
    for _ in $(seq 150); do [ -s "$WORK/status" ] && break; sleep 0.02; done
    [ -s "$WORK/status" ] || fail "the program did not end after Escape"
    within_half_a_second "Escape to exit" "$pressed"
    finish 1
    output_is ""
    gone_with_mount_still_hung
    ;;
hung_up) # giving up on a hung folder by going up: the parent is listed and the dialog goes on
    hung_mount
    enter_hung
    keys M-Up
    status_is "Browsing $MNT"
    wait_for "a.txt"
    keys End
    focused_is b.txt
    keys Enter
    finish 0
    output_is "$MNT/b.txt"
    gone_with_mount_still_hung
    ;;
hung_interrupt) # Ctrl+C while a folder hangs: status 130 at once
    hung_mount
    enter_hung
    pressed=$(now_ms)
    keys C-c
    for _ in $(seq 150); do [ -s "$WORK/status" ] && break; sleep 0.02; done
    [ -s "$WORK/status" ] || fail "the program did not end after Ctrl+C"
    within_half_a_second "Ctrl+C to exit" "$pressed"
    finish 130
    output_is ""
    gone_with_mount_still_hung
    ;;
notty) # no display and no terminal: status 3 and one line on standard error
    setsid -w "$PROGRAM" "$TREE" </dev/null >"$WORK/out" 2>"$WORK/err"
    status=$?
    [ "$status" -eq 3 ] || fail "exit status $status, expected 3"
    [ "$(wc -l <"$WORK/err")" -eq 1 ] || fail "stderr: $(cat "$WORK/err")"
    [ ! -s "$WORK/out" ] || fail "printed something on standard output"
    ;;
*)
    fail "unknown scenario"
    ;;
esac
echo "PASS [$SCENARIO]"
