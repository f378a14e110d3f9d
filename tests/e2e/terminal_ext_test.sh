#!/usr/bin/env bash
# End-to-end checks of filters, save mode, hidden entries and the zenity-compatible command line
# in the terminal: script lines as people write them run in a tmux pane with the chooser's folder
# on PATH; keys go in through tmux, and the exact bytes printed and the exit status come back.
#
# Usage: terminal_ext_test.sh PROGRAM ZENITY_PROGRAM SCENARIO
# Scenarios: save multiple switch zenity errors
# Exit status 77 (skipped) when tmux is not installed.

set -u
PROGRAM=$1
ZENITY=$2
SCENARIO=$3

if [ "$SCENARIO" != errors ] && ! command -v tmux >/dev/null; then
    echo "SKIP: tmux is not installed"
    exit 77
fi

WORK=$(mktemp -d -t glfd-ext-e2e.XXXXXX) || exit 1
RUN=0
SOCKET=
cleanup() {
    [ -n "$SOCKET" ] && tmux -S "$SOCKET" kill-server 2>/dev/null
    rm -rf "$WORK"
}
trap cleanup EXIT
unset TMUX DISPLAY WAYLAND_DISPLAY

TREE=$WORK/tree
mkdir -p "$TREE/docs/old" "$TREE/pics"
for name in docs/report.pdf docs/notes.txt docs/.draft.pdf pics/a.png pics/b.jpg pics/c.txt pics/.hidden.png; do
    printf 'x\n' >"$TREE/$name"
done
BIN=$WORK/bin # the commands under the names scripts use
mkdir -p "$BIN"
ln -s "$PROGRAM" "$BIN/glfiledialog"
ln -s "$ZENITY" "$BIN/zenity"

tmx() { tmux -S "$SOCKET" "$@"; }
screen() { tmx capture-pane -p; }
keys() { tmx send-keys "$@"; }
fail() {
    echo "FAIL [$SCENARIO]: $*"
    [ -n "$SOCKET" ] && { echo "--- screen ---"; screen; }
    exit 1
}

# Runs the shell LINE in DIR in a fresh 100x30 pane; it must leave its results in $WORK/out and
# $WORK/status.
start() { # DIR LINE
    RUN=$((RUN + 1))
    [ -n "$SOCKET" ] && tmx kill-server 2>/dev/null
    SOCKET=$WORK/tmux-$RUN
    rm -f "$WORK/out" "$WORK/status"
    local command
    command="cd $(printf '%q' "$1") && PATH=$(printf '%q' "$BIN"):\$PATH && W=$(printf '%q' "$WORK") && $2; exec sleep 600"
    tmx -f /dev/null new-session -d -x 100 -y 30 -e LANG=C.UTF-8 -e NO_COLOR=1 "bash --norc -c $(printf '%q' "$command")" ||
        fail "tmux could not start"
}
poll() {
    for _ in $(seq 50); do
        "$@" && return 0
        sleep 0.1
    done
    return 1
}
shows() { screen | grep -qF -- "$1"; }
status_reads() { [ "$(screen | tail -n 2 | head -n 1 | sed 's/ *$//')" = "$1" ]; }
wait_for() { poll shows "$1" || fail "the screen never showed: $1"; }
wait_gone() { poll eval "! shows '$1'" || fail "the screen still shows: $1"; }
status_is() { poll status_reads "$1" || fail "the status line never read: $1"; }
hides() { ! shows "$1" || fail "the screen shows $1"; }
finish() { # STATUS EXPECTED-BYTES (printf format)
    poll test -s "$WORK/status" || fail "the line did not finish"
    [ "$(cat "$WORK/status")" = "$1" ] || fail "exit status $(cat "$WORK/status"), expected $1"
    printf "$2" >"$WORK/expected"
    cmp -s "$WORK/out" "$WORK/expected" || fail "printed '$(od -c "$WORK/out")', expected '$(od -c "$WORK/expected")'"
}

case $SCENARIO in
save) # overwrite confirmation, backing out, a new name with the filter's extension, then replacing
    line='f=$(glfiledialog --file-selection --save --confirm-overwrite --filename=report.pdf --file-filter="PDF | *.pdf")'
    start "$TREE/docs" "$line; echo \$? >\$W/status.tmp; printf %s \"\$f\" >\$W/out; mv \$W/status.tmp \$W/status"
    wait_for "Save File"
    wait_for "Filter: < PDF (*.pdf) >"
    wait_for "report.pdf"
    hides "notes.txt"
    hides ".draft.pdf"
    keys Enter
    status_is 'Replace "report.pdf"? It already exists.'
    wait_for "Replace]"
    hides "[ Save ]"
    keys Escape
    status_is "Browsing $TREE/docs"
    wait_for "[ Save ]"
    for _ in $(seq 10); do keys BSpace; done
    keys -l "summary"
    keys Enter
    finish 0 "$TREE/docs/summary.pdf"
    [ ! -e "$TREE/docs/summary.pdf" ] || fail "the chooser created the file"

    start "$TREE/docs" "glfiledialog --file-selection --save --filename=report.pdf >\$W/out; echo \$? >\$W/status"
    wait_for "Save File"
    keys Enter
    status_is 'Replace "report.pdf"? It already exists.'
    keys Enter
    finish 0 "$TREE/docs/report.pdf\n"
    ;;
multiple) # a range of filtered files joined by the separator; Ctrl+H shows hidden entries
    start "$TREE/pics" "glfiledialog --file-selection --multiple --separator=: --file-filter='Images | *.png *.jpg' >\$W/out; echo \$? >\$W/status"
    wait_for "Open Files"
    wait_for "a.png"
    hides "c.txt"
    hides ".hidden.png"
    wait_for "[ Hidden files: hidden ]"
    keys C-h
    wait_for ".hidden.png"
    wait_for "[ Hidden files: shown ]"
    keys C-h
    wait_gone ".hidden.png"
    keys Down S-Down
    status_is "File: $TREE/pics/b.jpg"
    keys Enter
    finish 0 "$TREE/pics/a.png:$TREE/pics/b.jpg\n"
    ;;
switch) # the filter selector by keyboard; our own flags, with a newline as zenity's separator
    start "$TREE/pics" "glfiledialog --filter='Images:*.png *.jpg' --filter='Text:*.txt' --show-hidden >\$W/out; echo \$? >\$W/status"
    wait_for "Filter: < Images (*.png *.jpg) >"
    wait_for ".hidden.png"
    keys Tab Down
    wait_for "Filter: < Text (*.txt) >"
    wait_gone "a.png"
    keys BTab End Enter
    finish 0 "$TREE/pics/c.txt\n"

    start "$TREE/pics" "glfiledialog --file-selection --multiple --separator=\$'\\n' >\$W/out; echo \$? >\$W/status"
    wait_for "a.png"
    keys Down S-Down Enter
    finish 0 "$TREE/pics/a.png\n$TREE/pics/b.jpg\n"

    start "$TREE" "glfiledialog --file-selection --directory --title 'Pick a folder' >\$W/out; echo \$? >\$W/status"
    wait_for "Pick a folder"
    keys Down Enter
    wait_for "old"
    keys Tab Tab Enter
    finish 0 "$TREE/docs\n"
    ;;
zenity) # the command named zenity serves file selections; cancelling prints nothing
    start "$TREE/docs" "zenity --file-selection --filename=$(printf '%q' "$TREE/pics/") --title='Choose' >\$W/out; echo \$? >\$W/status"
    wait_for "Choose"
    wait_for "a.png"
    keys Escape
    finish 1 ""
    start "$TREE" "zenity --file-selection --filename=docs/notes.txt --width=600 --height 400 --modal >\$W/out; echo \$? >\$W/status"
    status_is "Browsing $TREE/docs"
    keys Enter
    finish 0 "$TREE/docs/notes.txt\n"
    ;;
errors) # other zenity dialogs and bad lines fail as zenity does, without drawing anything
    for line in "--info --text=hello" "--question" "--file-selection --bogus" ""; do
        # shellcheck disable=SC2086
        setsid -w "$ZENITY" $line </dev/null >"$WORK/out" 2>"$WORK/err"
        status=$?
        [ "$status" -eq 255 ] || fail "zenity $line: exit status $status, expected 255"
        [ "$(wc -l <"$WORK/err")" -eq 1 ] || fail "zenity $line: stderr: $(cat "$WORK/err")"
        [ ! -s "$WORK/out" ] || fail "zenity $line: printed something on standard output"
    done
    grep -q "only the file selection" <(setsid -w "$ZENITY" --entry </dev/null 2>&1) || fail "no explanation for --entry"
    setsid -w "$PROGRAM" --file-selection --info </dev/null >/dev/null 2>&1
    [ $? -eq 255 ] || fail "glfiledialog --file-selection --info did not fail with 255"
    "$ZENITY" --help | grep -q -- "--file-filter" || fail "--help does not list the zenity flags"
    "$PROGRAM" --help | grep -q -- "--show-hidden" || fail "--help does not list our flags"
    ;;
*)
    fail "unknown scenario"
    ;;
esac
echo "PASS [$SCENARIO]"
