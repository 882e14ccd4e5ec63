#!/usr/bin/env bash
# installed_tree.sh ROOT PREFIX LIBDIR VERSION [FLAGS [PYTHONDIR]]
# installed_tree.sh --install BUILD_DIR PREFIX LIBDIR VERSION [FLAGS [PYTHONDIR]]
#
# Checks a lexpand installed under ROOT (a DESTDIR, or a root into which the
# Debian packages were unpacked) for PREFIX (/usr/local, /usr) and LIBDIR (lib,
# lib/x86_64-linux-gnu); with --install, first installs BUILD_DIR into a
# scratch DESTDIR. The installed lexpand expands the installed example
# (share/doc/lexpand/examples); liblexpand.so
# has the SONAME liblexpand.so.0; every installed header compiles on its own;
# and consumer.cpp, built against the installed tree with pkg-config and with
# CMake's find_package(lexpand VERSION), expands an entry with the shared and
# with the static engine. FLAGS go to every compilation (the sanitizers).
# With PYTHONDIR (relative to PREFIX), the Python package installed there
# imports from it and expands an entry; the interpreter is $LEXPAND_PYTHON
# (python3), with $LEXPAND_PYTHON_PRELOAD (the sanitizers' runtimes) preloaded.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
if [ "$1" = --install ]; then
  root=$work/root
  DESTDIR=$root cmake --install "$2" >"$work/log" || { cat "$work/log"; exit 1; }
  shift
else
  root=$1
fi
prefix=$root$2 libdir=$root$2/$3 version=$4 flags=${5:-} pythondir=${6:-}
examples=$prefix/share/doc/lexpand/examples

# quiet COMMAND...: runs it, and shows what it printed only when it fails.
quiet() { "$@" >"$work/log" 2>&1 || { cat "$work/log"; echo "failed: $*"; exit 1; }; }
# expect NAME COMMAND...: the output of COMMAND is the two lines of "table".
expect() {
  local name=$1; shift
  "$@" >"$work/out" || { echo "$name: exit status $?"; exit 1; }
  printf '%s\n' 'table,N+Conc+_LEX="<E>"+FLX=NOUN+Nb=s' 'tables,N+Conc+_LEX="<B>"+FLX=NOUN+Nb=p' |
    diff - "$work/out" || { echo "$name: unexpected output"; exit 1; }
}
args=("$examples/english.pdg" "$examples/english.def" "table,N+Conc+FLX=NOUN")

(cd "$examples" && "$prefix/bin/lexpand" english.dic english.pdg english.def) >"$work/out" ||
  { echo "installed lexpand: exit status $?"; exit 1; }
grep -q '^# Dictionary successfully generated [0-9]* forms\.$' "$work/out"
readelf -d "$libdir/liblexpand.so" | grep -q 'SONAME.*\[liblexpand\.so\.0\]' ||
  { echo "liblexpand.so: SONAME is not liblexpand.so.0"; exit 1; }

for header in "$prefix"/include/lexpand/*.h; do
  echo "#include <lexpand/${header##*/}>" >"$work/header.cpp"
  quiet g++ -std=c++20 -Wall -Wextra -Wpedantic -Werror $flags -fsyntax-only -I"$prefix/include" "$work/header.cpp"
done

# pkg-config, on the tree as staged: the sysroot puts ROOT before its paths.
export PKG_CONFIG_PATH=$libdir/pkgconfig PKG_CONFIG_SYSROOT_DIR=$root
export PKG_CONFIG_ALLOW_SYSTEM_CFLAGS=1 PKG_CONFIG_ALLOW_SYSTEM_LIBS=1
[ "$(pkg-config --modversion lexpand)" = "$version" ] || { echo "lexpand.pc: not version $version"; exit 1; }
# shellcheck disable=SC2046 # the flags are words
quiet g++ -std=c++20 $flags "$here/consumer.cpp" -o "$work/consumer" $(pkg-config --cflags --libs lexpand) \
  -Wl,-rpath,"$libdir"
readelf -d "$work/consumer" | grep -q 'NEEDED.*\[liblexpand\.so\.0\]'
expect pkg-config "$work/consumer" "${args[@]}"

quiet cmake -S "$here" -B "$work/cmake" -DCMAKE_PREFIX_PATH="$prefix" -DLEXPAND_VERSION="$version" \
  -DCMAKE_CXX_FLAGS="$flags"
quiet cmake --build "$work/cmake"
expect find_package "$work/cmake/consumer" "${args[@]}"
expect "find_package, static" "$work/cmake/consumer_static" "${args[@]}"

if [ -n "$pythondir" ]; then
  site=$prefix/$pythondir
  # shellcheck disable=SC2016 # the program is Python
  expect python env -C "$work" LD_PRELOAD="${LEXPAND_PYTHON_PRELOAD:-}" ASAN_OPTIONS=detect_leaks=0 PYTHONPATH="$site" \
    "${LEXPAND_PYTHON:-python3}" -c '
import sys, lexpand
assert lexpand.__file__.startswith(sys.argv[4] + "/lexpand/"), lexpand.__file__
lexicon = lexpand.Lexicon(grammars=[sys.argv[1]], definitions=sys.argv[2])
print(*(form.line for form in lexicon.expand(sys.argv[3])), sep="\n")' "${args[@]}" "$site"
fi
