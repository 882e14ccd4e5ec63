#!/usr/bin/env python3
"""Writes, for the end-to-end cases of a dictionary expanded on several
threads, a dictionary of ENTRIES lines (about 20 bytes each, so that it spans
several of the chunks that the workers take) and the exact output that one
thread prints for it. Every 7th entry is echoed (no inflectional paradigm),
every 11th has a form left out as inconsistent, and, when FAILING is given,
the entry on that line (counted from 1) fails: the output then stops there.

usage: threaded_dictionary.py FOLDER ENTRIES [FAILING]"""

import sys


def main():
    folder, entries = sys.argv[1], int(sys.argv[2])
    failing = int(sys.argv[3]) if len(sys.argv) > 3 else None
    lines, output, forms = [], [], 0
    for number in range(1, entries + 1):
        if number == failing:
            lines.append(f"bad{number},N+FLX=MISSING")
            output.append("*** Cannot inflect/derive dictionary")
            break
        if number % 7 == 0:
            lines.append(f"e{number},ADV")
            output.append(f"e{number},ADV")
        elif number % 11 == 0:
            # The entry's own "s" agrees with the singular and contradicts the plural.
            lines.append(f"c{number},N+s+FLX=NOUN")
            output.append(f'c{number},N+_LEX="<E>"+FLX=NOUN+Nb=s')
            forms += 1
        else:
            lines.append(f"w{number},N+FLX=NOUN")
            output.append(f'w{number},N+_LEX="<E>"+FLX=NOUN+Nb=s')
            output.append(f'w{number}s,N+_LEX="<B>"+FLX=NOUN+Nb=p')
            forms += 2
    if failing is None:
        output.append(f"# Dictionary successfully generated {forms} forms.")
    with open(f"{folder}/threads.dic", "w") as dictionary:
        dictionary.write("".join(line + "\n" for line in lines))
    with open(f"{folder}/expected_stdout", "w") as expected:
        expected.write("".join(line + "\n" for line in output))


main()
