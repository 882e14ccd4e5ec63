// Compile binding: Lexicon.compile, the compact dictionary (".lxd") of every
// form of a lexicon's dictionaries, built as lexpand-compile builds it, for
// lexpand.Analyser and lexpand-lookup.

#ifndef LEXPAND_PYTHON_COMPILEBINDING_H
#define LEXPAND_PYTHON_COMPILEBINDING_H

#include <pybind11/pybind11.h>

#include "LexiconBinding.h"

namespace lexpand::python {

// Adds the method compile to the class `lexicon` (lexpand.Lexicon).
void bindCompile(pybind11::class_<LexiconHandle>& lexicon);

} // namespace lexpand::python

#endif // LEXPAND_PYTHON_COMPILEBINDING_H
