#!/bin/sh
# md2man.sh GO_MD2MAN SOURCE.md PAGE VERSION DATE: writes the manual page PAGE
# (roff) and PAGE.gz from its Markdown source with go-md2man, completing what
# go-md2man leaves undone:
#   - the title line "% NAME(SECTION) SOURCE | MANUAL" becomes a .TH line with
#     all five fields: NAME, SECTION, DATE, "SOURCE VERSION" and MANUAL;
#   - a line of a code block that starts with "." or "'" is protected with
#     "\&", so that roff prints it instead of reading it as a request.
set -eu
md2man=$1 source=$2 page=$3 version=$4 date=$5
"$md2man" -in "$source" |
  sed -e '1,/^\.TH /s/^\.TH \([^( ]*\)(\([^)]*\)) *\([^|]*[^| ]\) *| *\(.*\)$/.TH "\1" "\2" "'"$date"'" "\3 '"$version"'" "\4"/' \
      -e '/^\.nf$/,/^\.fi$/{/^\.\(nf\|fi\)$/!s/^[.'"'"']/\\\&&/}' >"$page.tmp"
if ! grep -q '^\.TH "' "$page.tmp"; then
  echo "md2man.sh: $source must begin with a title line \"% NAME(SECTION) SOURCE | MANUAL\"" >&2
  rm -f "$page.tmp"
  exit 1
fi
mv "$page.tmp" "$page"
gzip -9nkf "$page"
