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
exec wine "$@"
