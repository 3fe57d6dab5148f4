# SPDX-License-Identifier: Apache-2.0
# Quality by share of the bytes, a panel for each kind of image.
# usage: gnuplot -e "means='FILE'; codecs='\"CODEC\" ...'; chart='FILE'" bench/prefix.gp
# The file has a block of rows for each kind: kind, how many images, per cent of the bytes, n/a, a column per codec.
set datafile separator tab
set datafile missing "n/a"
stats means using 3 nooutput
set terminal svg size 1080,160 + 280 * STATS_blocks font "sans-serif,12" background "white"
set output chart
set grid
set logscale x
set xtics (1, 2, 5, 10, 20, 50)
set xrange [0.9:56]
set xlabel "% of the bytes of the lossless teko file"
set ylabel "PSNR, dB"
set key outside right top
set multiplot layout STATS_blocks,1
do for [block = 0:STATS_blocks - 1] {
    stats means index block using (kind = strcol(1), 0) nooutput
    set title kind
    plot for [c = 1:words(codecs)] means index block using 3:4 + c with linespoints title word(codecs, c)
}
unset multiplot
