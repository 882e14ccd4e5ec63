#!/usr/bin/env bash
# Times lexpand on generated lexicons of 200,000 and 400,000 entries (twice the
# entries should cost at most twice the time) and prints entries/s, forms/s,
# MB/s of output and peak RSS. Usage: bench/run.sh BUILD_DIR
set -euo pipefail
build_dir=${1:-build}
here=$(cd "$(dirname "$0")" && pwd)
lexpand=$(cd "$build_dir" && pwd)/lexpand/lexpand
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

for entries in 200000 400000; do
  python3 "$here/generate_lexicon.py" "$work/$entries" "$entries"
  files=("$work/$entries/lexicon.dic" "$work/$entries/lexicon.pdg" "$work/$entries/lexicon.def")
  "$lexpand" "${files[@]}" >"$work/out.txt"        # warm-up, and the output to measure
  bytes=$(stat -c %s "$work/out.txt")
  forms=$(tail -n 1 "$work/out.txt" | sed -E 's/[^0-9]*([0-9]+).*/\1/')
  /usr/bin/time -f '%e %M' -o "$work/time.txt" "$lexpand" "${files[@]}" >/dev/null
  read -r seconds rss_kb <"$work/time.txt"
  /usr/bin/time -f '%e' -o "$work/pipe.txt" sh -c '"$0" "$@" | cat >/dev/null' "$lexpand" "${files[@]}"
  awk -v n="$entries" -v f="$forms" -v b="$bytes" -v s="$seconds" -v r="$rss_kb" -v p="$(cat "$work/pipe.txt")" 'BEGIN {
    if (s <= 0) s = 0.01;
    printf "generated lexicon, %d entries: %d forms in %.2f s (%.2f s through a pipe)\n", n, f, s, p;
    printf "  %.0f entries/s, %.0f forms/s, %.1f MB/s of output, peak RSS %.1f MB\n", n / s, f / s, b / s / 1e6, r / 1024 }'
done
