"""The Python module against lexpand itself, and its failures."""
import ast
import contextlib
import io
import os
import re
import subprocess
import threading
from pathlib import Path

import pytest

import lexpand

SOURCE = Path(os.environ["LEXPAND_SOURCE_DIR"])
EXAMPLES = SOURCE / "examples"
DIC = EXAMPLES / "english.dic"


@pytest.fixture(scope="module")
def lexicon():
    return lexpand.Lexicon(grammars=[EXAMPLES / "english.pdg"], definitions=EXAMPLES / "english.def",
                           dictionaries=[DIC])


def lexpand_lines():
    run = subprocess.run([Path(os.environ["LEXPAND_PROGRAM"]).resolve(), "english.dic", "english.pdg", "english.def"],
                         cwd=EXAMPLES, capture_output=True, text=True, check=True)
    return run.stdout.splitlines()[:-1]  # the summary line


def entry_lines():
    return [line for line in DIC.read_text().splitlines() if line and not line.startswith("#")]


def test_records_are_lexpands_lines_with_their_lemma(lexicon):
    expected = lexpand_lines()
    assert [form.line for form in lexicon.expand_dictionary(DIC)] == expected
    by_entry = [lexicon.expand(line) for line in entry_lines()]
    assert [form.line for forms in by_entry for form in forms] == expected
    for line, forms in zip(entry_lines(), by_entry):
        for form in forms:
            assert form.lemma == line.split(",")[0]
            assert lexpand.apply_command(form.form, form.reverse_command)[0] == form.lemma
            assert form.line.startswith(f"{form.form},{form.category}")
            assert form.echoed == (form.line == line and "FLX=" not in line)


def test_echoed_entry_and_properties(lexicon):
    assert lexicon.expand("the,DET") == [lexpand.Form("the", "the", "DET", (), "<E>", "the,DET", True)]
    feet = lexicon.expand("foot,N+Conc+FLX=NOUN_FOOT")[1]
    assert (feet.form, feet.properties, feet.reverse_command) == ("feet", ("Conc", "FLX=NOUN_FOOT", "Nb=p"),
                                                                  "<L><B2>oo<R>")
    own = lexicon.expand('x,N+_LEX="zz"+FLX=NOUN')  # the entry's own _LEX stays a property
    assert [(f.reverse_command, f.lemma, f.properties[0]) for f in own] == [("<E>", "x", '_LEX="zz"'),
                                                                          ("<B>", "x", '_LEX="zz"')]


@pytest.mark.parametrize("word, command, result", [
    ("table", "<B>s", ("tabls", "<B>e")), ("stop", "<D>ed", ("stopped", "<B3>")),
    ("Paris", "<LW><C>", ("paris", "<L5><C><R5>")), ("table", "", ("table", "<E>")),
    ("a", "<B2>", None), ("table", "<X>", None), ("table", "<E2>", None), ("x", "<C>", None)])
def test_apply_command(word, command, result):
    if result:
        assert lexpand.apply_command(word, command) == result
    else:
        with pytest.raises(lexpand.CommandError) as error:
            lexpand.apply_command(word, command)
        assert (error.value.word, error.value.command) == (word, command)


@pytest.mark.parametrize("line, reason", [
    ("table", "not an entry"), ("", "not an entry"), ("table,N+FLX=TABLE", "TABLE is not defined"),
    ("kind,ADJ+DRV=NOPE:ADJ", "NOPE is not defined"), ("table,N+FLX=NOUN\nchair,N", "line terminator")])
def test_expansion_errors(lexicon, line, reason):
    with pytest.raises(ValueError, match=re.escape(reason)) as error:
        lexicon.expand(line)
    assert isinstance(error.value, lexpand.ExpansionError) and error.value.line == line


@pytest.mark.parametrize("files, message, step", [
    ({"grammars": ["nowhere.pdg"]}, "*** Cannot find morphological grammar file nowhere.pdg", "missing_file"),
    ({"grammars": [DIC]}, f"*** Cannot handle morphological grammar in: {DIC}", "grammar"),
    ({"definitions": EXAMPLES / "english.pdg"}, "*** Cannot process properties definitions in file", "definitions")])
def test_load_errors(files, message, step):
    with pytest.raises(lexpand.LoadError, match=re.escape(message)) as error:
        lexpand.Lexicon(**{"definitions": EXAMPLES / "english.def", **files})
    assert error.value.step == step


def test_dictionary_iteration_stops_at_a_failing_entry(lexicon, tmp_path):
    dictionary = tmp_path / "d.dic"
    dictionary.write_bytes(b"\xef\xbb\xbf# comment\r\n\nbook,N+FLX=NOUN\r\nbad\nbox,N+FLX=NOUN_ES\n")
    forms = lexicon.expand_dictionary(dictionary)
    assert [next(forms).form, next(forms).form] == ["book", "books"]
    with pytest.raises(lexpand.ExpansionError, match="bad"):
        next(forms)
    assert list(forms) == []
    dictionary.write_bytes(b"book,N+FLX=NOUN\n\xff\n")
    with pytest.raises(lexpand.LoadError, match="not UTF-8"):
        list(lexicon.expand_dictionary(dictionary))
    with pytest.raises(lexpand.LoadError, match="Cannot find dictionary file"):
        lexicon.expand_dictionary(tmp_path / "none.dic")


def test_threads_expand_at_once(lexicon):
    expected = lexpand_lines()
    results = [None] * 4

    def expand(index):
        results[index] = [form.line for form in lexicon.expand_dictionary(DIC)]
    threads = [threading.Thread(target=expand, args=(index,)) for index in range(4)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert results == [expected] * 4


def test_readme_snippet_prints_what_the_readme_shows(monkeypatch):
    section = (SOURCE / "README.md").read_text().split("## Using lexpand from Python")[1]
    snippet, output = re.search(r"```python\n(.*?)```.*?```\n(.*?)```", section, re.S).groups()
    monkeypatch.chdir(SOURCE)
    printed = io.StringIO()
    with contextlib.redirect_stdout(printed):
        exec(compile(snippet, "README.md", "exec"), {})
    assert printed.getvalue() == output


def test_stubs_name_every_public_name():
    stubs = ast.parse((Path(lexpand.__file__).parent / "_lexpand.pyi").read_text())
    names = {node.name for node in stubs.body if isinstance(node, (ast.ClassDef, ast.FunctionDef))}
    assert names == set(lexpand.__all__)
