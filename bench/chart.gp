# The mean ratios of make bench as bars: one panel per direction, two bars per codec
# configuration (against libjpeg-turbo and against ffmpeg), the line at 1 marking
# "as fast as the peer". Called with -e "data='...'; output='...'; machine='...'".
set terminal pngcairo size 1600,620 font "sans,11"
set output output
set multiplot layout 1,2 title "trvx codec speed relative to its peers, same frames in the same run (above 1: codec faster)\n" . \
  "{/*0.85 libjpeg-turbo: its SSE2 against the codec's SIMD paths, no SIMD against plain code; ffmpeg: libavcodec, one thread;}\n" . \
  "{/*0.85 geometric means over two frame sizes and every pixel format; " . machine . "}"
set style data histograms
set style histogram clustered gap 1
set style fill solid 0.85 border rgb "#333333"
set boxwidth 0.9
set grid ytics lc rgb "#dddddd"
# One scale for both panels, with room for the key above the highest bar.
stats data using 3 nooutput name "peer1"
stats data using 4 nooutput name "peer2"
set yrange [0:1.25 * (peer1_max > peer2_max ? peer1_max : peer2_max)]
set ylabel "codec frames per second / peer frames per second"
set key top left horizontal
set xtics font ",9"
set bmargin 4
set arrow 1 from graph 0, first 1 to graph 1, first 1 nohead dt 2 lw 2 lc rgb "#000000" back
labels(column) = sprintf("%.2f", column)
do for [direction = 0:1] {
  set title (direction == 0 ? "Decoding" : "Encoding") font ",13"
  plot data index direction using 3:xtic(strcol(1)."\n".strcol(2)) title "vs libjpeg-turbo" lc rgb "#4477aa", \
       '' index direction using 4 title "vs ffmpeg" lc rgb "#ee7733", \
       '' index direction using ($0 - 1.0/6):3:(labels($3)) with labels offset 0,0.6 font ",8" notitle, \
       '' index direction using ($0 + 1.0/6):4:(labels($4)) with labels offset 0,0.6 font ",8" notitle
}
unset multiplot
