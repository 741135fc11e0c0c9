#!/usr/bin/env bash
# make bench: one run of trvx_benchmark with ffmpeg beside libjpeg-turbo, both
# directions; prints one table of frames per second and ratios and draws
# out/bench.png. Arguments go to trvx_benchmark (e.g. --seconds 1 --rounds 5).
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
out=$root/out

"$root/scripts/install-deps.sh"
mkdir -p "$out"
summary=$out/bench.tsv
rm -f "$summary"
echo "bench: measuring both directions, a few minutes; every group's figures go to out/bench.log" >&2
"$root/scripts/benchmark.sh" --ffmpeg --summary "$summary" "$@" >"$out/bench.log" 2>&1 || {
  tail -n 20 "$out/bench.log" >&2
  exit 1
}
python3 "$root/bench/report.py" "$summary" "$out/bench-chart.dat" | tee "$out/bench.txt"
# The processor's name, kept to characters that gnuplot's enhanced text shows as they are.
machine="$(nproc) x $(sed -n 's/^model name\s*:\s*//p' /proc/cpuinfo | head -n 1 | tr -cd 'A-Za-z0-9 ().,@-')"
gnuplot -e "data='$out/bench-chart.dat'; output='$out/bench.png'; machine='$machine'" \
  "$root/bench/chart.gp"
echo "bench: table in out/bench.txt, chart in out/bench.png"
