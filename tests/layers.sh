#!/bin/sh
# Arrows point downwards only, of includes and of what is linked: layers.sh SOURCE LIBRARY...
# The libraries are listed from the lowest to the highest.
set -eu
cd "$1"
shift
status=0
may_include() # FOLDER ALLOWED...
{
    folder=$1
    shift
    allowed=$(printf '%s|' "$folder" "$@")
    # Headers of the build, such as the version's, stand without a folder or in that of their library.
    found=$(grep -rnE '#include "[a-z]+/' --include='*.cpp' --include='*.h' "$folder" |
        grep -vE "#include \"(${allowed%|})/" || true)
    [ -z "$found" ] || { echo "$folder must not include this:"; echo "$found"; status=1; }
}
may_include dsp/signal
may_include dsp/processor dsp/signal
may_include dsp/hum dsp/processor dsp/signal
may_include dsp/precise dsp/signal
may_include lv2 dsp
may_include python dsp
may_include base
may_include audiofile base
may_include presets base
may_include kalim audiofile presets base dsp
may_include plugin presets base dsp
may_include ui plugin dsp
may_include formats ui plugin dsp
may_include standalone kalim plugin audiofile base dsp

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
for library; do
    nm -g --defined-only "$library" | awk '$2 ~ /[BDRT]/ { print $3 }' | sort -u >"$scratch/has"
    sort -u "$scratch/"*.needs 2>/dev/null | comm -12 - "$scratch/has" >"$scratch/upwards"
    [ ! -s "$scratch/upwards" ] || {
        echo "below $library this is needed of it:"
        c++filt <"$scratch/upwards"
        status=1
    }
    nm -g --undefined-only "$library" | awk '{ print $NF }' >"$scratch/$(basename "$library").needs"
done
exit $status
