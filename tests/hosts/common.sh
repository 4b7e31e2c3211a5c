# What the tests beside it share; they read it into their own shell.

fail() {
    echo "FAILED: $*"
    exit 1
}

# Counts as skipped where one of these programs is missing.
need() {
    for tool in "$@"; do
        if ! command -v "$tool" >/dev/null 2>&1; then
            echo "skipped: $tool is not installed"
            exit 77
        fi
    done
}

# A folder that is gone after the test, like the processes that are started with `run`.
open_folder() {
    work=$(mktemp -d)
    running=
    trap clean_up EXIT
    trap 'exit 1' HUP INT PIPE TERM
}

# What the processes have said helps to understand a failure.
clean_up() {
    code=$?
    for id in $running; do
        end "$id" || true
    done
    if [ "$code" != 0 ]; then
        tail -n +1 "$work"/*.said 2>/dev/null || true
    fi
    rm -rf "$work"
}

# run NAME COMMAND...: in the background, as process $started, which says what it says to NAME.said.
run() {
    said="$work/$1.said"
    shift
    "$@" >"$said" 2>&1 </dev/null &
    started=$!
    running="$running $started"
}

is_gone() { ! kill -0 "$1" 2>/dev/null; }

# Its result is that of the process.
collect() {
    running=$(echo "$running " | sed "s/ $1 / /")
    wait "$1"
}

# Ends a process for certain. Fails where it has to be forced.
end() {
    kill -TERM "$1" 2>/dev/null || true
    forced=0
    wait_for 5 is_gone "$1" || forced=1
    [ "$forced" = 0 ] || kill -KILL "$1" 2>/dev/null || true
    collect "$1" 2>/dev/null || true
    return "$forced"
}

# A process that was asked to ends by itself and without a fault.
expect_end() {
    wait_for 60 is_gone "$1" || fail "does not end"
    collect "$1" || fail "ended with code $?"
}

# wait_for SECONDS COMMAND...: until the command succeeds, but no longer.
wait_for() {
    tries=$(($1 * 10))
    shift
    until "$@"; do
        tries=$((tries - 1))
        [ "$tries" -gt 0 ] || return 1
        sleep 0.1
    done
}

# The settings, sound servers and sound cards of whoever runs the tests must not be met.
use_own_home() {
    mkdir -p "$work/home/.config"
    export HOME="$work/home" XDG_CONFIG_HOME="$work/home/.config"
    export JACK_DEFAULT_SERVER="kalim-test-$$" JACK_NO_START_SERVER=1
    export PIPEWIRE_REMOTE="kalim-test-$$" ALSA_CONFIG_PATH=/dev/null
}

# The level in dB of floats on standard input, against a mean square of 1.
measure_level() {
    od -A n -t f4 -v -w4 |
        awk '{ sum += $1 * $1 } END { printf "%.0f\n", 10 * log(sum / NR + 1e-16) / log(10) }'
}
