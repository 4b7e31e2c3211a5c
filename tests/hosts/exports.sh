#!/bin/sh
# Nothing but entry points is visible from outside: exports.sh LIBRARY NAME...
set -eu
library=$1
shift

if ! command -v nm >/dev/null 2>&1; then
    echo "skipped: nm is not installed"
    exit 77
fi

expected=$(printf '%s\n' "$@" | sort)
exported=$(nm -D --defined-only "$library" | awk '{ print $NF }' | sort)
if [ "$exported" != "$expected" ]; then
    echo "exported:" $exported
    echo "expected:" $expected
    exit 1
fi
