#!/bin/sh
# A program that plays files through the small bundle, by its commands in the manual and beside our own:
#
#   core-files.sh PLAYER BUNDLE KALIM EXAMPLE MANUAL
set -eu
. "$(dirname "$0")/common.sh"
player=$1
bundle=$2
kalim=$3
example=$4
manual=$5
need "$player" ffmpeg od cmp

open_folder
use_own_home
# Only by path and identifier, whatever else is installed here.
LV2_PATH=$(dirname "$bundle")
export LV2_PATH XDG_CACHE_HOME="$work/cache"
# Both can be built without LV2.
knows_lv2() {
    case "$player" in
        ffmpeg) ffmpeg -hide_banner -filters 2>/dev/null | grep -q ' lv2 ' ;;
        gst-launch-1.0)
            for element in lv2 audiobuffersplit wavparse decodebin audioconvert; do
                gst-inspect-1.0 "$element" || return 1
            done ;;
    esac >/dev/null 2>&1
}
if ! knows_lv2; then
    echo "skipped: $player lacks its part for LV2"
    exit 77
fi

cd "$work"

samples() { ffmpeg -nostdin -loglevel error -i "$1" -f f32le -; }

# Sample for sample what the program makes of a real recording, late by the latency.
stereo=urn:orvotech:kalim-tracking-stereo
play()
{
    case "$player" in
        ffmpeg)
            graph="asetnsamples=n=$1:p=0,lv2=p=urn\\\\:orvotech\\\\:kalim-tracking-stereo"
            graph="$graph:c=fundamental=60|harmonics=14|adaptivity=5|aggressive=$2"
            ffmpeg -loglevel error -y -i in.wav -af "$graph" -c:a pcm_f32le out.wav ;;
        lv2file)
            lv2file -b "$1" -i in.wav -o out.wav -p fundamental:60 -p harmonics:14 -p adaptivity:5 \
                -p "aggressive:$2" $stereo ;;
        lv2proc)
            lv2proc -n "$1" -i in.wav -o out.wav -c fundamental:60 -c harmonics:14 -c adaptivity:5 \
                -c "aggressive:$2" $stereo ;;
        gst-launch-1.0)
            gst-launch-1.0 -q filesrc location=in.wav ! wavparse ! \
                audiobuffersplit output-buffer-duration="$1/44100" ! \
                urn-orvotech-kalim-tracking-stereo fundamental=60 harmonics=14 adaptivity=5 \
                aggressive="$2" ! wavenc ! filesink location=out.wav ;;
    esac
}

ffmpeg -nostdin -loglevel error -i "$example" -c:a pcm_f32le in.wav
for case in "512 0 2048" "480 0 2048" "512 1 0"; do
    set -- $case
    rm -f out.wav
    play "$1" "$2" >"$work/$player.said" 2>&1 || fail "does not play"
    "$kalim" -q --force --method tracking -f 60 -n 14 -a 5 --aggressive="$2" -b "$1" \
        in.wav ours.wav
    samples out.wav >out.raw
    samples ours.wav >ours.raw
    late=$(($3 * 8))
    size=$(wc -c <ours.raw)
    [ "$(wc -c <out.raw)" -ge "$size" ] || fail "writes too little"
    cmp -i "$late:0" -n $((size - late)) out.raw ours.raw ||
        fail "is not what the program makes, in blocks of $1, aggressive=$2"
done

# What the manual says, on hum alone.
hum="0.1*sin(2*PI*50.03*t)+0.05*sin(2*PI*150.09*t)"
ffmpeg -loglevel error -f lavfi -i "aevalsrc=$hum|$hum:s=48000:d=6" interview.wav
# Of the last two seconds, in dB.
level() { samples "$1" | tail -c 768000 | measure_level; }
before=$(level interview.wav)
# Those that play through loudspeakers cannot be tried here.
sed -n 's|^<pre><code>\('"$player"' .*\)</code></pre>$|\1|p' "$manual" |
    sed 's/&lt;/</g; s/&gt;/>/g; s/&amp;/\&/g' | grep -v autoaudio >commands || true
[ -s commands ] || fail "the manual has no command for it"
while IFS= read -r command; do
    printf "%s\n" "$command"
    rm -f clean.wav
    sh -c "$command" >"$work/$player.said" 2>&1 </dev/null || fail "this does not work"
    after=$(level clean.wav)
    [ "$after" -le $((before - 20)) ] || fail "hum of $before dB is left with $after dB"
    case "$command" in
        *atrim*)
            [ "$(samples clean.wav | wc -c)" = "$(samples interview.wav | wc -c)" ] ||
                fail "the result is not as long as it was" ;;
    esac
done <commands
