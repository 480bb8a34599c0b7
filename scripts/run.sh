#!/bin/bash
# Sets Corvel up and runs it: installs what is missing, builds, then runs `corvel` with the
# arguments given (by default `corvel rules list`, which creates the rules database in the data
# folder, $XDG_DATA_HOME/corvel, on its first run).
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build --target corvel

[ $# -gt 0 ] || set -- rules list
exec build/corvel "$@"
