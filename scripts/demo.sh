#!/usr/bin/env bash
# make demo [INPUT=clip.mp4] [ARCH=x64]: installs what is needed, builds trvx.dll and
# the demo host (32-bit, or 64-bit with TRVX_ARCH=x64), and runs demo/run.sh in a
# throw-away Wine prefix (no display needed). The AVI and the comparison picture land
# in out/; raw frames in build/demo.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${TRVX_BUILD_DIR:-$root/build}
input=${1:-}
case "${TRVX_ARCH:-x86}" in
  x86 | "") tree=win32 toolchain=i686-w64-mingw32 wine_arch=win32 ;;
  x64) tree=win64 toolchain=x86_64-w64-mingw32 wine_arch=win64 ;;
  *) echo "demo: ARCH is x86 or x64, not $TRVX_ARCH" >&2; exit 1 ;;
esac
if [ -n "$input" ]; then
  [ -f "$input" ] || { echo "demo: no file $input" >&2; exit 1; }
  input=$(cd "$(dirname "$input")" && pwd)/$(basename "$input")
fi

echo "== installing dependencies (once)"
"$root/scripts/install-deps.sh"

echo "== building trvx.dll and the demo host ($tree)"
log=$build/demo.build.log
mkdir -p "$build"
if ! { cmake -S "$root" -B "$build/$tree" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$root/cmake/$toolchain.cmake" &&
  cmake --build "$build/$tree" --target trvx_demo; } >"$log" 2>&1; then
  tail -n 40 "$log" >&2
  echo "demo: build failed (whole log: $log)" >&2
  exit 1
fi

echo "== making a Wine prefix"
prefix=$build/demo/wineprefix
trap '"$root/scripts/wine-prefix.sh" remove "$prefix"' EXIT
"$root/scripts/wine-prefix.sh" create "$prefix" "$wine_arch"

echo "== running the demo"
WINEARCH=$wine_arch "$root/demo/run.sh" "$prefix" "$build/$tree/bin" "$build/demo" "$root/out" ${input:+"$input"}
