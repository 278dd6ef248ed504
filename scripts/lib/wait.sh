# Waiting, for scripts: sourced.

# wait_for SECONDS COMMAND...: until the command succeeds; says so when it does not.
wait_for() {
    local end=$((SECONDS + $1))
    shift
    until "$@" >/dev/null 2>&1; do
        [ $SECONDS -lt $end ] || { echo "$0: waited in vain for: $*" >&2; return 1; }
        sleep 0.05
    done
}
