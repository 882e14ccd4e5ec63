// Errors: the failures that the binding raises as Python exceptions, and the
// exception classes they become. The engine answers a failure as a value; the
// binding throws one of these C++ values, and the translator registered by
// bindErrors turns it into the Python exception, once the GIL is held again.
//
//   lexpand.Error                      every failure of the module
//   lexpand.LoadError(Error)           a Lexicon cannot be loaded, or a dictionary read
//   lexpand.ExpansionError(Error, ValueError)  an entry line cannot be expanded
//   lexpand.CommandError(Error, ValueError)    a command does not apply to a word
//   lexpand.CompileError(Error)        a compact dictionary cannot be built or written
//   lexpand.QueryError(Error, ValueError)      a generation query is not one

#ifndef LEXPAND_PYTHON_ERRORS_H
#define LEXPAND_PYTHON_ERRORS_H

#include <pybind11/pybind11.h>

#include <string>

namespace lexpand::python {

// A Lexicon or a dictionary that cannot be loaded: the line that lexpand
// prints for it (LoadError's message) and the step that failed (its `step`:
// "missing_file", "grammar", "dictionary_grammars", "definitions",
// "dictionary", or "compact_dictionary" for a ".lxd" file).
struct LoadFailure {
    std::string message;
    std::string step;
};

// An entry line that cannot be expanded, and why (ExpansionError's `line` and
// `reason`).
struct EntryFailure {
    std::string line;
    std::string reason;
};

// A morphological command that does not apply to a word, and why
// (CommandError's `word`, `command` and `reason`).
struct CommandFailure {
    std::string word;
    std::string command;
    std::string reason;
};

// A compact dictionary that cannot be built or written: the reason, in
// lexpand-compile's words (CompileError's message).
struct CompileFailure {
    std::string message;
};

// A text that is not a generation query "LEMMA,CATEGORY+PROPERTIES"
// (QueryError's `query`).
struct QueryFailure {
    std::string query;
};

// Creates the exception classes in `module` and registers the translator of
// the failures above, for the functions of this module only.
void bindErrors(pybind11::module_& module);

} // namespace lexpand::python

#endif // LEXPAND_PYTHON_ERRORS_H
