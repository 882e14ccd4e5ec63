#!/usr/bin/env bash
# deb_packages.sh PACKAGES_DIR: checks the Debian packages that `make deb`
# made. Each holds what it should (dpkg-deb -c), every file owned by root,
# every manual page of docs/man in the lexpand package; the programs and the
# shared library depend on the ICU runtime they were built with. Then dpkg
# installs the packages into a throwaway root, which is checked like any
# installed tree (tests/install/installed_tree.sh), and purges them, leaving
# nothing but its own database. The system is not touched: the maintainer
# scripts run outside the root, with a stand-in for ldconfig, and the
# dependencies, installed on the system but not in the root, are not checked.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
dir=$1
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "deb_packages.sh: $*"; exit 1; }

multiarch=$(dpkg-architecture -qDEB_HOST_MULTIARCH)
libdir=lib/$multiarch
version=$(dpkg-deb -f "$dir"/lexpand_*.deb Version) upstream=${version%-*}
declare -A wanted=(
  [lexpand]="./usr/bin/lexpand ./usr/share/doc/lexpand/examples/english.dic"
  [liblexpand0]="./usr/$libdir/liblexpand.so.0 ./usr/$libdir/liblexpand.so.$upstream"
  [liblexpand-dev]="./usr/include/lexpand/Lexicon.h ./usr/$libdir/liblexpand.a ./usr/$libdir/liblexpand.so
                    ./usr/$libdir/pkgconfig/lexpand.pc ./usr/$libdir/cmake/lexpand/lexpandConfig.cmake"
)
for page in "$here"/../docs/man/*.md; do
  name=${page##*/} name=${name%.md}
  wanted[lexpand]+=" ./usr/share/man/man${name##*.}/$name.gz"
done
for package in "${!wanted[@]}"; do
  deb=$(echo "$dir/${package}_${version}_"*.deb)
  [ -f "$deb" ] || fail "no package $package"
  dpkg-deb -c "$deb" >"$work/contents"
  for path in ${wanted[$package]} ./usr/share/doc/$package/copyright ./usr/share/doc/$package/changelog.Debian.gz; do
    grep -q " $path\( -> .*\)\?$" "$work/contents" || fail "$package lacks $path"
  done
  if awk '$2 != "root/root"' "$work/contents" | grep -q .; then fail "$package has files not owned by root"; fi
done
for package in lexpand liblexpand0; do
  dpkg-deb -f "$dir/${package}_${version}_"*.deb Depends | grep -q 'libicu[0-9]' ||
    fail "$package does not depend on the ICU runtime"
done

root=$work/root
mkdir -p "$root"/var/lib/dpkg/{info,updates,triggers} "$work/bin"
touch "$root/var/lib/dpkg/status"
printf '#!/bin/sh\n' >"$work/bin/ldconfig"
chmod +x "$work/bin/ldconfig"
rootdpkg() {
  PATH=$work/bin:$PATH dpkg --root="$root" --log=/dev/null --force-not-root --force-depends \
    --force-script-chrootless "$@" >"$work/log" 2>&1 || { cat "$work/log"; fail "dpkg $* failed"; }
}
rootdpkg -i "$dir"/*_"$version"_*.deb
"$here/install/installed_tree.sh" "$root" /usr "$libdir" "$upstream"
rootdpkg --purge lexpand liblexpand-dev liblexpand0
left=$(find "$root" -mindepth 1 -path "$root/var" -prune -o -print)
[ -z "$left" ] || fail "left behind after purging: $left"
