// Exports formRecordOf, bindFormRecords and toPython: the records of the
// lines that lexpand prints, and their Python class lexpand.Form.

#include "FormRecords.h"

#include <algorithm>
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

// The position in form.lexicalProperties of the "_LEX" item that the
// expansion added: the first that the entry does not carry itself, else the
// first (the two were the same item, merged). Absent when there is none.
std::optional<std::size_t> addedLexItem(const ALU& form, const std::vector<std::string>& entryLexItems) {
    std::optional<std::size_t> first;
    for (std::size_t i = 0; i < form.lexicalProperties.size(); ++i) {
        const std::string& item = form.lexicalProperties[i];
        if (!isLexItem(item)) continue;
        if (std::find(entryLexItems.begin(), entryLexItems.end(), item) == entryLexItems.end()) return i;
        if (!first) first = i;
    }
    return first;
}

// The items of `form` in the order of its canonical line, but the lexical
// property at `left` (none when absent).
std::vector<std::string> propertyItems(const ALU& form, std::optional<std::size_t> left) {
    std::vector<std::string> items;
    items.reserve(form.lexicalProperties.size() + form.flxParadigms.size() + form.drvParadigms.size() +
                  form.morphologicalProperties.size());
    for (std::size_t i = 0; i < form.lexicalProperties.size(); ++i)
        if (i != left) items.push_back(form.lexicalProperties[i]);
    for (const std::string& name : form.flxParadigms) items.push_back("FLX=" + name);
    for (const std::string& name : form.drvParadigms) items.push_back("DRV=" + name);
    items.insert(items.end(), form.morphologicalProperties.begin(), form.morphologicalProperties.end());
    return items;
}

} // namespace

std::vector<std::string> lexItemsOf(const ALU& entry) {
    std::vector<std::string> items;
    for (const std::string& item : entry.lexicalProperties)
        if (isLexItem(item)) items.push_back(item);
    return items;
}

std::optional<FormRecord> formRecordOf(std::string line, bool echoed, const std::vector<std::string>& entryLexItems,
                                       const PropertiesDefinitions& definitions) {
    std::optional<ALU> form = ALU::init(line, &definitions);
    if (!form) return std::nullopt;
    const std::optional<std::size_t> added = echoed ? std::nullopt : addedLexItem(*form, entryLexItems);
    if (!echoed && !added) return std::nullopt;
    std::vector<std::string> properties = propertyItems(*form, added);
    std::string reverseCommand = "<E>";
    if (added) {
        const std::string& item = form->lexicalProperties[*added];
        reverseCommand = item.substr(lexOpening.size(), item.size() - lexOpening.size() - 1);
    }
    std::optional<Morphology::EditResult> lemma = Morphology::applySuffixCommandToWordForm(form->entry, reverseCommand);
    if (!lemma) return std::nullopt;
    return FormRecord{std::move(form->entry),
                      std::move(lemma->resultingWordForm),
                      std::move(form->category),
                      std::move(properties),
                      std::move(reverseCommand),
                      std::move(line),
                      echoed};
}

void addRecordType(py::module_& module, const char* name, std::initializer_list<const char*> fields, const char* doc) {
    py::list names;
    for (const char* field : fields) names.append(field);
    const py::object type = py::module_::import("collections").attr("namedtuple")(name, names, "module"_a = "lexpand");
    type.attr("__doc__") = doc;
    module.attr(name) = type;
}

void bindFormRecords(py::module_& module) {
    addRecordType(module, "Form", {"form", "lemma", "category", "properties", "reverse_command", "line", "echoed"},
                  "One line that lexpand prints for an entry, in parts.\n\n"
                  "form: the word form as the line writes it (a comma keeps its backslash).\n"
                  "lemma: the form edited by the reverse command.\n"
                  "category: the category.\n"
                  "properties: every property item of the line but the _LEX of the form, in the line's order (lexical "
                  "properties, "
                  "FLX= and DRV= items, morphological properties), as a tuple of str.\n"
                  "reverse_command: the command of _LEX, which turns the form into its lemma.\n"
                  "line: the line exactly as lexpand prints it.\n"
                  "echoed: True for an entry without inflectional paradigm, which lexpand prints as written and does "
                  "not count; its form is its lemma, its reverse command \"<E>\".");
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
