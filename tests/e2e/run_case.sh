#!/usr/bin/env bash
# Runs one end-to-end case: lexpand with the arguments of the case's `args`
# file (one per line), from inside the case folder. The case passes when
# standard output equals `expected_stdout` byte for byte, the exit status
# equals `expected_status` and nothing was written to standard error.
set -u
lexpand=$1
case_dir=$2
cd "$case_dir" || exit 1
args=()
if [ -f args ]; then
  while IFS= read -r line || [ -n "$line" ]; do args+=("$line"); done < args
fi
actual_stdout=$(mktemp); actual_stderr=$(mktemp)
trap 'rm -f "$actual_stdout" "$actual_stderr"' EXIT
"$lexpand" "${args[@]}" >"$actual_stdout" 2>"$actual_stderr"
status=$?
expected_status=$(cat expected_status)
ok=1
if ! cmp -s "$actual_stdout" expected_stdout; then
  echo "stdout differs from expected_stdout:"; diff expected_stdout "$actual_stdout" | head -n 40; ok=0
fi
if [ "$status" != "$expected_status" ]; then
  echo "exit status $status, expected $expected_status"; ok=0
fi
if [ -s "$actual_stderr" ]; then
  echo "unexpected standard error:"; head -n 20 "$actual_stderr"; ok=0
fi
[ $ok = 1 ]
