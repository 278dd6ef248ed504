# Service discovery for scripts: sourced after wait.sh by a script that keeps the processes to end in the array
# `started`.

# discovery_is_there: whether an Avahi daemon answers on the system's message bus.
discovery_is_there() {
    dbus-send --system --print-reply --dest=org.freedesktop.Avahi / org.freedesktop.Avahi.Server.GetState |
        grep -q 'int32 2'
}

write_bus_config() {
    cat >"$1" <<END
<busconfig><type>system</type><listen>unix:path=$2</listen><auth>EXTERNAL</auth>
<policy context="default"><allow user="*"/><allow own="*"/><allow send_type="method_call"/>
<allow send_type="signal"/><allow send_type="method_return"/><allow send_type="error"/>
<allow receive_type="method_call"/><allow receive_type="signal"/><allow receive_type="method_return"/>
<allow receive_type="error"/></policy></busconfig>
END
}

write_avahi_config() {
    cat >"$1" <<END
[server]
use-ipv4=yes
use-ipv6=no
allow-interfaces=lo
[publish]
publish-workstation=no
publish-hinfo=no
END
}

# start_own_network FOLDER NAME: a network with nothing but a loopback in it, and Avahi on it. Needs root. Programs
# are run in it by `ip netns exec NAME`. Exports DBUS_SYSTEM_BUS_ADDRESS. FOLDER takes its files. The caller deletes
# the network: `ip netns delete NAME`.
start_own_network() {
    local folder=$1 name=$2
    ip netns add "$name" && ip -n "$name" link set lo up || return
    write_bus_config "$folder/bus.conf" "$folder/bus"
    dbus-daemon --config-file="$folder/bus.conf" --nofork --nopidfile >/dev/null 2>&1 &
    started+=("$!")
    wait_for 10 test -S "$folder/bus" || return
    export DBUS_SYSTEM_BUS_ADDRESS=unix:path=$folder/bus
    # The daemon keeps its socket in /run: it gets one of its own.
    write_avahi_config "$folder/avahi.conf"
    ip netns exec "$name" unshare -m sh -c '
        mount --make-rprivate / && mount -t tmpfs tmpfs /run && mkdir /run/avahi-daemon &&
        exec avahi-daemon -f "$1" --no-drop-root --no-chroot --no-rlimits' sh "$folder/avahi.conf" \
        >"$folder/avahi.log" 2>&1 &
    started+=("$!")
    wait_for 10 discovery_is_there || { cat "$folder/avahi.log"; return 1; }
}
