#!/usr/bin/env python3
"""Inputs of the analysis benchmark (bench/analysis.sh), made from lexpand's output.

  analysis_inputs.py words LINES COUNT FOLDER
      FOLDER/words: COUNT words drawn (seeded) from the forms of LINES, 5 % of them
      changed into words that are no form.
  analysis_inputs.py peers LINES FOLDER
      The distinct pairs of a form and its analysis, the analysis being the line
      without the form and without its _LEX item (so no lemma), in the input formats
      of the peers: FOLDER/hfst.pairs (hfst-strings2fst -j -p -S), FOLDER/lt.dix
      (lt-comp), FOLDER/foma.spaced (foma's read spaced-text); FOLDER/pairs holds
      their count. A form is a string of characters; an analysis is a string of tags
      (multi-character symbols), the category and then each "+" item, as analysers
      of the field write them. Each character of the form is read with no output
      and each tag is then written with no input, so that lookup runs on the form
      as on an acceptor (written the other way, the tags paired with the first
      characters, hfst's, lttoolbox's and foma's lookups are ten to a hundred
      times slower).
"""

import os
import random
import re
import sys
from xml.sax.saxutils import escape, quoteattr

LEX_ITEM = re.compile(r'\+_LEX="[^"]*"')


def form_lines(path):
    """(form, rest) of each form line: rest is the line after the form's comma."""
    with open(path, encoding="utf-8") as lines:
        for line in lines:
            line = line.rstrip("\n")
            if not line or line.startswith("#"):
                continue
            comma = 0
            while line[comma] != "," or (comma > 0 and line[comma - 1] == "\\"):
                comma += 1
            yield line[:comma], line[comma + 1:]


def words(lines, count, folder):
    forms = sorted({form for form, _ in form_lines(lines)})
    known = set(forms)
    rng = random.Random(20261123)
    with open(os.path.join(folder, "words"), "w", encoding="utf-8") as out:
        for _ in range(count):
            word = rng.choice(forms)
            if rng.random() < 0.05:
                word += "щъ"
                while word in known:
                    word += "ъ"
            out.write(word + "\n")


def tags(analysis):
    """The category, then each "+" item with its "+"."""
    category, *items = analysis.split("+")
    return [category] + ["+" + item for item in items]


def spaced(symbols):
    """Space-separated symbols for foma; ? and % alone are special and escaped, 0 is
    the empty string (a form or a tag "0" does not occur in the lexicons measured)."""
    return " ".join("%" + s if s in ("?", "%") else s for s in symbols)


def hfst_symbol(symbol):
    return symbol.replace("\\", "\\\\").replace(":", "\\:").replace("\t", "\\\t").replace(" ", "\\ ")


def hfst_pairs(form, analysis):
    """hfst's pair-string: each character of the form to nothing, then nothing to each tag."""
    return " ".join([hfst_symbol(c) + ":@0@" for c in form] + ["@0@:" + hfst_symbol(t) for t in tags(analysis)])


def peers(lines, folder):
    pairs = sorted({(form, LEX_ITEM.sub("", rest, count=1)) for form, rest in form_lines(lines)})
    letters = sorted({c for form, _ in pairs for c in form if not c.isspace()})
    tag_names = sorted({tag for _, analysis in pairs for tag in tags(analysis)})
    with open(os.path.join(folder, "hfst.pairs"), "w", encoding="utf-8") as hfst, \
         open(os.path.join(folder, "foma.spaced"), "w", encoding="utf-8") as foma, \
         open(os.path.join(folder, "lt.dix"), "w", encoding="utf-8") as dix:
        dix.write('<?xml version="1.0" encoding="UTF-8"?>\n<dictionary>\n<alphabet>%s</alphabet>\n<sdefs>\n'
                  % escape("".join(letters)))
        for tag in tag_names:
            dix.write('<sdef n=%s/>\n' % quoteattr(tag))
        dix.write('</sdefs>\n<section id="main" type="standard">\n')
        for form, analysis in pairs:
            hfst.write(hfst_pairs(form, analysis) + "\n")
            # Lines of equal length, paired symbol by symbol; 0 is the empty string.
            foma.write("%s\n%s\n\n" % (spaced(["0"] * len(form) + tags(analysis)),
                                        spaced(list(form) + ["0"] * len(tags(analysis)))))
            dix.write("<e><p><l>%s</l><r></r></p><p><l></l><r>%s</r></p></e>\n"
                      % (escape(form).replace(" ", "<b/>"), "".join("<s n=%s/>" % quoteattr(t) for t in tags(analysis))))
        dix.write("</section>\n</dictionary>\n")
    with open(os.path.join(folder, "pairs"), "w") as out:
        out.write("%d\n" % len(pairs))


def main():
    if len(sys.argv) == 5 and sys.argv[1] == "words":
        words(sys.argv[2], int(sys.argv[3]), sys.argv[4])
    elif len(sys.argv) == 4 and sys.argv[1] == "peers":
        peers(sys.argv[2], sys.argv[3])
    else:
        sys.exit(__doc__)


if __name__ == "__main__":
    main()
