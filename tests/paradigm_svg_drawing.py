#!/usr/bin/env python3
"""The SVG drawing of a rule is well-formed XML with one node per state and one
edge per transition, besides the start marker and its arrow; an expanded call
is one cluster. Graphviz writes nothing on standard error.

Usage: paradigm_svg_drawing.py LEXPAND_PARADIGM GRAMMAR (the grammar of the
graph_dot case, whose rule WORD has 4 states, 5 transitions and 2 calls)."""
import subprocess
import sys
import xml.etree.ElementTree as ET

SVG = "{http://www.w3.org/2000/svg}"


def draw(*options):
    run = subprocess.run([sys.argv[1], "--graph", "WORD", "--format=svg", *options, sys.argv[2]],
                         capture_output=True, check=True)
    assert run.stderr == b"", run.stderr
    return ET.fromstring(run.stdout)


def titles(root, kind):
    return sorted(g.find(SVG + "title").text for g in root.iter(SVG + "g") if g.get("class") == kind)


plain = draw()
assert titles(plain, "node") == ["q0", "q1", "q2", "q3", "start"], titles(plain, "node")
assert titles(plain, "edge") == ["q0->q1", "q1->q2", "q1->q3", "q2->q2", "q2->q3", "start->q0"], titles(plain, "edge")
expanded = draw("--expand")
assert len(titles(expanded, "cluster")) == 2
assert len(titles(expanded, "node")) == 5 + 2 * 3
