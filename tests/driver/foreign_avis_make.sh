#!/usr/bin/env bash
# Makes the M-JPEG AVIs that foreign_avis_test decodes: ffmpeg's and cjpeg's frames
# (one image per frame, or two field images), a TRVX file written through the codec
# to check the harness with, and two files of frames the codec must refuse. Beside
# each file lies ffmpeg's own decode of it, raw planes in the decoder's own pix_fmt,
# and manifest.txt names them: "NAME PIX_FMT" (PIX_FMT "refuse" for the refusals).
# Arguments: output directory, then the command that runs trvx_avi_writer under Wine;
# TRVX_TESTDATA (Z:...) holds the source photograph, photo_720x576.rgb24.ref.
set -euo pipefail
out=$1
shift
writer=("$@")
photo=${TRVX_TESTDATA#Z:}/photo_720x576.rgb24.ref
wrap=$(cd "$(dirname "$0")" && pwd)/jpeg_avi_writer.py
frames=3
ff() { ffmpeg -nostdin -v error -y "$@"; }
fail() { echo "FAIL: $*" >&2; exit 1; }

rm -rf "$out"
mkdir -p "$out"
cd "$out"

# The codec's own frames, written meanwhile: a Wine program can take seconds to start.
"${writer[@]}" "Z:$out/trvx_720x576.avi" $frames >writer.txt 2>&1 &
writing=$!

# ffmpeg's decode (decoder options first) into NAME.yuv, checked to hold every frame
# at the full size; the manifest takes the decoder's pix_fmt.
reference() {  # NAME SIZE [decoder options...]
  local name=$1 size=$2
  shift 2
  ff "$@" -i "$name.avi" -f rawvideo "$name.yuv" -c:v rawvideo "$name.nut"
  local info
  info=$(ffprobe -v error -count_frames -show_entries stream=width,height,pix_fmt,nb_read_frames -of csv=p=0 "$name.nut")
  [[ $info == "${size/x/,},"*",$frames" ]] || fail "$name: ffmpeg decoded $info, the AVI holds $frames frames of $size"
  rm "$name.nut"
  echo "$name $(cut -d, -f3 <<<"$info")" >>manifest.txt
}

# A small pan across the photograph per size, lossless.
for size in 720x576 640x480 352x288; do
  w=${size%x*} h=${size#*x}
  ff -f rawvideo -pix_fmt bgr24 -s 720x576 -i "$photo" \
    -vf "vflip,scale=$((w + 16)):$((h + 16)),loop=loop=$((frames - 1)):size=1,crop=$w:$h:n*4:n*2" \
    -frames:v $frames -c:v ffv1 "src_$size.nut"
  ff -i "src_$size.nut" -f image2 -c:v ppm "src_${size}_%d.ppm"
done

# ffmpeg's encoder: Y 2x2 with 1x2 chroma for yuvj422p, 1x1 for yuvj420p; 1x2 all
# three for yuvj444p; one quantisation table.
for size in 720x576 640x480 352x288; do
  for pix in yuvj422p yuvj420p yuvj444p; do
    for huffman in default optimal; do
      name=ffmpeg_${size}_${pix}_$huffman
      ff -i "src_$size.nut" -c:v mjpeg -q:v 2 -pix_fmt $pix -huffman $huffman -vtag MJPG "$name.avi"
      reference "$name" "$size"
    done
  done
done

# Slice threads make ffmpeg write DRI (one MCU row) and a restart marker between rows.
for spec in 720x576:yuvj422p 352x288:yuvj420p; do
  size=${spec%:*} pix=${spec#*:}
  name=ffmpeg_${size}_${pix}_restart
  ff -i "src_$size.nut" -c:v mjpeg -q:v 2 -pix_fmt "$pix" -threads 2 -slices 4 -vtag MJPG "$name.avi"
  python3 - "$name.avi" <<'EOF' || fail "$name.avi has no restart interval and markers"
import re, sys
data = open(sys.argv[1], "rb").read()
interval = re.search(rb"\xff\xdd\x00\x04(..)", data, re.S)
sys.exit(0 if interval and interval.group(1) != b"\0\0" and re.search(rb"\xff[\xd0-\xd7]", data) else 1)
EOF
  reference "$name" "$size"
done

# cjpeg: JFIF, two quantisation tables in separate segments.
cjpeg_avi() {  # NAME SIZE cjpeg options...
  local name=$1 size=$2
  shift 2
  local images=()
  for n in $(seq $frames); do
    cjpeg "$@" "src_${size}_$n.ppm" >"${name}_$n.jpg"
    images+=("${name}_$n.jpg")
  done
  python3 "$wrap" "$name.avi" "${size%x*}" "${size#*x}" "${images[@]}"
}
cjpeg_avi cjpeg_640x480_q90 640x480 -quality 90
cjpeg_avi cjpeg_720x576_2x1_restart 720x576 -quality 90 -sample 2x1 -restart 1
cjpeg_avi cjpeg_352x288_1x2 352x288 -quality 90 -sample 1x2
cjpeg_avi cjpeg_720x576_1x1_optimized 720x576 -quality 90 -sample 1x1 -optimize
for name in cjpeg_640x480_q90 cjpeg_720x576_2x1_restart cjpeg_352x288_1x2 cjpeg_720x576_1x1_optimized; do
  reference $name "$(cut -d_ -f2 <<<$name)"
done

# Two fields per frame, top first, each a half-height image; the header states the
# full height. ffmpeg takes MJPG fields as bottom first unless told.
for spec in 720x576:optimal 352x288:default; do
  size=${spec%:*} huffman=${spec#*:}
  name=fields_${size}_yuvj422p
  ff -i "src_$size.nut" -vf setfield=tff,separatefields -c:v mjpeg -q:v 2 -pix_fmt yuvj422p -huffman "$huffman" \
    -f image2 "${name}_%d.jpg"
  pairs=()
  for n in $(seq $frames); do pairs+=("${name}_$((2 * n - 1)).jpg+${name}_$((2 * n)).jpg"); done
  python3 "$wrap" "$name.avi" "${size%x*}" "${size#*x}" "${pairs[@]}"
  reference "$name" "$size" -field_order tt
  # The reference must be the source picture with its fields in place.
  psnr=$(ffmpeg -nostdin -field_order tt -i "$name.avi" -i "src_$size.nut" \
    -lavfi '[0:v]format=yuvj422p[a];[1:v]format=yuvj422p[b];[a][b]psnr' -f null - 2>&1 |
    sed -n 's/.*PSNR y:\([0-9.]*\).*/\1/p')
  python3 -c "import sys; sys.exit(0 if float('${psnr:-0}') >= 40 else 1)" ||
    fail "$name: ffmpeg's fields give luma at ${psnr:-?} dB of the source"
done

# The codec's own frames, which ffmpeg reads when told the decoder.
wait $writing && grep -q 'avi written' writer.txt || fail "the TRVX AVI was not written: $(cat writer.txt)"
reference trvx_720x576 720x576 -c:v mjpeg

# Frames the codec has no decoding for.
cjpeg_avi refuse_352x288_progressive 352x288 -progressive
cjpeg_avi refuse_352x288_4x1 352x288 -sample 4x1
echo "refuse_352x288_progressive refuse" >>manifest.txt
echo "refuse_352x288_4x1 refuse" >>manifest.txt

rm -f ./*.ppm ./*.jpg writer.txt
echo "$(wc -l <manifest.txt) files in $out"
echo "all done: every test passed"
