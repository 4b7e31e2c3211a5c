#!/bin/sh
# Hosts see the plug-in, its ports and its parameters: listing.sh BUNDLE VERSION
set -eu
bundle=$1
version=$2
uri=urn:orvotech:kalim

for program in lv2ls lv2info sordi; do
    if ! command -v "$program" >/dev/null 2>&1; then
        echo "skipped: $program is not installed"
        exit 77
    fi
done

failures=0
fail() {
    echo "FAILED: $*"
    failures=$((failures + 1))
}

# Nothing but what was built here may be found.
LV2_PATH=$(dirname "$bundle")
export LV2_PATH
found=$(lv2ls 2>&1)
[ "$found" = "$uri" ] || fail "lv2ls lists '$found'"
[ "$(lv2ls --names 2>&1)" = Kalim ] || fail "the name is '$(lv2ls --names 2>&1)'"

info=$(lv2info "$uri" 2>&1)
holds() { echo "$info" | grep -q -e "$1" || fail "lv2info does not say '$1'"; }
holds '^	Author: *Orvotech$'
holds '^	Has latency: *yes, reported by port 6$'
for symbol in audio_in_1 audio_in_2 audio_out_1 audio_out_2 in out latency freeWheeling enabled; do
    holds "^		Symbol: *$symbol\$"
done
ports=$(echo "$info" | grep -c '^	Port [0-9]*:$' || true)
[ "$ports" = 9 ] || fail "there are $ports ports, not 9"
if echo "$info" | grep -q -i -e error -e 'Author Email'; then
    fail "lv2info says what it should not"
fi
# The names of classes come with the format's own bundles.
if [ -d /usr/lib/lv2/core.lv2 ]; then
    LV2_PATH="$LV2_PATH:/usr/lib/lv2" lv2info "$uri" | grep -q '^	Class: *Filter Plugin$' ||
        fail "the class is not that of a filter"
fi

# Hosts sort what they read, or keep the order in which it is written.
written=$(sed -n 's/^plug:\([A-Za-z]*\)$/\1/p' "$bundle/dsp.ttl" | tr '\n' ' ')
expected="FundamentalFrequency Sensitivity Adaptivity NumberOfHarmonics OnlyOddHarmonics"
expected="$expected AggressiveMode ResidualMode "
[ "$written" = "$expected" ] || fail "the parameters are written as '$written'"
statements=$(sordi -i turtle -o ntriples "$bundle/dsp.ttl" 2>&1)
names=$(echo "$statements" | sed -n \
    "s|^<$uri> <http://lv2plug.in/ns/ext/patch#writable> <$uri:\(.*\)> .\$|\1|p" | sort | tr '\n' ' ')
sorted=$(echo "${expected% }" | tr ' ' '\n' | sort | tr '\n' ' ')
[ "$names" = "$sorted" ] || fail "the parameters are '$names', not '$sorted'"
for name in $expected; do
    echo "$statements" | grep -q -F \
        "<$uri:$name> <http://www.w3.org/2000/01/rdf-schema#label> \"$name\" ." ||
        fail "$name has another label or none"
done
echo "$statements" | grep -q -F "<http://usefulinc.com/ns/doap#revision> \"$version\"" ||
    fail "the release is not $version"
echo "$statements" | grep -q -F \
    "<$uri> <http://usefulinc.com/ns/doap#license> <http://spdx.org/licenses/GPL-3.0-or-later>" ||
    fail "the licence is missing"

[ "$failures" = 0 ]
