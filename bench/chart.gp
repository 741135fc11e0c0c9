# make bench's picture: the shipped trvx.dll against libjpeg-turbo as bars, one panel
# per direction, two bars per DLL configuration (against i386 libjpeg-turbo of the same
# instruction set, and against x86-64 libjpeg-turbo as it chooses), the dashed line at
# 1 where the DLL is as fast as the peer, and red marks at the targets.
# Called with -e "data='...'; output='...'; machine='...'".
set terminal pngcairo size 1800,700 font "sans,11"
set output output
set multiplot layout 1,2 title "trvx.dll (32-bit, under Wine, through the Video Compression Manager) relative to libjpeg-turbo, same frames in the same run\n" . \
  "{/*0.85 i386 peer: SSE2 against path 31, SSE against 15, MMX against 3, no SIMD against plain code and AMD's 159; x86-64 peer: its default SIMD;}\n" . \
  "{/*0.85 geometric means over two frame sizes and every pixel format (decompressing: the codec's own two-thread frames); " . machine . "}"
set style data histograms
set style histogram clustered gap 1
set style fill solid 0.85 border rgb "#333333"
set boxwidth 0.9
set grid ytics lc rgb "#dddddd"
# One scale for both panels, with room for the key above the highest bar or mark.
stats data using 3 nooutput name "i386"
stats data using 4 nooutput name "x64"
top = i386_max > x64_max ? i386_max : x64_max
top = top > 1.6 ? top : 1.6
set yrange [0:1.3 * top]
set ylabel "trvx.dll frames per second / peer frames per second"
set key top left horizontal
set xtics font ",9"
set bmargin 5
set arrow 1 from graph 0, first 1 to graph 1, first 1 nohead dt 2 lw 2 lc rgb "#000000" back
labels(column) = sprintf("%.2f", column)
do for [direction = 0:1] {
  set title (direction == 0 ? "Compressing" : "Decompressing") font ",13"
  plot data index direction using 3:xtic(strcol(1)."\n".strcol(2)) title "vs i386, same instruction set" lc rgb "#4477aa", \
       '' index direction using 4 title "vs x86-64, default" lc rgb "#ee7733", \
       '' index direction using ($0 - 1.0/6 - 0.15):5:(0.3):(0) with vectors nohead lw 3 lc rgb "#cc0000" title "target", \
       '' index direction using ($0 + 1.0/6 - 0.15):6:(0.3):(0) with vectors nohead lw 3 lc rgb "#cc0000" notitle, \
       '' index direction using ($0 - 1.0/6):3:(labels($3)) with labels offset 0,0.6 font ",8" notitle, \
       '' index direction using ($0 + 1.0/6):4:(labels($4)) with labels offset 0,0.6 font ",8" notitle
}
unset multiplot
