"""Type stubs of lexpand's extension module; lexpand re-exports every name."""

import os
from typing import Iterator, NamedTuple, Optional, Sequence, Union

_Path = Union[str, os.PathLike[str]]

__version__: str

class Error(Exception):
    """Every failure of lexpand."""

class LoadError(Error):
    """A lexicon or a dictionary cannot be loaded. The message is the line
    lexpand prints for it."""

    step: str
    """The step that failed: "missing_file", "grammar", "dictionary_grammars",
    "definitions", "dictionary", or "compact_dictionary" for a .lxd file."""

class ExpansionError(Error, ValueError):
    """An entry line cannot be expanded."""

    line: str
    reason: str

class CommandError(Error, ValueError):
    """A morphological command does not apply to a word."""

    word: str
    command: str
    reason: str

class CompileError(Error):
    """A compact dictionary cannot be built or written; the message says why."""

class QueryError(Error, ValueError):
    """A text is not a generation query LEMMA,CATEGORY+PROPERTIES."""

    query: str

class Form(NamedTuple):
    """One line that lexpand prints for an entry, in parts."""

    form: str
    """The word form as the line writes it (a comma keeps its backslash)."""
    lemma: str
    """The form edited by the reverse command."""
    category: str
    properties: tuple[str, ...]
    """Every property item of the line but the _LEX of the form, in the line's
    order: lexical properties, FLX= and DRV= items, morphological properties."""
    reverse_command: str
    """The command of _LEX, which turns the form into its lemma."""
    line: str
    """The line exactly as lexpand prints it."""
    echoed: bool
    """True for an entry without inflectional paradigm, printed as written and
    not counted; its form is its lemma, its reverse command "<E>"."""

class DictionaryForms(Iterator[Form]):
    """The forms of a dictionary file, entry by entry."""

    def __iter__(self) -> DictionaryForms: ...
    def __next__(self) -> Form: ...

class Lexicon:
    """The grammars and properties definitions of lexpand, loaded once, in
    lexpand's order and with its messages (lexpand.LoadError)."""

    def __init__(
        self,
        *,
        definitions: _Path,
        grammars: Sequence[_Path] = ...,
        dictionaries: Sequence[_Path] = ...,
    ) -> None: ...
    def expand(self, entry_line: str) -> list[Form]:
        """The lines lexpand prints for one entry line; raises
        lexpand.ExpansionError when the entry cannot be expanded."""
    def expand_dictionary(self, path: _Path) -> DictionaryForms:
        """The records of every entry of a dictionary file, entry by entry,
        without holding the file whole."""
    def compile(self, output: _Path) -> None:
        """Writes to `output` the compact dictionary (.lxd) of every form of the
        dictionaries the Lexicon was loaded with, as lexpand-compile does;
        raises lexpand.CompileError when it cannot."""
    @property
    def definitions(self) -> str: ...
    @property
    def grammars(self) -> list[str]: ...
    @property
    def dictionaries(self) -> list[str]: ...

def apply_command(word: str, command: str) -> tuple[str, str]:
    """(form, reverse_command): `command` applied to `word` by lexpand's
    editor; raises lexpand.CommandError when it does not apply."""

class Diagnostic(NamedTuple):
    """One problem of a lexicon, as lexpand-check reports it."""

    file: Optional[str]
    """The file, or None for a problem of the whole run."""
    line: int
    """From 1; 0 stands for the whole file."""
    column: int
    """From 1, in characters; 0 stands for the whole line."""
    severity: str
    """"error", "warning" or "note"."""
    code: str
    """The name of the kind of problem: a warning's -W name, a SARIF rule id."""
    message: str
    notes: tuple[Diagnostic, ...]
    """The related places, as records of severity "note" and the same code."""

def check(
    *,
    definitions: _Path,
    dictionaries: Sequence[_Path] = ...,
    grammars: Sequence[_Path] = ...,
    max_errors: int = 0,
) -> list[Diagnostic]:
    """Every problem of the lexicon of these files, as lexpand-check finds it,
    sorted by file, line and column; stops after `max_errors` errors (0: no
    limit). Raises lexpand.LoadError when a file does not exist."""

class Analysis(NamedTuple):
    """One analysis of a word, as lexpand-lookup prints it."""

    word: str
    """The word looked up (for a generation, the form generated)."""
    lemma: str
    category: str
    properties: tuple[str, ...]
    """The property items of the analysis, in its order, without _LEX."""
    reverse_command: str
    """The command that turns the spelling into the lemma."""
    line: str
    """The lemma, category and properties, as lexpand-lookup prints them."""
    spelling: str
    """The form found: the word as written, else with its first letter in
    lower case, else all in lower case."""

class Analyser:
    """A compact dictionary (.lxd), opened once, to look words up."""

    def __init__(self, path: _Path) -> None: ...
    def analyse(self, word: str) -> list[Analysis]:
        """The analyses of `word`; an empty list for an unknown word."""
    def analyse_text(self, text: str) -> list[tuple[str, list[Analysis]]]:
        """The words of running text, each with its analyses, in text order."""
    def generate(self, query: str) -> list[Analysis]:
        """The forms whose analysis answers "LEMMA,CATEGORY+PROPERTY+..."; raises
        lexpand.QueryError when `query` is not a query."""
    @property
    def path(self) -> str: ...
    @property
    def info(self) -> dict[str, int]: ...
