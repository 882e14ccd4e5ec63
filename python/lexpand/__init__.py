"""lexpand from Python: the word forms of electronic dictionaries.

lexpand.Lexicon loads grammars and properties definitions once and expands
entry lines, or whole dictionary files, into lexpand.Form records, exactly as
the program lexpand prints them. lexpand.apply_command runs lexpand's editor.
lexpand.check finds every problem of a lexicon as lexpand-check does, as
lexpand.Diagnostic records. Lexicon.compile writes a compact dictionary, which
lexpand.Analyser looks words up in as lexpand-lookup does (lexpand.Analysis
records). Failures raise lexpand.Error and its subclasses.
"""

from ._lexpand import (
    Analyser,
    Analysis,
    CommandError,
    CompileError,
    Diagnostic,
    DictionaryForms,
    Error,
    ExpansionError,
    Form,
    Lexicon,
    LoadError,
    QueryError,
    __version__,
    apply_command,
    check,
)

__all__ = [
    "Analyser",
    "Analysis",
    "CommandError",
    "CompileError",
    "Diagnostic",
    "DictionaryForms",
    "Error",
    "ExpansionError",
    "Form",
    "Lexicon",
    "LoadError",
    "QueryError",
    "apply_command",
    "check",
]
