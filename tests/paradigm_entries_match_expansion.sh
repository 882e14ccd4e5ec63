#!/usr/bin/env bash
# lexpand-paradigm prints for each entry of the bundled example exactly the
# lines that lexpand prints for it within the whole expansion: entry by entry
# (one process per entry), and for the whole dictionary on standard input,
# with --paths too (the lines of the paths are indented, lexpand's are not).
# Usage: paradigm_entries_match_expansion.sh LEXPAND LEXPAND_PARADIGM EXAMPLES_DIR
set -euo pipefail
lexpand=$1 paradigm=$2
cd "$3"
files=(english.dic english.pdg english.def)
expected=$(mktemp) one_by_one=$(mktemp) all_at_once=$(mktemp) with_paths=$(mktemp)
trap 'rm -f "$expected" "$one_by_one" "$all_at_once" "$with_paths"' EXIT

"$lexpand" "${files[@]}" | sed '$d' >"$expected" # without the summary line
entries=0
while IFS= read -r line; do
  case $line in '#'* | '') continue ;; esac
  "$paradigm" --entry "$line" "${files[@]}" >>"$one_by_one"
  entries=$((entries + 1))
done <english.dic
"$paradigm" --entry - "${files[@]}" <english.dic >"$all_at_once"
"$paradigm" --paths --entry - "${files[@]}" <english.dic | grep -v '^  ' >"$with_paths" || true

ok=1
cmp -s "$expected" "$one_by_one" || { echo "entry by entry:"; diff "$expected" "$one_by_one" | head; ok=0; }
cmp -s "$expected" "$all_at_once" || { echo "on standard input:"; diff "$expected" "$all_at_once" | head; ok=0; }
cmp -s "$expected" "$with_paths" || { echo "with --paths:"; diff "$expected" "$with_paths" | head; ok=0; }
[ "$entries" -ge 40 ] || { echo "only $entries entries read"; ok=0; }
[ $ok = 1 ]
