"""lexpand.check against lexpand-check, and lexpand.Analyser against lexpand's forms and lexpand-lookup."""
import os
import subprocess
from pathlib import Path

import pytest

import lexpand

SOURCE = Path(os.environ["LEXPAND_SOURCE_DIR"])
EXAMPLES = SOURCE / "examples"
CHECK_CASES = sorted(case for case in (SOURCE / "tests" / "e2e-check").iterdir()
                     if (case / "expected_status").read_text().strip() != "2" and not (case / "prepare").exists()
                     and not (case / "args").read_text().startswith("-"))
KINDS = {"dic": "dictionaries", "pdg": "grammars"}


def report_line(problem):
    where = "lexpand-check" if problem.file is None else problem.file
    where += f":{problem.line}" if problem.file and problem.line else ""
    where += f":{problem.column}" if problem.file and problem.line and problem.column else ""
    warning = f" [-W{problem.code}]" if problem.severity == "warning" else ""
    return f"{where}: {problem.severity}: {problem.message}{warning}\n"


@pytest.mark.parametrize("case", CHECK_CASES, ids=lambda case: case.name)
def test_check_gives_what_lexpand_check_prints(case, monkeypatch):
    files = {"dictionaries": [], "grammars": []}
    for path in (case / "args").read_text().splitlines():
        if path.endswith(".def"):
            files["definitions"] = path
        else:
            files[KINDS[path[-3:]]].append(path)
    monkeypatch.chdir(case)
    problems = lexpand.check(**files)
    text = "".join(report_line(problem) + "".join(map(report_line, problem.notes)) for problem in problems)
    errors, warnings = (sum(problem.severity == severity for problem in problems) for severity in ("error", "warning"))
    text += f"{errors} error{'s' * (errors != 1)}, {warnings} warning{'s' * (warnings != 1)}\n"
    assert text == (case / "expected_stdout").read_text().replace("@CASE_DIR@", str(case.resolve()))


def test_check_stops_and_refuses_missing_files():
    faults = SOURCE / "tests" / "e2e-check" / "many_faults"
    problems = lexpand.check(definitions=faults / "props.def", dictionaries=[faults / "nouns.dic"], max_errors=2)
    assert [problem.severity for problem in problems].count("error") == 2
    with pytest.raises(lexpand.LoadError, match="Cannot find dictionary file nowhere.dic") as error:
        lexpand.check(definitions=faults / "props.def", dictionaries=["nowhere.dic"])
    assert error.value.step == "missing_file"


@pytest.fixture(scope="module")
def analyser(tmp_path_factory):
    path = tmp_path_factory.mktemp("lxd") / "english.lxd"
    english().compile(path)
    return lexpand.Analyser(path)


def english(**files):
    return lexpand.Lexicon(**{"definitions": EXAMPLES / "english.def", "grammars": [EXAMPLES / "english.pdg"],
                              "dictionaries": [EXAMPLES / "english.dic"], **files})


def test_every_form_is_analysed_as_lexpand_expands_it(analyser):
    forms = list(english().expand_dictionary(EXAMPLES / "english.dic"))
    assert analyser.info["pairs"] == len({(form.form, form.line) for form in forms})
    for form in forms:
        analyses = {(a.lemma, a.category, a.properties, a.reverse_command) for a in analyser.analyse(form.form)}
        assert (form.lemma, form.category, form.properties, form.reverse_command) in analyses, form.line


def lookup(analyser, arguments, text):
    run = subprocess.run([os.environ["LEXPAND_LOOKUP_PROGRAM"], *arguments, analyser.path], input=text,
                         capture_output=True, text=True, check=True)
    return run.stdout


def printed(word, analyses):
    return "".join(f"{word}\t{a.line}" + (f"\t{a.spelling}" if a.spelling != word else "") + "\n"
                   for a in analyses) or f"{word}\t?\n"


def test_analyser_agrees_with_lexpand_lookup(analyser):
    words = ["feet", "Feet", "FEET", "Attorneys General", "unkindness", "nothing", "Paris", "the"]
    assert "".join(printed(word, analyser.analyse(word)) for word in words) == lookup(analyser, [], "\n".join(words))
    text = "The attorneys general, the unkinder wives...\nSheep; and geese!"
    assert "".join(printed(*pair) for pair in analyser.analyse_text(text)) == lookup(analyser, ["--text"], text)
    queries = ["foot,N+Nb=p", "kind,ADJ", "go,V+Tense=past", "nothing,N"]
    generated = "".join("".join(f"{q}\t{a.word}{a.line[len(a.lemma):]}\n" for a in analyser.generate(q)) or f"{q}\t?\n"
                        for q in queries)
    assert generated == lookup(analyser, ["--generate"], "\n".join(queries))


def test_analyser_failures(analyser, tmp_path):
    with pytest.raises(lexpand.QueryError, match="no query"):
        analyser.generate("no query")
    for path in [tmp_path / "none.lxd", EXAMPLES / "english.dic"]:
        with pytest.raises(lexpand.LoadError) as error:
            lexpand.Analyser(path)
        assert error.value.step == "compact_dictionary" and str(path) in str(error.value)
    with pytest.raises(lexpand.CompileError, match="no word form to compile"):
        english(dictionaries=[]).compile(tmp_path / "empty.lxd")
    with pytest.raises(lexpand.CompileError, match="cannot write"):
        english().compile(tmp_path / "no" / "such.lxd")
    faulty = tmp_path / "faulty.dic"
    faulty.write_text("table,N+FLX=NOUN\nchair,N+FLX=NOPE\n")
    with pytest.raises(lexpand.CompileError, match="Cannot inflect/derive dictionary"):
        english(dictionaries=[faulty]).compile(tmp_path / "faulty.lxd")
    assert not (tmp_path / "faulty.lxd").exists() and not list(tmp_path.glob("*.part"))
