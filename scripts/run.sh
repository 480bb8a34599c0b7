#!/bin/bash
# Sets Corvel up and runs it: installs what is missing, builds, then runs `corvel` with the
# arguments given. By default it shows the folders of the default profile's mail and the rules,
# then runs the rules over the Inbox's new mail: a first run makes the data folder
# ($XDG_DATA_HOME/corvel) with its rules database and a local Maildir for the default profile.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build --target corvel

if [ $# -eq 0 ]; then
    build/corvel folders
    build/corvel rules list
    set -- process '\\Mailbox\Inbox'
fi
exec build/corvel "$@"
