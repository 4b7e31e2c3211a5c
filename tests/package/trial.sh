#!/bin/sh
# Installs the packages in /opt/packages, uses all that is in them and takes them away again. Changes the
# system that it runs in: scripts/test-package calls it in a bare one.
set -eu
. "$(dirname "$0")/../hosts/common.sh"
here=$(cd "$(dirname "$0")" && pwd)
[ -d /opt/packages ] || fail "this is no system for trials"
example=/opt/example.flac
open_folder
chmod 755 "$work"

say() { echo "== $*"; }
quietly() { "$@" >"$work/log" 2>&1 || { tail -n 20 "$work/log"; fail "$*"; }; }
as_user() { runuser -u tester -- env HOME=/home/tester "$@"; }

say "installing what the packages depend on, and nothing that they recommend"
quietly apt-get install -q -y --no-install-recommends /opt/packages/*.deb
installed=$(dpkg-query -W -f '${Package} ' 'kalim*' 'python3-kalim')
echo "installed: $installed"

say "libraries"
for file in $(dpkg -L $installed | sort -u); do
    [ -f "$file" ] && [ ! -L "$file" ] || continue
    case "$(head -c 4 "$file" | tr -d '\0')" in *ELF) ;; *) continue ;; esac
    missing=$(ldd "$file" 2>/dev/null | grep 'not found' || true)
    [ -z "$missing" ] || fail "$file: $missing"
done

say "the program"
as_user kalim --version
as_user kalim --list-presets | grep -q '50 Hz standard' || fail "presets are not found"
as_user sh -c "cd && kalim --json $example clean.flac >report.json && kalim detect -q $example" || fail "does not clean"
as_user kalim --preset '60 Hz standard' "$example" /home/tester/preset.flac >/dev/null || fail "cleans with no preset"
as_user kalim-standalone --version

say "the Python package"
as_user python3 -c '
import kalim, numpy
time = numpy.arange(480000) / 48000
hum = 0.1 * numpy.sin(2 * numpy.pi * 50.02 * time).astype(numpy.float32)
left = kalim.remove(hum, 48000)
level = numpy.sqrt(numpy.mean(left[48000:-48000] ** 2))
print("hum of 0.071 becomes", level)
assert level < 0.0071' || fail "kalim.remove"

say "hosts, pages, completions and the screen"
quietly apt-get install -q -y --no-install-recommends lilv-utils sordi lv2-dev man-db desktop-file-utils appstream \
    shared-mime-info bash-completion xvfb openbox xdotool wmctrl imagemagick file
for uri in $(as_user env LV2_PATH=/usr/lib/lv2 lv2ls); do
    case "$uri" in urn:orvotech:*) echo "$uri" ;; esac
done >"$work/uris"
grep -q -x urn:orvotech:kalim "$work/uris" || fail "lv2ls does not list the plug-in"
echo "lv2ls lists $(wc -l <"$work/uris") of ours"
as_user lv2info urn:orvotech:kalim >"$work/info" 2>&1 || fail "lv2info: $(cat "$work/info")"
grep -q 'Has latency: *yes' "$work/info" || fail "lv2info tells of no latency"
as_user man kalim >"$work/page" && grep -q -e --output-dir "$work/page" || fail "no manual page"
quietly desktop-file-validate /usr/share/applications/com.orvotech.kalim.desktop
quietly appstreamcli validate --no-net /usr/share/metainfo/com.orvotech.kalim.metainfo.xml
grep -q 'audio/x-w64:\*.w64' /usr/share/mime/globs2 || fail "types of files are not known"
words=$(as_user bash -c '. /usr/share/bash-completion/completions/kalim
    compopt() { :; }; COMP_WORDS=(kalim --meth) COMP_CWORD=1; _kalim; echo "${COMPREPLY[*]}"')
[ "$words" = --method ] || fail "the shell completes '$words'"
if [ -x /opt/hosting ]; then
    quietly as_user env KALIM_LV2_BUNDLE=/usr/lib/lv2/Kalim.lv2 KALIM_VST3_BUNDLE=/usr/lib/vst3/Kalim.vst3 \
        /opt/hosting --gtest_brief=1
    grep PASSED "$work/log"
else
    echo "skipped: kalim_hosting_tests was not built"
fi
as_user /opt/tests/hosts/standalone.sh /usr/bin/kalim-standalone "$example" || fail "the stand-alone program"

say "taking away"
quietly apt-get remove -q -y $installed
# Packages without settings of the system are gone with that.
left=$(dpkg-query -W -f '${Package} ' $installed 2>/dev/null || true)
[ -z "$left" ] || quietly dpkg --purge $left
# Settings that users made are theirs.
named() { find / -xdev \( -path /opt -o -path /home -o -path /proc -o -path /var/log -o -path /var/cache/apt \
    -o -path "$work" \) -prune -o \( -iname '*kalim*' -o -iname '*orvotech*' -o -iname '*vellacore*' \) -print; }
[ -z "$(named)" ] || fail "left: $(named)"
# Indexes of menus, icons and types of files would name what is gone.
told=$(grep -rli -e orvotech /etc /usr /var/lib --exclude-dir=apt --exclude='status-old' || true)
[ -z "$told" ] || fail "still told of in $told"

say "the archive, for a user without rights"
(cd /home/tester && rm -rf -- .config clean.flac preset.flac report.json)
before=$(cd /home/tester && find . | sort)
mkdir "$work/archive"
tar -C "$work/archive" -xzf /opt/packages/kalim-*.tar.gz
chown -R tester "$work/archive"
as_user "$work"/archive/*/bin/kalim --list-presets | grep -q '50 Hz standard' || fail "does not work where it lies"
as_user sh -c "cd && $work/archive/*/install" >/dev/null || fail "the archive does not install"
as_user /home/tester/.local/bin/kalim --version
as_user env LV2_PATH=/home/tester/.lv2 lv2ls | grep -q -x urn:orvotech:kalim || fail "lv2ls does not list it"
as_user sh -c "cd && $work/archive/*/install --remove" >/dev/null
after=$(cd /home/tester && find . -type f -o -type l | sort)
[ -z "$after" ] || [ "$(echo "$before" | grep -c -x -F "$after")" -gt 0 ] || fail "the archive leaves $after"

say "what came with it"
quietly apt-get autoremove --purge -q -y
echo "all is well"
