#!/bin/sh
# Every installed file belongs to one Debian package, and every file that a package names is installed:
# contents.sh BUILD SOURCE
set -eu
. "$(dirname "$0")/../hosts/common.sh"
build=$1
source=$2
open_folder

cmake --install "$build" --prefix "$work/tree/usr" >"$work/log" || fail "does not install"
(cd "$work/tree" && find . -type f -o -type l) | sed 's|^\./||' | LC_ALL=C sort >"$work/files"
cat "$source"/packaging/debian/*.install | while read -r path target; do
    found=$(grep -c -e "^$path\(/.*\)\?$" "$work/files" || true)
    [ "$found" -gt 0 ] || fail "a package names $path, which is not installed"
    echo "^$path\\(/.*\\)\\?$"
done >"$work/patterns" || { cat "$work/patterns"; exit 1; }
homeless=$(grep -v -f "$work/patterns" "$work/files" || true)
[ -z "$homeless" ] || fail "in no package: $homeless"
while IFS= read -r file; do
    count=0
    while IFS= read -r pattern; do
        echo "$file" | grep -q -e "$pattern" && count=$((count + 1))
    done <"$work/patterns"
    [ "$count" -le 1 ] || fail "$file is in $count packages"
done <"$work/files"
# Nothing is looked for in the folder of the build.
for file in bin/kalim lib/lv2/Kalim.lv2/libKalim.so lib/lv2/kalim-core.lv2/kalim-core.so; do
    ! readelf -d "$work/tree/usr/$file" | grep -i -e rpath -e runpath || fail "$file has a path of libraries"
done
