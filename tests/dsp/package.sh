#!/bin/sh
# Installs the engine as a library and builds and runs the example on nothing but that.
#
#   package.sh BUILD EXAMPLE
set -eu
build=$1
example=$2
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

cmake --install "$build" --component dsp --prefix "$scratch/prefix" >"$scratch/log"
cmake -S "$example" -B "$scratch/example" -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_PREFIX_PATH="$scratch/prefix" >>"$scratch/log" || { cat "$scratch/log"; exit 1; }
cmake --build "$scratch/example" >>"$scratch/log" || { cat "$scratch/log"; exit 1; }

# Eight seconds of 50 Hz with a third harmonic go in; what comes out in the last second is the rest.
awk 'BEGIN { for (n = 0; n < 384000; ++n) { t = 6.283185307 * 50 * n / 48000;
    printf "%.6f\n", 0.1 * sin(t) + 0.05 * sin(3 * t) } }' |
    perl -ne 'print pack("f<", $_)' >"$scratch/hum.f32"
"$scratch/example/dehum" 50 3 <"$scratch/hum.f32" >"$scratch/clean.f32"
perl -e 'binmode STDIN; local $/; my @x = unpack("f<*", <STDIN>); my @end = @x[-48000 .. -1];
    my $sum = 0; $sum += $_ * $_ for @end; my $rms = sqrt($sum / @end);
    printf "%d samples, %.6f left of 0.079\n", scalar(@x), $rms;
    exit(@x >= 384000 - 2048 - 512 && $rms < 0.008 ? 0 : 1)' <"$scratch/clean.f32"
