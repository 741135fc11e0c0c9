#!/usr/bin/env bash
# What a library attach leaves in the registry, read with Wine's own reg tool as any
# other program would see it. Arguments: the command that runs one attach (the wine
# runner, its prefix and the attach tool).
set -euo pipefail
attach=("$@")
wine_run=("${attach[0]}" "${attach[1]}")

codec_key='HKCR\Software\Korvantelix\MJPG codec'
apps_key='HKCR\Software\Pellacorte\Onderwane\Codec'
defective_key="HKCR\\SoftWare\\Korvantelix\\Common codec's settings\\YUV defective application"

reg() { "${wine_run[@]}" reg "$@" 2>/dev/null | tr -d '\r'; }
fail() { echo "FAIL: $*" >&2; exit 1; }
expect_value() {  # key name type data
  local line
  line=$(reg query "$1" /v "$2" | grep -E "^\s+$2\s") || fail "$1 has no value $2"
  echo "$line" | grep -qE "\s$3\s+$4\s*$" || fail "$1 $2: expected $3 $4, got: $line"
}

reg delete 'HKCR\Software\Korvantelix' /f >/dev/null || true
reg delete 'HKCR\Software\Pellacorte' /f >/dev/null || true
"${attach[@]}" | grep -q 'attached and detached' || fail "attach tool did not run"

expect_value "$codec_key" ChangeFieldsOrder REG_DWORD 0x0
expect_value "$codec_key" MJPGNameCount REG_DWORD 0x2
expect_value "$codec_key" MJPGName1 REG_DWORD 0x58565254   # "TRVX"
expect_value "$codec_key" MJPGName2 REG_DWORD 0x47504a4d   # "MJPG"
expect_value "$apps_key" AppCount REG_DWORD 0x2
expect_value "$apps_key" App1 REG_SZ PREMIERE.EXE
expect_value "$apps_key" App2 REG_SZ TALVINE.EXE
expect_value "$defective_key" 'Correct state' REG_DWORD 0x1
expect_value "$defective_key" Application00 REG_SZ WMPLAYER.EXE

# A change-fields-order value the codec does not know throws the user's list away.
reg add "$codec_key" /v ChangeFieldsOrder /t REG_DWORD /d 2 /f >/dev/null
reg add "$codec_key" /v MJPGNameCount /t REG_DWORD /d 3 /f >/dev/null
reg add "$codec_key" /v MJPGName3 /t REG_DWORD /d 0x4e525641 /f >/dev/null
"${attach[@]}" >/dev/null
expect_value "$codec_key" ChangeFieldsOrder REG_DWORD 0x0
expect_value "$codec_key" MJPGNameCount REG_DWORD 0x2
reg query "$codec_key" /v MJPGName3 >/dev/null && fail "MJPGName3 survived the reset"

# A user's valid list is kept as it is.
reg add "$codec_key" /v ChangeFieldsOrder /t REG_DWORD /d 1 /f >/dev/null
reg add "$defective_key" /v Application01 /t REG_SZ /d editor.exe /f >/dev/null
"${attach[@]}" >/dev/null
expect_value "$codec_key" ChangeFieldsOrder REG_DWORD 0x1
expect_value "$defective_key" Application01 REG_SZ editor.exe

# A list not marked valid is the default list again.
reg add "$defective_key" /v 'Correct state' /t REG_DWORD /d 0 /f >/dev/null
"${attach[@]}" >/dev/null
expect_value "$defective_key" 'Correct state' REG_DWORD 0x1
reg query "$defective_key" /v Application01 >/dev/null && fail "Application01 survived the reset"

reg delete 'HKCR\Software\Korvantelix' /f >/dev/null || true
reg delete 'HKCR\Software\Pellacorte' /f >/dev/null || true
echo "all done: every test passed"
