#!/bin/sh
# A host plays the plug-in for some seconds at 64 frames: live.sh BUNDLE [SECONDS]
set -eu
bundle=$1
seconds=${2:-3}

for program in jackd jack_lsp jack_iodelay jalv; do
    if ! command -v "$program" >/dev/null 2>&1; then
        echo "skipped: $program is not installed"
        exit 77
    fi
done

work=$(mktemp -d)
server=
host=
meter=
# Ends a process of ours for certain, and waits for it.
end() {
    kill -TERM "$1" 2>/dev/null || true
    waited=0
    while kill -0 "$1" 2>/dev/null && [ "$waited" -lt 50 ]; do
        sleep 0.1
        waited=$((waited + 1))
    done
    if kill -KILL "$1" 2>/dev/null; then
        return 1
    fi
}
clean_up() {
    [ -z "$meter" ] || end "$meter" || true
    [ -z "$host" ] || end "$host" || true
    [ -z "$server" ] || end "$server" || true
    rm -rf "$work"
}
trap clean_up EXIT
trap 'exit 1' HUP INT PIPE TERM

fail() {
    echo "FAILED: $*"
    echo "-- the host said:"
    cat "$work/host"
    echo "-- the server said:"
    cat "$work/server"
    exit 1
}

# The plug-in must not meet the settings of whoever runs the tests.
mkdir -p "$work/home/.config"
export HOME="$work/home" XDG_CONFIG_HOME="$work/home/.config"
unset DISPLAY WAYLAND_DISPLAY || true
LV2_PATH="$(dirname "$bundle"):/usr/lib/lv2"
export LV2_PATH
# A server of our own, so that neither a running one nor another test is met.
export JACK_DEFAULT_SERVER="kalim-test-$$" JACK_NO_START_SERVER=1 JACK_NO_AUDIO_RESERVATION=1

: >"$work/host"
jackd -r --name "$JACK_DEFAULT_SERVER" -d dummy -r 48000 -p 64 >"$work/server" 2>&1 </dev/null &
server=$!
tries=0
until jack_lsp >"$work/ports" 2>/dev/null; do
    tries=$((tries + 1))
    if [ "$tries" -ge 50 ] || ! kill -0 "$server" 2>/dev/null; then
        echo "skipped: no sound server can be started here; it said:"
        cat "$work/server"
        exit 77
    fi
    sleep 0.1
done

# Its keyboard input stays open and silent: at the end of it the host would leave.
mkfifo "$work/keys"
jalv -x -n kalim-test urn:orvotech:kalim >"$work/host" 2>&1 <>"$work/keys" &
host=$!
tries=0
until jack_lsp 2>/dev/null | grep -q '^kalim-test:audio_out_2$'; do
    tries=$((tries + 1))
    kill -0 "$host" 2>/dev/null || fail "the host left"
    [ "$tries" -lt 100 ] || fail "the plug-in's ports did not appear"
    sleep 0.1
done
for symbol in audio_in_1 audio_in_2 audio_out_1; do
    jack_lsp | grep -q "^kalim-test:$symbol\$" || fail "port $symbol is missing"
done
# The plug-in works on test tones of a meter, which tells how late they come back.
stdbuf -oL jack_iodelay >"$work/delays" 2>&1 </dev/null &
meter=$!
tries=0
until jack_lsp 2>/dev/null | grep -q '^jack_delay:out$'; do
    tries=$((tries + 1))
    [ "$tries" -lt 50 ] || fail "the meter did not start"
    sleep 0.1
done
jack_connect jack_delay:out kalim-test:audio_in_1 || fail "ports cannot be connected"
jack_connect kalim-test:audio_out_1 jack_delay:in || fail "ports cannot be connected"

late() { grep -c -i -e xrun -e 'was not finished' "$work/server" || true; }
before=$(late)
sleep "$seconds"
kill -0 "$host" 2>/dev/null || fail "the host did not stay alive"
after=$(late)
end "$meter" || fail "the meter does not end"
meter=
# The plug-in's latency and one block for the way through the server.
delay=$(awk '/total roundtrip/ { print int($1 + 0.5) }' "$work/delays" | sort | uniq -c | sort -rn |
    awk 'NR == 1 { print $2 }')
[ "$delay" = $((2048 + 64)) ] || fail "tones come back after '$delay' frames"

kill -TERM "$host"
tries=0
while kill -0 "$host" 2>/dev/null; do
    tries=$((tries + 1))
    [ "$tries" -lt 100 ] || fail "the host does not end"
    sleep 0.1
done
code=0
wait "$host" || code=$?
host=
[ "$code" = 0 ] || fail "the host ended with code $code"

blocks=$((seconds * 750))
echo "late in $((after - before)) of about $blocks blocks"
# Without real-time priority any other work on the machine makes some blocks late; a plug-in that takes
# longer than its block lasts is late again and again.
[ $(((after - before) * 10)) -lt "$blocks" ] || fail "the plug-in does not keep up"
if grep -i -e 'assertion' -e 'JUCE' -e 'error' "$work/host"; then
    fail "the host reports a fault"
fi
end "$server" || fail "the server does not end"
server=
