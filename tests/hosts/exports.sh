#!/bin/sh
# Nothing but entry points is visible from outside: exports.sh LIBRARY NAME...
set -eu
. "$(dirname "$0")/common.sh"
library=$1
shift

need nm
expected=$(printf '%s\n' "$@" | sort)
exported=$(nm -D --defined-only "$library" | awk '{ print $NF }' | sort)
[ "$exported" = "$expected" ] || fail "exports" $exported "and not" $expected
