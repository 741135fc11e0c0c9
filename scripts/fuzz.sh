#!/usr/bin/env bash
# Builds the libFuzzer targets with clang into build/fuzz and runs each one for
# FUZZ_SECONDS (default 60). Seeds: the frames of the native build's
# trvx_make_field_frames (build/native/testdata) when they exist, and for the
# baseline targets JPEGs that cjpeg writes in other layouts from its 4:2:0 picture.
# Corpora grow in build/fuzz/corpus/<target>; crashes land in build/fuzz/crashes.
#   scripts/fuzz.sh [TARGET...]    (default: all five)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=${TRVX_BUILD_DIR:-$root/build}
out=$build/fuzz
seconds=${FUZZ_SECONDS:-60}
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(frame_reader_fuzzer entropy_decoder_fuzzer decoder_session_fuzzer
                                     baseline_headers_fuzzer baseline_frame_fuzzer)

CC=clang CXX=clang++ cmake -S "$root" -B "$out" -G Ninja -DTRVX_FUZZ=ON -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build "$out" --target "${targets[@]}"

# The codec's fault guard must see deliberate faults (a store to address zero) before
# the sanitizer does: let it install its SIGSEGV/SIGBUS handler over ASan's, and keep
# libFuzzer's own handlers off those signals. Faults outside a guard are still
# forwarded to ASan, which reports them as usual.
export ASAN_OPTIONS=${ASAN_OPTIONS:-allow_user_segv_handler=1:handle_segv=1:handle_sigbus=1:handle_sigill=1:handle_sigfpe=1:detect_leaks=1}
export UBSAN_OPTIONS=${UBSAN_OPTIONS:-print_stacktrace=1:halt_on_error=1}

# Camera-like frames: one image in several samplings, restart intervals, optimised
# tables, greyscale, and two 64 x 16 fields back to back.
jpeg_seeds=$out/seeds/jpeg
rm -rf "$jpeg_seeds" && mkdir -p "$jpeg_seeds"
picture=$build/native/testdata/photo_64x32.jpg
if [ -e "$picture" ]; then
  djpeg -pnm "$picture" >"$jpeg_seeds/picture.ppm"
  n=0
  for options in "-sample 2x2" "-sample 2x1 -restart 1" "-sample 1x1 -optimize" "-sample 1x2" "-grayscale" \
                 "-sample 2x2,1x2,1x1 -restart 2"; do
    # shellcheck disable=SC2086
    cjpeg $options "$jpeg_seeds/picture.ppm" >"$jpeg_seeds/seed$((n += 1)).jpg"
  done
  for field in 0 1; do
    jpegtran -crop "64x16+0+$((field * 16))" "$picture" | djpeg -pnm | cjpeg -sample 2x2,1x2,1x2 \
      >"$jpeg_seeds/field$field.jpg"
  done
  cat "$jpeg_seeds/field0.jpg" "$jpeg_seeds/field1.jpg" >"$jpeg_seeds/fields.jpg"
  rm -f "$jpeg_seeds/picture.ppm" "$jpeg_seeds/field0.jpg" "$jpeg_seeds/field1.jpg"
fi

mkdir -p "$out/crashes"
status=0
for target in "${targets[@]}"; do
  corpus=$out/corpus/$target
  mkdir -p "$corpus"
  seeds=()
  for frame in "$build"/native/testdata/*.trvx; do
    [ -e "$frame" ] && seeds+=("$frame")
  done
  seed_dir=$out/seeds/$target
  rm -rf "$seed_dir" && mkdir -p "$seed_dir"
  case $target in
    baseline_*)
      for jpeg in "$picture" "$jpeg_seeds"/*.jpg; do
        # The frame fuzzer's last byte picks output and threads: 3 is YUY2 on two.
        [ -s "$jpeg" ] && { cat "$jpeg"; printf '\003'; } >"$seed_dir/$(basename "$jpeg")"
      done
      ;;
  esac
  if [ ${#seeds[@]} -gt 0 ]; then
    cp "${seeds[@]}" "$seed_dir/"
    if [ "$target" = entropy_decoder_fuzzer ]; then
      # The coded data alone, behind the byte that picks the MCU count.
      for frame in "${seeds[@]}"; do
        { printf '\017'; tail -c +238 "$frame"; } >"$seed_dir/$(basename "$frame").coded"
      done
    fi
  fi
  echo "== $target for ${seconds}s"
  if ! "$out/bin/$target" -max_total_time="$seconds" -max_len=300000 -timeout=10 -rss_limit_mb=4096 \
      -handle_segv=0 -handle_bus=0 -handle_ill=0 -handle_fpe=0 \
      -artifact_prefix="$out/crashes/$target-" "$corpus" "$seed_dir"; then
    echo "$target found a problem; see $out/crashes" >&2
    status=1
  fi
done
exit $status
