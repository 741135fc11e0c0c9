#!/usr/bin/env bash
# The 32-bit and the 64-bit DLL side by side in one 64-bit prefix, as on 64-bit
# Windows. On several processor classes, and on one processor where the machine
# allows, both write the same frames byte for byte and each decodes the other's file
# to the same pictures. What either DLL's driver dialog saves, the other bitness's view
# of the registry holds.
# Arguments: the wine runner, its prefix, the 32-bit and the 64-bit bin directories,
# and a work directory.
set -euo pipefail
run=("$1" "$2")
declare -A bin=([32]=$3 [64]=$4)
work=$5
one_processor=$(dirname "$0")/../../scripts/one-processor.sh
fail() { echo "FAIL: $*" >&2; exit 1; }
[ -e "${bin[32]}/trvx.dll" ] || { echo "no 32-bit build in ${bin[32]}; skipped" >&2; exit 77; }
rm -rf "$work" && mkdir -p "$work"

packets() { ffmpeg -v error -i "$1" -map 0:v -c copy -f framemd5 - | grep -v '^#'; }
digests() {  # width file
  local out
  out=$("${run[@]}" "${bin[$1]}/trvx_avi_digest_tool.exe" "Z:$2" | tr -d '\r')
  echo "$out" | grep -q 'frames decoded' || fail "$1-bit decode of $2: $out"
  echo "$out"
}
compare() {  # label, then the command prefix that runs a program
  local label=$1
  shift
  for width in 32 64; do
    "$@" "${run[@]}" "${bin[$width]}/trvx_avi_writer.exe" "Z:$work/$label-$width.avi" 4 | grep -q 'avi written' ||
      fail "$label: the $width-bit DLL wrote no AVI"
  done
  local written
  written=$(packets "$work/$label-32.avi")
  [ "$(echo "$written" | grep -c .)" = 4 ] || fail "$label: ffmpeg reads no 4 frames: $written"
  [ "$written" = "$(packets "$work/$label-64.avi")" ] || fail "$label: the DLLs wrote different frames"
  [ "$(digests 32 "$work/$label-64.avi")" = "$(digests 64 "$work/$label-32.avi")" ] ||
    fail "$label: the DLLs decode each other's file differently"
  echo "$label: same frames written, same pictures decoded"
}
for cpu in 0 3 15 31 159; do
  compare "class-$cpu" env TRVX_CPU=$cpu
done
if unshare -m true 2>/dev/null; then compare one-processor "$one_processor"; fi

# The driver dialog's Escape saves; each bitness reads the other's save.
declare -A loader=([32]=wine [64]=wine64)
reg() { WINE=${loader[$1]} "${run[@]}" reg "${@:2}" 2>/dev/null | tr -d '\r'; }
codec_key='HKCR\Software\Korvantelix\MJPG codec'
for width in 32 64; do
  other=$((96 - width))
  reg 64 delete 'HKCR\Software\Korvantelix' /f >/dev/null || true
  TRVX_KEEP_SAVED_SETTINGS=1 "${run[@]}" "${bin[$width]}/trvx_dialog_tests.exe" --gtest_filter='*EscapeSaves*' |
    grep -q 'all done' || fail "the $width-bit driver dialog did not save"
  seen=$(reg $other query "$codec_key")
  echo "$seen" | grep -qE 'ChangeFieldsOrder\s+REG_DWORD\s+0x1' || fail "$other-bit view after the $width-bit save: $seen"
  [ "$seen" = "$(reg $width query "$codec_key")" ] || fail "the views differ after the $width-bit save"
  echo "settings the $width-bit dialog saved: the same in the $other-bit view"
done
reg 64 delete 'HKCR\Software\Korvantelix' /f >/dev/null || true
reg 64 delete 'HKCR\Software\Pellacorte' /f >/dev/null || true
echo "all done: every test passed"
