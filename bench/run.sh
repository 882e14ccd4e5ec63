#!/usr/bin/env bash
# Times lexpand on whole lexicons and prints the figures that bench/README.md
# explains. Usage: bench/run.sh BUILD_DIR [PART...]
# (default: real tenfold generated large analysis; hungarian only when named)
#
#   real       the Russian Hunspell dictionary (hunspell-ru), converted by
#              hunspell2lexpand.py: throughput on one core and on all, peak RSS,
#              time per phase, forms per second through a pipe against
#              Hunspell's unmunch and against cat of the same output, and whether
#              the word forms agree with the converter's own expansion
#   tenfold    the real entries ten times over with distinct lemmas: time
#              against ten times the real lexicon's, and peak memory
#   generated  the seeded synthetic lexicon at 200,000 and 400,000 entries
#              (twice the entries should cost about twice the time)
#   large      one entry of 2,097,152 forms: time and peak memory
#   hungarian  Debian's Hungarian dictionary (hunspell-hu), billions of forms:
#              expanded for HU_SECONDS seconds (default 600), its rate of forms
#              per second and its memory sampled every 30 seconds; converting it
#              takes about half an hour the first time (make bench-hungarian)
#   analysis   compact dictionaries of the real lexicon against hfst, lttoolbox
#              and foma, and their exactness (bench/analysis.sh)
#
# Environment: RUNS, how many timed runs of each lexicon (default 1; the
# fastest counts, which steadies figures on a busy machine); PIPE_RUNS, how
# many runs through a pipe, lexpand, unmunch and cat alternating (default 7;
# the medians count); HUNSPELL2LEXPAND, the converter (default
# ../shared/tools/hunspell2lexpand.py beside the repository); HUNSPELL_DIR, where
# ru_RU.aff and ru_RU.dic are (default /usr/share/hunspell). The converted files
# are cached in BUILD_DIR/hunspell-ru, keyed on the input files and the converter.
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
repo=$(cd "$here/.." && pwd)
build_dir=$(cd "${1:-build-bench}" && pwd)
shift || true
parts=("$@")
[ ${#parts[@]} -gt 0 ] || parts=(real tenfold generated large analysis)

lexpand=$build_dir/lexpand/lexpand
[ -x "$lexpand" ] || { echo "bench/run.sh: no lexpand in $build_dir (build it first)" >&2; exit 1; }
converter=${HUNSPELL2LEXPAND:-$repo/../shared/tools/hunspell2lexpand.py}
hunspell_dir=${HUNSPELL_DIR:-/usr/share/hunspell}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# ---- Helpers -----------------------------------------------------------------

# run_timed OUT_PREFIX ARGS...: runs lexpand RUNS times with its output to
# /dev/null and phase timings on; leaves "WALL_SECONDS CPU_SECONDS RSS_KB" of
# the fastest run in OUT_PREFIX.time and its phase lines in OUT_PREFIX.phases.
run_timed() {
  local prefix=$1; shift
  local run best=""
  for ((run = 0; run < ${RUNS:-1}; ++run)); do
    LEXPAND_TIMINGS=1 /usr/bin/time -f '%e %U %S %M' -o "$prefix.try" "$lexpand" "$@" >/dev/null 2>"$prefix.try.phases"
    local wall user system rss
    read -r wall user system rss <"$prefix.try"
    if [ -z "$best" ] || awk -v a="$wall" -v b="$best" 'BEGIN { exit !(a < b) }'; then
      best=$wall
      awk -v w="$wall" -v u="$user" -v s="$system" -v r="$rss" 'BEGIN { print w, u + s, r }' >"$prefix.time"
      mv "$prefix.try.phases" "$prefix.phases"
    fi
  done
}

# run_piped OUT_FILE ARGS...: the wall-clock seconds of lexpand writing into a pipe.
run_piped() {
  local out=$1; shift
  # shellcheck disable=SC2016 # "$0" and "$@" belong to the inner shell
  /usr/bin/time -f '%e' -o "$out" sh -c '"$0" "$@" | cat >/dev/null' "$lexpand" "$@"
}

# print_phases FILE: the "lexpand timing:" lines as "  phase: name 1.234 s, ...".
print_phases() {
  awk '/^lexpand timing: / {
         sub(/^lexpand timing: /, ""); seconds = $(NF - 1); $(NF) = ""; $(NF - 1) = "";
         sub(/ +$/, ""); line = line sep sprintf("%s %.3f s", $0, seconds); sep = ", " }
       END { if (line != "") print "  phases: " line }' "$1"
}

# print_throughput ENTRIES FORMS BYTES SECONDS CPU_SECONDS RSS_KB PIPE_SECONDS LABEL
print_throughput() {
  awk -v n="$1" -v f="$2" -v b="$3" -v s="$4" -v c="$5" -v r="$6" -v p="$7" -v label="$8" 'BEGIN {
    if (s <= 0) s = 0.01;
    printf "%s: %d entries, %d forms in %.2f s to /dev/null (CPU %.2f s; %.2f s through a pipe)\n", label, n, f, s, c, p;
    printf "  %.0f entries/s, %.0f forms/s, %.1f MB/s of output, peak RSS %.1f MB\n", n / s, f / s, b / s / 1e6, r / 1024 }'
}

# The count of the closing "# Dictionary successfully generated N forms." line.
form_count() { tail -n 1 "$1" | sed -E 's/[^0-9]*([0-9]+).*/\1/'; }

# measure LABEL PREFIX ENTRIES OUTPUT FILES...: times lexpand on FILES (to
# /dev/null, then through a pipe) and prints its figures; OUTPUT is the
# output of a run already made. Leaves "seconds cpu rss_kb" in PREFIX.time.
measure() {
  local label=$1 prefix=$2 entries=$3 output=$4; shift 4
  local forms bytes seconds cpu rss_kb pipe
  forms=$(form_count "$output")
  bytes=$(stat -c %s "$output")
  run_timed "$prefix" "$@"
  read -r seconds cpu rss_kb <"$prefix.time"
  run_piped "$prefix.pipe" "$@"
  pipe=$(cat "$prefix.pipe")
  print_throughput "$entries" "$forms" "$bytes" "$seconds" "$cpu" "$rss_kb" "$pipe" "$label"
  print_phases "$prefix.phases"
}

# one_core PREFIX FILES...: lexpand on the first processor alone (one worker)
# against all processors. Their runs alternate, so that a busier moment of the
# machine weighs on both alike, RUNS of each (at least 9), timed to the
# microsecond (bash's EPOCHREALTIME): the medians and the fastest of each.
one_core() {
  local prefix=$1; shift
  local seconds cpu rss one_rss run start runs=$((${RUNS:-1} > 9 ? ${RUNS:-1} : 9))
  read -r seconds cpu rss <"$prefix.time"
  /usr/bin/time -f '%M' -o "$prefix.one.rss" taskset -c 0 "$lexpand" "$@" >/dev/null
  one_rss=$(cat "$prefix.one.rss")
  : >"$prefix.one.walls"
  : >"$prefix.all.walls"
  for ((run = 0; run < runs; ++run)); do
    start=$EPOCHREALTIME
    taskset -c 0 "$lexpand" "$@" >/dev/null
    awk -v a="$EPOCHREALTIME" -v b="$start" 'BEGIN { print a - b }' >>"$prefix.one.walls"
    start=$EPOCHREALTIME
    "$lexpand" "$@" >/dev/null
    awk -v a="$EPOCHREALTIME" -v b="$start" 'BEGIN { print a - b }' >>"$prefix.all.walls"
  done
  awk -v om="$(median "$prefix.one.walls")" -v am="$(median "$prefix.all.walls")" \
      -v of="$(sort -g "$prefix.one.walls" | head -1)" -v af="$(sort -g "$prefix.all.walls" | head -1)" \
      -v r="$rss" -v orss="$one_rss" -v n="$(nproc)" -v k="$runs" 'BEGIN {
    printf "  one core (taskset -c 0) against all %d cores, %d runs each, alternating: medians %.3f s and %.3f s, %.2f times as fast; fastest %.3f s and %.3f s, %.2f times; peak RSS %.1f MB and %.1f MB\n",
           n, k, om, am, om / am, of, af, of / af, orss / 1024, r / 1024 }'
}

# median FILE: the median of the numbers of FILE, one per line.
median() { sort -g "$1" | awk '{ v[NR] = $1 } END { print (NR % 2) ? v[(NR + 1) / 2] : (v[NR / 2] + v[NR / 2 + 1]) / 2 }'; }

# piped_seconds COMMAND...: the wall-clock seconds of COMMAND writing into a pipe.
piped_seconds() {
  # shellcheck disable=SC2016 # "$0" and "$@" belong to the inner shell
  /usr/bin/time -f '%e' -o "$work/piped" sh -c '"$0" "$@" | cat >/dev/null' "$@"
  cat "$work/piped"
}

# through_a_pipe FORMS DIC AFF FILES...: lexpand, unmunch and cat of
# lexpand's output, each writing into a pipe, alternating PIPE_RUNS times;
# prints the medians and lexpand's forms per second against the other two.
through_a_pipe() {
  local forms=$1 dic=$2 aff=$3; shift 3
  : >"$work/lexpand.runs"; : >"$work/unmunch.runs"; : >"$work/cat.runs"
  local have_unmunch=0
  command -v unmunch >/dev/null && have_unmunch=1
  [ $have_unmunch = 1 ] && unmunch "$dic" "$aff" >"$work/unmunch.out" 2>/dev/null
  local run
  for ((run = 0; run < ${PIPE_RUNS:-7}; ++run)); do
    piped_seconds "$lexpand" "$@" >>"$work/lexpand.runs"
    [ $have_unmunch = 1 ] && piped_seconds sh -c 'unmunch "$0" "$1" 2>/dev/null' "$dic" "$aff" >>"$work/unmunch.runs"
    piped_seconds cat "$work/ru.out" >>"$work/cat.runs"
  done
  local lexpand_seconds cat_seconds
  lexpand_seconds=$(median "$work/lexpand.runs")
  cat_seconds=$(median "$work/cat.runs")
  awk -v s="$lexpand_seconds" -v f="$forms" -v c="$cat_seconds" 'BEGIN {
    if (s <= 0) s = 0.001; if (c <= 0) c = 0.001;
    printf "through a pipe (medians of %d runs): lexpand %.3f s, %.0f forms/s; cat of its output %.3f s: lexpand takes %.1f times as long as cat\n",
           ENVIRON["PIPE_RUNS"] ? ENVIRON["PIPE_RUNS"] : 7, s, f / s, c, s / c }'
  if [ $have_unmunch = 1 ]; then
    local unmunch_seconds unmunch_forms
    unmunch_seconds=$(median "$work/unmunch.runs")
    unmunch_forms=$(wc -l <"$work/unmunch.out")
    awk -v s="$lexpand_seconds" -v f="$forms" -v us="$unmunch_seconds" -v uf="$unmunch_forms" 'BEGIN {
      if (s <= 0) s = 0.001; if (us <= 0) us = 0.001;
      printf "unmunch: %d forms in %.3f s through a pipe, %.0f forms/s\n", uf, us, uf / us;
      printf "  forms per second, lexpand / unmunch: %.2f\n", (f / s) / (uf / us) }'
  else
    echo "unmunch: not installed (Debian package hunspell-tools), no comparison"
  fi
}

# ---- The real lexicon ----------------------------------------------------------

real_lexicon() {
  local aff=$hunspell_dir/ru_RU.aff dic=$hunspell_dir/ru_RU.dic
  echo "== Real lexicon: Hunspell ru_RU"
  if [ ! -f "$converter" ]; then
    echo "  skipped: the converter hunspell2lexpand.py is not at $converter"
    echo "  (it ships in shared/tools beside the repository; set HUNSPELL2LEXPAND=/path/to/hunspell2lexpand.py)"
    return 0
  fi
  if [ ! -f "$aff" ] || [ ! -f "$dic" ]; then
    echo "  skipped: no $aff or $dic (install the Debian package hunspell-ru, or run make bench as root)"
    return 0
  fi

  # Converting takes about 12 s and the converter's own expansion as long
  # again: both are kept until an input file or the converter changes.
  local cache=$build_dir/hunspell-ru
  local key
  key=$(cat "$aff" "$dic" "$converter" | sha256sum | cut -d' ' -f1)
  if [ "$(cat "$cache/key" 2>/dev/null)" != "$key" ]; then
    echo "  converting $dic (cached in $cache)..."
    rm -rf "$cache"
    mkdir -p "$cache"
    python3 "$converter" convert "$aff" "$dic" "$cache" --name ru_RU >"$cache/convert.log"
    python3 "$converter" simulate "$cache/ru_RU.dic" "$cache/ru_RU.pdg" >"$cache/simulated.txt" 2>/dev/null
    echo "$key" >"$cache/key"
  fi
  local files=("$cache/ru_RU.dic" "$cache/ru_RU.pdg" "$cache/ru_RU.def")

  "$lexpand" "${files[@]}" >"$work/ru.out" # warm-up, and the output to measure and compare
  measure lexpand "$work/ru" "$(grep -cv '^#' "$cache/ru_RU.dic" || true)" "$work/ru.out" "${files[@]}"
  local forms seconds
  forms=$(form_count "$work/ru.out")
  read -r seconds _ <"$work/ru.time"

  one_core "$work/ru" "${files[@]}"
  through_a_pipe "$forms" "$dic" "$aff" "${files[@]}"
  echo "word forms, lexpand against the converter's own expansion (hunspell2lexpand.py simulate):"
  if python3 "$converter" compare "$work/ru.out" "$cache/simulated.txt" >"$work/compare.txt"; then
    sed 's/^/  /' "$work/compare.txt"
    echo "  => the word forms agree (same set of forms)"
    # The multisets may still differ: see "Agreement" in bench/README.md.
    awk '/^[AB] / { lines[++n] = $3 }
         END { if (lines[1] != lines[2]) printf "  (line counts differ by %d: see Agreement in bench/README.md)\n",
               lines[2] - lines[1] }' "$work/compare.txt"
  else
    sed 's/^/  /' "$work/compare.txt"
    echo "  => the word forms DIFFER"
  fi
  if [ -s "$work/unmunch.out" ]; then
    echo "word forms, lexpand against unmunch (for information only: the two expansions need not match):"
    python3 "$converter" compare "$work/ru.out" "$work/unmunch.out" | sed 's/^/  /' || true
  fi
}

# ---- The generated lexicon -------------------------------------------------------

generated_lexicon() {
  echo "== Generated lexicon (bench/generate_lexicon.py)"
  local entries seconds_200k=0 cpu_200k=0
  for entries in 200000 400000; do
    python3 "$here/generate_lexicon.py" "$work/$entries" "$entries"
    local files=("$work/$entries/lexicon.dic" "$work/$entries/lexicon.pdg" "$work/$entries/lexicon.def")
    "$lexpand" "${files[@]}" >"$work/gen.out" # warm-up, and the output to measure
    measure generated "$work/gen" "$entries" "$work/gen.out" "${files[@]}"
    rm -f "$work/gen.out"
    local seconds cpu
    read -r seconds cpu _ <"$work/gen.time"
    if [ "$entries" = 200000 ]; then seconds_200k=$seconds; cpu_200k=$cpu; fi
  done
  # CPU time is the steadier of the two when other processes share the cores.
  awk -v a="$seconds_200k" -v b="$seconds" -v ca="$cpu_200k" -v cb="$cpu" 'BEGIN {
    if (a <= 0) a = 0.01; if (ca <= 0) ca = 0.01;
    printf "linearity: 400,000 entries took %.2f times the CPU time of 200,000 (%.2f times the wall time; 2.00 is linear)\n",
           cb / ca, b / a }'
}

# ---- Ten times the real lexicon ----------------------------------------------

tenfold_lexicon() {
  local cache=$build_dir/hunspell-ru
  echo "== Ten times the real lexicon (its entries ten times over, with distinct lemmas)"
  if [ ! -f "$cache/ru_RU.dic" ] || [ ! -f "$work/ru.time" ]; then
    echo "  skipped: the real lexicon was not measured in this run"
    return 0
  fi
  # Copy k of every entry has its lemma behind the k-th of ten letters; the
  # shapes, and so the paradigms and lines, stay those of the real lexicon.
  awk 'BEGIN { split("а б в г д е ж з и к", prefix, " ") }
       { lines[NR] = $0 }
       END { for (k = 1; k <= 10; ++k)
               for (i = 1; i <= NR; ++i)
                 print (lines[i] ~ /^#/ || lines[i] == "") ? lines[i] : (k == 1 ? "" : prefix[k]) lines[i] }' \
    "$cache/ru_RU.dic" >"$work/ru10.dic"
  local files=("$work/ru10.dic" "$cache/ru_RU.pdg" "$cache/ru_RU.def")
  "$lexpand" "${files[@]}" >"$work/ru10.out"
  measure tenfold "$work/ru10" "$(grep -cv '^#' "$work/ru10.dic" || true)" "$work/ru10.out" "${files[@]}"
  rm -f "$work/ru10.out"
  local seconds rss ten_seconds ten_rss
  read -r seconds _ rss <"$work/ru.time"
  read -r ten_seconds _ ten_rss <"$work/ru10.time"
  awk -v s="$seconds" -v t="$ten_seconds" -v r="$rss" -v tr="$ten_rss" \
      -v grown="$(( $(stat -c %s "$work/ru10.dic") - $(stat -c %s "$cache/ru_RU.dic") ))" 'BEGIN {
    if (s <= 0) s = 0.01;
    printf "  time: %.2f times the real lexicon (10.00 is linear); peak RSS %.1f MB against %.1f MB, %.1f MB more, of which the larger input file is %.1f MB\n",
           t / s, tr / 1024, r / 1024, (tr - r) / 1024, grown / 1048576 }'
}

# ---- One large entry ------------------------------------------------------------

large_entry() {
  echo "== One entry of 2,097,152 forms ((a|b) written 21 times)"
  mkdir -p "$work/large"
  python3 -c "print('FLAT = ' + ' '.join(['(a|b)'] * 21) + ' ;')" >"$work/large/large.pdg"
  echo 'x,N+FLX=FLAT' >"$work/large/large.dic"
  echo 'N_Nb = s | p ;' >"$work/large/large.def"
  /usr/bin/time -f '%e %U %M' -o "$work/large.time" "$lexpand" "$work/large/large.dic" "$work/large/large.pdg" \
    "$work/large/large.def" | tail -n 1
  local seconds cpu rss
  read -r seconds cpu rss <"$work/large.time"
  awk -v s="$seconds" -v c="$cpu" -v r="$rss" 'BEGIN {
    printf "  %.2f s (CPU %.2f s), peak RSS %.1f MB\n", s, c, r / 1024 }'
}

# ---- The Hungarian lexicon ----------------------------------------------------

hungarian_lexicon() {
  local aff=$hunspell_dir/hu_HU.aff dic=$hunspell_dir/hu_HU.dic seconds=${HU_SECONDS:-600}
  echo "== Hungarian lexicon: Hunspell hu_HU, expanded for $seconds s"
  if [ ! -f "$converter" ] || [ ! -f "$aff" ] || [ ! -f "$dic" ]; then
    echo "  skipped: no converter, or no $aff (install the Debian package hunspell-hu)"
    return 0
  fi
  local cache=$build_dir/hunspell-hu
  local key
  key=$(cat "$aff" "$dic" "$converter" | sha256sum | cut -d' ' -f1)
  if [ "$(cat "$cache/key" 2>/dev/null)" != "$key" ]; then
    echo "  converting $dic (cached in $cache)..."
    rm -rf "$cache"
    mkdir -p "$cache"
    python3 "$converter" convert "$aff" "$dic" "$cache" --name hu_HU >"$cache/convert.log"
    echo "$key" >"$cache/key"
  fi
  mkfifo "$work/hu.fifo"
  wc -l <"$work/hu.fifo" >"$work/hu.count" &
  local counter=$!
  "$lexpand" "$cache/hu_HU.dic" "$cache/hu_HU.pdg" "$cache/hu_HU.def" >"$work/hu.fifo" &
  local pid=$! elapsed=0 step=$(( seconds < 60 ? 5 : 30 ))
  echo -n "  resident memory (MB) every $step s:"
  while [ $elapsed -lt "$seconds" ] && kill -0 $pid 2>/dev/null; do
    sleep $step
    elapsed=$((elapsed + step))
    awk '/^VmRSS:/ { printf " %.1f", $2 / 1024 }' "/proc/$pid/status" 2>/dev/null || true
  done
  echo
  kill $pid 2>/dev/null || true
  wait $pid 2>/dev/null || true
  wait $counter
  awk -v n="$(cat "$work/hu.count")" -v s="$elapsed" 'BEGIN {
    if (s <= 0) s = 1;
    printf "  %d lines in %d s: %.0f forms/s\n", n, s, n / s }'
}

for part in "${parts[@]}"; do
  case $part in
    real) real_lexicon ;;
    tenfold) tenfold_lexicon ;;
    generated) generated_lexicon ;;
    large) large_entry ;;
    hungarian) hungarian_lexicon ;;
    analysis) "$here/analysis.sh" "$build_dir" ;;
    *) echo "bench/run.sh: unknown part \"$part\" (real, tenfold, generated, large, hungarian or analysis)" >&2; exit 1 ;;
  esac
done
