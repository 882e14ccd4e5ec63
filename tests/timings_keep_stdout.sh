#!/usr/bin/env bash
# LEXPAND_TIMINGS=1 adds the phase report on standard error and changes
# nothing else: standard output and the exit status are those of a plain run,
# and every phase line has the documented shape (the values are not checked).
# Usage: timings_keep_stdout.sh LEXPAND EXAMPLES_DIR
set -u
lexpand=$1
cd "$2" || exit 1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
env -u LEXPAND_TIMINGS "$lexpand" english.dic english.pdg english.def >"$work/plain.out" 2>"$work/plain.err"
plain_status=$?
LEXPAND_TIMINGS=1 "$lexpand" english.dic english.pdg english.def >"$work/timed.out" 2>"$work/timed.err"
timed_status=$?
ok=1
cmp -s "$work/plain.out" "$work/timed.out" || { echo "standard output differs with LEXPAND_TIMINGS=1"; ok=0; }
[ "$plain_status" = "$timed_status" ] || { echo "exit status $timed_status, without timings $plain_status"; ok=0; }
[ -s "$work/plain.err" ] && { echo "standard error without LEXPAND_TIMINGS:"; head -n 5 "$work/plain.err"; ok=0; }
phases=$(sed -E 's/^lexpand timing: (.*) [0-9]+\.[0-9]{6} s$/\1/' "$work/timed.err" | paste -sd,)
expected="command line,grammars,properties definitions,expansion,output,total"
[ "$phases" = "$expected" ] || { echo "phase lines: $phases, expected $expected"; cat "$work/timed.err"; ok=0; }
[ $ok = 1 ]
