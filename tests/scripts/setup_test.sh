#!/usr/bin/env bash
# usage: setup_test.sh ROOT
#
# Where there is neither root nor sudo, scripts/setup fails, and names the one command after which it succeeds.
# shellcheck disable=SC2016 # the stubs are single-quoted: they expand when they run
set -euo pipefail
root=$(realpath "$1")
world=$(mktemp -d)
trap 'rm -rf "$world"' EXIT
failed=0
fail() { echo "$1"; failed=1; }

# stub NAME: a program of that name, whose text is on stdin.
stub() { { echo '#!/bin/bash'; cat; } >"$world/$1"; chmod +x "$world/$1"; }
export WORLD=$world
unset KEL_SKIP_SETUP # which whoever runs this may have needed
for tool in bash dirname sed sort; do ln -s "$(command -v $tool)" "$world/"; done
stub id <<<'echo 1000'
stub dpkg-query <<<'[[ ! -e $WORLD/installed ]] || printf "installed=%s " $(<"$WORLD/installed")'
stub apt-get <<'END'
echo "$1" >>"$WORLD/calls"
[[ $1 != install ]] || printf '%s\n' "${@:2}" >"$WORLD/installed"
END

if said=$(PATH=$world "$root/scripts/setup" test 2>&1); then fail "setup succeeds without any rights"; fi
command=$(grep -o 'apt-get update && .*' <<<"$said") || fail "no command in: $said"
[[ $command == *" --no-install-recommends "* ]] || fail "not as setup itself would: $command"
PATH=$world bash -c "$command"
[[ $(<"$world/calls") == $'update\ninstall' ]] || fail "the command runs: $(<"$world/calls")"
PATH=$world "$root/scripts/setup" test || fail "setup wants more than it said"
exit $failed
