"""lexpand from Python: the word forms of electronic dictionaries.

lexpand.Lexicon loads grammars and properties definitions once and expands
entry lines, or whole dictionary files, into lexpand.Form records, exactly as
the program lexpand prints them. lexpand.apply_command runs lexpand's editor.
Failures raise lexpand.Error and its subclasses.
"""

from ._lexpand import (
    CommandError,
    DictionaryForms,
    Error,
    ExpansionError,
    Form,
    Lexicon,
    LoadError,
    __version__,
    apply_command,
)

__all__ = [
    "CommandError",
    "DictionaryForms",
    "Error",
    "ExpansionError",
    "Form",
    "Lexicon",
    "LoadError",
    "apply_command",
]
