#!/bin/bash
# Measures Corvel's spam filter against bogofilter on the SpamAssassin public corpus:
#
#   bench/spam-bench.sh [--keep]
#
# Both tools train on easy-ham-1 (ham) and spam-1 (spam), then classify easy-ham-2 and hard-ham-1
# (ham) and spam-2 (spam), one process per folder. The table gives training and classification
# speed (messages per second of wall clock), peak memory (the largest RSS of any of the tool's
# processes) and errors: ham judged spam and spam not judged spam, a message being spam when its
# probability is above 0.8 for both tools.
#
# Installs what is missing, builds Corvel in Release in build-release/, makes the corpus Maildir in
# the cache folder (as scripts/test.sh does) and works on a copy of it in a temporary folder,
# removed on exit unless --keep is given. Corvel runs with its own configuration and data folders
# there, bogofilter with its own word list and no configuration file.
set -euo pipefail
export LC_ALL=C  # decimal points in times and scores
cd "$(dirname "$0")/.."
readonly root=$PWD
readonly train_ham=easy-ham-1 train_spam=spam-1
readonly check_folders=(easy-ham-2 hard-ham-1 spam-2)

readonly bench=spam-bench
source bench/bench-common.sh

keep=false
case "${1:-}" in
"") ;;
--keep) keep=true ;;
*) die "usage: $0 [--keep]   (--keep leaves the work folder in place)" ;;
esac

install_missing() {
    scripts/install-deps.sh || die "scripts/install-deps.sh failed"
    [ -x /usr/bin/time ] && return
    local sudo=""
    [ "$(id -u)" -eq 0 ] || sudo="sudo"
    echo "Installing: time"
    if ! { $sudo apt-get update -qq && DEBIAN_FRONTEND=noninteractive \
        $sudo apt-get install -y -qq --no-install-recommends time; }; then
        die "cannot install the package time (/usr/bin/time measures peak memory)"
    fi
    [ -x /usr/bin/time ] || die "/usr/bin/time is still missing"
}

prepare_corpus() {
    local cached="${XDG_CACHE_HOME:-$HOME/.cache}/corvel/corpus-maildir"
    bench/make-corpus-maildir.sh "$cached" || die "cannot make the corpus Maildir in $cached"
    # Training marks the items of the Maildir it reads; the cached tree must stay clean.
    cp -a "$cached" "$work/maildir" || die "cannot copy the corpus into $work"
}

count_messages() {
    find "$work/maildir/.$1/cur" -type f | wc -l
}

# Runs COMMAND under /usr/bin/time with its output in $results/TOOL.PHASE.FOLDER.out and appends
# its wall clock and peak RSS to runs.tsv. An exit status outside OK_STATUSES stops the benchmark.
timed() {
    local tool=$1 phase=$2 folder=$3 messages=$4 okStatuses=$5
    shift 5
    local name="$tool.$phase.$folder" start end status=0
    start=$EPOCHREALTIME
    /usr/bin/time -f '%M' -o "$results/$name.rss" "$@" \
        >"$results/$name.out" 2>"$results/$name.err" || status=$?
    end=$EPOCHREALTIME
    if [[ " $okStatuses " != *" $status "* ]]; then
        head -n 20 "$results/$name.err" >&2
        die "'$*' failed with exit status $status"
    fi
    # time writes "Command exited with non-zero status N" before the figure when there is one.
    printf '%s\t%s\t%s\t%s\t%s\t%s\t%s\n' "$tool" "$phase" "$folder" "$messages" "$start" \
        "$end" "$(tail -n 1 "$results/$name.rss")" >>"$results/runs.tsv"
}

run_bogofilter() {
    echo "== bogofilter: training and classification"
    local words="$work/bogofilter" folder
    # Its exit status tells the last message's class (0 spam, 1 ham, 2 unsure); 3 is an error.
    timed bogofilter train "$train_ham" "$(count_messages "$train_ham")" 0 \
        bogofilter -C -d "$words" -n -B "$work/maildir/.$train_ham/cur"
    timed bogofilter train "$train_spam" "$(count_messages "$train_spam")" 0 \
        bogofilter -C -d "$words" -s -B "$work/maildir/.$train_spam/cur"
    for folder in "${check_folders[@]}"; do
        timed bogofilter check "$folder" "$(count_messages "$folder")" "0 1 2" \
            bogofilter -C -d "$words" -T -B "$work/maildir/.$folder/cur"
    done
}

run_corvel() {
    echo "== Corvel: training and classification"
    local folder messages
    export XDG_CONFIG_HOME="$work/config" XDG_DATA_HOME="$work/data"
    # No DNS block-list look-ups and no trust in the corpus's own spam headers: both tools are
    # judged on the words alone, offline.
    if ! { "$corvel" profile add Bench --maildir "$work/maildir" --default >/dev/null &&
        "$corvel" options set Antispam "Use Existing Spam Headers" false &&
        "$corvel" options set Antispam "URI Block List" "" &&
        "$corvel" options set Antispam "IP Block List" "" &&
        "$corvel" folders --rebuild >/dev/null; }; then
        die "cannot set up Corvel's profile and options"
    fi
    messages=$(($(count_messages "$train_ham") + $(count_messages "$train_spam")))
    timed corvel train "$train_ham+$train_spam" "$messages" 0 \
        "$corvel" spam train --good "\\\\Mailbox\\$train_ham" --bad "\\\\Mailbox\\$train_spam" --clear
    for folder in "${check_folders[@]}"; do
        timed corvel check "$folder" "$(count_messages "$folder")" 0 \
            "$corvel" spam check --folder "\\\\Mailbox\\$folder"
    done
}

command -v python3 >/dev/null || die "python3 is needed (apt-get install python3)"
work=$(mktemp -d "${TMPDIR:-/tmp}/corvel-spam-bench.XXXXXX") || die "cannot make a work folder"
# shellcheck disable=SC2064  # the folder is fixed now
if $keep; then trap "echo 'Work folder kept: $work'" EXIT; else trap "rm -rf '$work'" EXIT; fi
trap 'exit 130' INT
trap 'exit 143' TERM
results="$work/results"
mkdir -p "$results"

install_missing
command -v bogofilter >/dev/null || die "bogofilter is missing after scripts/install-deps.sh"
build_corvel spam
prepare_corpus
run_bogofilter
run_corvel
revision=$(git rev-parse --short HEAD 2>/dev/null || echo "unknown")
[ -z "$(git status --porcelain --untracked-files=no 2>/dev/null)" ] || revision+="+changes"
echo
python3 bench/spam_bench_report.py "$results" "$(bogofilter -V 2>&1 | head -n 1)" "$revision"
