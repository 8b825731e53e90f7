#!/usr/bin/env bash
# usage: install_packages_test.sh ROOT
#
# scripts/install-packages leaves no service behind: with and without systemd, with an administrator's policy, and where
# apt fails half-way. The package is a pretended one; /etc, /run and /usr/sbin are directories of the test's own.
# Exit status: 0, 1, or 77 where the system has no namespaces for that.
# shellcheck disable=SC2016 # the stubs are single-quoted: they expand when they run
set -euo pipefail
if [[ ${2:-} != inside ]]; then
    unshare --map-root-user --mount true || { echo "no namespaces here"; exit 77; }
    exec unshare --map-root-user --mount "$0" "$1" inside
fi
root=$(realpath "$1")
world=$(mktemp -d)
trap 'rm -rf "$world"' EXIT
failed=0
mkdir -p "$world"/{bin,etc,run,sbin,tools}
for tool in bash sh cat chmod comm cp mkdir mktemp mount mv rm rmdir sed sort touch; do # no systemctl among them
    ln -s "$(command -v $tool)" "$world/tools/"
done
export WORLD=$world PATH=$world/bin:$world/tools:/usr/sbin

# stub NAME: a program of that name, whose text is on stdin.
stub() { { echo '#!/bin/bash'; cat; } >"$world/$1"; chmod +x "$world/$1"; }

# The package "snmpd" comes with a service of that name, which begins with the machine and, unless the policy says 101, at
# once.
stub bin/apt-get <<'END'
[[ $1 == update ]] || { # install
    policy=0
    [[ ! -x /usr/sbin/policy-rc.d ]] || /usr/sbin/policy-rc.d snmpd start || policy=$?
    [[ $policy == 101 ]] || { touch "$WORLD/running-snmpd"; touch "$WORLD/was-started"; }
    touch "/etc/rc2.d/S01snmpd"
    echo snmpd.service >>"$WORLD/units"
    exit "$(<"$WORLD/status-of-apt")"
}
END
stub systemctl <<'END'
case " $* " in
*" list-unit-files "*) sed 's/$/ enabled enabled/' "$WORLD/units" ;;
*" disable "*) sed -i "/^${*: -1}$/d" "$WORLD/units"; [[ " $* " != *" --now "* ]] || rm -f "$WORLD/running-snmpd" ;;
esac
END
stub sbin/service <<<'[[ $2 != stop ]] || rm -f "$WORLD/running-$1"'
stub sbin/update-rc.d <<<'[[ $2 != disable ]] || mv "/etc/rc2.d/S01$1" "/etc/rc2.d/K01$1"'
for directory in etc run sbin; do mount --bind "$world/$directory" "/${directory/#sbin/usr/sbin}"; done

# machine WHAT: a machine with cups, that begins with it.
machine() {
    what=$1
    rm -rf "${world:?}"/{was-started,running-*,bin/systemctl,etc/*,run/*,sbin/policy-rc.d}
    mkdir "$world/etc/rc2.d"
    touch /etc/rc2.d/S01cups "$world/running-cups"
    echo cups.service >"$world/units"
    echo 0 >"$world/status-of-apt"
}
has_systemd() { cp "$world/systemctl" "$world/bin/"; mkdir -p /run/systemd/system; }
fail() { echo "$what: $1"; failed=1; }
leaves_cups_alone() {
    [[ $("$root/scripts/install-packages" snmpd >"$world/log" 2>&1; echo $?) == "${1:-0}" ]] || fail "$(<"$world/log")"
    [[ $(cd "$world" && echo running-*) == running-cups ]] || fail "runs: $(cd "$world" && echo running-*)"
    [[ $(cd /etc/rc2.d && echo S*) == S01cups ]] || fail "begins with the machine: $(cd /etc/rc2.d && echo S*)"
    [[ ! -e $world/bin/systemctl || $(<"$world/units") == cups.service ]] || fail "is enabled: $(<"$world/units")"
}
no_policy_left() { [[ ! -e /usr/sbin/policy-rc.d ]] || fail "leaves its policy"; }
never_started() { [[ ! -e $world/was-started ]] || fail "starts the service"; }

machine "without systemd"
leaves_cups_alone
never_started
no_policy_left

machine "with systemd"
has_systemd
leaves_cups_alone
never_started
no_policy_left

machine "with systemd, which does not run"
has_systemd
rmdir /run/systemd/system
leaves_cups_alone

machine "where apt fails"
has_systemd
echo 100 >"$world/status-of-apt"
leaves_cups_alone 100
no_policy_left

for manager in systemd sysv; do
    machine "with a policy of its own, $manager"
    [[ $manager == sysv ]] || has_systemd
    stub sbin/policy-rc.d <<<'exit 104'
    leaves_cups_alone
    [[ -e $world/was-started && -x /usr/sbin/policy-rc.d ]] || fail "takes the policy away"
done
exit $failed
