# The parts of scripts/run --demo and scripts/try-packages; sourced by them, from the repository's root.

demo=$PWD/build/demo
demo_bin=${KEL_DEMO_BIN:-build/run/bin}
demo_data=${KEL_DEMO_DATA:-tests/data}
demo_patience=${KEL_DEMO_PATIENCE:-1} # how many times longer everything may take
demo_port=16183 # as in scripts/demo/tarn.json
demo_scenarios=(colour mono red-black offline out-of-paper toner-low) # 127.83.0.1 and on, as in printers.json
children=()
kel_pid=
kel_status=0

# Ends everything that was started here, the youngest first. (A helper of the virtual desktop may be gone already.)
demo_stop() {
    local i
    for ((i = ${#children[@]} - 1; i >= 0; i--)); do
        kill "${children[i]}" 2>/dev/null || true
        wait "${children[i]}" 2>/dev/null || true
    done
    children=()
}

# A fresh private world: the program finds only what is written here.
demo_prepare() {
    rm -rf "$demo"
    mkdir -p "$demo"/{data/Morvik/kel,cache,config,home} "$demo/log"
    mkdir -m 0700 "$demo/runtime"
    cp scripts/demo/printers.json "$demo/data/Morvik/kel/printers.json"
    cp scripts/demo/tarn.json "$demo/tarn.json"
    [[ -z ${KEL_DEMO_CACHE:-} ]] || cp -r "$KEL_DEMO_CACHE/." "$demo/cache"
    demo_environment=(XDG_DATA_HOME="$demo/data" XDG_CACHE_HOME="$demo/cache" XDG_STATE_HOME="$demo/state" TARN_CONFIG="$demo/tarn.json")
}

demo_start_printers() {
    local i sources=() line
    for i in "${!demo_scenarios[@]}"; do
        sources+=("$demo_data/${demo_scenarios[i]}.json@127.83.0.$((i + 1))")
    done
    exec {printers_say}< <(exec "$demo_bin/printer-sim" --port "$demo_port" "${sources[@]}" 2>"$demo/log/printer-sim")
    children+=($!)
    read -r -t $((10 * demo_patience)) -u "$printers_say" line ||
        die "the simulated printers did not start: $(<"$demo/log/printer-sim")"
    [[ $line == ready:* ]] || die "the simulated printers say: $line"
}

# A virtual display with a window manager and a tray, and nothing of the user's desktop.
demo_start_desktop() {
    local number
    demo_environment+=(HOME="$demo/home" XDG_CONFIG_HOME="$demo/config" XDG_RUNTIME_DIR="$demo/runtime"
        QT_QPA_PLATFORM=xcb)
    unset WAYLAND_DISPLAY XAUTHORITY DBUS_SESSION_BUS_ADDRESS
    export LC_ALL=C.UTF-8
    exec {display_says}< <(exec Xvfb -displayfd 1 -screen 0 1280x800x24 -noreset -nolisten tcp 2>"$demo/log/xvfb")
    children+=($!)
    read -r -t 20 -u "$display_says" number || die "the virtual display did not start: $(<"$demo/log/xvfb")"
    export DISPLAY=:$number
    demo_child openbox openbox
    demo_wait "the window manager" demo_has_manager
    demo_child trayer trayer --edge top --align right --widthtype request --height 32 --tint 0xd8dce0 --transparent false
    demo_wait "the tray" xdotool search --name '^panel$' # not visible while it is empty
}

demo_has_manager() { xprop -root _NET_SUPPORTING_WM_CHECK | grep -q 'window id'; }

# demo_child NAME COMMAND...: in the private world, its words in log/NAME.
demo_child() {
    env "${demo_environment[@]}" "${@:2}" >"$demo/log/$1" 2>&1 </dev/null &
    children+=($!)
}

demo_start_kel() {
    demo_child kel "$demo_bin/kel"
    kel_pid=$!
}

# demo_wait WHAT COMMAND...: until the command succeeds, for 20 seconds at most; not when kel has ended meanwhile.
demo_wait() {
    local end=$((SECONDS + 20 * demo_patience))
    until "${@:2}" >/dev/null 2>&1; do
        if [[ -n $kel_pid ]] && ! kill -0 "$kel_pid" 2>/dev/null; then
            return 1
        fi
        ((SECONDS < end)) || die "waited for $1 in vain; see $demo/log/"
        sleep 0.1
    done
}

demo_pause() { sleep "$(awk "BEGIN { print $1 * $demo_patience }")"; }

# demo_window NAME: the visible windows with that name.
demo_window() { xdotool search --onlyvisible --name "$1"; }
demo_gone() { ! demo_window "$1"; }

# demo_shoot NAME: the whole screen as build/demo/NAME.png.
demo_shoot() {
    demo_pause 0.5 # what was just opened is being drawn
    import -window root "$demo/$1.png"
}

# demo_click NAME X Y BUTTON: in the window with that name, at a place that may reckon with its WIDTH and HEIGHT.
demo_click() {
    local window WIDTH HEIGHT # the latter two as getwindowgeometry names them
    window=$(demo_window "$1" | tail -n 1)
    eval "$(xdotool getwindowgeometry --shell "$window" | grep -E '^(WIDTH|HEIGHT)=')"
    xdotool mousemove --window "$window" $(($2)) $(($3)) click "$4"
}

# Opens the tray icon's menu; the icon is all that the panel holds.
demo_open_tray_menu() {
    demo_click '^panel$' WIDTH/2 HEIGHT/2 3
    demo_pause 0.7
}

# Waits for the program to end and leaves its exit status in kel_status.
demo_wait_for_end() {
    kel_status=0
    wait "$kel_pid" || kel_status=$?
    kel_pid=
}

# The tour: the window with live numbers, the list editor, the tray's menu, the About dialog, and out. Leaves the
# program's exit status in kel_status.
demo_show_windows() {
    if ! demo_wait "the program's window" demo_window '^Kel 打印机管理工具$'; then
        demo_wait_for_end
        return
    fi
    demo_pause 6 # the first polls
    demo_shoot kel

    demo_click '^Kel 打印机管理工具$' WIDTH/8 HEIGHT-48 1 # the button under the list
    demo_wait "the list editor" demo_window '^添加打印机$'
    demo_pause 0.5
    demo_shoot editor
    xdotool key Escape
    demo_wait "the list editor's end" demo_gone '^添加打印机$'

    demo_wait "the icon in the tray" demo_window '^panel$'
    demo_open_tray_menu
    demo_shoot tray
    xdotool key Down Down Return # 显示主界面, 关于
    demo_wait "the About dialog" demo_window '^关于$'
    demo_shoot about
    xdotool key Escape

    demo_open_tray_menu
    xdotool key Up Return # from the end: 退出
    demo_wait_for_end
}

# One line per printer on stdout, as the library sees it. Its exit status tells of the printers, not of us.
demo_print_printers() {
    env "${demo_environment[@]}" "$demo_bin/tarn-status" --timeout $((3 * demo_patience)) --list scripts/demo/printers.json >"$demo/log/tarn-status" ||
        [[ $? -le 2 ]]
    awk '/^[^ ]/ { if (line) print line; line = $0; details = 0; next }
         { sub(/^ +/, "") }
         /^!/ || details == 0 { line = line "  " $0 }
         { details = 1 }
         END { print line }' "$demo/log/tarn-status"
}
