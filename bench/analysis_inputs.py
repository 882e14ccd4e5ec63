#!/usr/bin/env python3
"""Inputs of the analysis benchmark (bench/analysis.sh), made from lexpand's output.

  analysis_inputs.py words LINES COUNT FOLDER
      FOLDER/words: COUNT words drawn (seeded) from the forms of LINES, 5 % of them
      changed into words that are no form.
  analysis_inputs.py peers LINES FOLDER
      The distinct pairs of a form and its analysis, the analysis being the line
      without the form and without its _LEX item (so no lemma), in the input formats
      of the peers: FOLDER/hfst.strings (hfst-strings2fst), FOLDER/lt.dix (lt-comp),
      FOLDER/foma.spaced (foma's read spaced-text); FOLDER/pairs holds their count.
"""

import os
import random
import re
import sys
from xml.sax.saxutils import escape

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


def foma_symbols(text):
    """Space-separated symbols; 0, ? and % are special to foma and escaped."""
    return " ".join("%" + c if c in "0?%" else c for c in text)


def peers(lines, folder):
    pairs = sorted({(form, LEX_ITEM.sub("", rest, count=1)) for form, rest in form_lines(lines)})
    letters = sorted({c for form, _ in pairs for c in form if not c.isspace()})
    with open(os.path.join(folder, "hfst.strings"), "w", encoding="utf-8") as hfst, \
         open(os.path.join(folder, "foma.spaced"), "w", encoding="utf-8") as foma, \
         open(os.path.join(folder, "lt.dix"), "w", encoding="utf-8") as dix:
        dix.write('<?xml version="1.0" encoding="UTF-8"?>\n<dictionary>\n<alphabet>%s</alphabet>\n'
                  '<sdefs></sdefs>\n<section id="main" type="standard">\n' % escape("".join(letters)))
        for form, analysis in pairs:
            def hfst_escaped(text):
                return text.replace("\\", "\\\\").replace(":", "\\:").replace("\t", "\\\t")
            hfst.write("%s:%s\n" % (hfst_escaped(form), hfst_escaped(analysis)))
            foma.write("%s\n%s\n\n" % (foma_symbols(analysis), foma_symbols(form)))
            dix.write("<e><p><l>%s</l><r>%s</r></p></e>\n"
                      % (escape(form).replace(" ", "<b/>"), escape(analysis).replace(" ", "<b/>")))
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
