#!/bin/sh
# Includes point downwards only: layers.sh SOURCE
set -eu
cd "$1"
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
exit $status
