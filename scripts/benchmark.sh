#!/bin/sh
# Decoding and encoding speed against libjpeg-turbo (and ffmpeg with --ffmpeg): Release
# native build, then one run of trvx_benchmark (arguments are passed on, e.g. --seconds 1
# --rounds 5).
set -e
root=$(cd "$(dirname "$0")/.." && pwd)
build=${TRVX_BENCH_BUILD:-$root/build/bench}
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release "-DCMAKE_CXX_FLAGS_RELEASE=-O2 -DNDEBUG" >/dev/null
ninja -C "$build" trvx_benchmark >/dev/null
exec "$build/bin/trvx_benchmark" "$@"
