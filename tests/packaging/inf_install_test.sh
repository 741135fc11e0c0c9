#!/usr/bin/env bash
# The package's .inf installed and uninstalled by Wine's own setup in a 64-bit prefix,
# as right-clicking "Install" and the Programs and Features entry do on 64-bit Windows.
# Arguments: the wine runner, its prefix, trvx.inf, the 32-bit and 64-bit trvx.dll,
# and a directory to stage the package in.
set -euo pipefail
run=("$1" "$2")
prefix=$2
inf=$3
declare -A dll=([32]=$4 [64]=$5)
stage=$6
fail() { echo "FAIL: $*" >&2; exit 1; }
[ -e "${dll[32]}" ] || { echo "no 32-bit build at ${dll[32]}; skipped" >&2; exit 77; }
rm -rf "$stage" && mkdir -p "$stage"
cp "$inf" "$stage/trvx.inf"
cp "${dll[32]}" "$stage/trvx.dll"
cp "${dll[64]}" "$stage/trvx64.dll"

# Setup, reg and the uninstaller run as 64-bit programs, as on 64-bit Windows.
wine64() { WINE=wine64 "${run[@]}" "$@" 2>/dev/null | tr -d '\r'; }
driver_value() {  # the vidc.TRVX line of the 64-bit view, if any
  wine64 reg query 'HKLM\Software\Microsoft\Windows NT\CurrentVersion\Drivers32' | grep 'vidc\.TRVX' || true
}
declare -A folder=([32]=syswow64 [64]=system32)

wine64 rundll32 setupapi.dll,InstallHinfSection DefaultInstall 132 "Z:$stage/trvx.inf"
for width in 32 64; do
  cmp -s "$prefix/drive_c/windows/${folder[$width]}/trvx.dll" "${dll[$width]}" ||
    fail "install: no $width-bit trvx.dll in ${folder[$width]}"
done
# Wine 8's setupapi writes values flagged for the 32-bit view (0x4000) into the native
# one, so only the 64-bit view can be read back here; inf_test.py reads both as
# Windows setup does.
driver_value | grep -qE 'vidc\.TRVX\s+REG_SZ\s+trvx\.dll$' || fail "install: vidc.TRVX missing in the 64-bit view"
uninstall=$(wine64 reg query 'HKLM\Software\Microsoft\Windows\CurrentVersion\Uninstall\TRVX' /v UninstallString |
  sed -n 's/^ *UninstallString *REG_SZ *//p')
[ -n "$uninstall" ] || fail "install: no uninstall entry"
echo "installed: both DLLs in place, the 64-bit one registered"

# shellcheck disable=SC2086  # split into program and arguments, as Windows does
wine64 $uninstall
for width in 32 64; do
  [ ! -e "$prefix/drive_c/windows/${folder[$width]}/trvx.dll" ] || fail "uninstall left ${folder[$width]}/trvx.dll"
done
[ -z "$(driver_value)" ] || fail "uninstall left vidc.TRVX in the 64-bit view"
[ -z "$(wine64 reg query 'HKLM\Software\Microsoft\Windows\CurrentVersion\Uninstall' | grep -i 'uninstall\\trvx$')" ] ||
  fail "uninstall left its Programs and Features entry"
[ ! -e "$prefix/drive_c/windows/inf/trvx.inf" ] || fail "uninstall left the .inf"
echo "uninstalled: nothing left"
echo "all done: every test passed"
