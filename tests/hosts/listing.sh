#!/bin/sh
# Hosts see the plug-in, its ports and its parameters, validly described: listing.sh BUNDLE VERSION
set -eu
. "$(dirname "$0")/common.sh"
bundle=$1
version=$2
uri=urn:orvotech:kalim
need lv2ls lv2info sordi

# Nothing but what was built here may be found.
LV2_PATH=$(dirname "$bundle")
export LV2_PATH
found=$(lv2ls 2>&1)
[ "$found" = "$uri" ] || fail "lv2ls lists '$found'"

info=$(lv2info "$uri" 2>&1)
holds() { echo "$info" | grep -q -e "$1" || fail "lv2info does not say '$1'"; }
holds '^	Has latency: *yes, reported by port 6$'
symbols=$(echo "$info" | sed -n 's/^		Symbol: *//p' | tr '\n' ' ')
expected="audio_in_1 audio_in_2 audio_out_1 audio_out_2 in out latency freeWheeling enabled "
[ "$symbols" = "$expected" ] || fail "the ports are '$symbols'"
! echo "$info" | grep -i -e error -e 'Author Email' || fail "lv2info says what it should not"
# The names of classes come with the format's own bundles.
if [ -d /usr/lib/lv2/core.lv2 ]; then
    LV2_PATH="$LV2_PATH:/usr/lib/lv2" lv2info "$uri" | grep -q '^	Class: *Filter Plugin$' ||
        fail "the class is not that of a filter"
fi

expected="FundamentalFrequency Sensitivity Adaptivity NumberOfHarmonics OnlyOddHarmonics"
expected="$expected AggressiveMode ResidualMode "
statements=$(sordi -i turtle -o ntriples "$bundle/dsp.ttl" 2>&1)
states() { echo "$statements" | grep -q -F -e "$1" || fail "the description does not state '$1'"; }
for name in $expected; do
    states "<$uri> <http://lv2plug.in/ns/ext/patch#writable> <$uri:$name> ."
    states "<$uri:$name> <http://www.w3.org/2000/01/rdf-schema#label> \"$name\" ."
    case "$name" in
        NumberOfHarmonics) type=Int ;;
        On* | *Mode) type=Bool ;;
        *) type=Float ;;
    esac
    states "<$uri:$name> <http://www.w3.org/2000/01/rdf-schema#range> <http://lv2plug.in/ns/ext/atom#$type> ."
done
states "<$uri:FundamentalFrequency> <http://lv2plug.in/ns/extensions/units#unit> <http://lv2plug.in/ns/extensions/units#hz> ."
states "<$uri:FundamentalFrequency> <http://lv2plug.in/ns/lv2core#maximum> \"500\""
count=$(echo "$statements" | grep -c -F '/patch#writable>' || true)
[ "$count" = 7 ] || fail "there are $count parameters"
states "<http://usefulinc.com/ns/doap#revision> \"$version\""
states "<$uri> <http://usefulinc.com/ns/doap#license> <http://spdx.org/licenses/GPL-3.0-or-later>"

need lv2_validate
said=$(lv2_validate "$bundle"/*.ttl 2>&1) || fail "$said"
# It tells which of its own files it leaves out, and how much it looked at.
complaints=$(echo "$said" | grep -v -e '^Skipping file /usr/' -e '^Found 0 errors among ' || true)
[ -z "$complaints" ] || fail "$said"
echo "$said" | grep '^Found 0 errors among '
