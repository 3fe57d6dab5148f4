# SPDX-License-Identifier: Apache-2.0
# What is measured on images that few bytes are kept of: a panel for each measure, a colour for each codec.
# usage: gnuplot -e "figures='FILE'; codecs='\"CODEC\" ...'; chart='FILE'" bench/prefixStatistics.gp
# The file has a block of rows for each codec, of means, then as many of worst cases: per cent of the raw bytes, PSNR,
# errors of the mean and of the 99th percentile in per cent of the standard deviation, distance of the histograms.
set datafile separator tab
set datafile missing "n/a"
count = words(codecs)
titles = '"PSNR in dB: higher is better" "error of the mean, % of SD: lower is better" \
    "error of the 99th percentile, % of SD: lower is better" "distance of the histograms: lower is better"'
set terminal svg size 1080,900 font "sans-serif,13" background "white"
set output chart
set grid
set logscale x
set xtics (1, 2, 5, 10)
set xrange [0.9:11.2]
set xlabel "% of the raw bytes"
set key left bottom reverse Left samplen 3
set multiplot layout 2,2 margins 0.06,0.985,0.07,0.955 spacing 0.07,0.13
do for [m = 1:4] {
    set title word(titles, m)
    if (m == 2) { set key on } else { set key off }
    if (m > 1) { set logscale y }
    plot for [c = 1:count] figures index c - 1 using 1:m + 1 with linespoints linecolor c linewidth 2 pointtype c \
            title word(codecs, c), \
        for [c = 1:count] figures index count + c - 1 using 1:m + 1 with linespoints linecolor c dashtype 3 \
            pointtype c pointsize 0.6 notitle, \
        NaN with lines linecolor "black" linewidth 2 title "mean of all images", \
        NaN with lines linecolor "black" dashtype 3 title "the worst of them"
}
unset multiplot
