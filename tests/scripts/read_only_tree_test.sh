#!/usr/bin/env bash
# usage: read_only_tree_test.sh ROOT
#
# In a source tree that may only be read, every script that builds says so, before it installs anything, and names the
# command that builds elsewhere; and that command configures.
set -euo pipefail
root=$(realpath "$1")
scratch=$(mktemp -d)
trap 'chmod -R u+w "$scratch"; rm -rf "$scratch"' EXIT
tree=$scratch/tree
mkdir "$tree" "$scratch/elsewhere"
tar -c -C "$root" --exclude=./build --exclude=./.git . | tar -x -C "$tree"
chmod -R a-w "$tree"
chmod a+rx "$scratch"
failed=0

# Root may write everywhere, whatever the mode says: nobody may not.
as_reader=()
if [[ $(id -u) == 0 ]]; then
    as_reader=(setpriv --reuid=65534 --regid=65534 --clear-groups)
    chown 65534 "$scratch/elsewhere"
fi

for script in "scripts/run --demo" scripts/test scripts/bench .ci/run; do
    read -ra words <<<"$script"
    if said=$(env HOME=/ "${as_reader[@]}" "$tree/${words[0]}" "${words[@]:1}" 2>&1 </dev/null); then
        echo "$script succeeds"
        failed=1
    fi
    [[ $said == *"read-only"*"cmake -S $tree -B DIRECTORY"* && $said != *Installing* ]] || { echo "$script: $said"; failed=1; }
done
command=$(grep -o 'cmake -S [^&]*' <<<"$said")
env HOME=/ "${as_reader[@]}" bash -c "${command/DIRECTORY/$scratch/elsewhere}" >"$scratch/log" 2>&1 ||
    { cat "$scratch/log"; failed=1; }
[[ -s $scratch/elsewhere/build.ninja ]] || { echo "nothing was configured"; failed=1; }
exit $failed
