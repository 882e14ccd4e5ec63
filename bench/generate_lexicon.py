#!/usr/bin/env python3
"""Writes a seeded synthetic lexicon (lexicon.dic, lexicon.pdg, lexicon.def) into a
folder, for timing lexpand on many entries: nouns, verbs and adjectives over 500
paradigms that call shared paradigms two or three levels deep, derivations that change
the category and are inflected, multi-word entries whose paradigm uses "<PW>" and
"<N>", letters with combining marks, a .def of 50 properties, and an exclusive
property that leaves some forms out as inconsistent. The same ENTRIES always give the
same files, so that figures taken on different days compare."""

import os
import random
import sys


def main():
    if len(sys.argv) != 3:
        sys.exit("usage: generate_lexicon.py FOLDER ENTRIES")
    folder, entries = sys.argv[1], int(sys.argv[2])
    os.makedirs(folder, exist_ok=True)
    rng = random.Random(20261122)
    letters = "abcdefghiklmnoprstuvyz"
    marked = ["e\u0301", "a\u0300", "o\u0308"]

    def word(low, high):
        return "".join(rng.choice(marked) if rng.random() < 0.03 else rng.choice(letters)
                       for _ in range(rng.randint(low, high)))

    # Shared paradigms. Calls go N<i> -> NB -> PL (two levels), V<i> -> TENSE ->
    # PRES (two) and V<i> -> VREG -> TENSE -> PRES (three).
    rules = ["PL = s/p ;",
             "NB = <E>/s | :PL ;",
             "PRES = s/PR | ing/G ;",
             "TENSE = <E>/INF | :PRES ;",
             "VREG = :TENSE | ed/PT ;",
             "DEG = <E>/POS | er/CMP | est/SUP ;",
             "NESS = ness/N+Abs ;",
             "ABLE = able/ADJ ;"]
    nouns, verbs, adjectives = [], [], []
    for i in range(200):
        ending = word(1, 3)
        rules.append(f"N{i} = :NB | <B>{ending}/p | <B2>{ending}/p+Irr ;")
        nouns.append(f"N{i}")
    for i in range(200):
        if i % 2 == 0:
            rules.append(f"V{i} = :TENSE | <B>{word(1, 3)}ed/PT | <D>en/PP ;")
        else:
            rules.append(f"V{i} = :VREG | <D>en/PP ;")
        verbs.append(f"V{i}")
    for i in range(100):
        rules.append(f"A{i} = :DEG | <B>{word(1, 2)}/POS ;")
        adjectives.append(f"A{i}")
    # Multi-word nouns: the first word takes the plural, or both words do
    # ("<N>" reaches the start of the second word, "<RW>" its end).
    rules.append("MW = <E>/s | <PW>s/p | <PW>s<N><RW>s/p+Both ;")

    with open(os.path.join(folder, "lexicon.pdg"), "w", encoding="utf-8") as out:
        out.write("\n".join(rules) + "\n")
    with open(os.path.join(folder, "lexicon.def"), "w", encoding="utf-8") as out:
        out.write("N_Nb = s | p ;\nV_Tense = INF | PR | G | PT | PP ;\nADJ_Degree = POS | CMP | SUP ;\n")
        for i in range(47):
            out.write(f"N_Prop{i} = v{i}a | v{i}b ;\n")
        out.write("MORPHOLOGICALPROPERTIES = Nb | Tense | Degree ;\n")
        out.write("EXCLUSIVEPROPERTIES = Nb | Tense | Degree ;\n")
    with open(os.path.join(folder, "lexicon.dic"), "w", encoding="utf-8") as out:
        for i in range(entries):
            kind = rng.random()
            if kind < 0.45:
                extra = "+s" if rng.random() < 0.05 else ""
                out.write(f"{word(3, 9)},N+Conc+v{i % 47}a{extra}+FLX={rng.choice(nouns)}\n")
            elif kind < 0.75:
                out.write(f"{word(3, 8)},V+FLX={rng.choice(verbs)}+DRV=ABLE:{rng.choice(adjectives)}\n")
            elif kind < 0.95:
                out.write(f"{word(3, 8)},ADJ+FLX={rng.choice(adjectives)}+DRV=NESS:NB\n")
            else:
                out.write(f"{word(3, 7)} {word(2, 6)},N+Hum+FLX=MW\n")


if __name__ == "__main__":
    main()
