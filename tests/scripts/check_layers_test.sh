#!/usr/bin/env bash
# The layer check finds what it is there to find: one wrong line at a time, put into a copy of the tree's headers.
set -euo pipefail
root=$(realpath "$1")
copy=$(mktemp -d)
trap 'rm -rf "$copy"' EXIT
(cd "$root" && find app printer twheel ui tarn tools bench \( -type d -o -name '*.h' \) -print0 |
    tar -c --null --no-recursion -T -) | tar -x -C "$copy"

failed=0
"$root/scripts/check-layers" "$copy" || { echo "the tree itself is not clean"; exit 1; }

# catches ROOM LINE
catches() {
    echo "$2" >"$copy/$1/zz_wrong.h"
    if "$root/scripts/check-layers" "$copy" >"$copy/out"; then
        echo "not caught in $1: $2"
        failed=1
    elif ! grep -qF "$1/zz_wrong.h:1:$2" "$copy/out"; then
        echo "caught in $1, but not named: $2"
        failed=1
    fi
    rm "$copy/$1/zz_wrong.h"
}

catches twheel/src '#include "printer/printer_context.h"'
catches twheel/src '#include <QString>'
catches tarn/src/base '#include "tarn/src/engine/engine.h"'
catches tarn/src/device '#include "tarn/src/snmp/wire/codec.h"'
catches tarn/src/engine '#include "tarn/src/snmp/wire/pdu.h"'
catches tarn/src/snmp/wire '#include "tarn/src/snmp/mib/columns.h"'
catches tarn/src/snmp/wire '#include "tarn/src/device/device_status.h"'
catches tarn/src/snmp/mib '#include "tarn/src/snmp/poll/session.h"'
catches tarn/src/snmp/mib '#include "tarn/src/engine/target.h"'
catches tarn/src/snmp/poll '#include "tarn/src/usm/usm_port.h"'
catches tarn/src/engine '#include "tarn/src/catalog/config.h"'
catches tarn/src/usb '#include "tarn/src/snmp/wire/codec.h"'
catches tarn/src/ipp '#include "tarn/src/snmp/mib/status.h"'
catches tarn/src/usm '#include "tarn/src/catalog/config.h"'
catches tarn/src/engine '#include "tarn/src/usm/usm_port.h"'
catches tarn/src/catalog '#include "tarn/src/api/handle.h"'
catches tarn/src/api '#  include <QtCore/QString>'
catches tarn/include '#include "tarn/src/base/clock.h"'
catches printer '#include "ui/main_window/main_window.h"'
catches printer '#include "tarn/tarn.h"'
catches printer '#include "twheel/src/wheel.h"'
catches printer '#include <QWidget>'
catches printer '#include <QtWidgets/QLabel>'
catches ui '#include "tarn/tarn.h"'
catches ui '#include "app/instance_lock.h"'
catches app '#include "tarn/src/api/handle.h"'
catches tools/printer-sim '#include "ui/main_window/main_window.h"'
catches tools/tarn-status '#include "tarn/src/catalog/config.h"'
catches tools/tarn-status '#include "tarn/src/base/files.h"'
catches tools/tarn-status/formats '#include "tarn/src/catalog/config.h"'
catches tools/tarn-status/config '#include "tarn/src/catalog/printer_list.h"'
catches tools/tarn-status/explain '#include "tarn/src/snmp/poll/snmp_poller.h"'
catches tools/tarn-status/explain '#include "tarn/src/catalog/printer_list.h"'
catches tools/tarn-status/config '#include "tarn/src/snmp/wire/codec.h"'
catches tools/tarn-status/formats '#include "tarn/src/snmp/wire/codec.h"'
catches tools/common '#include "tools/tarn-status/options.h"'
catches tools/tarn-status/explain '#include "tarn/src/snmp/mib/columns.h"'
catches tools/printer-sim '#include "tarn/src/snmp/poll/session.h"'
catches bench '#include "app/instance_lock.h"'
catches bench/twheel '#include "tarn/src/base/clock.h"'
catches bench/tarn_engine '#include "ui/main_window/main_window.h"'

# catches_through HEADER LINE SEEN: the line makes what the header is included by see a room that it may not.
catches_through() {
    cp "$copy/$1" "$copy/kept"
    echo "$2" >>"$copy/$1"
    if "$root/scripts/check-layers" "$copy" >"$copy/out" || ! grep -qF "$3" "$copy/out"; then
        echo "not caught behind $1: $2"
        failed=1
    fi
    mv "$copy/kept" "$copy/$1"
}

catches_through tarn/src/engine/cadence.h '#include "tarn/src/snmp/poll/session.h"' \
    '#include "tarn/src/engine/cadence.h": through it tarn/src/snmp/poll/session.h'
catches_through tarn/src/catalog/config.h '#include "tarn/src/api/library.h"' \
    '#include "tarn/src/catalog/config.h": through it tarn/src/api/library.h'
echo '#pragma once' >"$copy/tarn/src/snmp/stray.h"
! "$root/scripts/check-layers" "$copy" >"$copy/out" && grep -qF 'tarn/src/snmp/stray.h: stands in no room' "$copy/out" ||
    { echo "a file outside of all rooms is not caught"; failed=1; }
exit $failed
