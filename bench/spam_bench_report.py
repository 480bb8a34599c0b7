#!/usr/bin/env python3
# Prints the spam benchmark's table from the folder bench/spam-bench.sh filled:
#
#   bench/spam_bench_report.py RESULTS_DIR BOGOFILTER_VERSION CORVEL_REVISION
#
# RESULTS_DIR/runs.tsv holds one line per timed process: tool, phase (train or check), folder,
# messages, start and end (seconds since the epoch) and peak RSS in KiB. A check's scores are in
# RESULTS_DIR/<tool>.check.<folder>.out: Corvel writes the probability in the first column and
# ends with "#" summary lines, bogofilter writes "<file> <letter> <score>". Both are judged with
# the same threshold, so neither tool's own verdict wording counts.
import datetime
import os
import sys

THRESHOLD = 0.8  # spam when the probability is above it
TOOLS = ("corvel", "bogofilter")
TOOL_NAMES = {"corvel": "Corvel", "bogofilter": "bogofilter"}


def fail(text):
    sys.exit("spam_bench_report: " + text)


def read_runs(results):
    runs = []
    with open(os.path.join(results, "runs.tsv"), encoding="ascii") as source:
        for line in source:
            tool, phase, folder, messages, start, end, rss = line.rstrip("\n").split("\t")
            runs.append({"tool": tool, "phase": phase, "folder": folder,
                         "messages": int(messages), "wall": float(end) - float(start),
                         "rss": int(rss)})
    return runs


def score_of(tool, line):
    # Returns the line's probability, or None for a line that carries none.
    fields = line.split("\t") if tool == "corvel" else line.split()
    if not fields or not fields[0] or fields[0].startswith("#"):
        return None
    try:
        return float(fields[0] if tool == "corvel" else fields[-1])
    except ValueError:
        return None


def read_scores(results, run):
    name = "%s.check.%s.out" % (run["tool"], run["folder"])
    with open(os.path.join(results, name), encoding="utf-8", errors="replace") as source:
        lines = source.read().splitlines()
    scores = [s for s in (score_of(run["tool"], line) for line in lines) if s is not None]
    summary = [line for line in lines if run["tool"] == "corvel" and line.startswith("#")]
    return scores, summary


def is_spam_folder(folder):
    return folder.startswith("spam")


def summarise(results, runs, tool):
    # Speeds, memory and errors of one tool; "notes" lists anything that makes a figure doubtful.
    mine = [run for run in runs if run["tool"] == tool]
    train = [run for run in mine if run["phase"] == "train"]
    check = [run for run in mine if run["phase"] == "check"]
    if not train or not check:
        fail("runs.tsv has no %s training or classification" % tool)
    figures = {"train_rate": sum(r["messages"] for r in train) / sum(r["wall"] for r in train),
               "check_rate": sum(r["messages"] for r in check) / sum(r["wall"] for r in check),
               "rss_mib": max(r["rss"] for r in mine) / 1024.0,
               "ham": 0, "spam": 0, "fp": 0, "fn": 0, "notes": [], "summary": []}
    for run in check:
        scores, summary = read_scores(results, run)
        figures["summary"] += ["%s: %s" % (run["folder"], line) for line in summary]
        if len(scores) != run["messages"]:
            figures["notes"].append("%s scored %d of the %d messages of %s" % (
                TOOL_NAMES[tool], len(scores), run["messages"], run["folder"]))
        judged_spam = sum(1 for score in scores if score > THRESHOLD)
        if is_spam_folder(run["folder"]):
            figures["spam"] += run["messages"]
            figures["fn"] += run["messages"] - judged_spam  # an unscored spam was not caught
        else:
            figures["ham"] += run["messages"]
            figures["fp"] += judged_spam
    return figures


def count_and_share(count, total):
    return "%d (%.2f%%)" % (count, 100.0 * count / total) if total else "n/a"


def cpu_model():
    try:
        with open("/proc/cpuinfo", encoding="utf-8", errors="replace") as source:
            for line in source:
                if line.startswith("model name"):
                    return line.split(":", 1)[1].strip()
    except OSError:
        pass
    return "unknown CPU"


def print_table(corvel, bogo):
    rows = [("Training (msgs/s)", "%.0f", "train_rate"),
            ("Classification (msgs/s)", "%.0f", "check_rate"),
            ("Peak memory (MiB)", "%.1f", "rss_mib")]
    print("%-34s %16s %16s %18s" % ("", "Corvel", "bogofilter", "Corvel/bogofilter"))
    for label, form, key in rows:
        ratio = corvel[key] / bogo[key] if bogo[key] else float("nan")
        print("%-34s %16s %16s %18s" % (label, form % corvel[key], form % bogo[key],
                                        "%.2f" % ratio))
    for label, key, total in (("False positives (of %d ham)", "fp", "ham"),
                              ("False negatives (of %d spam)", "fn", "spam")):
        print("%-34s %16s %16s" % (label % corvel[total],
                                   count_and_share(corvel[key], corvel[total]),
                                   count_and_share(bogo[key], bogo[total])))


def print_steps(runs):
    print("Processes (wall seconds, peak RSS MiB):")
    for run in runs:
        print("  %-10s %-5s %-20s %5d msgs %8.2f s %8.1f MiB" % (
            run["tool"], run["phase"], run["folder"], run["messages"], run["wall"],
            run["rss"] / 1024.0))


def main():
    if len(sys.argv) != 4:
        fail("usage: spam_bench_report.py RESULTS_DIR BOGOFILTER_VERSION CORVEL_REVISION")
    results, bogo_version, revision = sys.argv[1:]
    runs = read_runs(results)
    corvel, bogo = (summarise(results, runs, tool) for tool in TOOLS)
    now = datetime.datetime.now(datetime.timezone.utc).strftime("%Y-%m-%d %H:%M UTC")
    print("Spam benchmark: Corvel %s against %s" % (revision, bogo_version))
    print("Machine: %s, %d cores; %s" % (cpu_model(), os.cpu_count() or 0, now))
    print("Spam when the probability is above %.1f; training and classification are wall "
          "clock over all their processes." % THRESHOLD)
    print()
    print_table(corvel, bogo)
    print()
    print_steps(runs)
    for line in corvel["summary"]:
        print("Corvel's summary, " + line)
    for note in corvel["notes"] + bogo["notes"]:
        print("Warning: " + note)


if __name__ == "__main__":
    main()
