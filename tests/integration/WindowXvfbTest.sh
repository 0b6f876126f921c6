#!/bin/bash
# The program on an X server: its window appears, cannot be closed, and Ctrl+Q ends the program with status 0.
# Usage: WindowXvfbTest.sh PROGRAM

program=$1
source "$(dirname "$0")/sandbox.sh"

coproc XVFB { exec Xvfb -displayfd 1 -noreset -screen 0 1280x900x24 -nolisten tcp 2>/dev/null; }
xvfb=$XVFB_PID
read -r -t 10 number <&"${XVFB[0]}" || { fail "no X server"; finish; }
export DISPLAY=:$number

window_named() {
    window=$(xdotool search --onlyvisible --name "$1" 2>/dev/null | head -n 1) && [[ -n $window ]]
}

press() {
    # There is no window manager to give anybody the keyboard.
    xdotool windowfocus --sync "$window" key "$1"
}

# With an account: the main window.
store_account
"$program" &
pid=$!
until_true 15 window_named '^Ovelo$' || fail "no main window"
until_true 10 listens "$pid" || fail "does not listen"
press ctrl+comma
until_true 10 window_named '^Ovelo Options$' || fail "no options"
press Escape
gone() { ! window_named '^Ovelo Options$'; }
until_true 10 gone || fail "the options do not close"
until_true 10 window_named '^Ovelo$' || fail "the main window is gone"
press ctrl+q
expect_exit "$pid" 3000 "Ctrl+Q"

# Without one: the account window, which Escape answers with the end.
rm -f "$settings"
"$program" &
pid=$!
until_true 15 window_named '^Welcome to Ovelo$' || fail "no account window"
listens "$pid" && fail "listens without an account"
press Escape
expect_exit "$pid" 3000 "account window refused"

# Filled in: the e-mail, the password, OK; and then a signal.
"$program" &
pid=$!
until_true 15 window_named '^Welcome to Ovelo$' || fail "no account window"
xdotool windowfocus --sync "$window" type --delay 5 'me@example.org'
press Tab
xdotool type --delay 5 'secret'
press Return
until_true 10 listens "$pid" || fail "does not go on with the account"
until_true 10 window_named '^Ovelo$' || fail "no main window after the account"
grep -q '^email=me@example.org$' "$settings" || fail "the account is not stored"
kill -TERM "$pid"
expect_exit "$pid" 3000 "SIGTERM"

# As a background agent it has no window, and does everything else. The resources are found beside the program.
mkdir -p "$sandbox/bin" "$sandbox/share"
cp "$program" "$sandbox/bin/ovelo"
cp -r "$(dirname "$program")/../share/ovelo" "$sandbox/share/"
sed -i '/NSUIElement/{n;s/0/1/}' "$sandbox/share/ovelo/Contents/Info.plist"
"$sandbox/bin/ovelo" &
pid=$!
until_true 15 listens "$pid" || fail "the agent does not listen"
for _ in {1..25}; do
    window_named '^Ovelo$' && fail "the agent shows its window" && break
    sleep 0.02
done
kill -TERM "$pid"
expect_exit "$pid" 3000 "agent"

kill "$xvfb"
wait "$xvfb" 2>/dev/null
finish
