#!/usr/bin/env bash
# Runs mci_player_test under Wine (needs a display) and keeps its screenshots as PNG.
# Arguments: the directory for the screenshots, then the command that runs the program.
set -euo pipefail
shots=$1
shift
rm -rf "$shots"
mkdir -p "$shots"
export TRVX_MCI_SHOTS="Z:$shots"
status=0
"$@" || status=$?
for bmp in "$shots"/*.bmp; do
  [ -e "$bmp" ] || continue
  /usr/bin/convert "$bmp" "${bmp%.bmp}.png" && rm "$bmp"
  echo "screenshot of the player: ${bmp%.bmp}.png"
done
exit $status
