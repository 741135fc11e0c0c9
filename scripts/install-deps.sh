#!/usr/bin/env bash
# Brings a fresh Debian bookworm machine to a state where the codec builds and its
# tests, the demo and the benchmark run: native toolchain, mingw-w64 cross compiler,
# 32-bit Wine, Xvfb, the outside JPEG tools used as test oracles and benchmark peers,
# the photographs that tests and the demo start from, the font of the demo picture, and
# what make dist and make bench need (libjpeg-turbo for i386 too, the peer of the
# 32-bit DLL). Idempotent; quiet unless something fails.
set -euo pipefail

log=$(mktemp /tmp/trvx-install.XXXXXX.log)
trap 'rm -f "$log"' EXIT

fail() {
  echo "install-deps: $1" >&2
  echo "---- last lines of the apt log ----" >&2
  tail -n 40 "$log" >&2
  exit 1
}

sudo_cmd=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || { echo "install-deps: run as root or install sudo" >&2; exit 1; }
  sudo_cmd=(sudo)
fi
as_root() { "${sudo_cmd[@]}" "$@"; }

packages=(
  build-essential cmake ninja-build googletest libgtest-dev libbenchmark-dev pkg-config
  g++-mingw-w64-i686-posix g++-mingw-w64-x86-64-posix mingw-w64-tools
  wine wine32:i386 wine64
  xvfb xauth imagemagick x11-apps
  ffmpeg libjpeg-turbo-progs libturbojpeg0-dev libjpeg62-turbo-dev mate-backgrounds fonts-dejavu-core
  clang libclang-rt-14-dev
  python3 zip unzip gnuplot-nox libavcodec-dev libswscale-dev
  g++-multilib libturbojpeg0:i386 libjpeg62-turbo:i386
)

missing() {
  local p
  for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}\n' "$p" 2>/dev/null | grep -q '^install ok installed$' || echo "$p"
  done
}

if [ -z "$(missing)" ]; then
  exit 0
fi

if ! dpkg --print-foreign-architectures | grep -qx i386; then
  as_root dpkg --add-architecture i386 || fail "could not add the i386 architecture"
fi

# The i386 index of the security suite can lag behind amd64, and apt then refuses
# wine32 with "held broken packages"; letting the main suite win keeps both in step.
pin=/etc/apt/preferences.d/trvx-security-pin
if [ ! -f "$pin" ]; then
  printf 'Package: *\nPin: release l=Debian-Security\nPin-Priority: 90\n' | as_root tee "$pin" >/dev/null \
    || fail "could not write $pin"
fi

export DEBIAN_FRONTEND=noninteractive
# A mirror in the middle of a sync can fail one index (seen with the i386 security
# index); apt then keeps the old or no index for it, and the install below decides.
as_root apt-get update >"$log" 2>&1 || echo "install-deps: apt-get update reported errors; trying the install anyway" >&2
# shellcheck disable=SC2046
as_root apt-get install -y --no-install-recommends $(missing) >>"$log" 2>&1 \
  || fail "apt-get install failed"

left=$(missing)
[ -z "$left" ] || fail "still missing after install: $left"
