// Exports bindErrors: lexpand.Error and its subclasses, and the translation of
// the binding's failures into them.

#include "Errors.h"

#include <exception>
#include <initializer_list>
#include <utility>

namespace py = pybind11;

namespace lexpand::python {

namespace {

// Creates the class `name` of the package lexpand, derived from `bases` (a
// class or a tuple of classes), as an attribute of `module`.
py::object addExceptionClass(py::module_& module, const char* name, const char* doc, py::handle bases) {
    const std::string qualifiedName = std::string("lexpand.") + name;
    PyObject* created = PyErr_NewExceptionWithDoc(qualifiedName.c_str(), doc, bases.ptr(), nullptr);
    if (created == nullptr) throw py::error_already_set();
    py::object type = py::reinterpret_steal<py::object>(created);
    module.attr(name) = type;
    return type;
}

using Attribute = std::pair<const char*, const std::string&>;

// Sets the Python error to an instance of the class `name` of this module
// with the message `message` and the attributes `attributes`.
void setError(const char* name, const std::string& message, std::initializer_list<Attribute> attributes) {
    const py::object type = py::module_::import("lexpand._lexpand").attr(name);
    const py::object error = type(message);
    for (const auto& [attribute, value] : attributes) error.attr(attribute) = value;
    PyErr_SetObject(type.ptr(), error.ptr());
}

void translate(std::exception_ptr thrown) {
    try {
        if (thrown) std::rethrow_exception(thrown);
    } catch (const LoadFailure& failure) {
        setError("LoadError", failure.message, {{"step", failure.step}});
    } catch (const EntryFailure& failure) {
        setError("ExpansionError", "Cannot expand \"" + failure.line + "\": " + failure.reason,
                 {{"line", failure.line}, {"reason", failure.reason}});
    } catch (const CommandFailure& failure) {
        setError("CommandError",
                 "Cannot apply \"" + failure.command + "\" to \"" + failure.word + "\": " + failure.reason,
                 {{"word", failure.word}, {"command", failure.command}, {"reason", failure.reason}});
    } catch (const CompileFailure& failure) {
        setError("CompileError", failure.message, {});
    } catch (const QueryFailure& failure) {
        setError("QueryError", "Not a query LEMMA,CATEGORY+PROPERTIES: \"" + failure.query + "\"",
                 {{"query", failure.query}});
    }
}

} // namespace

void bindErrors(py::module_& module) {
    const py::object error = addExceptionClass(module, "Error", "Every failure of lexpand.", PyExc_Exception);
    addExceptionClass(module, "LoadError",
                      "A lexicon or a dictionary cannot be loaded. The message is the line lexpand prints; "
                      "`step` names the step that failed.",
                      error);
    const py::handle valueError = PyExc_ValueError;
    addExceptionClass(module, "ExpansionError", "An entry line cannot be expanded: `line` is the line, `reason` why.",
                      py::make_tuple(error, valueError));
    addExceptionClass(module, "CommandError",
                      "A morphological command does not apply to a word: `word`, `command`, and `reason` why.",
                      py::make_tuple(error, valueError));
    addExceptionClass(module, "CompileError", "A compact dictionary cannot be built or written; the message says why.",
                      error);
    addExceptionClass(module, "QueryError",
                      "A text is not a generation query LEMMA,CATEGORY+PROPERTIES: `query` is the text.",
                      py::make_tuple(error, valueError));
    py::register_local_exception_translator(translate);
}

} // namespace lexpand::python
