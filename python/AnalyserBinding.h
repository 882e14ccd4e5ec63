// Analyser binding: lexpand.Analyser, a compact dictionary (".lxd") opened
// once, which looks words and running text up as lexpand-lookup does and
// generates forms from lemmas; and lexpand.Analysis, its records.

#ifndef LEXPAND_PYTHON_ANALYSERBINDING_H
#define LEXPAND_PYTHON_ANALYSERBINDING_H

#include <pybind11/pybind11.h>

namespace lexpand::python {

// Creates lexpand.Analysis and lexpand.Analyser in `module`.
void bindAnalyser(pybind11::module_& module);

} // namespace lexpand::python

#endif // LEXPAND_PYTHON_ANALYSERBINDING_H
