#!/usr/bin/env bash
# Profiles lexpand on the first ENTRIES entries (default 20,000) of the
# converted Russian Hunspell lexicon and prints the ten most costly functions,
# by inclusive cost and by self cost. Uses `perf record` when the processor's
# counters are readable here, valgrind's callgrind otherwise (slower, but it
# counts instructions exactly and works in any virtual machine).
#
# Usage: bench/profile.sh [ENTRIES]
# Needs the converted lexicon that `make bench` caches in build-bench/hunspell-ru
# (BENCH_DIR to use another directory); builds an optimised lexpand with
# debugging symbols in build-profile (PROFILE_DIR) and leaves the raw profile there.
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
repo=$(cd "$here/.." && pwd)
entries=${1:-20000}
bench_dir=${BENCH_DIR:-$repo/build-bench}
profile_dir=${PROFILE_DIR:-$repo/build-profile}
cache=$bench_dir/hunspell-ru

if [ ! -f "$cache/key" ]; then
  echo "bench/profile.sh: no converted lexicon in $cache; run make bench (or bench/run.sh $bench_dir real) first" >&2
  exit 1
fi

# The same optimisation as the Release build, with symbols and frame pointers
# so that costs land on the right functions and call stacks can be walked.
cmake -S "$repo" -B "$profile_dir" -DCMAKE_BUILD_TYPE=Release -DLEXPAND_BUILD_TESTS=OFF \
  -DCMAKE_CXX_FLAGS="-g -fno-omit-frame-pointer" >/dev/null
cmake --build "$profile_dir" -j "$(nproc 2>/dev/null || echo 2)" --target lexpand >/dev/null
lexpand=$profile_dir/lexpand/lexpand

# The first ENTRIES entries, with the whole grammar and definitions.
input=$profile_dir/profile-input
mkdir -p "$input"
awk -v n="$entries" '!/^#/ { if (k++ >= n) exit; print }' "$cache/ru_RU.dic" >"$input/ru_RU.dic"
cp "$cache/ru_RU.pdg" "$cache/ru_RU.def" "$input/"
files=("$input/ru_RU.dic" "$input/ru_RU.pdg" "$input/ru_RU.def")
echo "profiling lexpand on the first $(wc -l <"$input/ru_RU.dic") entries of ru_RU"

top=10
if perf stat -e instructions true 2>&1 | grep -q 'not supported\|not counted\|Permission\|Error' ||
   ! perf stat -e instructions true >/dev/null 2>&1; then
  command -v valgrind >/dev/null || {
    echo "bench/profile.sh: neither perf counters nor valgrind are available (apt-get install valgrind)" >&2
    exit 1
  }
  out=$profile_dir/callgrind.out
  echo "tool: valgrind --tool=callgrind (perf cannot read the counters here); cost: instructions (Ir)"
  valgrind --tool=callgrind --callgrind-out-file="$out" "$lexpand" "${files[@]}" >/dev/null 2>"$profile_dir/callgrind.log"
  # callgrind_annotate lists "COST (PERCENT)  FILE:FUNCTION [OBJECT]". One
  # function can come under two file names (its own source and an inlined
  # copy), so lines are merged by function: the largest inclusive cost, the sum
  # of self costs. The start-up frames that hold the whole run are left out.
  annotate() {
    local merge=$1; shift
    callgrind_annotate --auto=no "$@" "$out" 2>/dev/null | awk -v top="$top" -v merge="$merge" '
      /PROGRAM TOTALS/ { gsub(/,/, "", $1); total = $1 + 0; next }
      found && NF == 0 { found = 0; done = 1 } # the end of the function table
      done { next }
      found && $2 ~ /^\(/ {
        cost = $1; gsub(/,/, "", cost); cost += 0
        name = $0; sub(/^ *[0-9,]+ +\([ 0-9.]+%\) +/, "", name); sub(/ \[[^]]*\]$/, "", name)
        sub(/^[^:]*:/, "", name)
        gsub(/std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >/, "std::string", name)
        gsub(/std::basic_string_view<char, std::char_traits<char> >/, "std::string_view", name)
        if (name ~ /below main|^__libc_start|^_start$|^main$|^0x[0-9a-f]+$/) next
        if (!(name in costs)) order[++n] = name
        costs[name] = merge == "sum" ? costs[name] + cost : (cost > costs[name] ? cost : costs[name])
        next }
      /file:function/ { found = 1 }
      END {
        for (i = 1; i <= n; ++i) for (j = i + 1; j <= n; ++j)
          if (costs[order[j]] > costs[order[i]]) { t = order[i]; order[i] = order[j]; order[j] = t }
        for (i = 1; i <= n && i <= top; ++i)
          printf "  %6.2f%%  %s\n", (total > 0 ? 100 * costs[order[i]] / total : 0), substr(order[i], 1, 180) }'
  }
  echo "top $top by inclusive cost:"
  annotate max --inclusive=yes
  echo "top $top by self cost:"
  annotate sum --inclusive=no
  echo "raw profile: $out (callgrind_annotate or kcachegrind)"
else
  out=$profile_dir/perf.data
  echo "tool: perf record; cost: cycles"
  perf record -g -o "$out" "$lexpand" "${files[@]}" >/dev/null 2>"$profile_dir/perf.log"
  report() {
    perf report -i "$out" --stdio --sort symbol "$@" 2>/dev/null |
      grep -E '^ +[0-9.]+%' | head -n "$top" | sed 's/^/  /' | cut -c1-200
  }
  echo "top $top by inclusive cost:"
  report --children -g none
  echo "top $top by self cost:"
  report --no-children -g none
  echo "raw profile: $out (perf report -i $out)"
fi
