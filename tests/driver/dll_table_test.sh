#!/usr/bin/env bash
# The shipped DLL exports DriverProc alone, undecorated, and imports system DLLs only:
# a compiler runtime DLL would be missing on a user's machine.
# Arguments: objdump of the cross toolchain, the DLL.
set -euo pipefail
objdump=$1
dll=$2
table=$("$objdump" -p "$dll")

exports=$(echo "$table" | sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/p' | grep -E '^\s+\[' | awk '{print $NF}')
[ "$exports" = "DriverProc" ] || { echo "FAIL: exports are: $exports" >&2; exit 1; }

system_dlls='^(KERNEL32|USER32|ADVAPI32|WINMM|GDI32|COMDLG32|VERSION|msvcrt|MSVFW32)\.dll$'
imports=$(echo "$table" | awk '/DLL Name:/ {print $3}')
[ -n "$imports" ] || { echo "FAIL: no import table found" >&2; exit 1; }
echo "$imports" | grep -viE "$system_dlls" && { echo "FAIL: non-system imports above" >&2; exit 1; }
echo "exports: $exports; imports: $(echo $imports)"
