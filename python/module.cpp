// Exports the Python extension module lexpand._lexpand, which the package
// lexpand re-exports: the exceptions, lexpand.Form, lexpand.Lexicon,
// lexpand.apply_command, lexpand.check with its lexpand.Diagnostic records,
// Lexicon.compile, and lexpand.Analyser with its lexpand.Analysis records.
//
// Each part of the module is bound by a function of its own file, called
// below; a part that adds methods to lexpand.Lexicon takes the class that
// bindLexicon returns.

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <optional>
#include <string>
#include <utility>

#include "AnalyserBinding.h"
#include "CheckBinding.h"
#include "CompileBinding.h"
#include "Errors.h"
#include "FailureReasons.h"
#include "FormRecords.h"
#include "LexiconBinding.h"
#include "Morphology.h"

namespace py = pybind11;
using namespace pybind11::literals;

namespace lexpand::python {
namespace {

std::pair<std::string, std::string> applyCommand(const std::string& word, const std::string& command) {
    std::optional<Morphology::EditResult> result = Morphology::applySuffixCommandToWordForm(word, command);
    if (!result) throw CommandFailure{word, command, commandFailureReason(word, command)};
    return {std::move(result->resultingWordForm), std::move(result->reverseCommand)};
}

} // namespace
} // namespace lexpand::python

PYBIND11_MODULE(_lexpand, module) {
    using namespace lexpand::python;
    module.doc() = "The engine of lexpand: word forms of electronic dictionaries, from Python.";
    module.attr("__version__") = LEXPAND_VERSION;
    bindErrors(module);
    bindFormRecords(module);
    py::class_<LexiconHandle> lexicon = bindLexicon(module);
    bindCompile(lexicon);
    bindCheck(module);
    bindAnalyser(module);
    module.def("apply_command", &applyCommand, "word"_a, "command"_a,
               R"(Applies the morphological command `command` to `word` with lexpand's editor, as
keystrokes from the end of the word. Returns (form, reverse_command): the
edited word, and the command that turns it back into `word`. Raises
lexpand.CommandError when the command does not apply.)");
}
