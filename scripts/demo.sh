#!/usr/bin/env bash
# make demo [INPUT=clip.mp4]: installs what is needed, builds trvx.dll and the demo
# host, and runs demo/run.sh in a throw-away Wine prefix (no display needed). The AVI
# and the comparison picture land in out/; raw frames in build/demo.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${TRVX_BUILD_DIR:-$root/build}
input=${1:-}
if [ -n "$input" ]; then
  [ -f "$input" ] || { echo "demo: no file $input" >&2; exit 1; }
  input=$(cd "$(dirname "$input")" && pwd)/$(basename "$input")
fi

echo "== installing dependencies (once)"
"$root/scripts/install-deps.sh"

echo "== building trvx.dll and the demo host"
log=$build/demo.build.log
mkdir -p "$build"
if ! { cmake -S "$root" -B "$build/win32" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$root/cmake/i686-w64-mingw32.cmake" &&
  cmake --build "$build/win32" --target trvx_demo; } >"$log" 2>&1; then
  tail -n 40 "$log" >&2
  echo "demo: build failed (whole log: $log)" >&2
  exit 1
fi

echo "== making a Wine prefix"
prefix=$build/demo/wineprefix
trap '"$root/scripts/wine-prefix.sh" remove "$prefix"' EXIT
"$root/scripts/wine-prefix.sh" create "$prefix"

echo "== running the demo"
"$root/demo/run.sh" "$prefix" "$build/win32/bin" "$build/demo" "$root/out" ${input:+"$input"}
