#!/usr/bin/env bash
# Runs the dialog tests, turns their screen grabs into PNG files beside the program
# (screenshots/*.png), then runs the driver dialog once more and reads what its Escape
# saved with Wine's own reg tool, as any other program would see it.
# Arguments: the wine runner, its prefix, the dialog test program.
set -uo pipefail
wine_run=("$1" "$2")
program=$3
shots=$(dirname "$program")/screenshots
log=$(mktemp)
trap 'rm -f "$log"' EXIT
done_line='all done: every test passed'
fail() { echo "FAIL: $*" >&2; exit 1; }

rm -rf "$shots"
"${wine_run[@]}" "$program" >"$log" 2>&1
grep -v "^$done_line" "$log"
grep -q "^$done_line" "$log" || fail "dialog tests failed"

for bmp in "$shots"/*.bmp; do
  [ -e "$bmp" ] || fail "no screenshots in $shots"
  convert "$bmp" "${bmp%.bmp}.png" && rm "$bmp" || fail "cannot convert $bmp"
done
for name in driver_dialog settings_dialog about_dialog defective_apps_dialog; do
  [ -s "$shots/$name.png" ] || fail "no screenshot of $name"
done
echo "screenshots: $(ls "$shots")"

TRVX_KEEP_SAVED_SETTINGS=1 "${wine_run[@]}" "$program" --gtest_filter='*EscapeSaves*' >"$log" 2>&1
grep -q "^$done_line" "$log" || { cat "$log"; fail "driver dialog run failed"; }
rm -f "$shots"/*.bmp
reg() { "${wine_run[@]}" reg "$@" 2>/dev/null | tr -d '\r'; }
expect_value() {  # key name type data
  local line
  line=$(reg query "$1" /v "$2" | grep -E "^\s+$2\s") || fail "$1 has no value $2"
  echo "$line" | grep -qE "\s$3\s+$4\s*$" || fail "$1 $2: expected $3 $4, got: $line"
}
codec_key='HKCR\Software\Korvantelix\MJPG codec'
apps_key='HKCR\Software\Pellacorte\Onderwane\Codec'
expect_value "$codec_key" ChangeFieldsOrder REG_DWORD 0x1
expect_value "$codec_key" MJPGNameCount REG_DWORD 0x3
expect_value "$codec_key" MJPGName1 REG_DWORD 0x44535644   # "DVSD"
expect_value "$codec_key" MJPGName3 REG_DWORD 0x58565254   # "TRVX"
expect_value "$apps_key" AppCount REG_DWORD 0x3
expect_value "$apps_key" App1 REG_SZ :edit.exe
reg delete 'HKCR\Software\Korvantelix' /f >/dev/null || true
reg delete 'HKCR\Software\Pellacorte' /f >/dev/null || true
echo "$done_line"
