#!/usr/bin/env bash
# Installs what the build needs, then builds and runs every test suite:
#   native core tests, plain and under AddressSanitizer/UBSan;
#   the 32-bit DLL with its Windows tests under Wine, inside one Xvfb session;
#   the 64-bit DLL with the same Windows tests under 64-bit Wine, in another.
# Build trees go to $TRVX_BUILD_DIR (default: build/ in the checkout).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${TRVX_BUILD_DIR:-$root/build}

"$root/scripts/install-deps.sh"

step() { printf '\n== %s\n' "$*"; }

build_tree() {  # name, cmake arguments...
  local name=$1
  shift
  local log="$build/$name.build.log"
  mkdir -p "$build"
  if ! { cmake -S "$root" -B "$build/$name" -G Ninja "$@" && cmake --build "$build/$name"; } >"$log" 2>&1; then
    tail -n 60 "$log" >&2
    echo "build of $name failed (whole log: $log)" >&2
    exit 1
  fi
}

run_ctest() {  # name, extra ctest arguments...
  local name=$1
  shift
  (cd "$build/$name" && ctest --output-on-failure --timeout 600 "$@")
}

step "native core"
build_tree native
run_ctest native -j2

step "native core with AddressSanitizer and UndefinedBehaviorSanitizer"
build_tree asan -DTRVX_SANITIZE=ON -DCMAKE_BUILD_TYPE=Debug
ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 run_ctest asan -j2

# The Wine suites share one prefix per tree and one display for their dialogs.
step "32-bit DLL and Windows tests under Wine"
build_tree win32 -DCMAKE_TOOLCHAIN_FILE="$root/cmake/i686-w64-mingw32.cmake"
xvfb-run -a -s '-screen 0 1024x768x24' bash -c "cd '$build/win32' && ctest --output-on-failure --timeout 600"

step "64-bit DLL and Windows tests under 64-bit Wine"
build_tree win64 -DCMAKE_TOOLCHAIN_FILE="$root/cmake/x86_64-w64-mingw32.cmake"
xvfb-run -a -s '-screen 0 1024x768x24' bash -c "cd '$build/win64' && ctest --output-on-failure --timeout 600"

step "all test suites passed"
