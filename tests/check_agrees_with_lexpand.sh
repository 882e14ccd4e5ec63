#!/usr/bin/env bash
# On every end-to-end case of lexpand that runs a lexicon (the run_* cases
# whose inputs are in the repository), lexpand-check reports an error exactly
# when lexpand fails. Usage: check_agrees_with_lexpand.sh LEXPAND LEXPAND_CHECK E2E_DIR
set -u
lexpand=$1 check=$2 cases=$3
failures=0
for case_dir in "$cases"/run_*/; do
  [ -e "$case_dir/prepare" ] && continue
  mapfile -t args <"$case_dir/args"
  (cd "$case_dir" && "$lexpand" "${args[@]}" >/dev/null 2>&1); expanded=$?
  (cd "$case_dir" && "$check" -q "${args[@]}" >/dev/null 2>&1); checked=$?
  if { [ $expanded = 0 ] && [ $checked != 0 ]; } || { [ $expanded != 0 ] && [ $checked != 1 ]; }; then
    echo "$(basename "$case_dir"): lexpand exits with $expanded, lexpand-check with $checked"
    failures=$((failures + 1))
  fi
done
[ $failures = 0 ]
