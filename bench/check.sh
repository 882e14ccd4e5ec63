#!/usr/bin/env bash
# Times lexpand-check beside lexpand and shows what it finds. Usage:
# bench/check.sh BUILD_DIR
#
#   real      the Russian Hunspell lexicon (converted as bench/run.sh converts it,
#             and cached in the same place): the time and peak RSS of lexpand and
#             of lexpand-check on the same files, their ratio (at most 2 is the
#             goal), and what the check reports (it should be clean)
#   faulty    the generated lexicon of 1,000,000 entries in which every 100th line
#             is broken, in five ways in turn: how many errors are reported (all
#             10,000 should be), the time, and the peak RSS per entry at 250,000
#             and at 1,000,000 entries (the same figure means constant memory per
#             entry)
#
# Environment: RUNS (default 1; the fastest run counts), HUNSPELL2LEXPAND and
# HUNSPELL_DIR as for bench/run.sh.
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
repo=$(cd "$here/.." && pwd)
build_dir=$(cd "${1:-build-bench}" && pwd)
lexpand=$build_dir/lexpand/lexpand
check=$build_dir/lexpand-check/lexpand-check
for program in "$lexpand" "$check"; do
  [ -x "$program" ] || { echo "bench/check.sh: no $program (build it first)" >&2; exit 1; }
done
converter=${HUNSPELL2LEXPAND:-$repo/../shared/tools/hunspell2lexpand.py}
hunspell_dir=${HUNSPELL_DIR:-/usr/share/hunspell}

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# timed OUT ARGS...: runs ARGS RUNS times, output to /dev/null; leaves
# "CPU_SECONDS RSS_KB WALL_SECONDS" of the run with the least CPU time in OUT.
# CPU time (user and system) is the figure compared: it stays steady when
# other processes share the cores, and neither program uses a second thread.
timed() {
  local out=$1 run best=""; shift
  for ((run = 0; run < ${RUNS:-1}; ++run)); do
    /usr/bin/time -f '%U %S %M %e' -o "$out.try" "$@" >/dev/null 2>&1 || true
    local user system rss wall seconds
    # The last line: a failing command's status comes first.
    read -r user system rss wall < <(tail -n 1 "$out.try")
    seconds=$(awk -v u="$user" -v s="$system" 'BEGIN { print u + s }')
    if [ -z "$best" ] || awk -v a="$seconds" -v b="$best" 'BEGIN { exit !(a < b) }'; then
      best=$seconds
      echo "$seconds $rss $wall" >"$out"
    fi
  done
}

real_lexicon() {
  echo "== lexpand-check on the real lexicon: Hunspell ru_RU"
  local aff=$hunspell_dir/ru_RU.aff dic=$hunspell_dir/ru_RU.dic cache=$build_dir/hunspell-ru
  if [ ! -f "$converter" ] || [ ! -f "$aff" ] || [ ! -f "$dic" ]; then
    echo "  skipped: no converter at $converter, or no $aff and $dic"
    return 0
  fi
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
  "$lexpand" "${files[@]}" >/dev/null # warm-up
  timed "$work/lexpand.time" "$lexpand" "${files[@]}"
  timed "$work/check.time" "$check" "${files[@]}"
  local status=0
  "$check" "${files[@]}" >"$work/report.txt" || status=$?
  awk -v entries="$(grep -cv '^#' "${files[0]}" || true)" '
    FNR == 1 && NR == 1 { ls = $1; lr = $2; lw = $3; next }
    FNR == 1 { cs = $1; cr = $2; cw = $3 }
    END {
      if (ls <= 0) ls = 0.01; if (lw <= 0) lw = 0.01;
      printf "  lexpand:       CPU %.2f s, wall %.2f s, peak RSS %.1f MB (%d entries)\n", ls, lw, lr / 1024, entries;
      printf "  lexpand-check: CPU %.2f s, wall %.2f s, peak RSS %.1f MB\n", cs, cw, cr / 1024;
      printf "  lexpand-check / lexpand: %.2f in CPU time, %.2f in wall time (goal: at most 2)\n", cs / ls, cw / lw }' \
    "$work/lexpand.time" "$work/check.time"
  echo "  report: $(tail -n 1 "$work/report.txt") (exit status $status)"
  if [ "$(wc -l <"$work/report.txt")" -gt 1 ]; then
    echo "  => NOT clean; the first problems:"
    head -n 5 "$work/report.txt" | sed 's/^/    /'
  else
    echo "  => clean"
  fi
}

# faulty ENTRIES: the generated lexicon of ENTRIES entries with every 100th
# line broken, in $work/faulty-ENTRIES.
faulty() {
  local entries=$1 folder=$work/faulty-$1
  python3 "$here/generate_lexicon.py" "$folder" "$entries"
  mv "$folder/lexicon.dic" "$folder/clean.dic"
  # The five ways: no comma; an undefined inflection; an unclosed quote; a
  # category in lower case; an undefined derivation.
  awk 'NR % 100 != 0 { print; next }
       { kind = (NR / 100) % 5 }
       kind == 0 { sub(/,/, ""); print; next }
       kind == 1 { print $0 "+FLX=NOPE"; next }
       kind == 2 { print $0 "+Gloss=\"open"; next }
       kind == 3 { match($0, /,[A-Z]+/); print substr($0, 1, RSTART) tolower(substr($0, RSTART + 1, RLENGTH - 1)) \
                   substr($0, RSTART + RLENGTH); next }
       { print $0 "+DRV=NODRV:" }' "$folder/clean.dic" >"$folder/lexicon.dic"
}

faulty_lexicon() {
  echo "== lexpand-check on a generated lexicon with faulty lines (every 100th line)"
  local entries
  for entries in 250000 1000000; do
    faulty "$entries"
    local folder=$work/faulty-$entries
    local files=("$folder/lexicon.dic" "$folder/lexicon.pdg" "$folder/lexicon.def")
    timed "$work/lexpand.time" "$lexpand" "$folder/clean.dic" "${files[@]:1}"
    timed "$work/check.time" "$check" "${files[@]}"
    local errors expected=$((entries / 100))
    errors=$("$check" "${files[@]}" | grep -c ': error: ' || true)
    awk -v n="$entries" -v e="$errors" -v x="$expected" '
      FNR == 1 && NR == 1 { ls = $1; lw = $3; next }
      FNR == 1 { cs = $1; cr = $2; cw = $3 }
      END {
        printf "  %d entries: %d errors reported of %d faulty lines%s\n", n, e, x, e == x ? "" : " (MISSING SOME)";
        printf "    lexpand-check CPU %.2f s, wall %.2f s (lexpand on the clean lexicon: %.2f s, %.2f s)\n", cs, cw, ls, lw;
        printf "    peak RSS %.1f MB, %.0f bytes per entry\n", cr / 1024, cr * 1024 / n }' \
      "$work/lexpand.time" "$work/check.time"
    rm -rf "$folder"
  done
}

real_lexicon
faulty_lexicon
