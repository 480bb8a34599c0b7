#!/bin/bash
# Sets Corvel up and runs it: installs what is missing, builds, then runs `corvel` with the
# arguments given. By default it starts the daemon (`corvel run`) in the foreground on the default
# profile: a first run makes the data folder ($XDG_DATA_HOME/corvel) with its rules database and a
# local Maildir, switches the engine on and watches the Inbox, so rules act on new mail as it
# arrives. Ctrl-C stops it cleanly.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build --target corvel

if [ $# -eq 0 ]; then
    if [ -z "$(build/corvel watch list)" ]; then
        echo "First run: watching the Inbox and switching the engine on"
        build/corvel watch add '\\Mailbox\Inbox' --interval 5
        build/corvel options set "Rules Engine" "Enable background check" true
        build/corvel engine enable
    fi
    build/corvel folders
    build/corvel rules list
    set -- --verbose run
fi
exec build/corvel "$@"
