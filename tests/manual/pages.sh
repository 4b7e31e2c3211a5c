#!/bin/sh
# Manual pages and completions know the options of --help and no others: pages.sh PAGES KALIM [STANDALONE]
set -eu
. "$(dirname "$0")/../hosts/common.sh"
pages=$1
kalim=$2
standalone=${3:-}
open_folder

# Long options of a help text, at the beginning of a line or after the short form.
options_of() {
    "$@" --help >"$work/help" || fail "$* --help ends with code $?"
    sed -n 's/^  \(-[^ ]*\).*/\1/p' "$work/help" | grep -oE -e '--[a-z-]+' >"$work/options"
    [ "$(wc -l <"$work/options")" -gt 1 ] || fail "$* --help has no options"
}
# All words of a page that look like options are known: examples must not name what is gone.
check_page() {
    page="$pages/$1"
    shift
    cat "$@" | sort -u >"$work/known"
    while read -r option; do
        # As the pages spell it, for copying.
        grep -q -F -e "\\fB$(echo "$option" | sed 's/-/\\-/g')\\fR" "$page" || fail "$page lacks $option"
    done <"$1"
    sed 's/\\-/-/g' "$page" | grep -oE -e '--[a-z][a-z-]*' | sort -u >"$work/named"
    unknown=$(comm -23 "$work/named" "$work/known")
    [ -z "$unknown" ] || fail "$page names $unknown"
}
check_completions() {
    while read -r option; do
        grep -q -e "[\" ]$option[\" ]" "$pages/kalim.bash" || fail "bash does not know $option"
        grep -q -e ")$option[=[]" "$pages/_kalim" || fail "zsh does not know $option"
        grep -q -e " -l ${option#--} " "$pages/kalim.fish" || fail "fish does not know $option"
    done <"$work/options"
}

options_of "$kalim" detect
cp "$work/options" "$work/detect"
check_completions
options_of "$kalim"
cp "$work/options" "$work/main"
check_completions
check_page kalim-detect.1 "$work/detect"
check_page kalim.1 "$work/main" "$work/detect"
if [ -n "$standalone" ]; then
    options_of "$standalone"
    check_page kalim-standalone.1 "$work/options"
fi

# The examples are accepted as they stand; there is nothing to read, which is told of after the options.
sed -n 's/^\\fB\(kalim .*\)\\fR$/\1/p' "$pages"/*.1 | sed 's/\\-/-/g' >"$work/examples"
[ -s "$work/examples" ] || fail "there are no examples"
while read -r name rest; do
    code=0
    (cd "$work" && "$kalim" $rest >said 2>&1) || code=$?
    [ "$code" != 2 ] || fail "$name $rest: $(cat "$work/said")"
done <"$work/examples"

bash -n "$pages/kalim.bash" || fail "the completion of bash is no shell script"
! command -v zsh >/dev/null || zsh -n "$pages/_kalim" || fail "that of zsh is none"
! command -v fish >/dev/null || fish --no-execute "$pages/kalim.fish" || fail "that of fish is none"
need mandoc
said=$(mandoc -T lint "$pages"/*.1 2>&1) || fail "$said"
