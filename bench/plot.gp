# Draws the medians of a comparison, one line a subject. Called by bench/compare with `medians` (the
# file) and `out` (the folder for the pictures).

set terminal svg size 720,440 background rgb "white" font "sans-serif,13"
set datafile separator ","
set datafile missing NaN
set key outside right center Left reverse
set grid ytics lc rgb "#dddddd"
set border 3
set tics nomirror
set linetype 1 lc rgb "#888888" lw 2 dt 2 pt 7   # bare
set linetype 2 lc rgb "#c03030" lw 3 pt 5        # tavok
set linetype 3 lc rgb "#3060a0" lw 1.5 pt 9      # the peers
set linetype 4 lc rgb "#30a060" lw 1.5 pt 11
set linetype 5 lc rgb "#a06020" lw 1.5 pt 13
set linetype 6 lc rgb "#8040a0" lw 1.5 pt 6

subjects = "bare tavok socklog socat syslog-ng rsyslogd"
distinct(column) = system("awk -F, 'NR > 1 && !seen[$".column."]++ { print $".column." }' ".medians)
found = distinct(3)
present = ""
do for [s in subjects] { do for [f in found] { if (s eq f) { present = present." ".s } } }
number(s) = sum [i=1:words(subjects)] (word(subjects, i) eq s ? i : 0)
cell(section, s, column) = strcol(1) eq section && strcol(3) eq s ? column : NaN

section = ""
measured(name) = (section = name, strstrt(distinct(1), name) > 0)
draw = "plot for [s in present] medians using 2:(cell(section, s, column(figure) + above)) ".\
  "with linespoints lt number(s) title s"

set ylabel "CPU time per datagram, microseconds"
set yrange [0:*]
set logscale x 2
figure = "cpu_us"
above = 0

set title "Unix socket, 4 senders, as fast as taken"
set xlabel "bytes in a datagram"
set xtics (16, 100, 400, 1024)
set output out."/cost-by-size.svg"
if (measured("unix-size")) { @draw }

set title "Unix socket, 100 bytes, as fast as taken"
set xlabel "senders"
set xtics (1, 4, 16, 64)
set output out."/cost-by-senders.svg"
if (measured("unix-senders")) { @draw }

set title "UDP, 100 bytes"
set xlabel "datagrams sent per second"
set xtics ("20,000" 20000, "50,000" 50000, "100,000" 100000, "200,000" 200000)
set output out."/cost-by-rate.svg"
if (measured("udp-rate")) { @draw }

set ylabel "lost, percent (the axis is steps of ten, 0 at its foot)"
set logscale y
set yrange [0.001:100]
figure = "lost_percent"
above = 0.001
set output out."/loss-by-rate.svg"
if (measured("udp-rate")) { @draw }
