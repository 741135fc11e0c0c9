#!/usr/bin/env bash
# Runs a Windows program under Wine in the given prefix: wine-run.sh PREFIX PROGRAM [ARGS...]
# CTest uses it as the cross-compiling emulator; the prefix is made by wine-prefix.sh.
set -euo pipefail
prefix=$1
shift
export WINEPREFIX=$prefix
export WINEARCH=${WINEARCH:-win32}
export WINEDEBUG=${WINEDEBUG:--all}
# No crash dialog: a crash must show up as a failed test at once.
export WINEDLLOVERRIDES=${WINEDLLOVERRIDES:-winedbg.exe=d}
# WINE=wine64 starts Wine's own programs (reg, rundll32) as 64-bit ones: Debian's wine
# starts them 32-bit even in a 64-bit prefix. Programs of our own run as built either way.
loader=wine
[ "${WINE:-}" = wine64 ] && loader=/usr/lib/wine/wine64
exec "$loader" "$@"
