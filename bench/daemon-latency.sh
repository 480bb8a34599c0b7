#!/bin/bash
# Measures how long `corvel run` takes to file new mail:
#
#   bench/daemon-latency.sh [--count N] [--burst B] [--gap MS] [--keep]
#
# Starts the daemon on a fresh Maildir whose Inbox is watched every second, with one rule that
# moves every message from a test sender to the folder "Bench", then delivers N messages (default
# 500) from that sender the way an MTA does (written in tmp/, renamed into new/): in bursts of B
# messages (default 10), MS milliseconds apart (default 3000). For each message it records the
# moment of the rename and the moment its file shows up in Bench (the folder is polled every
# 2 ms), and prints the median, 99th percentile, minimum and maximum of the difference, with the
# machine and the build.
#
# A watched folder holds back the queue while each of its checks finds new mail, so the figure
# includes the wait for a quiet check: a steady stream (--burst 1 --gap 100, say) is filed only
# once it pauses.
#
# Installs what is missing, builds Corvel in Release in build-release/ and works in a temporary
# folder with its own configuration and data, removed on exit unless --keep is given.
set -euo pipefail
export LC_ALL=C
cd "$(dirname "$0")/.."
readonly root=$PWD
readonly sender=probe@latency.example

readonly bench=daemon-latency
source bench/bench-common.sh

count=500 burst=10 gap=3000 keep=false
while [ $# -gt 0 ]; do
    case "$1" in
    --count) count=${2:?}; shift 2 ;;
    --burst) burst=${2:?}; shift 2 ;;
    --gap) gap=${2:?}; shift 2 ;;
    --keep) keep=true; shift ;;
    *) die "usage: $0 [--count N] [--burst B] [--gap MS] [--keep]" ;;
    esac
done
[[ "$count" =~ ^[0-9]+$ && "$burst" =~ ^[0-9]+$ && "$gap" =~ ^[0-9]+$ ]] &&
    [ "$count" -gt 0 ] && [ "$burst" -gt 0 ] || die "--count, --burst and --gap take whole numbers"

set_up() {
    echo "== Setting up a fresh Maildir, one rule and the watched Inbox"
    export XDG_CONFIG_HOME="$work/config" XDG_DATA_HOME="$work/data"
    # No junk checks and no DNS: the figure is the rule's path alone. The background walk is on,
    # as scripts/run.sh sets it up for a user: it finds what the new-mail check passes over.
    { "$corvel" profile add Bench --maildir "$work/maildir" --default &&
        "$corvel" options set "Rules Engine" "Check Junk" false &&
        "$corvel" options set "Rules Engine" "Enable background check" true &&
        "$corvel" options set Antispam "URI Block List" "" &&
        "$corvel" options set Antispam "IP Block List" "" &&
        "$corvel" folders create '\\Mailbox\Bench' &&
        "$corvel" rules add --from "$sender" --move-to '\\Mailbox\Bench' &&
        "$corvel" engine enable &&
        "$corvel" watch add '\\Mailbox\Inbox' --interval 1; } >"$work/setup.log" 2>&1 || {
        cat "$work/setup.log" >&2
        die "cannot set up the profile, the rule or the watched folder"
    }
}

start_daemon() {
    "$corvel" --verbose run 2>"$work/daemon.err" &
    daemon=$!
    local waited=0
    until grep -q "initialisation finished" "$work/daemon.err"; do
        kill -0 "$daemon" 2>/dev/null || { cat "$work/daemon.err" >&2; die "corvel run ended"; }
        ((++waited < 300)) || die "corvel run did not start within 30 s"
        sleep 0.1
    done
}

stop_daemon() {
    [ -n "${daemon:-}" ] || return 0
    kill -TERM "$daemon" 2>/dev/null || true
    wait "$daemon" || echo "daemon-latency: corvel run ended with status $?" >&2
    daemon=""
}

# Delivers and watches in one loop so that both clocks are the same; prints one line per message:
# name, seconds from delivery to filing ("-" when it never arrived within 60 s of the last one).
measure() {
    python3 - "$work/maildir" "$count" "$burst" "$gap" "$sender" <<'EOF'
import os, sys, time
root, count, burst, gap = sys.argv[1], int(sys.argv[2]), int(sys.argv[3]), int(sys.argv[4]) / 1000
sender = sys.argv[5]
targets = [os.path.join(root, ".Bench", sub) for sub in ("new", "cur")]
sent, filed = {}, {}
start = time.monotonic()
while len(filed) < count:
    now = time.monotonic()
    if len(sent) < count and now >= start + len(sent) // burst * gap:
        name = f"{int(time.time())}.{len(sent):06d}.latency"
        text = (f"From: Probe <{sender}>\nTo: me@latency.example\nSubject: probe {len(sent)}\n"
                f"Message-ID: <{name}@latency.example>\n\nLatency probe {len(sent)}.\n")
        with open(os.path.join(root, "tmp", name), "w") as out:
            out.write(text)
        os.rename(os.path.join(root, "tmp", name), os.path.join(root, "new", name))
        sent[name] = last = time.monotonic()
    for folder in targets:
        for entry in os.scandir(folder):
            name = entry.name.split(":")[0]
            if name in sent and name not in filed:
                filed[name] = time.monotonic()
    if len(sent) == count and time.monotonic() - last > 60:
        break
    time.sleep(0.002)
for name, when in sent.items():
    print(name, f"{filed[name] - when:.4f}" if name in filed else "-")
EOF
}

report() {
    local results=$1 revision cpu
    revision=$(git rev-parse --short HEAD 2>/dev/null || echo "unknown")
    [ -z "$(git status --porcelain --untracked-files=no 2>/dev/null)" ] || revision+="+changes"
    cpu=$(lscpu 2>/dev/null | sed -n 's/^Model name: *//p' | head -n 1)
    echo
    echo "Corvel daemon latency: delivery into the watched Inbox (interval 1 s) to the rule's move"
    echo "Machine: ${cpu:-unknown CPU}, $(nproc) cores, kernel $(uname -r), $(date -u '+%Y-%m-%d %H:%M UTC')"
    echo "Build:   Release (build-release/), corvel $revision"
    echo "Load:    $count messages in bursts of $burst, $gap ms apart"
    python3 - "$results" <<'EOF'
import sys
lines = [line.split() for line in open(sys.argv[1])]
times = sorted(float(t) * 1000 for _, t in lines if t != "-")
missing = sum(1 for _, t in lines if t == "-")
if not times:
    sys.exit("no message was filed")
def rank(p):  # nearest rank
    return times[min(len(times) - 1, max(0, -(-len(times) * p // 100) - 1))]
print(f"Filed:   {len(times)} of {len(lines)}" + (f" ({missing} never arrived)" if missing else ""))
print(f"Latency: median {rank(50):.0f} ms, 99th percentile {rank(99):.0f} ms, "
      f"min {times[0]:.0f} ms, max {times[-1]:.0f} ms")
EOF
}

command -v python3 >/dev/null || die "python3 is needed (apt-get install python3)"
work=$(mktemp -d "${TMPDIR:-/tmp}/corvel-daemon-latency.XXXXXX") || die "cannot make a work folder"
daemon=""
cleanup() {
    stop_daemon
    if $keep; then echo "Work folder kept: $work"; else rm -rf "$work"; fi
}
trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM

scripts/install-deps.sh || die "scripts/install-deps.sh failed"
build_corvel run
set_up
start_daemon
echo "== Delivering $count messages in bursts of $burst, $gap ms apart"
measure >"$work/latencies.txt"
stop_daemon
report "$work/latencies.txt"
