#!/bin/sh
# The stand-alone program shows a window, plays a file and remembers: standalone.sh PROGRAM FILE
set -eu
program=$1
file=$2

for tool in Xvfb xvfb-run xauth openbox xdotool wmctrl import identify convert compare base64; do
    if ! command -v "$tool" >/dev/null 2>&1; then
        echo "skipped: $tool is not installed"
        exit 77
    fi
done

# What follows happens on a screen of its own.
if [ "${KALIM_ON_OWN_SCREEN:-}" != yes ]; then
    if env -u DISPLAY "$program" >/dev/null 2>&1; then
        echo "FAILED: starts without a screen"
        exit 1
    fi
    KALIM_ON_OWN_SCREEN=yes exec xvfb-run -a -s "-screen 0 1280x900x24" "$0" "$@"
fi

work=$(mktemp -d)
manager=
app=
# Only what was started here is ended, and waited for.
end() {
    if [ -n "$1" ]; then
        kill -KILL "$1" 2>/dev/null || true
        wait "$1" 2>/dev/null || true
    fi
}
clean_up() {
    end "$app"
    end "$manager"
    rm -rf "$work"
}
trap clean_up EXIT
trap 'exit 1' HUP INT PIPE TERM

fail() {
    echo "FAILED: $*"
    echo "-- the program said:"
    cat "$work/said"
    exit 1
}

# The program must not meet the settings or sound servers of whoever runs the tests.
mkdir -p "$work/home/.config"
export HOME="$work/home" XDG_CONFIG_HOME="$work/home/.config" LC_ALL=C
export JACK_DEFAULT_SERVER="kalim-test-$$" JACK_NO_START_SERVER=1
settings="$HOME/Orvotech/KalimStandalone.prop"

: >"$work/said"
openbox >"$work/manager" 2>&1 &
manager=$!
# A window that is there before its manager does not survive.
tries=0
until wmctrl -m >/dev/null 2>&1; do
    tries=$((tries + 1))
    [ "$tries" -lt 100 ] || fail "the window manager does not start"
    sleep 0.1
done

start() {
    "$program" "$@" >"$work/said" 2>&1 &
    app=$!
    find_window() { xdotool search --onlyvisible --name '^Kalim$' 2>/dev/null | head -n 1; }
    tries=0
    while [ -z "$(find_window)" ]; do
        tries=$((tries + 1))
        kill -0 "$app" 2>/dev/null || fail "ended before it showed a window"
        [ "$tries" -lt 200 ] || fail "shows no window"
        sleep 0.1
    done
    # Until it is laid out and painted for the first time.
    sleep 2
    window=$(find_window)
    xdotool windowactivate --sync "$window"
}

# How many differently coloured points two pictures have, or a large number where their sizes differ.
differences() {
    compare -metric AE "$1" "$2" null: 2>&1 | sed 's/[^0-9.e+].*//' || true
}

close() {
    wmctrl -i -c "$window"
    tries=0
    while kill -0 "$app" 2>/dev/null; do
        tries=$((tries + 1))
        [ "$tries" -lt 100 ] || fail "does not close"
        sleep 0.1
    done
    code=0
    wait "$app" || code=$?
    app=
    [ "$code" = 0 ] || fail "ended with code $code"
}

start "$file"
import -window "$window" "$work/opened.png"
colours=$(identify -format '%k' "$work/opened.png")
[ "$colours" -gt 100 ] || fail "the window has only $colours colours"

# The time and the position move while it plays, and only then.
line=$(xdotool getwindowgeometry --shell "$window" | sed -n 's/^HEIGHT=//p')
bar() { convert "$1" -gravity south -crop x40+0+0 +repage "$2"; }
sleep 1
import -window "$window" "$work/waiting.png"
bar "$work/opened.png" "$work/opened-bar.png"
bar "$work/waiting.png" "$work/waiting-bar.png"
[ "$(differences "$work/opened-bar.png" "$work/waiting-bar.png")" = 0 ] ||
    fail "something moves before it plays"
xdotool key space
sleep 3
import -window "$window" "$work/playing.png"
bar "$work/playing.png" "$work/playing-bar.png"
[ "$(differences "$work/opened-bar.png" "$work/playing-bar.png")" != 0 ] ||
    fail "nothing moves while it plays"
# The loop switch, beside the two buttons on the left.
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
remembered() { sed -n "s/.*name=\"$1\" val=\"\([^\"]*\)\".*/\1/p" "$settings"; }
remembered State | base64 -d 2>/dev/null | head -c 4 | grep -q OVRO ||
    fail "the state is '$(remembered State)'"
value() { remembered State | base64 -d | od -A n -t f4 -j $((20 + 8 * $1)) -N 4 | tr -d ' '; }
[ "$(value 6)" = 1 ] || fail "the switch for the removed signal is $(value 6)"
awk -v frequency="$(value 0)" 'BEGIN { exit !(frequency > 55 && frequency < 450) }' ||
    fail "the knob for the frequency is at $(value 0)"
[ "$(remembered Folder)" = "$(dirname "$file")" ] || fail "the folder is '$(remembered Folder)'"
[ "$(remembered InputMuted)" = 1 ] || fail "the input is not muted"
[ "$(remembered Looping)" = 1 ] || fail "the loop switch was not switched on"

# A second time it is where it was, and as large.
cp "$settings" "$work/first.prop"
start
close
for key in WindowX WindowY EditorWidth EditorHeight Looping State; do
    once=$(sed -n "s/.*name=\"$key\" val=\"\([^\"]*\)\".*/\1/p" "$work/first.prop")
    [ "$(remembered "$key")" = "$once" ] || fail "$key was '$once' and is '$(remembered "$key")'"
done
if grep -i 'assertion' "$work/said"; then
    fail "the framework reports a fault"
fi
