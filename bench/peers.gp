# SPDX-License-Identifier: Apache-2.0
# Bars of MB/s per codec and kind of image. usage: gnuplot -e "table='FILE'; chart='FILE'" bench/peers.gp
# The table has rows CODEC, then encode and decode of rgb8, grey8 and grey16.
set terminal svg size 1080,640 font "sans-serif,12" background "white"
set output chart
set datafile separator tab
set datafile missing "n/a"
set style data histograms
set style histogram clustered gap 1
set style fill solid
set boxwidth 0.9
set grid ytics
set logscale y
set yrange [1:*]
set ylabel "MB/s of raw image (logarithmic)"
set key outside right top
set multiplot layout 2,1
do for [direction in "encode decode"] {
    set title direction
    shift = direction eq "encode" ? 0 : 1
    plot table using 2 + shift:xtic(1) title "RGB", "" using 4 + shift title "grey, 8 bits", \
        "" using 6 + shift title "grey, 16 bits"
}
unset multiplot
