#!/bin/sh
# A session is in time when it is opened again, whatever the mode it was saved in:
# ardour.sh LV2-BUNDLE VST3-BUNDLE
set -eu
. "$(dirname "$0")/common.sh"
scripts=$(cd "$(dirname "$0")" && pwd)/ardour
lv2=$1
vst3=$2
need ardour7-lua
scanner=/usr/lib/ardour7/ardour-vst3-scanner
need "$scanner"

open_folder
use_own_home
unset DISPLAY WAYLAND_DISPLAY || true
LV2_PATH="$(dirname "$lv2"):/usr/lib/lv2"
VST3_PATH=$(dirname "$vst3")
export LV2_PATH VST3_PATH
mkdir "$HOME/.vst3"
ln -s "$vst3" "$HOME/.vst3/"
LD_LIBRARY_PATH=/usr/lib/ardour7 "$scanner" -q "$HOME/.vst3/$(basename "$vst3")" ||
    fail "the VST3 is refused"

# ardour SCRIPT FOLDER ARGUMENT...: what the script writes goes to the folder. It is started again where it
# crashes or hangs: one time in ten the host's export does, whatever plug-ins there are, and with none.
ardour() {
    script=$1
    shift
    tries=6
    while :; do
        rm -rf "$1"
        [ "$script" = make ] || mkdir "$1" # which the host makes itself for a new session
        code=0
        timeout 60 ardour7-lua "$scripts/$script.lua" "$@" >"$work/$script.said" 2>&1 || code=$?
        [ "$code" != 0 ] || return 0
        tries=$((tries - 1))
        [ "$code" -ge 124 ] && [ "$tries" -gt 0 ] || fail "$script $* ends with code $code"
    done
}

# expect FORMAT PRESET LATENCY
expect() {
    session="$work/$1-$3"
    ardour make "$session" "$1" "$2"
    "$scripts/impulse" put "$session"/interchange/*/audiofiles/*.wav
    ardour export "$session-exported" "$session"
    grep -q "^latency $3\$" "$work/export.said" ||
        fail "$1 with '$2' is compensated for $(grep '^latency' "$work/export.said")"
    lag=$("$scripts/impulse" find "$session-exported/result.wav")
    [ "$lag" = "0 0" ] || fail "$1 with '$2' is late by $lag"
    echo "$1 with '$2': late by $lag"
}

for format in LV2 VST3; do
    expect "$format" "50 Hz standard" 2048
    expect "$format" "Live 50 Hz" 0
done
