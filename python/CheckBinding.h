// Check binding: lexpand.check, which checks a lexicon with the engine's
// checker as lexpand-check does, and lexpand.Diagnostic, its records.

#ifndef LEXPAND_PYTHON_CHECKBINDING_H
#define LEXPAND_PYTHON_CHECKBINDING_H

#include <pybind11/pybind11.h>

namespace lexpand::python {

// Creates lexpand.Diagnostic and lexpand.check in `module`.
void bindCheck(pybind11::module_& module);

} // namespace lexpand::python

#endif // LEXPAND_PYTHON_CHECKBINDING_H
