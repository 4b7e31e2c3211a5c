#!/bin/sh
# A host without a window sets the small bundle's controls in Hz and plays it: core-jalv.sh BUNDLE MANUAL
set -eu
. "$(dirname "$0")/common.sh"
bundle=$1
manual=$2
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

mkfifo "$work/keys"
command=$(sed -n 's|^<pre><code>jalv \(.*\)</code></pre>$|\1|p' "$manual")
[ -n "$command" ] || fail "the manual has no command for it"
play() { exec stdbuf -oL jalv -n kalim-test $command <>"$work/keys"; }
run host play
host=$started
has_port() { jack_lsp 2>/dev/null | grep -q "^$1\$"; }
wait_for 10 has_port kalim-test:audio_out_2 || fail "the plug-in's ports did not appear"

# What is typed is answered when the host gets round to it.
says() { grep -q -F -e "$1" "$work/host.said"; }
expect() { wait_for 5 says "$1" || fail "the host does not say '$1'"; }
echo controls >"$work/keys"
expect "fundamental = 50.000000"
expect "harmonics = 20.000000"
expect "enabled = 1.000000"
echo "set fundamental 60.5" >"$work/keys"
echo controls >"$work/keys"
expect "fundamental = 60.500000"

# The plug-in works on test tones of a meter, which tells how late they come back: the plug-in's latency
# and one block for the way through the server.
measure() {
    run meter stdbuf -oL jack_iodelay
    meter=$started
    wait_for 5 has_port jack_delay:out || fail "the meter did not start"
    jack_connect jack_delay:out kalim-test:audio_in_1 || fail "ports cannot be connected"
    jack_connect kalim-test:audio_out_1 jack_delay:in || fail "ports cannot be connected"
    sleep 3
    end "$meter" || fail "the meter does not end"
    delay=$(awk '/total roundtrip/ { print int($1 + 0.5) }' "$work/meter.said" | sort | uniq -c |
        sort -rn | awk 'NR == 1 { print $2 }')
    [ "$delay" = "$1" ] || fail "tones come back after '$delay' frames, not $1"
}
measure $((2048 + 64))
echo "set aggressive 1" >"$work/keys"
echo "set harmonics 0" >"$work/keys"
measure 64

! is_gone "$host" || fail "the host did not stay alive"
kill -TERM "$host"
expect_end "$host"
! grep -i -e error "$work/host.said" || fail "the host reports a fault"
end "$server" || fail "the server does not end"
