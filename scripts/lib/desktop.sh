# Displays for scripts: sourced after wait.sh, from the root of the tree, by a script that keeps the processes to end
# in the array `started`.

# display_is_usable: whether DISPLAY names an X server that answers.
display_is_usable() {
    [ -n "${DISPLAY:-}" ] && xrandr --query >/dev/null 2>&1
}

# write_xorg_config FILE WxH: a server without a graphics card whose first output has that size.
write_xorg_config() {
    local width=${2%x*} height=${2#*x}
    # Any timing does for an output that no wire leaves, but for the blanking that flat screens know.
    local timing="240 $width $((width + 128)) $((width + 336)) $((width + 464))"
    timing+=" $height $((height + 3)) $((height + 7)) $((height + 30))"
    sed "s/@MODE@/$2/; s/@TIMING@/$timing/; s/@VIRTUAL@/8192 8191/" scripts/lib/xorg-dummy.conf >"$1"
}

# start_server FOLDER WxH: an own X server, and nothing on it. Exports DISPLAY. FOLDER takes its files.
start_server() {
    local folder=$1
    write_xorg_config "$folder/xorg.conf" "$2"
    # The server binary itself: the wrapper beside it lets nobody start a server but those at a console.
    /usr/lib/xorg/Xorg -displayfd 3 -config "$folder/xorg.conf" -noreset -nolisten tcp -novtswitch -sharevts \
        -ac -logfile "$folder/xorg.log" 3>"$folder/display" >/dev/null 2>&1 &
    started+=("$!")
    wait_for 10 test -s "$folder/display" || { tail -5 "$folder/xorg.log"; return 1; }
    DISPLAY=:$(cat "$folder/display")
    export DISPLAY
}

# start_desktop FOLDER WxH: the same with a window manager.
start_desktop() {
    local folder=$1
    start_server "$@"
    xsetroot -solid '#34495e' -cursor_name left_ptr
    # Windows that come while the window manager starts may never be mapped.
    openbox --sm-disable --startup "touch '$folder/openbox'" >/dev/null 2>&1 &
    started+=("$!")
    wait_for 10 test -e "$folder/openbox"
}

# desktop_has_windows N: whether the window manager runs and manages at least N windows.
desktop_has_windows() {
    xprop -root -notype _NET_SUPPORTING_WM_CHECK | grep -q '# 0x' || return 1
    [ "$(xprop -root -notype _NET_CLIENT_LIST | grep -o 0x | wc -l)" -ge "$1" ]
}

# terminal TITLE COLUMNSxROWS+X+Y COMMAND...
terminal() {
    local title=$1 geometry=$2
    shift 2
    xterm -T "$title" -name "quillon-demo-$title" -geometry "$geometry" -fa 'DejaVu Sans Mono' -fs 15 -bg '#1d2329' -fg '#d8dee9' \
        +sb -b 8 -e "$@" >/dev/null 2>&1 &
    started+=("$!")
}

# Windows in which something happens, "TITLE COLUMNSxROWS X Y" each, for a display of 1600x1200.
content_windows=(
    'Source 70x44 40 40'
    'Machine 52x20 928 40'
    'Clock 52x21 928 600'
)

# start_windows: opens them on the main display.
start_windows() {
    local window title size x y
    for window in "${content_windows[@]}"; do
        read -r title size x y <<<"$window"
        "show_${title,,}" "$title" "$size+$x+$y"
    done
    wait_for 10 windows_are_open
}

windows_are_open() {
    local window
    for window in "${content_windows[@]}"; do
        xdotool search --onlyvisible --classname "^quillon-demo-${window%% *}\$" >/dev/null || return 1
    done
}

# move_windows X Y: takes them to the display whose corner is there.
move_windows() {
    local window title x y
    for window in "${content_windows[@]}"; do
        read -r title _ x y <<<"$window"
        xdotool search --onlyvisible --classname "^quillon-demo-$title\$" windowmove $(($1 + x)) $(($2 + y))
    done
}

show_source() {
    terminal "$1" "$2" bash -c '
        while :; do
            for file in */*.hpp; do
                printf "\n\033[1;38;5;110m%s\033[0m\n" "$file"
                while IFS= read -r line; do
                    case $line in
                        *//*) printf "\033[38;5;108m%s\033[0m\n" "$line" ;;
                        \#*) printf "\033[38;5;175m%s\033[0m\n" "$line" ;;
                        *) printf "%s\n" "$line" ;;
                    esac
                    sleep 0.06
                done <"$file"
            done
        done'
}

show_machine() {
    terminal "$1" "$2" top -d 1
}

show_clock() {
    terminal "$1" "$2" bash -c '
        printf "\033[?25l"
        while :; do
            printf "\033[H\n   \033[1;38;5;222m%(%H:%M:%S)T\033[0m\n\n" -1
            for i in {1..24}; do
                printf "\033[6;4H\033[38;5;73m"
                for ((c = 0; c < i * 2; c++)); do printf "█"; done
                printf "\033[K\033[0m"
                sleep 0.04
            done
        done'
}
