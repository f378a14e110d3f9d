#!/usr/bin/env bash
# Mounting glfd_slowfs from end-to-end scripts, with the same checks and options as the C++
# SlowMount fixture. Source it for the functions, or run it as a command:
#
#   slow_mount.sh unavailable PROGRAM                     prints why no slow mount can be made
#                                                         here and exits 0; exits 1 when one can
#   slow_mount.sh mount PROGRAM SOURCE MOUNTPOINT [OPTION...]   mounts, prints the daemon's id
#   slow_mount.sh unmount MOUNTPOINT PID                  unmounts lazily, ends the daemon
#
# OPTIONs are glfd_slowfs's own (--stat-delay-ms=N, --hang-readdir=NAME, ...). Every wait is
# bounded: ten seconds for a mount to answer, three for the daemon to end before it is signalled.

slowfs_in_table() { # PID: whether the daemon's file system is in the mount table
    grep -qF " - fuse.glfd_slowfs glfd_slowfs.$1 " /proc/self/mountinfo
}

slowfs_alive() { # PID: running and not yet a zombie
    local state
    state=$(sed -n 's/^[0-9]* (.*) \([A-Z]\) .*/\1/p' "/proc/$1/stat" 2>/dev/null) || return 1
    [ -n "$state" ] && [ "$state" != Z ] && [ "$state" != X ]
}

slowfs_unavailable() { # PROGRAM: prints a reason and succeeds when FUSE cannot be used here
    local program=$1 probe pid
    if [ ! -x "$program" ]; then
        echo "the slow file system program $program is missing"
        return 0
    fi
    if ! { exec 9<>/dev/fuse; } 2>/dev/null; then
        echo "cannot open /dev/fuse: FUSE is not available here"
        return 0
    fi
    exec 9<&-
    if [ "$(id -u)" -ne 0 ] && ! command -v fusermount3 >/dev/null; then
        echo "fusermount3 is not installed (Debian package fuse3)"
        return 0
    fi
    probe=$(mktemp -d -t glfd-slowfs-probe.XXXXXX) || { echo "cannot make a temporary folder"; return 0; }
    mkdir "$probe/src" "$probe/mnt"
    if ! pid=$(slowfs_mount "$program" "$probe/src" "$probe/mnt" 2>&1); then
        echo "cannot mount FUSE here: $pid"
        rm -rf "$probe"
        return 0
    fi
    slowfs_unmount "$probe/mnt" "$pid"
    rm -rf "$probe"
    return 1
}

slowfs_mount() { # PROGRAM SOURCE MOUNTPOINT [OPTION...]: prints the daemon's id once it answers
    local program=$1 source=$2 mountpoint=$3 log pid
    shift 3
    log=$(mktemp -t glfd-slowfs-log.XXXXXX) || return 1
    "$program" "$source" "$mountpoint" "$@" </dev/null >"$log" 2>&1 &
    pid=$!
    for _ in $(seq 500); do
        if ! slowfs_alive "$pid"; then
            echo "glfd_slowfs ended before mounting: $(cat "$log")" >&2
            rm -f "$log"
            return 1
        fi
        if slowfs_in_table "$pid" && timeout 5 stat "$mountpoint" >/dev/null 2>&1; then
            rm -f "$log"
            echo "$pid"
            return 0
        fi
        sleep 0.02
    done
    echo "the mount did not answer within 10 s" >&2
    slowfs_unmount "$mountpoint" "$pid"
    rm -f "$log"
    return 1
}

slowfs_unmount() { # MOUNTPOINT PID: lazy unmount (hung calls are released), then the daemon ends
    local mountpoint=$1 pid=$2 signal
    if slowfs_in_table "$pid"; then
        fusermount3 -u -z -q "$mountpoint" 2>/dev/null || umount -l "$mountpoint" 2>/dev/null
    fi
    for signal in NONE TERM KILL; do
        [ "$signal" = NONE ] || kill -s "$signal" "$pid" 2>/dev/null
        for _ in $(seq 150); do
            slowfs_alive "$pid" || return 0
            sleep 0.02
        done
    done
    return 1
}

if [ "${BASH_SOURCE[0]}" = "$0" ]; then
    command=${1:-}
    shift || true
    case $command in
    unavailable) slowfs_unavailable "$@" ;;
    mount) slowfs_mount "$@" ;;
    unmount) slowfs_unmount "$@" ;;
    *)
        echo "usage: $0 unavailable PROGRAM | mount PROGRAM SOURCE MOUNTPOINT [OPTION...] | unmount MOUNTPOINT PID" >&2
        exit 2
        ;;
    esac
fi
