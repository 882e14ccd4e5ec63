#!/usr/bin/env bash
# Times lexpand on whole lexicons and prints the figures that bench/README.md
# explains. Usage: bench/run.sh BUILD_DIR [real] [generated] [analysis]   (all by default)
#
#   real       the Russian Hunspell dictionary (hunspell-ru), converted by
#              hunspell2lexpand.py: throughput, peak RSS, time per phase, the
#              time per form against Hunspell's unmunch, and whether the word
#              forms agree with the converter's own expansion
#   generated  the seeded synthetic lexicon at 200,000 and 400,000 entries
#              (twice the entries should cost about twice the time)
#   analysis   compact dictionaries of the real lexicon against hfst, lttoolbox
#              and foma, and their exactness (bench/analysis.sh)
#
# Environment: RUNS, how many timed runs of each lexicon (default 1; the
# fastest counts, which steadies figures on a busy machine); HUNSPELL2LEXPAND, the converter (default
# ../shared/tools/hunspell2lexpand.py beside the repository); HUNSPELL_DIR, where
# ru_RU.aff and ru_RU.dic are (default /usr/share/hunspell). The converted files
# are cached in BUILD_DIR/hunspell-ru, keyed on the input files and the converter.
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
repo=$(cd "$here/.." && pwd)
build_dir=$(cd "${1:-build-bench}" && pwd)
shift || true
parts=("$@")
[ ${#parts[@]} -gt 0 ] || parts=(real generated analysis)

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

  if command -v unmunch >/dev/null; then
    /usr/bin/time -f '%e' -o "$work/unmunch.time" unmunch "$dic" "$aff" >"$work/unmunch.out" 2>/dev/null
    local unmunch_seconds unmunch_forms
    unmunch_seconds=$(cat "$work/unmunch.time")
    unmunch_forms=$(wc -l <"$work/unmunch.out")
    awk -v s="$seconds" -v f="$forms" -v us="$unmunch_seconds" -v uf="$unmunch_forms" 'BEGIN {
      if (us <= 0) us = 0.01;
      printf "unmunch: %d forms in %.2f s (%.0f forms/s)\n", uf, us, uf / us;
      printf "  time per form, lexpand / unmunch: %.1f (%.3f us against %.3f us)\n",
             (s / f) / (us / uf), s / f * 1e6, us / uf * 1e6 }'
  else
    echo "unmunch: not installed (Debian package hunspell-tools), no comparison"
  fi

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

for part in "${parts[@]}"; do
  case $part in
    real) real_lexicon ;;
    generated) generated_lexicon ;;
    analysis) "$here/analysis.sh" "$build_dir" ;;
    *) echo "bench/run.sh: unknown part \"$part\" (real, generated or analysis)" >&2; exit 1 ;;
  esac
done
