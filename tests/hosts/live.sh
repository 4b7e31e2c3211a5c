#!/bin/sh
# A host plays the plug-in for some seconds at 64 frames: live.sh BUNDLE [SECONDS]
set -eu
. "$(dirname "$0")/common.sh"
bundle=$1
seconds=${2:-3}
need jackd jack_lsp jack_iodelay jalv

open_folder
use_own_home
unset DISPLAY WAYLAND_DISPLAY || true
LV2_PATH="$(dirname "$bundle"):/usr/lib/lv2"
export LV2_PATH JACK_NO_AUDIO_RESERVATION=1

run server jackd -r --name "$JACK_DEFAULT_SERVER" -d dummy -r 48000 -p 64
server=$started
answers() { jack_lsp >/dev/null 2>&1; }
if ! wait_for 5 answers; then
    echo "skipped: no sound server can be started here"
    exit 77
fi

# Its keyboard input stays open and silent: at the end of it the host would leave.
mkfifo "$work/keys"
play() { exec jalv -x -n kalim-test urn:orvotech:kalim <>"$work/keys"; }
run host play
host=$started
has_port() { jack_lsp 2>/dev/null | grep -q "^$1\$"; }
wait_for 10 has_port kalim-test:audio_out_2 || fail "the plug-in's ports did not appear"
# The plug-in works on test tones of a meter, which tells how late they come back.
run meter stdbuf -oL jack_iodelay
meter=$started
wait_for 5 has_port jack_delay:out || fail "the meter did not start"
jack_connect jack_delay:out kalim-test:audio_in_1 || fail "ports cannot be connected"
jack_connect kalim-test:audio_out_1 jack_delay:in || fail "ports cannot be connected"

late() { grep -c -i -e xrun -e 'was not finished' "$work/server.said" || true; }
before=$(late)
sleep "$seconds"
! is_gone "$host" || fail "the host did not stay alive"
after=$(late)
end "$meter" || fail "the meter does not end"
# The plug-in's latency and one block for the way through the server.
delay=$(awk '/total roundtrip/ { print int($1 + 0.5) }' "$work/meter.said" | sort | uniq -c |
    sort -rn | awk 'NR == 1 { print $2 }')
[ "$delay" = $((2048 + 64)) ] || fail "tones come back after '$delay' frames"
kill -TERM "$host"
expect_end "$host"

blocks=$((seconds * 750))
echo "late in $((after - before)) of about $blocks blocks"
# Without real-time priority any other work on the machine makes some blocks late; a plug-in that takes
# longer than its block lasts is late again and again.
[ $(((after - before) * 10)) -lt "$blocks" ] || fail "the plug-in does not keep up"
! grep -i -e 'assertion' -e 'JUCE' -e 'error' "$work/host.said" || fail "the host reports a fault"
end "$server" || fail "the server does not end"
