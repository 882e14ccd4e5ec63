#!/usr/bin/env bash
# Memory that runs out is a failure of the phase in which it happens: that
# phase's message and status, the lines printed before it kept, nothing on
# standard error. lexpand runs with its address space capped at 200 MB
# (prlimit); it needs about 40 MB to start.
#
#   memory_exhaustion.sh LEXPAND CASE
#
# Not run under AddressSanitizer, which reserves far more address space than
# any such cap allows.
set -u
lexpand=$1
case=$2
scratch=$(mktemp -d) || exit 1
trap 'rm -rf "$scratch"' EXIT
cd "$scratch" || exit 1

# A flat rule of 65,536 paths, each with a property of 4,000 bytes: few
# enough paths for the expansion to hold them, whose properties need more
# memory than the cap allows.
{ printf 'NOUN = <E>/s | s/p ;\nMANY ='
  for ((i = 0; i < 16; i++)); do printf ' (a|b)'; done
  printf ' <E>/Gloss=%s ;\n' "$(head -c 4000 /dev/zero | tr '\0' x)"; } >nouns.pdg
printf 'N_Nb = s | p ;\nMORPHOLOGICALPROPERTIES = Nb ;\n' >props.def
printf 'table,N+FLX=NOUN\n' >table.dic
ln -s /dev/zero zero.dic
ln -s /dev/zero zero.pdg
ln -s /dev/zero zero.def
printf '#use zero.pdg\ntable,N+FLX=NOUN\n' >uses.dic

case $case in
expansion)
  printf 'table,N+FLX=NOUN\nw,N+FLX=MANY\nchair,N+FLX=NOUN\n' >many.dic
  args=(many.dic nouns.pdg props.def); status=6
  printf 'table,N+_LEX="<E>"+FLX=NOUN+Nb=s\ntables,N+_LEX="<B>"+FLX=NOUN+Nb=p\n*** Cannot inflect/derive dictionary\n' \
    >expected ;;
dictionary_is_zero)
  args=(zero.dic nouns.pdg props.def); status=4; printf 'Cannot load dictionary zero.dic\n' >expected ;;
used_grammar_is_zero)
  args=(uses.dic nouns.pdg props.def); status=4; printf 'Cannot load dictionary uses.dic\n' >expected ;;
grammar_is_zero)
  args=(table.dic zero.pdg props.def); status=3
  printf '*** Cannot handle morphological grammar in: zero.pdg\n' >expected ;;
definitions_is_zero)
  args=(table.dic nouns.pdg zero.def); status=5
  printf '*** Cannot process properties definitions in file zero.def\n' >expected ;;
*)
  echo "unknown case $case"; exit 2 ;;
esac

prlimit --as=$((200 * 1024 * 1024)) "$lexpand" "${args[@]}" >received 2>errors
actual=$?
failures=0
if [ "$actual" != "$status" ]; then echo "$case: status $actual, expected $status"; failures=1; fi
if ! cmp -s received expected; then
  echo "$case: standard output differs (< expected, > received):"; diff -a expected received | head -n 10 | cut -c 1-200
  failures=1
fi
if [ -s errors ]; then echo "$case: standard error:"; head -n 5 errors; failures=1; fi
exit $failures
