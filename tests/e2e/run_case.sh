#!/usr/bin/env bash
# Runs one end-to-end case: lexpand with the arguments of the case's `args`
# file (one per line, kept exactly, spaces included), from inside the case
# folder. The case passes when standard output equals `expected_stdout` byte
# for byte, the exit status equals `expected_status` and nothing was written
# to standard error.
#
# Messages that name an absolute directory depend on where the repository is
# checked out. In `expected_stdout` such a directory is written as the
# placeholder @CASE_DIR@, which stands for the physical absolute path of the
# case folder (symbolic links resolved, as the process sees its current
# directory); it is replaced before the comparison.
set -u
unset LEXPAND_TIMINGS # its report on standard error is not part of a case
lexpand=$1
case_dir=$(cd "$2" && pwd -P) || exit 1
cd "$case_dir" || exit 1
args=()
if [ -f args ]; then
  while IFS= read -r line || [ -n "$line" ]; do args+=("$line"); done < args
fi
actual_stdout=$(mktemp); actual_stderr=$(mktemp); expected_stdout=$(mktemp)
trap 'rm -f "$actual_stdout" "$actual_stderr" "$expected_stdout"' EXIT

# The expected bytes, placeholder replaced; the trailing "x" keeps final line
# feeds through the command substitution.
expected=$(cat expected_stdout; printf x)
expected=${expected%x}
printf '%s' "${expected//@CASE_DIR@/"$case_dir"}" >"$expected_stdout"

"$lexpand" "${args[@]}" >"$actual_stdout" 2>"$actual_stderr"
status=$?
expected_status=$(cat expected_status)
ok=1
if ! cmp -s "$actual_stdout" "$expected_stdout"; then
  echo "stdout differs from expected_stdout (< expected, > actual):"
  diff "$expected_stdout" "$actual_stdout" | head -n 40; ok=0
fi
if [ "$status" != "$expected_status" ]; then
  echo "exit status $status, expected $expected_status"; ok=0
fi
if [ -s "$actual_stderr" ]; then
  echo "unexpected standard error:"; head -n 20 "$actual_stderr"; ok=0
fi
[ $ok = 1 ]
