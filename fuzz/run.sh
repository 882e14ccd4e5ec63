#!/usr/bin/env bash
# Runs every fuzz target of a LEXPAND_FUZZ build, one after the other, each for
# the given number of seconds in one process, on a copy of its seed corpus
# inside the build directory (the committed seeds are never written to).
# Fails when any target reports a crash, a leak, a timeout or running out of
# memory; the reproducer is then in <build>/fuzz-artifacts/<target>/.
#
#   fuzz/run.sh <build dir> <seconds> [target...]
set -u
build=$1
seconds=$2
shift 2
source_dir=$(cd "$(dirname "$0")" && pwd)
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  targets=(TokenizersFuzzer GrammarFuzzer PropertiesDefinitionsFuzzer ALUFuzzer EditorFuzzer DriverFuzzer EntryLinesFuzzer
           CompactDictionaryFuzzer)
fi

# Temporary files of the targets (DriverFuzzer's run directory) stay in the
# build directory, also when a target ends without cleaning up.
export TMPDIR="$build/fuzz-tmp"
mkdir -p "$TMPDIR"

failed=()
for target in "${targets[@]}"; do
  binary="$build/fuzz/$target"
  corpus="$build/fuzz-corpus/$target"
  artifacts="$build/fuzz-artifacts/$target"
  rm -rf "$corpus"
  mkdir -p "$corpus" "$artifacts"
  cp -R "$source_dir/corpus/$target/." "$corpus/"
  echo "== $target: $seconds s"
  if ! "$binary" -max_total_time="$seconds" -timeout=30 -rss_limit_mb=2560 \
       -dict="$source_dir/lexpand.dict" -artifact_prefix="$artifacts/" \
       -print_final_stats=1 "$corpus"; then
    failed+=("$target")
  fi
done

if [ ${#failed[@]} -ne 0 ]; then
  echo "Fuzzing found faults in: ${failed[*]} (reproducers in $build/fuzz-artifacts/)"
  exit 1
fi
echo "Fuzzing found no fault."
