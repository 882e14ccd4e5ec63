#!/usr/bin/env bash
# The exactness of a compact dictionary: looking up every form of a lexicon
# gives exactly lexpand's lines of that form, `_LEX` turned into the lemma;
# the dictionary holds no other form; building from the saved lines gives the
# same file as building in-process; and generating from each lemma of a
# sample of the lines finds the form of that line.
#
#   check.sh LEXPAND COMPILE LOOKUP EXPECTED (LEXICON_DIR | --generated ENTRIES)
# The first four are the programs lexpand, lexpand-compile, lexpand-lookup
# and lexpand_expected_analyses. LEXICON_DIR holds one .dic, .pdg and .def
# (the bundled example); --generated makes one with bench/generate_lexicon.py.
set -euo pipefail
lexpand=$1 compile=$2 lookup=$3 expected_analyses=$4
shift 4
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
if [ "$1" = --generated ]; then
  python3 "$here/../../bench/generate_lexicon.py" "$work/lexicon" "$2" >/dev/null
  cd "$work/lexicon"
else
  cd "$1"
fi
inputs=(*.dic *.pdg *.def)

"$lexpand" "${inputs[@]}" >"$work/lines"
"$expected_analyses" <"$work/lines" | LC_ALL=C sort -u >"$work/expected"
"$compile" -o "$work/d.lxd" "${inputs[@]}"
"$compile" -o "$work/saved.lxd" --from-forms "$work/lines"
cmp "$work/d.lxd" "$work/saved.lxd" || { echo "in-process and saved lines give different files"; exit 1; }

cut -f1 "$work/expected" | LC_ALL=C sort -u >"$work/forms"
"$lookup" "$work/d.lxd" "$work/forms" | LC_ALL=C sort -u >"$work/actual"
if ! cmp -s "$work/expected" "$work/actual"; then
  echo "lookup differs from lexpand's lines (< expected, > lookup):"
  diff "$work/expected" "$work/actual" | head -n 20
  exit 1
fi
forms=$("$lookup" --info "$work/d.lxd" | sed -n 's/^forms: //p')
[ "$forms" = "$(wc -l <"$work/forms")" ] || { echo "the dictionary holds $forms forms, lexpand $(wc -l <"$work/forms")"; exit 1; }

# Generation: every 37th pair, queried with its lemma, category and properties,
# must give the pair's form (the query, a tab, the form and the same properties).
awk -F'\t' 'NR % 37 == 1 && $2 !~ /\\/ { print $2 }' "$work/expected" >"$work/queries"
awk -F'\t' 'NR % 37 == 1 && $2 !~ /\\/ { query = $2; sub(/^[^,]*,/, ",", $2); print query "\t" $1 $2 }' \
  "$work/expected" | LC_ALL=C sort -u >"$work/wanted"
"$lookup" --generate "$work/d.lxd" "$work/queries" | LC_ALL=C sort -u >"$work/generated"
missing=$(LC_ALL=C comm -23 "$work/wanted" "$work/generated" | head -n 5)
[ -z "$missing" ] || { echo "generation misses:"; echo "$missing"; exit 1; }
echo "exact: $(wc -l <"$work/expected") pairs, $forms forms"
