#!/usr/bin/env bash
# Runs one end-to-end case: lexpand with the arguments of the case's `args`
# file (one per line, kept exactly, spaces included), from inside the case
# folder. The case passes when standard output equals `expected_stdout` byte
# for byte, the exit status equals `expected_status` and nothing was written
# to standard error; or, when the case holds a file `expected_stderr`,
# standard error equals that file byte for byte (placeholders replaced as in
# `expected_stdout`). A file `stdin` in the case
# folder, when there is one, is the program's standard input.
#
# Messages that name an absolute directory depend on where the repository is
# checked out. In `expected_stdout` such a directory is written as the
# placeholder @CASE_DIR@, which stands for the physical absolute path of the
# case folder (symbolic links resolved, as the process sees its current
# directory); it is replaced before the comparison.
#
# Inputs too large to keep in the repository are made at test time. A case
# folder may hold an executable `prepare`; it is run first, from inside the
# case folder, with one argument: an empty scratch directory, removed when
# the case ends, into which it writes what it makes. In `args` and
# `expected_stdout`, the placeholder @SCRATCH_DIR@ stands for that directory.
# If `prepare` writes a file `expected_stdout` into the scratch directory,
# that file is the expected output, in place of the case folder's (placeholders
# replaced the same way). A failing `prepare` fails the case.
set -u
unset LEXPAND_TIMINGS # its report on standard error is not part of a case
lexpand=$1
case_dir=$(cd "$2" && pwd -P) || exit 1
cd "$case_dir" || exit 1
scratch_dir=$(mktemp -d) || exit 1
actual_stdout=$(mktemp); actual_stderr=$(mktemp); expected_stdout=$(mktemp)
trap 'rm -rf "$scratch_dir"; rm -f "$actual_stdout" "$actual_stderr" "$expected_stdout"' EXIT

expected_source=expected_stdout
if [ -e prepare ]; then
  if ! ./prepare "$scratch_dir" >"$actual_stderr" 2>&1; then
    echo "prepare failed:"; head -n 20 "$actual_stderr"; exit 1
  fi
  [ -f "$scratch_dir/expected_stdout" ] && expected_source=$scratch_dir/expected_stdout
fi

args=()
if [ -f args ]; then
  while IFS= read -r line || [ -n "$line" ]; do
    args+=("${line//@SCRATCH_DIR@/"$scratch_dir"}")
  done < args
fi

# The expected bytes, placeholders replaced; sed keeps every byte (NUL bytes
# and a missing final line feed included).
sed_replacement() { printf '%s' "$1" | sed 's/[\\&|]/\\&/g'; }
replace_placeholders() {
  sed -e "s|@CASE_DIR@|$(sed_replacement "$case_dir")|g" \
      -e "s|@SCRATCH_DIR@|$(sed_replacement "$scratch_dir")|g" "$1"
}
replace_placeholders "$expected_source" >"$expected_stdout"

if [ -f stdin ]; then
  "$lexpand" "${args[@]}" <stdin >"$actual_stdout" 2>"$actual_stderr"
else
  "$lexpand" "${args[@]}" >"$actual_stdout" 2>"$actual_stderr"
fi
status=$?
expected_status=$(cat expected_status)
ok=1
if ! cmp -s "$actual_stdout" "$expected_stdout"; then
  echo "stdout differs from expected_stdout (< expected, > actual):"
  diff -a "$expected_stdout" "$actual_stdout" | head -n 40 | cut -c 1-200; ok=0
fi
if [ "$status" != "$expected_status" ]; then
  echo "exit status $status, expected $expected_status"; ok=0
fi
if [ -f expected_stderr ]; then
  if ! replace_placeholders expected_stderr | cmp -s "$actual_stderr" -; then
    echo "stderr differs from expected_stderr (< expected, > actual):"
    replace_placeholders expected_stderr | diff -a - "$actual_stderr" | head -n 20; ok=0
  fi
elif [ -s "$actual_stderr" ]; then
  echo "unexpected standard error:"; head -n 20 "$actual_stderr"; ok=0
fi
[ $ok = 1 ]
