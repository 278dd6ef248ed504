# Displays for scripts: sourced by a script that keeps the processes to end in the array `started` and has
# `wait_for`, from the root of the tree.

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
    sed "s/@MODE@/$2/; s/@TIMING@/$timing/; s/@VIRTUAL@/4096 4096/" scripts/lib/xorg-dummy.conf >"$1"
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

# start_desktop FOLDER WxH: the same with a window manager and windows in which something happens.
start_desktop() {
    start_server "$@"
    xsetroot -solid '#34495e' -cursor_name left_ptr
    openbox --sm-disable >/dev/null 2>&1 &
    started+=("$!")
    # Windows that come while the window manager starts may never be mapped.
    wait_for 10 desktop_has_windows 0
    start_windows
    wait_for 10 desktop_has_windows 3
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
    xterm -T "$title" -geometry "$geometry" -fa 'DejaVu Sans Mono' -fs 15 -bg '#1d2329' -fg '#d8dee9' \
        +sb -b 8 -e "$@" >/dev/null 2>&1 &
    started+=("$!")
}

start_windows() {
    terminal 'Source code' 86x56+56+60 bash -c '
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
    terminal 'What the machine does' 72x26+1136+60 top -d 1
    terminal 'Clock' 72x22+1136+820 bash -c '
        printf "\033[?25l"
        while :; do
            printf "\033[H\n   \033[1;38;5;222m%(%H:%M:%S)T\033[0m\n\n" -1
            for i in {1..24}; do
                printf "\033[6;4H\033[38;5;73m"
                for ((c = 0; c < i * 5 / 2; c++)); do printf "█"; done
                printf "\033[K\033[0m"
                sleep 0.04
            done
        done'
}
