# Cost per tag against the number of tags, floor and driver, one picture per scenario. scripts/bench sets `data` (blocks
# of "tags nanoseconds": scenario by scenario, layout by layout, floor before driver) and `output_file`.
set terminal svg size 960,760 font "sans-serif,13" background "white"
set output output_file
set logscale xy
set xrange [70:14000]
set xtics (100, 1000, 10000)
set grid ytics xtics lc rgb "#dddddd"
set xlabel "tags"
set ylabel "nanoseconds per tag"
set key top left samplen 2 spacing 1.1
set multiplot layout 2,2
titles = "'one value read by name' 'first resolution' 'rebuild of the cyclic list' 'one cycle, no network'"
array lowest[4] = [10, 50, 30, 5]
array highest[4] = [1000, 5000, 3000, 500]
do for [picture = 0:3] {
    set title word(titles, picture + 1)
    set yrange [lowest[picture + 1]:highest[picture + 1]]
    plot data index 4 * picture + 0 with linespoints dt 2 lw 2 pt 6 lc rgb "#1f77b4" title "floor, 1 scope", \
         data index 4 * picture + 1 with linespoints lw 2 pt 7 lc rgb "#1f77b4" title "driver, 1 scope", \
         data index 4 * picture + 2 with linespoints dt 2 lw 2 pt 4 lc rgb "#d62728" title "floor, 20 scopes", \
         data index 4 * picture + 3 with linespoints lw 2 pt 5 lc rgb "#d62728" title "driver, 20 scopes"
}
unset multiplot
