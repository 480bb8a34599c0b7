#!/bin/bash
# Runs every check Corvel has: installs what is missing, checks formatting, builds with warnings
# as errors and runs all tests, then builds again under AddressSanitizer and
# UndefinedBehaviorSanitizer and runs all tests there too.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh

# Real mail for the corpus walk test: made once, then reused.
export CORVEL_CORPUS_MAILDIR="${XDG_CACHE_HOME:-$HOME/.cache}/corvel/corpus-maildir"
if [ ! -d "$CORVEL_CORPUS_MAILDIR" ]; then
    bench/make-corpus-maildir.sh "$CORVEL_CORPUS_MAILDIR" ||
        echo "corpus not available: the corpus walk test will skip"
fi

echo "== clang-format"
git ls-files -co --exclude-standard -- 'src/*.cpp' 'src/*.h' 'tests/*.cpp' 'tests/*.h' 'bench/*.cpp' |
    xargs -r clang-format --dry-run --Werror

jobs=$(nproc)
for config in release asan; do
    echo "== build and test: $config"
    flags=(-DCORVEL_WERROR=ON)
    if [ "$config" = asan ]; then
        flags+=(-DCORVEL_SANITIZE=ON -DCMAKE_BUILD_TYPE=Debug)
    else
        flags+=(-DCMAKE_BUILD_TYPE=RelWithDebInfo)
    fi
    cmake -S . -B "build-ci-$config" -G Ninja "${flags[@]}" >/dev/null
    cmake --build "build-ci-$config" -j "$jobs"
    (cd "build-ci-$config" && ctest --output-on-failure -j "$jobs")
done
