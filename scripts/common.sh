# Shared by the scripts: source it. Moves to the project's root and sets the compiler cache up so that a build
# in another checkout finds the same entries.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root"
export CCACHE_BASEDIR="$root" CCACHE_NOHASHDIR=1 CCACHE_MAXSIZE="${CCACHE_MAXSIZE:-4G}"

jobs() { nproc; }

# step TITLE COMMAND...: run a command under a heading and say how long it took.
step() {
    local title=$1 begin=$SECONDS
    shift
    printf '\n== %s\n' "$title"
    "$@"
    printf '== %s: %d s\n' "$title" $((SECONDS - begin))
}

# build PRESET [TARGET...]: configure and build.
build() {
    local preset=$1
    shift
    cmake --preset "$preset" >"$root/build/.configure-$preset.log" 2>&1 ||
        { cat "$root/build/.configure-$preset.log" >&2; return 1; }
    cmake --build "build/$preset" --parallel "$(jobs)" ${1:+--target "$@"}
}

# run_tests PRESET [ARGUMENT...]: run ctest with the arguments, and say how many tests its processes ran.
run_tests() {
    local preset=$1
    shift
    ctest --preset "$preset" "$@"
    awk '/^\[  PASSED  \]/ { count += $4 } END { printf "%d tests passed\n", count }' \
        "build/$preset/Testing/Temporary/LastTest.log"
}

mkdir -p "$root/build"
