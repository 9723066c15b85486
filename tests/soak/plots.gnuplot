# gnuplot -e "folder='FOLDER'" plots.gnuplot: FOLDER/plots.svg, from what a soak run has left there.
samples = folder . "/samples.csv"
events = folder . "/events.csv"
of(process) = "< awk -F, '$2 == \"" . process . "\"' " . samples
readers = "reader1 reader2 reader3 reader4 reader5 reader6 reader7 reader8"
others = "writer1 writer2 writer3 writer4 writer5 forker1 forker2 forker3 visitor1 visitor2 visitor3 visitor4"
crew = readers . " " . others

colour(p) = p[1:1] eq "r" ? 0x2166ac : p[1:1] eq "w" ? 0xb2182b : p[1:1] eq "f" ? 0x4d9221 : \
            p[1:1] eq "v" ? 0xfdae61 : 0x000000

# Of all processes of a kind together, between one sample and the next.
a_second(kind, column) = "< awk -F, '$2 ~ /^" . kind . "/ { now[$2] = $" . column . " } " . \
  "$2 == \"database\" { sum = 0; for (p in now) sum += now[p]; " . \
  "if ($1 < then + 1) next; if (then > 0) print $1 \",\" (sum - before) / ($1 - then); " . \
  "before = sum; then = $1 }' " . samples
# How many of them so far.
in_all(what) = "< awk -F, 'BEGIN { print \"0,0\" } $2 ~ /^" . what . "/ { print $1 \",\" ++n }' " . events

set terminal svg size 1000,1500 font "sans,12" background "white"
set output folder . "/plots.svg"
set datafile separator ","
set key outside right top
set xlabel "minutes"
set grid
set yrange [0:*]
set xrange [0:*] noextend
set multiplot layout 6,1

set title "Resident memory, MiB, without the database server: readers blue, writers red, those that fork green, visitors orange"
unset key
plot for [p in crew] of(p) using ($1/60):($3/1024) with lines linecolor rgb colour(p), \
  of("server") using ($1/60):($3/1024) with lines linewidth 2 linecolor rgb "black"

set title "Descriptors; the notification server's black"
plot for [p in crew] of(p) using ($1/60):4 with lines linecolor rgb colour(p), \
  of("server") using ($1/60):4 with lines linewidth 2 linecolor rgb "black"

set title "Threads"
plot for [p in crew . " server"] of(p) using ($1/60):5 with lines linecolor rgb colour(p)

set key above
set title "Changes a second"
plot a_second("reader", 6) using ($1/60):2 with lines title "heard by all readers", \
  a_second("writer", 8) using ($1/60):2 with lines title "written by the writers"

set key inside left top
set title "Gaps told so far, to each reader (the last one has slow callbacks)"
plot for [p in readers] of(p) using ($1/60):7 with lines linecolor rgb (p eq "reader8" ? 0x0 : colour(p)) notitle

set title "Disturbances so far, and comparisons of all copies with the database"
is_copy(what) = what[1:4] eq "copy"
name(what) = is_copy(what) ? "copies " . what[6:] : what eq "reader" ? "reader stopped" : what . " restarted"
plot for [what in "server database reader copy_right copy_wrong"] in_all(what) \
  using ($1/60):($2 / (is_copy(what) ? words(readers) : 1)) with steps title name(what)
unset multiplot
