#!/usr/bin/env bash
# Windows package: Release builds of the 32-bit and the 64-bit driver (trvx.dll and
# trvx64.dll), stripped and checked to import system DLLs only, zipped with the .inf
# and a guide as out/trvx-VERSION.zip.
# VERSION is git describe's (tagged releases) or the project version and commit.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${TRVX_DIST_BUILD:-$root/build/dist}
out=$root/out

"$root/scripts/install-deps.sh"

# -O2 as in the tested builds, without their debug information.
build_driver() {  # tree, toolchain
  local log=$build/$1.log
  mkdir -p "$build"
  if ! { cmake -S "$root" -B "$build/$1" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$root/cmake/$2.cmake" \
           -DCMAKE_BUILD_TYPE=Release "-DCMAKE_CXX_FLAGS_RELEASE=-O2 -DNDEBUG" &&
         cmake --build "$build/$1" --target trvx; } >"$log" 2>&1; then
    tail -n 40 "$log" >&2
    echo "dist: $1 build failed (whole log: $log)" >&2
    exit 1
  fi
}
build_driver x86 i686-w64-mingw32
build_driver x64 x86_64-w64-mingw32

project_version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$build/x86/CMakeCache.txt")
if description=$(git -C "$root" describe --tags --dirty 2>/dev/null); then
  version=${description#v}
elif commit=$(git -C "$root" describe --always --dirty 2>/dev/null); then
  version=$project_version-g$commit
else
  version=$project_version
fi

name=trvx-$version
stage=$build/stage/$name
rm -rf "$build/stage"
mkdir -p "$stage" "$out"
i686-w64-mingw32-strip --strip-all -o "$stage/trvx.dll" "$build/x86/bin/trvx.dll"
x86_64-w64-mingw32-strip --strip-all -o "$stage/trvx64.dll" "$build/x64/bin/trvx.dll"
"$root/tests/driver/dll_table_test.sh" i686-w64-mingw32-objdump "$stage/trvx.dll" >/dev/null
"$root/tests/driver/dll_table_test.sh" x86_64-w64-mingw32-objdump "$stage/trvx64.dll" >/dev/null
cp "$build/x86/packaging/trvx.inf" "$build/x86/packaging/README.txt" "$stage/"

rm -f "$out/$name.zip"
(cd "$build/stage" && zip -q -X -r "$out/$name.zip" "$name")
echo "dist: $out/$name.zip"
unzip -l "$out/$name.zip" | sed -n '4,$p' | grep -v -- '----' | sed '$d'
