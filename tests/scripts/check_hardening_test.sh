#!/usr/bin/env bash
# usage: check_hardening_test.sh ROOT
#
# A hardened program passes scripts/check-hardening; one without any one of the protections is named with what it lacks.
set -euo pipefail
root=$1
world=$(mktemp -d)
trap 'rm -rf "$world"' EXIT
failed=0
cat >"$world/program.c" <<'END'
#include <stdio.h>
#include <string.h>
int main(int count, char** texts)
{
    char text[64];
    strncpy(text, texts[0], (size_t)count * 8);
    return printf("%.60s\n", text) < 0;
}
END

# expect WHAT OPTION...: what is said of a program that is built so; nothing, or the name and what is missing.
expect() {
    local what=$1 said status=0 expected=0
    [[ -z $what ]] || expected=1
    shift
    cc -O2 -w -o "$world/program" "$world/program.c" "$@"
    said=$("$root/scripts/check-hardening" "$world/program") || status=$?
    if [[ $said != "${what:+$world/program: $what}" || $status != "$expected" ]]; then
        echo "$*: status $status, said: $said"
        failed=1
    fi
}

pie=(-fPIE -pie) relro=(-Wl,-z,relro,-z,now) stack=(-fstack-protector-strong) fortify=(-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
expect "" "${pie[@]}" "${relro[@]}" "${stack[@]}" "${fortify[@]}"
expect "not position-independent" -fno-pie -no-pie "${relro[@]}" "${stack[@]}" "${fortify[@]}"
expect "no full RELRO" "${pie[@]}" -Wl,-z,relro,-z,lazy "${stack[@]}" "${fortify[@]}"
expect "no full RELRO" "${pie[@]}" -Wl,-z,norelro,-z,now "${stack[@]}" "${fortify[@]}"
expect "no stack protector" "${pie[@]}" "${relro[@]}" -fno-stack-protector "${fortify[@]}"
expect "not fortified" "${pie[@]}" "${relro[@]}" "${stack[@]}" -U_FORTIFY_SOURCE
exit $failed
