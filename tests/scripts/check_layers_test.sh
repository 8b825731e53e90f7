#!/usr/bin/env bash
# The layer check finds what it is there to find: one wrong line at a time, put into a copy of the tree's headers.
set -euo pipefail
root=$(realpath "$1")
copy=$(mktemp -d)
trap 'rm -rf "$copy"' EXIT
(cd "$root" && find app printer twheel ui tarn tools \( -type d -o -name '*.h' \) -print0 |
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
catches tarn/src/device '#include "tarn/src/snmp/codec.h"'
catches tarn/src/snmp '#include "tarn/src/engine/engine.h"'
catches tarn/src/engine '#include "tarn/src/catalog/config.h"'
catches tarn/src/usb '#include "tarn/src/snmp/codec.h"'
catches tarn/src/ipp '#include "tarn/src/snmp/picture.h"'
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
catches tools/tarn-status/explain '#include "tarn/src/engine/snmp_poller.h"'
catches tools/tarn-status/explain '#include "tarn/src/catalog/printer_list.h"'
catches tools/tarn-status/config '#include "tarn/src/snmp/codec.h"'
catches tools/tarn-status/formats '#include "tarn/src/snmp/codec.h"'
catches tools/common '#include "tools/tarn-status/options.h"'
exit $failed
