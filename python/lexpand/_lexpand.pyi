"""Type stubs of lexpand's extension module; lexpand re-exports every name."""

import os
from typing import Iterator, NamedTuple, Sequence, Union

_Path = Union[str, os.PathLike[str]]

__version__: str

class Error(Exception):
    """Every failure of lexpand."""

class LoadError(Error):
    """A lexicon or a dictionary cannot be loaded. The message is the line
    lexpand prints for it."""

    step: str
    """The step that failed: "missing_file", "grammar", "dictionary_grammars",
    "definitions" or "dictionary"."""

class ExpansionError(Error, ValueError):
    """An entry line cannot be expanded."""

    line: str
    reason: str

class CommandError(Error, ValueError):
    """A morphological command does not apply to a word."""

    word: str
    command: str
    reason: str

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
    @property
    def definitions(self) -> str: ...
    @property
    def grammars(self) -> list[str]: ...
    @property
    def dictionaries(self) -> list[str]: ...

def apply_command(word: str, command: str) -> tuple[str, str]:
    """(form, reverse_command): `command` applied to `word` by lexpand's
    editor; raises lexpand.CommandError when it does not apply."""
