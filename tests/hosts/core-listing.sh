#!/bin/sh
# Hosts see the small bundle's plug-ins, validly described: core-listing.sh BUNDLE VERSION
set -eu
. "$(dirname "$0")/common.sh"
bundle=$1
version=$2
need lv2ls lv2info lv2bench lv2_validate

# Nothing but what was built here may be found.
LV2_PATH=$(dirname "$bundle")
export LV2_PATH
expected=
for method in precise tracking; do
    for channels in 4 6 8 mono stereo; do
        expected="$expected urn:orvotech:kalim-$method-$channels"
    done
done
found=$(lv2ls 2>&1)
[ " $(echo $found)" = "$expected" ] || fail "lv2ls lists '$found'"

expect_ports() # URI SYMBOL...
{
    uri=$1
    shift
    info=$(lv2info "$uri" 2>&1)
    symbols=$(echo "$info" | sed -n 's/^		Symbol: *//p')
    [ "$(echo $symbols)" = "$*" ] || fail "the ports of $uri are '$symbols'"
    echo "$info" | grep -q '^	Has latency: *yes, reported by port' || fail "$uri has no latency"
    ! echo "$info" | grep -i -e error -e 'Required Features' || fail "lv2info complains of $uri"
    # It skips what it cannot load, and says nothing.
    [ -n "$(lv2bench "$uri" 2>&1)" ] || fail "$uri cannot be run"
}
expect_ports urn:orvotech:kalim-tracking-mono audio_in_1 audio_out_1 enabled latency followed \
    fundamental sensitivity adaptivity harmonics odd aggressive residual
expect_ports urn:orvotech:kalim-precise-stereo audio_in_1 audio_in_2 audio_out_1 audio_out_2 \
    enabled latency followed mains lookahead strength residual

grep -q "lv2:microVersion ${version##*.} ;" "$bundle/kalim-core.ttl" || fail "not version $version"
said=$(lv2_validate "$bundle"/*.ttl 2>&1) || fail "$said"
# It tells which of its own files it leaves out, and how much it looked at.
complaints=$(echo "$said" | grep -v -e '^Skipping file /usr/' -e '^Found 0 errors among ' || true)
[ -z "$complaints" ] || fail "$said"
echo "$said" | grep '^Found 0 errors among '
