#!/usr/bin/env bash
# Standard output that cannot be written, a non-blocking output with a slow
# reader, and the signals that end a run: lexpand OUTPUT_CASE checks the
# exact bytes that reach the reader and the exit status.
#
#   output_channel.sh LEXPAND CASE
#
# The inputs are made in a scratch directory: a dictionary of 16,000 entries
# whose 32,000 form lines (1,081,788 bytes) just pass the 1 MiB output buffer.
set -u
lexpand=$1
case=$2
scratch=$(mktemp -d) || exit 1
trap 'rm -rf "$scratch"' EXIT
cd "$scratch" || exit 1

# MANY has 4,194,304 paths: an entry of it takes far longer than a second.
{ printf 'NOUN = <E>/s | s/p ;\nMANY ='; for ((i = 0; i < 22; i++)); do printf ' (a|b)'; done; printf ' ;\n'; } >nouns.pdg
printf 'N_Nb = s | p ;\nMORPHOLOGICALPROPERTIES = Nb ;\n' >props.def
seq 16000 | sed 's/.*/w&,N+FLX=NOUN/' >big.dic
seq 16000 | awk '{ printf "w%d,N+_LEX=\"<E>\"+FLX=NOUN+Nb=s\nw%ds,N+_LEX=\"<B>\"+FLX=NOUN+Nb=p\n", $1, $1 }' >forms
{ cat forms; printf '# Dictionary successfully generated 32000 forms.\n'; } >expected
run=("$lexpand" big.dic nouns.pdg props.def)

failures=0
check() { # what, actual, expected
  if [ "$2" != "$3" ]; then echo "$case: $1 is $2, expected $3"; failures=1; fi
}
check_bytes() { # file, expected file
  if ! cmp -s "$1" "$2"; then
    echo "$case: the bytes received differ ($(wc -c <"$1") received, $(wc -c <"$2") expected)"; failures=1
  fi
}

# Runs lexpand in the background with the given signal reset to its default
# action (a background job of a script starts with SIGINT ignored), its
# output going to `received`.
start_with_default() { # signal, command...
  local signal=$1; shift
  perl -e '$SIG{$ARGV[0]} = "DEFAULT"; shift; exec @ARGV or exit 127' "$signal" "$@" >received &
  pid=$!
}

case $case in
full_disk)
  "${run[@]}" >/dev/full; check status $? 7 ;;
full_disk_while_failing)
  # The failure is reported before anything is written: its status stays.
  printf 'w1,N+FLX=NOUN\nno entry\n' >failing.dic
  "$lexpand" failing.dic nouns.pdg props.def >/dev/full; check status $? 6 ;;
closed_output)
  "${run[@]}" >&-; check status $? 7 ;;
broken_pipe_ignored)
  # The reader keeps 100 bytes and goes: the next write fails.
  (trap '' PIPE; "${run[@]}" | head -c 100 >received; exit "${PIPESTATUS[0]}"); check status $? 7
  head -c 100 expected >expected_part; check_bytes received expected_part ;;
broken_pipe)
  "${run[@]}" | head -c 100 >received; check status "${PIPESTATUS[0]}" 141
  head -c 100 expected >expected_part; check_bytes received expected_part ;;
nonblocking_slow_reader)
  # The output is non-blocking and its reader waits a second before reading:
  # lexpand waits for it instead of dropping what does not fit.
  perl -MFcntl -e 'fcntl(STDOUT, F_SETFL, fcntl(STDOUT, F_GETFL, 0) | O_NONBLOCK) or die; exec @ARGV or exit 127' \
    "${run[@]}" | { sleep 1; cat >received; }
  check status "${PIPESTATUS[0]}" 0; check_bytes received expected ;;
sigint | sigterm | sighup)
  # 16,000 fast entries, then one that makes forms for many seconds. Once
  # the first block (1 MiB) has arrived, the last thousand lines follow at
  # once; the signal comes a second later, while the slow entry runs. Every
  # form line of the fast entries must arrive, and nothing else.
  signal=$(echo "${case#sig}" | tr a-z A-Z)
  { cat big.dic; printf 'slow,N+FLX=MANY\n'; } >slow.dic
  start_with_default "$signal" "$lexpand" slow.dic nouns.pdg props.def
  until [ -s received ] || ! kill -0 "$pid" 2>/dev/null; do sleep 0.05; done
  sleep 1
  kill -s "$signal" "$pid"
  wait "$pid"; status=$?
  declare -A expected_status=([INT]=130 [TERM]=143 [HUP]=129)
  check status "$status" "${expected_status[$signal]}"
  check_bytes received forms ;;
*)
  echo "unknown case $case"; exit 2 ;;
esac
exit $failures
