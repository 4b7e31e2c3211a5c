#!/bin/sh
# The bundle's description is valid: turtle.sh BUNDLE
set -eu
. "$(dirname "$0")/common.sh"
bundle=$1
need lv2_validate

said=$(lv2_validate "$bundle"/*.ttl 2>&1) || fail "$said"
# It tells which of its own files it leaves out, and how much it looked at.
complaints=$(echo "$said" | grep -v -e '^Skipping file /usr/' -e '^Found 0 errors among ' || true)
[ -z "$complaints" ] || fail "$said"
echo "$said" | grep '^Found 0 errors among '
