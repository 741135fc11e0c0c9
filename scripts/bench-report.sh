#!/usr/bin/env bash
# make bench: the shipped trvx.dll, both builds as make dist builds them, under Wine
# through the Video Compression Manager (the 32-bit one in a 32-bit prefix, the 64-bit
# one in a 64-bit prefix), against libjpeg-turbo for i386 and x86-64 on the same files; then the native core benchmark (trvx_benchmark, with ffmpeg). Prints the
# tables (out/bench.txt), draws out/bench.png; every figure's log is out/bench.log.
#   bench-report.sh [--seconds S] [--rounds N] [--headline-rounds M]
# S seconds per measurement (default 0.5), best of N rounds (default 3), and of M
# (default 5) for decoding the codec's own two-thread frames, the headline.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
out=$root/out
seconds=0.5 rounds=3 headline=5
while [ $# -gt 0 ]; do
  case "$1" in
    --seconds) seconds=$2 ;;
    --rounds) rounds=$2 ;;
    --headline-rounds) headline=$2 ;;
    *) echo "usage: $0 [--seconds S] [--rounds N] [--headline-rounds M]" >&2; exit 2 ;;
  esac
  shift 2
done

"$root/scripts/install-deps.sh"
mkdir -p "$out"
log=$out/bench.log
summary=$out/bench.tsv core=$out/bench-core.tsv
rm -f "$summary" "$core"
: >"$log"
started=$SECONDS
# Two-processor figures need both processors free. The processor time that went to
# other programs during the run (all busy time less this script's children) says
# whether they were.
busy_seconds() { awk -v hz="$(getconf CLK_TCK)" '/^cpu / { printf "%.1f", ($2 + $3 + $4 + $7 + $8) / hz }' /proc/stat; }
busy_at_start=$(busy_seconds)
step() { echo "bench: $*" >&2; echo "== $*" >>"$log"; }
fail() {
  tail -n 20 "$log" >&2
  echo "bench: failed (whole log: out/bench.log)" >&2
  exit 1
}

# Release -O2, as make dist builds the DLL; native tools in build/bench.
step "building both trvx.dll builds, their Windows host and the native tools"
native=$root/build/bench win32=$root/build/bench-win32 win64=$root/build/bench-win64
release=(-G Ninja -DCMAKE_BUILD_TYPE=Release "-DCMAKE_CXX_FLAGS_RELEASE=-O2 -DNDEBUG")
{
  cmake -S "$root" -B "$native" "${release[@]}" &&
    ninja -C "$native" trvx_benchmark trvx_peer_bench trvx_peer_bench32 &&
    for pair in win32:i686 win64:x86_64; do
      tree=$root/build/bench-${pair%%:*}
      cmake -S "$root" -B "$tree" "${release[@]}" -DCMAKE_TOOLCHAIN_FILE="$root/cmake/${pair#*:}-w64-mingw32.cmake" &&
        ninja -C "$tree" trvx trvx_dll_bench || exit 1
    done
} >>"$log" 2>&1 || fail

data=$root/build/bench-data
rm -rf "$data"
mkdir -p "$data"
"$native/bin/trvx_benchmark" --write-inputs "$data" >>"$log" 2>&1 || fail

# Installed as the .inf installs it: in the system directory, registered as vidc.TRVX
# by a reg of the DLL's bitness. One prefix per build: a 64-bit prefix would run the
# 32-bit host under WOW64, which no 32-bit Windows user has.
step "making a Wine prefix for each build with the codec installed"
trap '"$root/scripts/wine-prefix.sh" remove "$win32/bench-prefix"; "$root/scripts/wine-prefix.sh" remove "$win64/bench-prefix"' EXIT
for pair in win32:wine win64:wine64; do
  tree=$root/build/bench-${pair%%:*}
  "$root/scripts/wine-prefix.sh" create "$tree/bench-prefix" "${pair%%:*}"
  cp "$tree/bin/trvx.dll" "$tree/bench-prefix/drive_c/windows/system32/trvx.dll"
  WINEARCH=${pair%%:*} WINE=${pair#*:} "$root/scripts/wine-run.sh" "$tree/bench-prefix" reg add \
    'HKLM\Software\Microsoft\Windows NT\CurrentVersion\Drivers32' /v vidc.TRVX /d trvx.dll /f >/dev/null 2>&1
done

host=("$root/scripts/wine-run.sh" "$win32/bench-prefix" "$win32/bin/trvx_dll_bench.exe")
host64=(env WINEARCH=win64 "$root/scripts/wine-run.sh" "$win64/bench-prefix" "$win64/bin/trvx_dll_bench.exe")
one_processor=("$root/scripts/one-processor.sh")
timing=(--seconds "$seconds" --rounds "$rounds" --headline-rounds "$headline")

# The codec writes its two-thread layout only where it sees two processors.
step "writing the codec's own frames on two processors and on one"
"${host[@]}" write "Z:$data" >>"$log" 2>&1 || fail
"${one_processor[@]}" "${host[@]}" write "Z:$data" >>"$log" 2>&1 || fail

# A camera's frames: one 4:2:0 image per frame, as ffmpeg writes M-JPEG.
step "writing ffmpeg's M-JPEG frames"
sizes=$(ls "$data" | sed -n 's/^input_\(.*\)\.BGR24$/\1/p')
for size in $sizes; do
  ffmpeg -v error -y -f rawvideo -pix_fmt bgr24 -s "$size" -i "$data/input_$size.BGR24" -vf vflip \
    -c:v mjpeg -pix_fmt yuvj420p -q:v 3 -frames:v 1 -f mjpeg "$data/frames_${size}_ffmpeg-420.trvx" >>"$log" 2>&1 || fail
done

# ffmpeg's decoder on the same frames, into the same outputs, on one thread: the frame
# repeated; 100 frames' time taken from 300's to leave out start-up.
ffmpeg_seconds() {  # file frames pix_fmt
  ffmpeg -threads 1 -benchmark -f mjpeg -i <(for _ in $(seq "$2"); do cat "$1"; done) -pix_fmt "$3" -f null - 2>&1 |
    sed -n 's/.*rtime=\([0-9.]*\)s.*/\1/p'
}
ffmpeg_peer() {
  local size=$1 format=$2 pix_fmt=$3 best=0 frame="$data/frames_$1_ffmpeg-420.trvx"
  for _ in $(seq "$rounds"); do
    best=$(awk -v a="$(ffmpeg_seconds "$frame" 100 "$pix_fmt")" -v b="$(ffmpeg_seconds "$frame" 300 "$pix_fmt")" \
      -v best="$best" 'BEGIN { fps = b > a ? 200 / (b - a) : 0; print (fps > best ? fps : best) }')
  done
  printf 'decode\t%s\t%s\tffmpeg-420\tffmpeg\tone thread\t1\t%.1f\n' "$size" "$format" "$best" >>"$summary"
  echo "ffmpeg $size $format: $best fps" >>"$log"
}

# TRVX_CPU (empty: the machine's own class) processors [the host of the 64-bit build]
dll() {
  local cpu=$1 processors=$2 run=() program=("${host[@]}")
  [ -n "${3:-}" ] && program=("${@:3}")
  [ "$processors" = 1 ] && run=("${one_processor[@]}")
  if [ -n "$cpu" ]; then
    run=(env "TRVX_CPU=$cpu" "${run[@]}")
  else
    run=(env -u TRVX_CPU "${run[@]}")
  fi
  "${run[@]}" "${program[@]}" measure "Z:$data" "${timing[@]}" --summary "Z:$summary" >>"$log" 2>&1 || fail
}
# 32|64 JSIMD mode (empty: libjpeg-turbo's own choice)
peer() {
  local program=$native/bin/trvx_peer_bench mode=$2
  [ "$1" = 32 ] && program=${program}32
  env -u JSIMD_FORCEMMX -u JSIMD_FORCE3DNOW -u JSIMD_FORCESSE -u JSIMD_FORCESSE2 -u JSIMD_FORCEAVX2 \
    -u JSIMD_FORCENONE ${mode:+"JSIMD_FORCE$mode=1"} \
    "$program" "$data" "${timing[@]}" --summary "$summary" >>"$log" 2>&1 || fail
}

# Each path next to its i386 peer, so that a change of load shifts both alike; 159 next
# to the default, on any machine.
for pair in 31:SSE2 15:SSE 3:MMX 0:NONE 159: :; do
  cpu=${pair%%:*} mode=${pair#*:}
  step "trvx.dll on processor path ${cpu:-of this machine}, two processors and one, and its i386 peer"
  dll "$cpu" 2
  dll "$cpu" 1
  peer 32 "$mode"
done
step "the 64-bit trvx.dll on the SSE2 path and on this machine's own, two processors and one, and libjpeg-turbo x86-64: default, SSE2, no SIMD"
for cpu in 31 ""; do
  dll "$cpu" 2 "${host64[@]}"
  dll "$cpu" 1 "${host64[@]}"
done
for mode in "" SSE2 NONE; do peer 64 "$mode"; done
step "ffmpeg's M-JPEG decoder on its own frames"
for size in $sizes; do
  ffmpeg_peer "$size" BGR24 bgr24
  ffmpeg_peer "$size" UYVY uyvy422
done

step "native core benchmark with ffmpeg (trvx_benchmark)"
"$native/bin/trvx_benchmark" --ffmpeg --seconds "$seconds" --rounds "$rounds" --summary "$core" >>"$log" 2>&1 || fail

python3 "$root/bench/report.py" "$summary" "$out/bench-chart.dat" | tee "$out/bench.txt"
echo
python3 "$root/bench/core_report.py" "$core" | tee -a "$out/bench.txt"
# The processor's name, kept to characters that gnuplot's enhanced text shows as they are.
machine="$(nproc) x $(sed -n 's/^model name\s*:\s*//p' /proc/cpuinfo | head -n 1 | tr -cd 'A-Za-z0-9 ().,@-')"
gnuplot -e "data='$out/bench-chart.dat'; output='$out/bench.png'; machine='$machine'" "$root/bench/chart.gp"
times >"$out/bench.times"
others=$(awk -v busy="$(busy_seconds)" -v start="$busy_at_start" -v run=$((SECONDS - started)) '
  function seconds(t) { split(t, p, "m"); return p[1] * 60 + p[2] }
  NR == 2 { mine = seconds($1) + seconds($2) }
  END { o = busy - start - mine; if (o < 0) o = 0; printf "%.0f s of processor time (%.0f%% of one processor)", o, 100 * o / run }' \
  "$out/bench.times")
rm -f "$out/bench.times"
echo "
machine: $machine; other programs took $others during the run" | tee -a "$out/bench.txt"
echo "bench: $((SECONDS - started)) s; table in out/bench.txt, chart in out/bench.png, every figure in out/bench.log"
