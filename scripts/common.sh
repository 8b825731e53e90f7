# What the scripts share; sourced, never run. Leaves the caller in the repository's root.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

say() { printf '%s\n' "$*" >&2; }

die() {
    say "${0##*/}: $*"
    exit 1
}

# The usage text of a script is the comment at its head.
usage() { sed -n '2,/^$/s/^# \{0,1\}//p' "$0"; }

# need_writable_tree PRESET: says how to build a tree that may only be read; asked first, before anything is installed.
need_writable_tree() {
    [[ -w . && (! -e build || -w build) ]] || die "the source tree $PWD is read-only. Build it elsewhere:" \
        "cmake -S $PWD -B DIRECTORY --preset $1 && cmake --build DIRECTORY"
}

# build PRESET [TARGET...]: configures and builds; everything where no target is named. The compiler's words go to
# stderr, so that a script's stdout is what it reports.
build() {
    local preset=$1
    shift
    cmake --preset "$preset" >&2
    cmake --build --preset "$preset" ${1:+--target "$@"} >&2
}
