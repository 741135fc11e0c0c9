#!/usr/bin/env bash
# The demo itself, once the codec and the host are built and a Wine prefix exists:
# makes the clip, installs the codec into the prefix, lets the host compress the clip
# into OUT/demo.avi and play it back, checks that ffmpeg decodes the AVI, and writes
# OUT/demo.png.
#   run.sh PREFIX BIN_DIR WORK_DIR OUT_DIR [INPUT]
# BIN_DIR holds trvx.dll and trvx_demo.exe; WORK_DIR receives the raw frames.
# DEMO_FRAMES bounds the clip (default: the whole default clip, or 10 s of INPUT).
set -euo pipefail
prefix=$1 bin=$2 work=$3 out=$4 input=${5:-}
here=$(cd "$(dirname "$0")" && pwd)
photo=/usr/share/backgrounds/mate/nature/LadyBird.jpg
font=/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf
mkdir -p "$work" "$out"
source=$work/source.yuy2 still=$work/still.yuy2 avi=$out/demo.avi png=$out/demo.png

# The codec takes YUY2 bytes as its Y, Cb and Cr samples unchanged: with YUY2 in and
# out, the round trip measures the codec's own loss on exactly the planes it codes,
# with no colour conversion on either side to blur the figures.
if [ -z "$input" ]; then
  # 3.6 s of PAL: a pan and zoom towards the ladybird of a photograph, made at 50
  # pictures a second and woven into top-field-first frames, as a camera records.
  width=720 height=576
  frames=${DEMO_FRAMES:-90}
  echo "clip: pan and zoom across $(basename "$photo"), ${width}x${height}, interlaced, $frames frames"
  ffmpeg -v error -y -i "$photo" -vf "crop=2000:1600:560:0,scale=4000:3200,\
zoompan=z='1+1.4*on/180':x='iw*(0.5+0.26*on/180)-iw/zoom/2':y='ih*(0.5+0.06*on/180)-ih/zoom/2':d=180:s=${width}x${height}:fps=50,\
interlace=scan=tff,format=yuyv422" -frames:v "$frames" -f rawvideo "$source"
else
  # At most 10 s at 25 frames/s; larger than 1920x1088 is scaled down to fit, and each
  # side is cropped to a multiple of 16, as the codec requires (at most 15 lines go).
  frames=${DEMO_FRAMES:-250}
  IFS=x read -r width height < <(ffprobe -v error -select_streams v:0 -show_entries stream=width,height -of csv=p=0:s=x "$input") ||
    { echo "demo: $input has no video stream" >&2; exit 1; }
  read -r width height < <(awk -v w="$width" -v h="$height" \
    'BEGIN { s = 1; if (1920 / w < s) s = 1920 / w; if (1088 / h < s) s = 1088 / h; print int(w * s / 2) * 2, int(h * s / 2) * 2 }')
  scaled=${width}:${height}
  width=$((width / 16 * 16)) height=$((height / 16 * 16))
  [ "$width" -ge 16 ] && [ "$height" -ge 16 ] || { echo "demo: $input is smaller than 16x16" >&2; exit 1; }
  echo "clip: $input as ${width}x${height} at 25 frames/s, at most $frames frames"
  ffmpeg -v error -y -i "$input" -an -sn -vf "fps=25,scale=$scaled,crop=$width:$height,format=yuyv422" \
    -frames:v "$frames" -f rawvideo "$source"
fi

# Installed as on Windows: the DLL in the system directory, registered as vidc.TRVX
# by a reg of the host's bitness, so in the registry view the host reads.
cp "$bin/trvx.dll" "$prefix/drive_c/windows/system32/trvx.dll"
loader=wine
[ "${WINEARCH:-win32}" = win64 ] && loader=wine64
WINE=$loader "$here/../scripts/wine-run.sh" "$prefix" reg add \
  'HKLM\Software\Microsoft\Windows NT\CurrentVersion\Drivers32' /v vidc.TRVX /d trvx.dll /f >/dev/null 2>&1

"$here/../scripts/wine-run.sh" "$prefix" "$bin/trvx_demo.exe" "Z:$source" "$width" "$height" "Z:$avi" "Z:$still"

# ffmpeg's own M-JPEG decoder must see every frame whole (not a single field).
frame_bytes=$((width * height * 2))
decoded=$(ffmpeg -v error -c:v mjpeg -i "$avi" -pix_fmt yuv422p -f framemd5 - |
  awk -F', *' -v bytes="$frame_bytes" '/^0,/ { n++; if ($5 == bytes) whole++ } END { print n + 0, whole + 0 }')
read -r count whole <<<"$decoded"
echo "ffmpeg decodes   $count frames, $whole of them whole at ${width}x${height} (ffmpeg -c:v mjpeg -i $avi)"

# The middle frame and its round trip, above a 4x magnified middle quarter of both.
cw=$((width / 4 / 2 * 2)) ch=$((height / 4 / 2 * 2))
cx=$(((width - cw) / 4 * 2)) cy=$(((height - ch) / 4 * 2))
label="fontfile=$font:fontsize=$((height > 288 ? height / 24 : 12)):fontcolor=white:box=1:boxcolor=black@0.6:boxborderw=6:y=10"
ffmpeg -v error -y -f rawvideo -pix_fmt yuyv422 -s "$((2 * width))x$height" -i "$still" -filter_complex "\
[0]format=rgb24,split=3[both][left][right];\
[left]crop=$cw:$ch:$cx:$cy,scale=$((4 * cw)):$((4 * ch)):flags=neighbor[left4];\
[right]crop=$cw:$ch:$((width + cx)):$cy,scale=$((4 * cw)):$((4 * ch)):flags=neighbor[right4];\
[both]drawbox=$cx:$cy:$cw:$ch:red:2,drawbox=$((width + cx)):$cy:$cw:$ch:red:2,\
drawtext=$label:x=10:text='source',drawtext=$label:x=$((width + 10)):text='after TRVX and back'[top];\
[left4][right4]hstack,drawtext=$label:x=10:text='4x'[bottom];[top][bottom]vstack" -frames:v 1 "$png"
echo "picture          $png"
[ "$count" -gt 0 ] && [ "$whole" = "$count" ] || { echo "demo: ffmpeg did not decode every frame whole" >&2; exit 1; }
