#!/bin/sh
# The stand-alone program shows a window, plays a file and remembers: standalone.sh PROGRAM FILE
set -eu
. "$(dirname "$0")/common.sh"
program=$1
file=$2
need Xvfb openbox xdotool wmctrl import identify convert compare base64

open_folder
use_own_home
export LC_ALL=C
settings="$HOME/Orvotech/KalimStandalone.prop"
! env -u DISPLAY "$program" >/dev/null 2>&1 || fail "starts without a screen"

# What follows happens on a screen of its own, with a high number: 0 is where programs look that were told
# of none. By itself the server starts anew whenever its last client has gone, and turns away whoever comes
# meanwhile.
ready="$work/ready"
is_decided() { [ -s "$ready" ] || is_gone "$started"; }
open_screen() {
    run screen sh -c 'exec Xvfb ":$1" -displayfd 3 -noreset -nolisten tcp -screen 0 1280x900x24 3>"$2"' \
        - "$1" "$ready"
    wait_for 30 is_decided && [ -s "$ready" ]
}
number=99
until open_screen "$number"; do
    number=$((number + 1))
    [ "$number" -lt 130 ] || fail "there is no screen: $(cat "$work/screen.said")"
done
export DISPLAY=":$number"

run manager openbox
# A window that is there before its manager does not survive.
is_managed() { wmctrl -m >/dev/null 2>&1; }
wait_for 10 is_managed || fail "the window manager does not start"

has_window() {
    window=$(xdotool search --onlyvisible --name '^Kalim$' 2>/dev/null | head -n 1)
    [ -n "$window" ]
}
start() {
    run program "$program" "$@"
    app=$started
    wait_for 60 has_window || fail "shows no window"
    # Until it is laid out and painted for the first time.
    sleep 2
    xdotool windowactivate --sync "$window"
}

close() {
    wmctrl -i -c "$window"
    expect_end "$app"
}

# The whole window, and the bar at its bottom.
take_picture() {
    import -window "$window" "$work/$1.png"
    convert "$work/$1.png" -gravity south -crop x40+0+0 +repage "$work/$1-bar.png"
}

# How many differently coloured points the bar has than in the first picture.
differences() {
    compare -metric AE "$work/opened-bar.png" "$work/$1-bar.png" null: 2>&1 |
        sed 's/[^0-9.e+].*//' || true
}

start "$file"
take_picture opened
colours=$(identify -format '%k' "$work/opened.png")
[ "$colours" -gt 100 ] || fail "the window has only $colours colours"

# The time and the position move while it plays, and only then.
sleep 1
take_picture waiting
[ "$(differences waiting)" = 0 ] || fail "something moves before it plays"
xdotool key space
sleep 3
take_picture playing
[ "$(differences playing)" != 0 ] || fail "nothing moves while it plays"
# The loop switch, beside the two buttons on the left.
line=$(xdotool getwindowgeometry --shell "$window" | sed -n 's/^HEIGHT=//p')
xdotool mousemove --window "$window" 160 $((line - 20)) click 1
sleep 1
# The editor, below the notice that there is no audio device: the last of the switches, and the first of
# the knobs, which is dragged upwards.
notice=30
xdotool mousemove --window "$window" 410 $((notice + 398)) click 1
xdotool mousemove --window "$window" 52 $((notice + 352)) mousedown 1
for step in 10 20 30 40; do
    xdotool mousemove --window "$window" 52 $((notice + 352 - step))
    sleep 0.1
done
xdotool mouseup 1
sleep 0.5
xdotool windowmove "$window" 111 122
sleep 1
[ -z "${KALIM_KEEP_PICTURES:-}" ] || cp "$work"/*.png "$KALIM_KEEP_PICTURES"

close
[ -f "$settings" ] || fail "remembers nothing"
remembered() { sed -n "s/.*name=\"$1\" val=\"\([^\"]*\)\".*/\1/p" "${2:-$settings}"; }
remembered State | base64 -d 2>/dev/null | head -c 4 | grep -q OVRO ||
    fail "the state is '$(remembered State)'"
value() { remembered State | base64 -d | od -A n -t f4 -j $((20 + 8 * $1)) -N 4 | tr -d ' '; }
[ "$(value 6)" = 1 ] || fail "the switch for the removed signal is $(value 6)"
awk -v frequency="$(value 0)" 'BEGIN { exit !(frequency > 55 && frequency < 450) }' ||
    fail "the knob for the frequency is at $(value 0)"
[ "$(remembered Looping)" = 1 ] || fail "the loop switch was not switched on"

# A second time it is where it was, and as large.
cp "$settings" "$work/first.prop"
start
close
for key in WindowX WindowY EditorWidth EditorHeight Looping State; do
    once=$(remembered "$key" "$work/first.prop")
    [ "$(remembered "$key")" = "$once" ] || fail "$key was '$once' and is '$(remembered "$key")'"
done
! grep -i 'assertion' "$work/program.said" || fail "the framework reports a fault"
