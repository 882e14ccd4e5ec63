#!/usr/bin/env bash
# man_pages.sh PAGE...: every manual page formats without a single warning of
# man or groff (as lintian formats pages, with every groff warning on: -ww),
# and its NAME section gives a whatis entry.
set -uo pipefail
[ $# -gt 0 ] || { echo "man_pages.sh: no manual page"; exit 1; }
status=0
for page in "$@"; do
  warnings=$(LC_ALL=C.UTF-8 MANROFFSEQ='' MANWIDTH=80 man --warnings=w -E UTF-8 -l -Tutf8 -Z "$page" 2>&1 >/dev/null)
  if [ -n "$warnings" ]; then
    printf '%s:\n%s\n' "$page" "$warnings"
    status=1
  fi
  lexgrog "$page" >/dev/null || { echo "$page: NAME gives no whatis entry"; status=1; }
done
exit $status
