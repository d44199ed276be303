# Draws the rows of a simulated fleet, one line for each far end and plan. Called by bench/fleet with `rows`
# (the file) and `out` (the folder for the pictures).

set terminal svg size 720,440 background rgb "white" font "sans-serif,13"
set datafile separator ","
set datafile missing NaN
set key outside right center Left reverse
set grid ytics lc rgb "#dddddd"
set border 3
set tics nomirror
set linetype 1 lc rgb "#c03030" lw 2 pt 5
set linetype 2 lc rgb "#c03030" lw 2 pt 4 dt 2
set linetype 3 lc rgb "#3060a0" lw 2 pt 9
set linetype 4 lc rgb "#3060a0" lw 2 pt 8 dt 2

series = "kafka-total kafka-host relp-total relp-host"
words_of(s) = system("echo ".s." | sed 's/-/, fixed /; s/host/a host/; s/total/in total/'")
present = ""
found = system("awk -F, 'NR > 1 { print $1 \"-\" $2 }' ".rows)
do for [s in series] { if (strstrt(found, s) > 0) { present = present." ".s } }
number(s) = sum [i=1:4] (word(series, i) eq s ? i : 0)
cell(s, value) = strcol(1)."-".strcol(2) eq s ? value : NaN
draw = "plot for [s in present] rows skip 1 using 3:(cell(s, column(place(figure)) / unit)) ".\
  "with linespoints lt number(s) title words_of(s)"

names = system("head -1 ".rows." | tr , ' '")
place(name) = int(sum [i=1:words(names)] (word(names, i) eq name ? i : 0))
unit = 1

set xlabel "hosts"
set logscale x 2
set xtics (1, 2, 4, 8, 16, 32, 64, 128)
set xrange [0.8:*]
set yrange [0:*]

set ylabel "microseconds of a host's rsyslog for a line"
figure = "rsyslog_us"
set output out."/rsyslog-by-hosts.svg"
@draw

set ylabel "microseconds of a host's tavok for a line"
figure = "tavok_us"
set output out."/tavok-by-hosts.svg"
@draw

set ylabel "microseconds of the far end for a line"
figure = "far_us"
set output out."/far-end-by-hosts.svg"
@draw

unit = 1024
set ylabel "resident memory of a host's rsyslog, MiB"
figure = "rsyslog_rss_kib"
set output out."/memory-by-hosts.svg"
@draw

set ylabel "resident memory of the far end, MiB"
figure = "far_rss_kib"
set output out."/far-end-memory-by-hosts.svg"
@draw

unit = 1
set logscale y
set yrange [0.1:*]
set ylabel "ms to arrival, median, before a disturbance"
figure = "quiet_median_ms"
set output out."/latency-by-hosts.svg"
@draw

set ylabel "ms to arrival, 99th percentile, before a disturbance"
figure = "quiet_99_ms"
set output out."/latency-99-by-hosts.svg"
@draw
