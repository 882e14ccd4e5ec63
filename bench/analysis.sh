#!/usr/bin/env bash
# The analysis benchmark: compact dictionaries of Debian's Russian lexicon
# (hunspell-ru, converted by hunspell2lexpand.py), built and read by
# lexpand-compile and lexpand-lookup and by the peers hfst, lttoolbox and
# foma, side by side; then the exactness check on the same lexicon.
# Usage: bench/analysis.sh BUILD_DIR   (bench/run.sh calls it as its part "analysis")
#
# Every tool builds the same (form, analysis) pairs: the analysis is lexpand's
# line without its form and its _LEX item, so the peers store no lemma, while
# lexpand's file stores the reverse command as well. Lookup reads the same
# 1,000,000 words (5 % unknown) with its output to /dev/null.
#
# Environment: RUNS (the fastest of RUNS timed runs counts, default 1),
# HUNSPELL2LEXPAND and HUNSPELL_DIR as for bench/run.sh, PEERS (default
# "hfst lttoolbox foma"; empty to measure lexpand alone).
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
repo=$(cd "$here/.." && pwd)
build_dir=$(cd "${1:-build-bench}" && pwd)
converter=${HUNSPELL2LEXPAND:-$repo/../shared/tools/hunspell2lexpand.py}
hunspell_dir=${HUNSPELL_DIR:-/usr/share/hunspell}
peers=${PEERS-hfst lttoolbox foma}
compile=$build_dir/lexpand-compile/lexpand-compile
lookup=$build_dir/lexpand-lookup/lexpand-lookup

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# timed NAME COMMAND...: runs COMMAND (through sh -c) RUNS times and leaves
# "WALL CPU RSS_KB" of the fastest run in $work/NAME.time.
timed() {
  local name=$1 command=$2 run best=""
  for ((run = 0; run < ${RUNS:-1}; ++run)); do
    /usr/bin/time -f '%e %U %S %M' -o "$work/$name.try" sh -c "$command" >/dev/null 2>"$work/$name.err" ||
      { echo "  $name failed:"; sed 's/^/    /' "$work/$name.err" | tail -n 5; return 1; }
    local wall user system rss
    read -r wall user system rss <"$work/$name.try"
    if [ -z "$best" ] || awk -v a="$wall" -v b="$best" 'BEGIN { exit !(a < b) }'; then
      best=$wall
      awk -v w="$wall" -v u="$user" -v s="$system" -v r="$rss" 'BEGIN { print w, u + s, r }' >"$work/$name.time"
    fi
  done
}

# The sum of the wall and CPU times and the largest RSS of several steps.
combine() {
  local name=$1; shift
  cat "${@/#/$work/}" | awk '{ w += $1; c += $2; if ($3 > r) r = $3 } END { print w, c, r }' >"$work/$name.time"
}

# row TOOL BUILD_TIME_NAME FILE LOOKUP_TIME_NAME: one line of the table.
row() {
  local tool=$1 build=$2 file=$3 lookup_run=$4
  local bw bc br lw lc lr size
  read -r bw bc br <"$work/$build.time"
  read -r lw lc lr <"$work/$lookup_run.time"
  size=$(stat -c %s "$file")
  awk -v t="$tool" -v bw="$bw" -v bc="$bc" -v br="$br" -v s="$size" -v f="$forms" -v p="$pairs" \
      -v lw="$lw" -v lc="$lc" -v lr="$lr" -v n="$words" 'BEGIN {
    if (lw <= 0) lw = 0.01; if (lc <= 0) lc = 0.01;
    printf "  %-10s %7.2f s %7.2f s %8.1f MB %10.2f MB %7.3f %7.3f %8.2f M %8.2f M %8.1f MB\n",
           t, bw, bc, br / 1024, s / 1e6, s / f, s / p, n / lw / 1e6, n / lc / 1e6, lr / 1024 }'
}

ensure_lexicon() {
  local aff=$hunspell_dir/ru_RU.aff dic=$hunspell_dir/ru_RU.dic
  cache=$build_dir/hunspell-ru
  if [ ! -f "$converter" ] || [ ! -f "$aff" ] || [ ! -f "$dic" ]; then
    echo "  skipped: needs $converter and $aff, $dic (Debian package hunspell-ru)"
    return 1
  fi
  if [ ! -f "$cache/ru_RU.dic" ]; then
    mkdir -p "$cache"
    python3 "$converter" convert "$aff" "$dic" "$cache" --name ru_RU >"$cache/convert.log"
  fi
}

echo "== Analysis: compact dictionaries of ru_RU against hfst, lttoolbox and foma"
[ -x "$compile" ] && [ -x "$lookup" ] || { echo "  no lexpand-compile or lexpand-lookup in $build_dir"; exit 1; }
ensure_lexicon || exit 0
files=("$cache/ru_RU.dic" "$cache/ru_RU.pdg" "$cache/ru_RU.def")
"$build_dir/lexpand/lexpand" "${files[@]}" >"$work/lines"
python3 "$here/analysis_inputs.py" words "$work/lines" 1000000 "$work"
python3 "$here/analysis_inputs.py" peers "$work/lines" "$work"
words=$(wc -l <"$work/words")
pairs=$(cat "$work/pairs")

timed lexpand-build "'$compile' -o '$work/ru.lxd' '${files[0]}' '${files[1]}' '${files[2]}'"
timed lexpand-lookup "'$lookup' '$work/ru.lxd' '$work/words'"
forms=$("$lookup" --info "$work/ru.lxd" | sed -n 's/^forms: //p')
lexpand_pairs=$("$lookup" --info "$work/ru.lxd" | sed -n 's/^pairs of a form and an analysis: //p')
unknown=$("$lookup" "$work/ru.lxd" "$work/words" | grep -c $'\t?$' || true)
echo "  $forms forms; $pairs (form, analysis) pairs without the lemma ($lexpand_pairs with it);"
echo "  lookup of $words words, $unknown of them unknown"
echo "  tool          build (wall, CPU, peak RSS)        file   B/form  B/pair   lookup words/s (wall, CPU)  lookup RSS"
row lexpand lexpand-build "$work/ru.lxd" lexpand-lookup

for peer in $peers; do
  case $peer in
    hfst)
      command -v hfst-strings2fst >/dev/null || { echo "  hfst: not installed (Debian package hfst)"; continue; }
      timed hfst-strings "hfst-strings2fst -j -p -S -i '$work/hfst.pairs' -o '$work/ru.hfst'" || continue
      timed hfst-minimize "hfst-minimize -i '$work/ru.hfst' -o '$work/ru.min.hfst'" || continue
      timed hfst-optimize "hfst-fst2fst -O -i '$work/ru.min.hfst' -o '$work/ru.hfstol'" || continue
      combine hfst-build hfst-strings.time hfst-minimize.time hfst-optimize.time
      timed hfst-lookup "hfst-optimized-lookup '$work/ru.hfstol' <'$work/words'" || continue
      row hfst hfst-build "$work/ru.hfstol" hfst-lookup
      ;;
    lttoolbox)
      command -v lt-comp >/dev/null || { echo "  lttoolbox: not installed (Debian packages lttoolbox, lttoolbox-dev)"; continue; }
      timed lt-build "lt-comp lr '$work/lt.dix' '$work/ru.bin'" || continue
      timed lt-lookup "lt-proc -c '$work/ru.bin' <'$work/words'" || continue
      row lttoolbox lt-build "$work/ru.bin" lt-lookup
      ;;
    foma)
      command -v foma >/dev/null || { echo "  foma: not installed (Debian package foma-bin)"; continue; }
      timed foma-build "foma -e 'read spaced-text $work/foma.spaced' -e 'save stack $work/ru.foma' -s" || continue
      timed foma-lookup "flookup '$work/ru.foma' <'$work/words'" || continue
      row foma foma-build "$work/ru.foma" foma-lookup
      ;;
    *) echo "  unknown peer $peer" ;;
  esac
done

echo "exactness on ru_RU (every form looked up against lexpand's lines):"
expected_analyses=$build_dir/bench/lexpand_expected_analyses
if "$repo/tests/exactness/check.sh" "$build_dir/lexpand/lexpand" "$compile" "$lookup" "$expected_analyses" "$cache" \
     >"$work/exactness" 2>&1; then
  sed 's/^/  /' "$work/exactness"
else
  sed 's/^/  /' "$work/exactness" | head -n 20
  echo "  => NOT EXACT"
fi
