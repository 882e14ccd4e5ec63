// Exports formRecordOf, bindFormRecords and toPython: the records of the
// lines that lexpand prints, and their Python class lexpand.Form.

#include "FormRecords.h"

#include <string_view>
#include <utility>

#include "Morphology.h"

namespace py = pybind11;
using namespace pybind11::literals;

namespace lexpand::python {

namespace {

constexpr std::string_view lexOpening = "_LEX=\"";

bool isLexItem(std::string_view item) {
    return item.size() > lexOpening.size() && item.starts_with(lexOpening) && item.back() == '"';
}

// The items of `entry` in the order of its canonical line, the "_LEX" item
// left out unless `keepLex`; the command of the last "_LEX" item goes to
// `reverseCommand` (the one the expansion adds comes after any that an entry
// carries itself).
std::vector<std::string> propertyItems(const ALU& entry, bool keepLex, std::optional<std::string>& reverseCommand) {
    std::vector<std::string> items;
    items.reserve(entry.lexicalProperties.size() + entry.flxParadigms.size() + entry.drvParadigms.size() +
                  entry.morphologicalProperties.size());
    for (const std::string& item : entry.lexicalProperties) {
        if (!keepLex && isLexItem(item)) {
            reverseCommand = item.substr(lexOpening.size(), item.size() - lexOpening.size() - 1);
            continue;
        }
        items.push_back(item);
    }
    for (const std::string& name : entry.flxParadigms) items.push_back("FLX=" + name);
    for (const std::string& name : entry.drvParadigms) items.push_back("DRV=" + name);
    items.insert(items.end(), entry.morphologicalProperties.begin(), entry.morphologicalProperties.end());
    return items;
}

} // namespace

std::optional<FormRecord> formRecordOf(std::string line, bool echoed, const PropertiesDefinitions& definitions) {
    std::optional<ALU> entry = ALU::init(line, &definitions);
    if (!entry) return std::nullopt;
    std::optional<std::string> reverseCommand;
    std::vector<std::string> properties = propertyItems(*entry, echoed, reverseCommand);
    if (echoed) reverseCommand = "<E>";
    if (!reverseCommand) return std::nullopt;
    std::optional<Morphology::EditResult> lemma =
        Morphology::applySuffixCommandToWordForm(entry->entry, *reverseCommand);
    if (!lemma) return std::nullopt;
    return FormRecord{std::move(entry->entry),
                      std::move(lemma->resultingWordForm),
                      std::move(entry->category),
                      std::move(properties),
                      std::move(*reverseCommand),
                      std::move(line),
                      echoed};
}

void bindFormRecords(py::module_& module) {
    py::list fields;
    for (const char* field : {"form", "lemma", "category", "properties", "reverse_command", "line", "echoed"})
        fields.append(field);
    py::object form = py::module_::import("collections").attr("namedtuple")("Form", fields, "module"_a = "lexpand");
    form.attr("__doc__") =
        "One line that lexpand prints for an entry, in parts.\n\n"
        "form: the word form as the line writes it (a comma keeps its backslash).\n"
        "lemma: the form edited by the reverse command.\n"
        "category: the category.\n"
        "properties: every property item of the line but _LEX, in the line's order (lexical properties, "
        "FLX= and DRV= items, morphological properties), as a tuple of str.\n"
        "reverse_command: the command of _LEX, which turns the form into its lemma.\n"
        "line: the line exactly as lexpand prints it.\n"
        "echoed: True for an entry without inflectional paradigm, which lexpand prints as written and does "
        "not count; its form is its lemma, its reverse command \"<E>\".";
    module.attr("Form") = form;
}

py::object formClass() {
    return py::module_::import("lexpand._lexpand").attr("Form");
}

py::object toPython(const FormRecord& record, py::handle form) {
    py::tuple properties(record.properties.size());
    for (std::size_t i = 0; i < record.properties.size(); ++i) properties[i] = py::str(record.properties[i]);
    return form(record.form, record.lemma, record.category, std::move(properties), record.reverseCommand, record.line,
                record.echoed);
}

} // namespace lexpand::python
