# Sourced by the scripts beside it: a home of its own, a network of its own, and what they have in common.
#
# The script that sources this is run again inside a network namespace with nothing but loopback, so that nothing that
# the program announces leaves this computer.

set -u

if [[ -z ${OVELO_SANDBOX:-} ]]; then
    OVELO_SANDBOX=1 exec unshare --map-root-user --net bash "$0" "$@"
fi
ip link set lo up

sandbox=$(mktemp -d)
export HOME=$sandbox XDG_CONFIG_HOME=$sandbox/config XDG_RUNTIME_DIR=$sandbox OVELO_DEMO=1 LANG=C.UTF-8
unset DISPLAY WAYLAND_DISPLAY QT_QPA_PLATFORM
settings=$XDG_CONFIG_HOME/Ovelo/Ovelo.ini

failures=0
fail() {
    echo "FAILED: $*" >&2
    failures=$((failures + 1))
}

# until LIMIT_IN_SECONDS COMMAND...: runs the command again and again until it succeeds.
until_true() {
    local limit=$((SECONDS + $1))
    shift
    until "$@"; do
        ((SECONDS < limit)) || return 1
        sleep 0.02
    done
}

# An account, and any free port.
store_account() {
    mkdir -p "${settings%/*}"
    printf '[General]\nemail=me@example.org\npassword=secret\nport=0\n' >"$settings"
}

# The program takes SIGTERM itself: the first thing that its main function sees to.
catches_term() {
    local caught
    caught=$(sed -n 's/^SigCgt:\t//p' "/proc/$1/status" 2>/dev/null) && [[ -n $caught ]] && (((0x$caught >> 14) & 1))
}

listens() {
    [[ -n $(ss --tcp --listening --no-header --processes 2>/dev/null | grep "pid=$1,") ]]
}

# expect_exit PID LIMIT_IN_MILLISECONDS WHAT: the process ends with status 0, in time.
expect_exit() {
    local begun status
    begun=$(date +%s%3N)
    (sleep 20 && kill -KILL "$1" 2>/dev/null) &
    local guard=$!
    wait "$1"
    status=$?
    kill "$guard" 2>/dev/null
    wait "$guard" 2>/dev/null
    local took=$(($(date +%s%3N) - begun))
    ((status == 0)) || fail "$3: exit status $status"
    ((took <= $2)) || fail "$3: took $took ms"
}

finish() {
    rm -rf "$sandbox"
    ((failures == 0)) && echo "passed"
    exit "$((failures > 0))"
}
