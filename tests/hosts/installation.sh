#!/bin/sh
# What is installed works and is taken away again: installation.sh INSTALL BUILD VERSION
set -eu
. "$(dirname "$0")/common.sh"
install=$1
build=$2
version=$3

open_folder
# A blank in the name, as homes may have one.
HOME="$work/a home"
export HOME
mkdir -p "$HOME/.lv2/Other.lv2" "$HOME/.local/bin"
touch "$HOME/.lv2/Other.lv2/manifest.ttl" "$HOME/.local/bin/other"
files() { (cd "$HOME" && find . -type f -o -type l | LC_ALL=C sort); }
before=$(files)

"$install" --built "$build" >"$work/first" || fail "does not install: $(cat "$work/first")"
grep -q 'is not in PATH' "$work/first" || fail "does not say that the folder is not in PATH"
for file in .lv2/Kalim.lv2/manifest.ttl .lv2/Kalim.lv2/dsp.ttl .lv2/Kalim.lv2/libKalim.so \
    .lv2/Kalim.lv2/Contents/Resources/Presets/Reset.xml .lv2/kalim-core.lv2/manifest.ttl \
    .lv2/kalim-core.lv2/kalim-core.ttl .lv2/kalim-core.lv2/kalim-core.so \
    .lv2/kalim-core.lv2/kalim-source.conf .vst3/Kalim.vst3/Contents \
    .vst3/Kalim.vst3/Contents/Resources/Presets/Reset.xml .local/bin/kalim-standalone \
    .local/bin/kalim .local/share/man/man1/kalim.1 .local/share/bash-completion/completions/kalim \
    .local/share/icons/hicolor/scalable/apps/com.orvotech.kalim.svg; do
    [ -e "$HOME/$file" ] || fail "$file is missing"
done
said=$("$HOME/.local/bin/kalim" --version) || fail "the installed program does not run"
echo "$said" | grep -q -F "$version" || fail "the installed program says '$said', not $version"

"$HOME/.local/bin/kalim" --list-presets | grep -q '50 Hz standard' ||
    fail "the installed program does not find its presets"

# The menu has not the path of a shell, and starts what it names.
entry="$HOME/.local/share/applications/com.orvotech.kalim.desktop"
command=$(sed -n 's/^Exec="\(.*\)" %f$/\1/p' "$entry")
"$command" --version | grep -q -F "$version" || fail "the entry in the menu starts '$command'"
if command -v desktop-file-validate >/dev/null; then
    said=$(desktop-file-validate "$entry") || fail "$said"
fi

once=$(files)
touch "$HOME/.lv2/Kalim.lv2/left-over-of-an-older-version.ttl"
PATH="$PATH:$HOME/.local/bin" "$install" --built "$build" >"$work/second" || fail "not twice"
[ "$(files)" = "$once" ] || fail "a second time installs something else"
! grep 'is not in PATH' "$work/second" || fail "does not see that the folder is in PATH"

"$install" --remove >"$work/third" || fail "does not remove"
[ "$(files)" = "$before" ] || fail "leaves or takes too much: $(files)"
for folder in .lv2/Kalim.lv2 .lv2/kalim-core.lv2 .vst3/Kalim.vst3 .local/lib/kalim .local/share/man \
    .local/share/icons; do
    [ ! -e "$HOME/$folder" ] || fail "$folder is left"
done
"$install" --remove | grep -q 'nothing to remove' || fail "does not say that there is nothing left"

! "$install" --built "$work" >"$work/fourth" 2>&1 || fail "installs what was not built"
[ "$(files)" = "$before" ] || fail "installs half of what is missing"
