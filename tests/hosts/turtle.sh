#!/bin/sh
# The bundle's description is valid: turtle.sh BUNDLE
set -eu
bundle=$1

if ! command -v lv2_validate >/dev/null 2>&1; then
    echo "skipped: lv2_validate is not installed"
    exit 77
fi

said=$(lv2_validate "$bundle"/*.ttl 2>&1) || { echo "$said"; exit 1; }
# It tells which of its own files it leaves out, and how much it looked at.
complaints=$(echo "$said" | grep -v -e '^Skipping file /usr/' -e '^Found 0 errors among ' || true)
if [ -n "$complaints" ]; then
    echo "$said"
    exit 1
fi
echo "$said" | grep '^Found 0 errors among '
