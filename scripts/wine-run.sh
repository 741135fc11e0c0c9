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
# WINE names the loader. Debian's wine starts Wine's own programs (reg, rundll32) as
# 32-bit ones even in a 64-bit prefix; WINE=/usr/lib/wine/wine64 starts them 64-bit.
exec "${WINE:-wine}" "$@"
