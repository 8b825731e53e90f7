#!/usr/bin/env bash
# A cleaner of old files in /tmp takes what is old, but not the program's lock file.
set -euo pipefail
command -v systemd-tmpfiles >/dev/null || { echo "no systemd-tmpfiles here"; exit 77; }
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
mkdir -p "$root/etc/tmpfiles.d" "$root/tmp"
echo 'q /tmp 1777 - - 1s' >"$root/etc/tmpfiles.d/tmp.conf"
cp "$1/packaging/kel.tmpfiles.conf" "$root/etc/tmpfiles.d/kel.conf"
touch "$root/tmp/kel.lock" "$root/tmp/other"
# What counts as old is decided by every time stamp of a file, its last change of state included: no touch -d helps.
for _ in {1..100}; do
    systemd-tmpfiles --clean --root="$root" >/dev/null 2>&1 || true
    [[ -e $root/tmp/other ]] || break
    sleep 0.1
done
[[ ! -e $root/tmp/other ]] || { echo "the cleaner does not work here"; exit 77; }
[[ -e $root/tmp/kel.lock ]] || { echo "the lock file was taken"; exit 1; }
