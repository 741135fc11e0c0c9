#!/usr/bin/env bash
# Windows package: a Release build of the 32-bit driver, stripped and checked to
# import system DLLs only, zipped with its .inf and a guide as out/trvx-VERSION.zip.
# VERSION is git describe's (tagged releases) or the project version and commit.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${TRVX_DIST_BUILD:-$root/build/dist}
out=$root/out

"$root/scripts/install-deps.sh"

# -O2 as in the tested build, without its debug information.
log=$build.log
mkdir -p "$(dirname "$build")"
if ! { cmake -S "$root" -B "$build" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$root/cmake/i686-w64-mingw32.cmake" \
         -DCMAKE_BUILD_TYPE=Release "-DCMAKE_CXX_FLAGS_RELEASE=-O2 -DNDEBUG" &&
       cmake --build "$build" --target trvx; } >"$log" 2>&1; then
  tail -n 40 "$log" >&2
  echo "dist: build failed (whole log: $log)" >&2
  exit 1
fi

project_version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$build/CMakeCache.txt")
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
i686-w64-mingw32-strip --strip-all -o "$stage/trvx.dll" "$build/bin/trvx.dll"
"$root/tests/driver/dll_table_test.sh" i686-w64-mingw32-objdump "$stage/trvx.dll" >/dev/null
cp "$build/packaging/trvx.inf" "$build/packaging/README.txt" "$stage/"

rm -f "$out/$name.zip"
(cd "$build/stage" && zip -q -X -r "$out/$name.zip" "$name")
echo "dist: $out/$name.zip"
unzip -l "$out/$name.zip" | sed -n '4,$p' | grep -v -- '----' | sed '$d'
