# Shared by the benchmark scripts; sourced, not run. The caller sets `bench` (its name for
# messages), `root` (the source tree) and `work` (its temporary folder) before use.

die() {
    echo "$bench: $*" >&2
    exit 1
}

# Builds the corvel binary in Release in build-release/ and sets `corvel` to it; refuses a build
# that lacks the command the benchmark measures.
build_corvel() {
    local command=$1
    echo "== Building Corvel (Release, build-release/)"
    { cmake -S "$root" -B "$root/build-release" -G Ninja -DCMAKE_BUILD_TYPE=Release &&
        cmake --build "$root/build-release" --target corvel; } >"$work/build.log" 2>&1 || {
        tail -n 40 "$work/build.log" >&2
        die "the Release build failed (the lines above are the end of its log)"
    }
    corvel="$root/build-release/corvel"
    "$corvel" --help | grep -qE "^ +$command " ||
        die "this Corvel has no '$command' command yet: nothing to measure"
}
