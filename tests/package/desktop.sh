#!/bin/sh
# Entry, description and types of files are valid, and there is an icon of every size:
# desktop.sh BUILD VERSION
set -eu
. "$(dirname "$0")/../hosts/common.sh"
build=$1
version=$2
open_folder
id=com.orvotech.kalim

cmake --install "$build" --component plugins --prefix "$work/prefix" >"$work/log" ||
    fail "does not install"
share="$work/prefix/share"
entry="$share/applications/$id.desktop"
icon=$(sed -n 's/^Icon=//p' "$entry")
command=$(sed -n 's/^Exec=\([^ ]*\).*/\1/p' "$entry")
"$work/prefix/bin/$command" --version | grep -q -F "$version" || fail "the entry starts '$command'"
[ -e "$share/icons/hicolor/scalable/apps/$icon.svg" ] || fail "there is no icon $icon"
if command -v identify >/dev/null; then
    for picture in "$share"/icons/hicolor/*x*/apps/"$icon.png"; do
        size=$(basename "$(dirname "$(dirname "$picture")")")
        [ "$(identify -format '%wx%h' "$picture")" = "$size" ] || fail "$picture is not $size"
    done
fi
grep -q "<release version=\"$version\"" "$share/metainfo/$id.metainfo.xml" || fail "not of version $version"

need desktop-file-validate appstreamcli update-mime-database
said=$(desktop-file-validate "$entry") && [ -z "$said" ] || fail "$said"
said=$(appstreamcli validate --no-net --pedantic "$share/metainfo/$id.metainfo.xml") || fail "$said"
# Every type that the entry names is the system's or one of ours.
mkdir -p "$work/mime/packages"
cp /usr/share/mime/packages/freedesktop.org.xml "$share/mime/packages/$id.xml" "$work/mime/packages" 2>/dev/null ||
    { echo "skipped: the types of files of the system are not installed"; exit 77; }
said=$(update-mime-database "$work/mime" 2>&1) || fail "$said"
for type in $(sed -n 's/^MimeType=//p' "$entry" | tr ';' ' '); do
    grep -q -x -F "$type" "$work/mime/types" || fail "no type $type"
done
grep -q -x -F "audio/x-w64:*.w64" "$work/mime/globs" || fail "Wave64 is not known"
