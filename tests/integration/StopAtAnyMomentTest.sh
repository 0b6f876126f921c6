#!/bin/bash
# SIGTERM and SIGINT end the program cleanly, whatever it is doing: while it starts, while it waits for the account, and
# later. Usage: StopAtAnyMomentTest.sh PROGRAM

program=$1
source "$(dirname "$0")/sandbox.sh"

kLimit=3000 # milliseconds

# stop_after SECONDS SIGNAL WHAT
stop_after() {
    "$program" 2>"$sandbox/stderr" &
    local pid=$!
    until_true 10 catches_term "$pid" || fail "$3: does not start"
    sleep "$1"
    kill "-$2" "$pid"
    expect_exit "$pid" "$kLimit" "$3, $2 after $1 s"
    grep -qiE 'assert|sanitizer|terminate called' "$sandbox/stderr" && fail "$3: $(cat "$sandbox/stderr")"
}

for delay in 0 0.005 0.01 0.02 0.03 0.05 0.08 0.15 0.4; do
    store_account
    stop_after "$delay" TERM "starting"
    rm -f "$settings"
    stop_after "$delay" INT "without an account"
done

# While it waits for the account, which then appears.
rm -f "$settings"
"$program" 2>"$sandbox/stderr" &
pid=$!
until_true 10 grep -q 'ovelo-settings write email' "$sandbox/stderr" || fail "says nothing about the account"
listens "$pid" && fail "listens without an account"
store_account
until_true 10 listens "$pid" || fail "does not go on when the account is there"
kill -TERM "$pid"
expect_exit "$pid" "$kLimit" "running"

# Signals by the dozen change nothing.
"$program" 2>"$sandbox/stderr" &
pid=$!
until_true 10 listens "$pid" || fail "does not listen"
for _ in {1..40}; do
    kill -TERM "$pid" 2>/dev/null
    kill -INT "$pid" 2>/dev/null
done
expect_exit "$pid" "$kLimit" "many signals"

finish
